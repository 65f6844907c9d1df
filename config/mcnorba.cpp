// mcnorba.cpp -- the working directory of the suite and the component version files in it.
#include "config/mcnorba.h"

#include <unistd.h>

#include <cstring>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"

namespace {

using mc::kModule;
using mc::kTrcVersion;

constexpr const char* kSection = "commun";
constexpr const char* kCleTravail = "repertoiretravail";
constexpr const char* kFichierConfiguration = "norba.ini";
// The name buffer holds eight bytes ("-56.adm" and its zero); components -128 to -100 need one
// more for their eight characters and the zero, and get it.
constexpr uint32_t kTailleNomComposant = 8;
constexpr uint32_t kTailleNomComposantLong = 9;

// A new copy of a NUL-terminated text, or null when the heap refuses.
char* copier_texte(const char* pcTexte) {
  const size_t stTaille = strlen(pcTexte) + 1;
  auto* pcCopie = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(stTaille)));
  if (pcCopie != nullptr) {
    memcpy(pcCopie, pcTexte, stTaille);
  }
  return pcCopie;
}

}  // namespace

namespace mc {

uint16_t usOuvrirFichier(const char* pcChemin, const char* pcMode, FILE** ppFichier) {
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "usOuvrirFichier");
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "Fichier : %s mode ouverture %s", pcChemin,
           pcMode);
  uint16_t usResultat = MC_CR_OK;
  // Deviation: only a regular file opens; a FIFO or a device is refused, and no opening blocks.
  *ppFichier = mc::ouvrir_fichier_regulier(pcChemin, pcMode);
  if (*ppFichier == nullptr) {
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, " Probleme ouverture fichier");
    usResultat = MC_ERR_FICHIER;
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "usOuvrirFichier");
  return usResultat;
}

uint16_t usFermerFichier(FILE* pFichier) {
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "usFermerFichier");
  const uint16_t usResultat = fclose(pFichier) == 0 ? MC_CR_OK : MC_ERR_FICHIER;
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "usFermerFichier");
  return usResultat;
}

uint16_t usLireBufferFichier(FILE* pFichier, void* pvBuffer, uint32_t* pulLongueur) {
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "usLireBufferFichier");
  const size_t stLus = fread(pvBuffer, 1, *pulLongueur, pFichier);
  // Kept: the count read goes back cut to its low 16 bits.
  *pulLongueur = static_cast<uint16_t>(stLus);
  const uint16_t usResultat = ferror(pFichier) != 0 ? MC_ERR_FICHIER : MC_CR_OK;
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "usLireBufferFichier");
  return usResultat;
}

uint16_t usConstruireNomComplet(uint8_t ucComposant, char** ppcNom) {
  // Kept: the entry and exit lines carry the name of the reading helper.
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "usLireBufferFichier");
  uint16_t usResultat = MC_CR_OK;
  // Kept: the number is written as a signed 8-bit value, so 200 gives "-56.adm".
  const int iComposant = static_cast<int8_t>(ucComposant);
  const uint32_t ulTaille = iComposant <= -100 ? kTailleNomComposantLong : kTailleNomComposant;
  auto* pcNom = static_cast<char*>(MC_Allouer(ulTaille));
  if (pcNom == nullptr) {
    usResultat = MC_ERR_MEMOIRE;
  } else {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    snprintf(pcNom, ulTaille, "%00i.adm", iComposant);
#pragma GCC diagnostic pop
    *ppcNom = pcNom;
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "usLireBufferFichier");
  return usResultat;
}


}  // namespace mc
extern "C" MC_API uint16_t MC_usDonnerRepertoireTravail(char** ppcRepertoire) {
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "MC_usDonnerRepertoireTravail");
  uint16_t usResultat = MC_CR_OK;
  if (ppcRepertoire == nullptr) {
    usResultat = MC_ERR_ARGUMENT;
  } else {
    *ppcRepertoire = static_cast<char*>(MC_Allouer(mc::kTailleRepertoire));
    if (*ppcRepertoire == nullptr) {
      // Kept: the start-up's message, reused.
      MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, "IAInitialisation probleme allocation memoire");
      usResultat = MC_ERR_CONFIG;
    } else {
      (*ppcRepertoire)[0] = '\0';
      const uint32_t ulLongueur =
          MC_ulLireChaineIni(kSection, kCleTravail, *ppcRepertoire, mc::kTailleLectureRepertoire,
                             kFichierConfiguration);
      if (ulLongueur == 0) {
        MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, "ERREUR du repertoire de travail  (%u)",
                 static_cast<unsigned>(MC_ERR_REP_TRAVAIL));
        usResultat = MC_ERR_REP_TRAVAIL;
      }
    }
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "MC_usDonnerRepertoireTravail");
  return usResultat;
}

extern "C" MC_API uint16_t MC_usEcrireVersionComposant(uint8_t ucComposant, const char* pcVersion,
                                                       uint32_t ulLongueur) {
  (void)ulLongueur;  // the whole text is written
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "MC_usEcrireVersionComposant");
  if (pcVersion == nullptr) {
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "MC_usEcrireVersionComposant");
    return MC_ERR_ARGUMENT;
  }
  char* pcRepertoire = nullptr;
  char* pcCopieRepertoire = nullptr;
  uint16_t usResultat = MC_usDonnerRepertoireTravail(&pcRepertoire);
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "MC_usDonnerRepertoireTravail /  usRetour =0x%04x",
           static_cast<unsigned>(usResultat));
  if (usResultat == MC_ERR_REP_TRAVAIL) {
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
             "Retour de recherche du repertoire de travail =(%u)", static_cast<unsigned>(usResultat));
  } else if (usResultat == MC_CR_OK) {
    pcCopieRepertoire = copier_texte(pcRepertoire);
    if (pcCopieRepertoire == nullptr) {
      usResultat = MC_ERR_MEMOIRE;
    } else {
      MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "Repertoire Travail OK");
    }
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
           "ECRITURE DES COMPOSANTS Retour de recherche du repertoire de travail =(%u)",
           static_cast<unsigned>(usResultat));
  MC_Liberer(pcRepertoire);

  char* pcNom = nullptr;
  char* pcChemin = nullptr;
  FILE* pFichier = nullptr;
  char acChemin[mc::kTailleNomComplet] = "";  // kept for removing a file not written whole
  if (usResultat == MC_CR_OK) {
    usResultat = mc::usConstruireNomComplet(ucComposant, &pcNom);
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
             "ECRITURE DES COMPOSANTS: usConstruireNomComplet =0x%04x",
             static_cast<unsigned>(usResultat));
  }
  if (usResultat == MC_CR_OK) {
    usResultat = MC_usCreerNomCompletFichier(pcCopieRepertoire, pcNom, &pcChemin);
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
             " ECRITURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x%04x",
             static_cast<unsigned>(usResultat));
    if (usResultat == MC_CR_OK) {
      usResultat = mc::usOuvrirFichier(pcChemin, "wb", &pFichier);
      snprintf(acChemin, sizeof acChemin, "%s", pcChemin);
    }
    if (usResultat != MC_CR_OK) {
      MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, "ECRITURE DES COMPOSANTS Retour ERREUR =(%u)",
               static_cast<unsigned>(usResultat));
      usResultat = MC_ERR_FICHIER_VERSION;
    }
  }
  MC_Liberer(pcChemin);
  MC_Liberer(pcNom);

  if (usResultat == MC_CR_OK) {
    const int iEcrits = fprintf(pFichier, "%s", pcVersion);
    usResultat = mc::usFermerFichier(pFichier);
    // Deviation: a text that did not reach the file whole (a full disk) fails like the close,
    // and the file is removed rather than left empty or cut.
    if (iEcrits < 0 || static_cast<size_t>(iEcrits) != strlen(pcVersion)) {
      usResultat = MC_ERR_FICHIER;
    }
    if (usResultat != MC_CR_OK) {
      unlink(acChemin);
      MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, "Retour ERREUR =(%u)",
               static_cast<unsigned>(usResultat));
    }
  }
  MC_Liberer(pcCopieRepertoire);
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "Resultat fin fonction =(%u)",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "MC_usEcrireVersionComposant");
  return usResultat;
}

extern "C" MC_API uint16_t MC_usLireVersionComposant(uint8_t ucComposant, char** ppcContenu,
                                                     uint32_t* pulLongueur) {
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_ENTREE, "MC_usLireVersionComposant");
  // Kept: this first buffer is replaced by the one MC_usDonnerRepertoireTravail hands out, and
  // is lost.
  auto* pcRepertoire = static_cast<char*>(MC_Allouer(mc::kTailleRepertoire));
  uint16_t usResultat = MC_usDonnerRepertoireTravail(&pcRepertoire);
  char* pcCopieRepertoire = nullptr;
  if (usResultat == MC_ERR_REP_TRAVAIL) {
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR,
             "LECTURE DES COMPOSANTS Erreur sur le repertoire de travail =(%u)",
             static_cast<unsigned>(usResultat));
  } else if (usResultat == MC_CR_OK) {
    pcCopieRepertoire = copier_texte(pcRepertoire);
    if (pcCopieRepertoire == nullptr) {
      usResultat = MC_ERR_MEMOIRE;
    }
  }
  MC_Liberer(pcRepertoire);

  char* pcNom = nullptr;
  char* pcChemin = nullptr;
  FILE* pFichier = nullptr;
  if (usResultat == MC_CR_OK) {
    usResultat = mc::usConstruireNomComplet(ucComposant, &pcNom);
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
             "LECTURE DES COMPOSANTS: usConstruireNomComplet =0x%04x",
             static_cast<unsigned>(usResultat));
  }
  if (usResultat == MC_CR_OK) {
    usResultat = MC_usCreerNomCompletFichier(pcCopieRepertoire, pcNom, &pcChemin);
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL,
             "LECTURE DES COMPOSANTS MC_usCreerNomCompletFichier =0x%04x",
             static_cast<unsigned>(usResultat));
    if (usResultat == MC_CR_OK) {
      usResultat = mc::usOuvrirFichier(pcChemin, "r", &pFichier);
    }
    if (usResultat != MC_CR_OK) {
      MC_TRACE(kModule, kTrcVersion, MC_TRACE_ERREUR, "LECTURE DES COMPOSANTS Retour ERREUR =(%u)",
               static_cast<unsigned>(usResultat));
    }
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "Retour =(%u)", static_cast<unsigned>(usResultat));
  MC_Liberer(pcChemin);
  // Kept: the short name is not given back.
  pcNom = nullptr;

  if (usResultat == MC_CR_OK) {
    uint32_t ulLongueur = 0;
    usResultat = MC_usLongueurFichier(pFichier, &ulLongueur);
    char* pcLu = nullptr;
    if (usResultat == MC_CR_OK) {
      pcLu = static_cast<char*>(MC_Allouer(ulLongueur));
      if (pcLu == nullptr) {
        usResultat = MC_ERR_MEMOIRE;
      }
    }
    if (usResultat == MC_CR_OK) {
      usResultat = mc::usLireBufferFichier(pFichier, pcLu, &ulLongueur);
    }
    if (usResultat == MC_CR_OK) {
      auto* pcContenu = static_cast<char*>(MC_Allouer(ulLongueur));
      if (pcContenu == nullptr) {
        usResultat = MC_ERR_MEMOIRE;
      } else {
        if (ulLongueur != 0) {
          memcpy(pcContenu, pcLu, ulLongueur);
        }
        if (ppcContenu != nullptr) {
          *ppcContenu = pcContenu;
        } else {
          MC_Liberer(pcContenu);
        }
        if (pulLongueur != nullptr) {
          *pulLongueur = ulLongueur;
        }
      }
    }
    MC_Liberer(pcLu);
    MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "Retour =(%u)",
             static_cast<unsigned>(usResultat));
  }
  MC_Liberer(pcCopieRepertoire);
  if (usResultat == MC_CR_OK) {
    usResultat = mc::usFermerFichier(pFichier);
  } else if (pFichier != nullptr) {
    // A file whose reading failed is closed quietly: no usFermerFichier lines, the code kept.
    fclose(pFichier);
  }
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_DETAIL, "MC_usLireVersionComposant =(%u)",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcVersion, MC_TRACE_SORTIE, "MC_usLireVersionComposant");
  return usResultat;
}
