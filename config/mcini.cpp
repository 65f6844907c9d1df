// mcini.cpp -- the traced INI services: any file named by the caller, or the suite's "norba.ini".
#include <climits>

#include "config/mcini.h"
#include "config/sys_util.h"
#include "runtime/mctrace.h"

namespace {

// The low layer takes a signed size; a larger one is as good as the largest it can say.
int32_t taille_signee(uint32_t ulTaille) {
  return ulTaille > static_cast<uint32_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(ulTaille);
}

}  // namespace

extern "C" MC_API uint32_t MC_ulLireChaineIni(const char* pcSection, const char* pcCle,
                                              char* pcTampon, uint32_t ulTaille,
                                              const char* pcFichier) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_ulLireChaineIni");
  uint32_t ulLongueur = 0;
  if (pcSection != nullptr && pcCle != nullptr && pcTampon != nullptr && ulTaille != 0) {
    ulLongueur = static_cast<uint32_t>(
        GetIniString(pcSection, pcCle, "", pcTampon, taille_signee(ulTaille), pcFichier));
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_ulLireChaineIni / Longueur =0x%04x",
           static_cast<unsigned>(ulLongueur));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_ulLireChaineIni");
  return ulLongueur;
}

extern "C" MC_API int32_t MC_lLireLongIni(const char* pcSection, const char* pcCle,
                                          const char* pcFichier) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_lLireLongIni");
  int32_t lRetour = -1;
  if (pcSection != nullptr) {
    lRetour = GetIniInt(pcSection, pcCle, -1, pcFichier);
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_lLireLongIni / lRetour =0x%04x",
           static_cast<unsigned>(lRetour));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_lLireLongIni");
  return lRetour;
}

extern "C" MC_API int32_t MC_bEcrireChaineIni(const char* pcSection, const char* pcCle,
                                              const char* pcValeur, const char* pcFichier) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_bEcrireChaineIni");
  const int32_t bRetour = WriteIniString(pcSection, pcCle, pcValeur, pcFichier) != 0 ? 1 : 0;
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_bEcrireChaineIni / bRetour =0x%04x",
           static_cast<unsigned>(bRetour));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_bEcrireChaineIni");
  return bRetour;
}

extern "C" MC_API uint32_t MC_ulLireChaineNorba(const char* pcSection, const char* pcCle,
                                                char* pcTampon, uint32_t ulTaille) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_ulLireChaineNorba");
  uint32_t ulLongueur = 0;
  if (pcSection != nullptr && pcCle != nullptr && pcTampon != nullptr && ulTaille != 0) {
    ulLongueur = MC_ulLireChaineIni(pcSection, pcCle, pcTampon, ulTaille, mc::kFichierNorba);
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_ulLireChaineNorba / Longueur =0x%04x",
           static_cast<unsigned>(ulLongueur));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_ulLireChaineNorba");
  return ulLongueur;
}

extern "C" MC_API int32_t MC_lLireLongNorba(const char* pcSection, const char* pcCle) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_lLireLongNorba");
  int32_t lRetour = -1;
  if (pcSection != nullptr) {
    lRetour = MC_lLireLongIni(pcSection, pcCle, mc::kFichierNorba);
  }
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_lLireLongNorba / lRetour =0x%04x",
           static_cast<unsigned>(lRetour));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_lLireLongNorba");
  return lRetour;
}

extern "C" MC_API int32_t MC_bEcrireChaineNorba(const char* pcSection, const char* pcCle,
                                                const char* pcValeur) {
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_ENTREE, "MC_bEcrireChaineNorba");
  const int32_t bRetour = MC_bEcrireChaineIni(pcSection, pcCle, pcValeur, mc::kFichierNorba);
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_DETAIL, "MC_bEcrireChaineNorba / bRetour =0x%04x",
           static_cast<unsigned>(bRetour));
  MC_TRACE(mc::kModule, mc::kTrcInit, MC_TRACE_SORTIE, "MC_bEcrireChaineNorba");
  return bRetour;
}
