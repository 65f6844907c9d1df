// mctrace.cpp -- the trace file: registrations of (module, trace) pairs, levels and indentation.
#include "runtime/mctrace.h"

#include <cstdarg>
#include <cstring>
#include <ctime>

namespace mc {

FILE* g_fichierTrace = nullptr;

namespace {

struct TraceActive {
  uint16_t usModule;
  uint16_t usTrace;
  uint8_t ucNiveau;
};

constexpr int kMaxTraces = 100;
constexpr uint8_t kProfondeurVisible = 7;  // level 1 shows lines up to this depth

TraceActive TracesActives[kMaxTraces];
int32_t NbTracesActives = 0;
uint8_t indentation = 0;

void ecrire_blancs() {
  for (uint8_t i = 0; i < indentation; ++i) {
    fputs("  ", g_fichierTrace);
  }
}

MC_PRINTF(4, 0)
void ecrire_trace(uint16_t usModule, uint16_t usTrace, uint16_t usType, const char* pcFormat,
                  va_list vaArguments) {
  if (g_fichierTrace == nullptr || usType > MC_TRACE_ERREUR || pcFormat == nullptr) {
    return;
  }
  if (usType == MC_TRACE_HORODATAGE) {
    fputs("\n", g_fichierTrace);
    const time_t maintenant = time(nullptr);
    const char* date = ctime(&maintenant);
    if (date != nullptr) {
      fputs(date, g_fichierTrace);
    }
    vfprintf(g_fichierTrace, pcFormat, vaArguments);
    MC_TraceFinLigne();
    return;
  }
  uint16_t usIndice = 0;
  if (!MC_bRechercherTrace(usModule, usTrace, &usIndice)) {
    return;
  }
  const uint8_t ucNiveau = TracesActives[usIndice].ucNiveau;
  const bool visible = ucNiveau >= 2 || (ucNiveau == 1 && indentation <= kProfondeurVisible);
  switch (usType) {
    case MC_TRACE_APPEL:
      if (visible) {
        MC_TraceDebutFonction();
        vfprintf(g_fichierTrace, pcFormat, vaArguments);
        MC_TraceFinFonction();
      }
      break;
    case MC_TRACE_ENTREE:
      if (visible) {
        MC_TraceDebutFonction();
        vfprintf(g_fichierTrace, pcFormat, vaArguments);
        MC_TraceFinLigne();
      } else {
        // Kept: the depth goes on counting while lines are hidden (wraps like the byte it is).
        ++indentation;
      }
      break;
    case MC_TRACE_SORTIE:
      if (visible) {
        MC_TraceDebutLigne();
        vfprintf(g_fichierTrace, pcFormat, vaArguments);
        MC_TraceFinFonction();
      } else if (indentation != 0) {
        --indentation;
      }
      break;
    case MC_TRACE_DETAIL:
      if (visible) {
        MC_TraceDebutLigne();
        vfprintf(g_fichierTrace, pcFormat, vaArguments);
        MC_TraceFinLigne();
      }
      break;
    case MC_TRACE_ERREUR:
      MC_TraceDebutLigne();
      fputs("ERREUR : ", g_fichierTrace);
      vfprintf(g_fichierTrace, pcFormat, vaArguments);
      MC_TraceFinLigne();
      break;
    default:
      break;
  }
}

}  // namespace

namespace testing {

void reset_trace() {
  if (g_fichierTrace != nullptr) {
    fclose(g_fichierTrace);
    g_fichierTrace = nullptr;
  }
  MC_InitialiserTraces();
  indentation = 0;
}

uint8_t profondeur_trace() { return indentation; }

}  // namespace testing

}  // namespace mc

using mc::g_fichierTrace;

extern "C" MC_API uint16_t MC_usActiverTrace(const char* pcFichier, const char* pcMode,
                                             uint16_t usModule, uint16_t usTrace,
                                             uint8_t ucNiveau) {
  uint16_t usCr = MC_CR_OK;
  if (ucNiveau > 2) {
    ucNiveau = 2;
  }
  if (g_fichierTrace == nullptr && ucNiveau != 0) {
    usCr = MC_usOuvrirTrace(pcFichier, pcMode, &g_fichierTrace);
    if (usCr != MC_CR_OK) {
      return usCr;
    }
    MC_InitialiserTraces();
  }
  if (ucNiveau != 0) {
    usCr = MC_usAjouterTrace(usModule, usTrace, ucNiveau);
    if (usCr != MC_CR_OK) {
      return usCr;
    }
  }
  if (g_fichierTrace != nullptr && ucNiveau == 0) {
    // Kept: level 0 closes the file and forgets every pair, not only this one.
    return MC_usFermerTrace();
  }
  return usCr;
}

extern "C" MC_API int32_t MC_bTraceActive(void) { return g_fichierTrace != nullptr ? 1 : 0; }

extern "C" MC_API uint16_t MC_usOuvrirTrace(const char* pcFichier, const char* pcMode,
                                            FILE** ppFichier) {
  if (ppFichier == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  if (*ppFichier != nullptr) {
    return MC_CR_OK;
  }
  if (pcFichier == nullptr || pcFichier[0] == '\0' || pcMode == nullptr) {
    return MC_ERR_ARGUMENT;
  }
  const char* pcModeOuverture = nullptr;
  if (strcmp(pcMode, "w") == 0 || strcmp(pcMode, "wb") == 0) {
    pcModeOuverture = "w";
  } else if (strcmp(pcMode, "a") == 0 || strcmp(pcMode, "ab") == 0) {
    pcModeOuverture = "a";
  } else {
    return MC_ERR_ARGUMENT;
  }
  FILE* psFichier = fopen(pcFichier, pcModeOuverture);
  if (psFichier == nullptr) {
    return MC_ERR_TRACE_OUVERTURE;
  }
  *ppFichier = psFichier;
  fputs("### DEBUT TRACE ###\n", psFichier);
  fflush(psFichier);
  return MC_CR_OK;
}

extern "C" MC_API uint16_t MC_usFermerTrace(void) {
  if (g_fichierTrace == nullptr) {
    return MC_CR_OK;
  }
  fputs("### FIN TRACE ###\n\n", g_fichierTrace);
  const int iCr = fclose(g_fichierTrace);
  g_fichierTrace = nullptr;
  mc::NbTracesActives = 0;
  mc::indentation = 0;
  return static_cast<uint16_t>(iCr);
}

extern "C" MC_API void MC_InitialiserTraces(void) {
  for (auto& trace : mc::TracesActives) {
    trace = mc::TraceActive{0, 0, 0};
  }
  mc::NbTracesActives = 0;
}

extern "C" MC_API int32_t MC_bRechercherTrace(uint16_t usModule, uint16_t usTrace,
                                              uint16_t* pusIndice) {
  for (int32_t i = 0; i < mc::NbTracesActives; ++i) {
    if (mc::TracesActives[i].usModule == usModule && mc::TracesActives[i].usTrace == usTrace) {
      if (pusIndice != nullptr) {
        *pusIndice = static_cast<uint16_t>(i);
      }
      return 1;
    }
  }
  return 0;
}

extern "C" MC_API uint16_t MC_usAjouterTrace(uint16_t usModule, uint16_t usTrace,
                                             uint8_t ucNiveau) {
  uint16_t usIndice = 0;
  if (MC_bRechercherTrace(usModule, usTrace, &usIndice)) {
    mc::TracesActives[usIndice].ucNiveau = ucNiveau;
    return MC_CR_OK;
  }
  if (mc::NbTracesActives >= mc::kMaxTraces) {
    return MC_ERR_TRACE_PLEINE;
  }
  // Kept: the entry is written before the check, and stays outside the counted part when refused.
  mc::TracesActives[mc::NbTracesActives] = mc::TraceActive{usModule, usTrace, ucNiveau};
  if (usModule == mc::kModule && (usTrace < 1 || usTrace > 8)) {
    return MC_ERR_TRACE_NUMERO;
  }
  ++mc::NbTracesActives;
  return MC_CR_OK;
}

extern "C" MC_API void MC_TraceDebutLigne(void) {
  if (g_fichierTrace != nullptr) {
    mc::ecrire_blancs();
  }
}

extern "C" MC_API void MC_TraceFinLigne(void) {
  if (g_fichierTrace != nullptr) {
    fputs("\n", g_fichierTrace);
    fflush(g_fichierTrace);
  }
}

extern "C" MC_API void MC_TraceDebutFonction(void) {
  if (g_fichierTrace == nullptr) {
    return;
  }
  MC_TraceDebutLigne();
  fputs("{ ", g_fichierTrace);
  ++mc::indentation;
}

extern "C" MC_API void MC_TraceFinFonction(void) {
  if (g_fichierTrace == nullptr) {
    return;
  }
  MC_TraceFinLigne();
  if (mc::indentation != 0) {
    --mc::indentation;
  }
  MC_TraceDebutLigne();
  fputs("}", g_fichierTrace);
  MC_TraceFinLigne();
}

extern "C" MC_API void MC_TraceEcrire(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                                      const char* pcFormat, ...) {
  if (g_fichierTrace == nullptr) {
    return;
  }
  va_list vaArguments;
  va_start(vaArguments, pcFormat);
  mc::ecrire_trace(usModule, usTrace, usType, pcFormat, vaArguments);
  va_end(vaArguments);
}

extern "C" MC_API void MC_TraceEcrire2(uint16_t usModule, uint16_t usTrace, uint16_t usType,
                                       const char* pcFormat, va_list vaArguments) {
  if (g_fichierTrace == nullptr) {
    return;
  }
  va_list vaCopie;
  va_copy(vaCopie, vaArguments);
  mc::ecrire_trace(usModule, usTrace, usType, pcFormat, vaCopie);
  va_end(vaCopie);
}

extern "C" MC_API void MC_TraceEcrireBinaire(uint16_t usModule, uint16_t usTrace,
                                             const char* pcNom, const unsigned char* pucDonnees,
                                             uint16_t usLongueur) {
  if (g_fichierTrace == nullptr || pucDonnees == nullptr) {
    return;
  }
  uint16_t usIndice = 0;
  if (!MC_bRechercherTrace(usModule, usTrace, &usIndice) ||
      mc::TracesActives[usIndice].ucNiveau < 2) {
    return;
  }
  for (uint16_t i = 0; i < usLongueur; ++i) {
    MC_TraceDebutLigne();
    fprintf(g_fichierTrace, "%s[%d] = 0x%02x", pcNom != nullptr ? pcNom : "", static_cast<int>(i),
            static_cast<unsigned>(pucDonnees[i]));
    MC_TraceFinLigne();
  }
}
