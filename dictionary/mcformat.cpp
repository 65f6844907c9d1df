// mcformat.cpp -- the format control of a memory zone against the data dictionary.
#include <cstdint>
#include <cstring>
#include <optional>

#include "checks/mcoutils.h"
#include "common/mcholder.h"
#include "dictionary/mcindex.h"
#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"

namespace {

using mc::kModule;
using mc::kTrcFormat;
using mc::code_champ;
using mc::code_groupe_inconnu;
using mc::code_nombre_champs;

constexpr const char* kNom = "MC_usControlerFormatZoneMemoire";

// True when a query that just failed plainly did so because the heap refused a request made
// since ulRefusAvant was read.
bool faute_de_memoire(uint32_t ulRefusAvant) { return mc::allocations_refusees() != ulRefusAvant; }

// The value of a field as a NUL-terminated text, for the detail line, given back at once (the
// untraced control adds the same request to the running count without allocating). False when
// the heap refused the copy.
bool tracer_valeur(const unsigned char* pucValeur, uint32_t ulLongueur) {
  if (ulLongueur == UINT32_MAX) {
    return true;  // no room for the zero
  }
  mc::Tampon<char> copie = mc::allouer<char>(size_t{ulLongueur} + 1);
  if (!copie) {
    return false;
  }
  if (ulLongueur != 0 && pucValeur != nullptr) {
    memcpy(copie.get(), pucValeur, ulLongueur);
  }
  copie.get()[ulLongueur] = '\0';
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, "Valeur du champ = %s", copie.get());
  return true;
}

// Whether the value (significant length s, s not 0) is one of the field's allowed values, in
// *pbAutorisee. The values are read by the field number found in the zone. The result is 0, or
// the code of a value that could not be read, or 0xF801 when the heap refused the reduced copy.
uint16_t valeur_autorisee(uint16_t usCodeGroupe, uint16_t usNumChamp,
                          const MC_InformationChamp& sInfo, const unsigned char* pucValeur,
                          uint32_t ulLongueur, bool* pbAutorisee) {
  const int8_t cType = sInfo.cType;
  const uint16_t usNbValeurs = sInfo.usNbValeurs;
  char* pcReduite = nullptr;
  uint32_t ulLongueurReduite = 0;
  const uint32_t ulRefus = mc::allocations_refusees();
  MC_bReduireChaineCtrl(reinterpret_cast<const char*>(pucValeur), &pcReduite, ulLongueur, cType,
                        &ulLongueurReduite);
  const mc::Tampon<char> reduite(pcReduite);
  if (pcReduite == nullptr && faute_de_memoire(ulRefus)) {
    return MC_ERR_MEMOIRE;
  }
  uint16_t usNbDifferences = 0;
  // Every allowed value is read and compared, also after a match.
  for (uint32_t ulValeur = 1; ulValeur <= usNbValeurs; ++ulValeur) {
    char* pcAutorisee = nullptr;
    const uint16_t usCr = MC_usDonnerChampValeur(usCodeGroupe, static_cast<uint8_t>(usNumChamp),
                                                 static_cast<uint8_t>(ulValeur), &pcAutorisee);
    const mc::Tampon<char> autorisee(pcAutorisee);
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, "MC_usDonnerChampValeur= 0x%04x",
             static_cast<unsigned>(usCr));
    if (usCr != MC_CR_OK) {
      return usCr;
    }
    if (MC_bCompareChaine(reduite.get(), autorisee.get()) == 0) {
      ++usNbDifferences;
    }
  }
  *pbAutorisee = usNbDifferences != usNbValeurs;
  return MC_CR_OK;
}

// What the control carries from one step to the next.
struct Controle {
  uint16_t usZone = 0;
  uint16_t* pusListe = nullptr;  // the dictionary's group codes
  uint16_t usNbGroupes = 0;
  uint16_t usResultat = MC_CR_OK;
  uint16_t usGroupe = 0;  // g: ordinal of the group in the zone, from 1
  uint16_t usBase = 0;    // b: dictionary fields of the groups met, the current one included
  // The last field read: after a failed advance the detail lines repeat it.
  uint16_t usNumChamp = 0;
  unsigned char* pucValeur = nullptr;
  uint32_t ulLongueur = 0;
  bool bFinDesGroupes = false;  // the walk ended on the zone's last group
};

// How an exit before the end of the walk leaves the list and the cursor.
enum class Sortie {
  kErreur,        // "ERREUR usResultat" line, exit line, list back, cursor to the start
  kErreurValeur,  // the same with the value error's own line
  kGarder,        // exit line only: the list is kept and the cursor stays where it is
  kRendreListe,   // list back, then exit line; the cursor stays where it is
};

// Every exit before the end of the walk: its lines and cleanup, then the code.
uint16_t sortir(Controle& sCtrl, uint16_t usCode, Sortie eSortie) {
  if (eSortie == Sortie::kErreurValeur) {
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR valeur de champ, usResultat= 0x%04x",
             static_cast<unsigned>(usCode));
  } else if (eSortie == Sortie::kErreur) {
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR usResultat= 0x%04x",
             static_cast<unsigned>(usCode));
  } else if (eSortie == Sortie::kRendreListe) {
    MC_Liberer(sCtrl.pusListe);
  }
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_SORTIE, "%s", kNom);
  if (eSortie == Sortie::kErreur || eSortie == Sortie::kErreurValeur) {
    MC_Liberer(sCtrl.pusListe);
    MC_usPositionnerDebut(sCtrl.usZone);
  }
  return usCode;
}

// The syntax control, the cursor to the start and the dictionary's group list.
void preparer(Controle& sCtrl) {
  sCtrl.usResultat = MC_usControlerSyntaxeZoneMemoire(sCtrl.usZone);
  if (sCtrl.usResultat == MC_CR_OK) {
    sCtrl.usResultat = MC_usPositionnerDebut(sCtrl.usZone);
  }
  if (sCtrl.usResultat == MC_CR_OK) {
    sCtrl.usResultat = MC_usDonnerListeGroupes(&sCtrl.pusListe, &sCtrl.usNbGroupes);
  }
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, " MC_usDonnerListeGroupes= 0x%04x",
           static_cast<unsigned>(sCtrl.usResultat));
}

// The cursor on the next group: false when the walk stops there (end of the zone or failure).
bool groupe_suivant(Controle& sCtrl, uint16_t* pusCodeGroupe) {
  ++sCtrl.usGroupe;
  sCtrl.usResultat = MC_usAvancerGroupeSuivant(sCtrl.usZone, 1, 1, pusCodeGroupe);
  if (sCtrl.usResultat == MC_ERR_FIN) {
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, " MC_usAvancerGroupeSuivant= 0x%04x",
             static_cast<unsigned>(sCtrl.usResultat));
    sCtrl.bFinDesGroupes = true;
    return false;
  }
  // Kept: the text carries no conversion, so the group code is not written.
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, " Groupe = 0xd");
  return sCtrl.usResultat == MC_CR_OK;
}

bool groupe_connu(const Controle& sCtrl, uint16_t usCodeGroupe) {
  for (uint16_t us = 0; us < sCtrl.usNbGroupes; ++us) {
    if (sCtrl.pusListe[us] == usCodeGroupe) {
      return true;
    }
  }
  return false;
}

// The field's value among its allowed values. An exit code, or nothing when the field passes.
std::optional<uint16_t> controler_valeurs(Controle& sCtrl, uint16_t usCodeGroupe,
                                          const MC_InformationChamp& sInfo,
                                          uint16_t usCodeChamp) {
  bool bAutorisee = false;
  const uint16_t usErreur = valeur_autorisee(usCodeGroupe, sCtrl.usNumChamp, sInfo,
                                             sCtrl.pucValeur, sCtrl.ulLongueur, &bAutorisee);
  if (usErreur == MC_ERR_MEMOIRE) {
    // Deviation: a value or copy the heap refused is 0xF801, not the unknown group's code.
    return sortir(sCtrl, MC_ERR_MEMOIRE, Sortie::kErreur);
  }
  if (usErreur != MC_CR_OK) {
    const uint16_t usCode = code_groupe_inconnu(sCtrl.usGroupe);
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR  groupe inconnu, usResultat= 0x%04x",
             static_cast<unsigned>(usCode));
    // Kept: this exit keeps the group list and leaves the cursor on the field.
    return sortir(sCtrl, usCode, Sortie::kGarder);
  }
  if (!bAutorisee) {
    return sortir(sCtrl, usCodeChamp, Sortie::kErreurValeur);
  }
  return std::nullopt;
}

// The field at usPosition of the group: read from the zone, then its type, count, length,
// presence and allowed values. An exit code, or nothing when the field passes.
std::optional<uint16_t> controler_champ(Controle& sCtrl, uint16_t usCodeGroupe,
                                        const MC_InformationChamp& sInfo, uint16_t usNbChamps,
                                        uint16_t* pusNbLus) {
  const uint16_t usCr = MC_usAvancerChampSuivant(sCtrl.usZone, 1, &sCtrl.usNumChamp,
                                                 &sCtrl.pucValeur, &sCtrl.ulLongueur);
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, "MC_usAvancerChampSuivant= 0x%04x",
           static_cast<unsigned>(usCr));
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, "Numero du champ = %d, Taille du champ = %d",
           static_cast<int>(sCtrl.usNumChamp), static_cast<int>(sCtrl.ulLongueur));
  if (!tracer_valeur(sCtrl.pucValeur, sCtrl.ulLongueur)) {
    // Deviation: a copy the heap refused ends the control with 0xF801.
    return sortir(sCtrl, MC_ERR_MEMOIRE, Sortie::kErreur);
  }
  if (usCr == MC_ERR_FIN) {
    return sortir(sCtrl, code_nombre_champs(sCtrl.usGroupe), Sortie::kErreur);
  }
  if (usCr != MC_CR_OK) {
    return sortir(sCtrl, usCr, Sortie::kErreur);
  }

  const uint16_t usCodeChamp = code_champ(sCtrl.usBase, usNbChamps, sCtrl.usNumChamp);
  uint32_t ulSignificative = 0;
  const uint32_t ulRefus = mc::allocations_refusees();
  const int32_t bRetour = mc::bChaineCtrlFormat(reinterpret_cast<const char*>(sCtrl.pucValeur),
                                            sCtrl.ulLongueur, sInfo.cType, &ulSignificative);
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL,
           "Controle du champ suivant son type : bRetour= 0x%04x (1/OK)",
           static_cast<unsigned>(bRetour));
  if (bRetour != 1) {
    // Deviation: a check that failed for want of memory is 0xF801, not the field's error.
    return sortir(sCtrl, faute_de_memoire(ulRefus) ? MC_ERR_MEMOIRE : usCodeChamp,
                  Sortie::kErreur);
  }
  if (++*pusNbLus > usNbChamps) {
    return sortir(sCtrl, code_nombre_champs(sCtrl.usGroupe), Sortie::kErreur);
  }
  if (!mc::longueur_conforme(sInfo.lObligatoire, sInfo.usLongueurMin, sInfo.usLongueurMax, ulSignificative)) {
    return sortir(sCtrl, usCodeChamp, Sortie::kErreur);
  }
  if (sInfo.usNbValeurs != 0 && ulSignificative != 0) {
    return controler_valeurs(sCtrl, usCodeGroupe, sInfo, usCodeChamp);
  }
  return std::nullopt;
}

// One group of the zone against the dictionary: known, its fields one by one, then its end.
// An exit code, or nothing when the walk goes on (with the group end's code in usResultat).
std::optional<uint16_t> controler_groupe(Controle& sCtrl, uint16_t usCodeGroupe) {
  if (!groupe_connu(sCtrl, usCodeGroupe)) {
    const uint16_t usCode = code_groupe_inconnu(sCtrl.usGroupe);
    // Kept: the code is printed in decimal after "0x".
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR groupe inconnu = 0x%d",
             static_cast<int>(usCodeGroupe));
    MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR usResultat= 0x%04x",
             static_cast<unsigned>(usCode));
    // Kept: this exit keeps the group list and leaves the cursor on the unknown group.
    return sortir(sCtrl, usCode, Sortie::kGarder);
  }

  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNbChamps = 0;  // n
  const uint16_t usCr = MC_usDonnerInformationChamp(usCodeGroupe, &psInfos, &usNbChamps);
  const mc::Tampon<MC_InformationChamp> infos(psInfos);
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, " MC_usDonnerInformationChamp= 0x%04x",
           static_cast<unsigned>(usCr));
  if (usCr != MC_CR_OK) {
    // Kept: the cursor stays where the failed query left it.
    return sortir(sCtrl, usCr, Sortie::kRendreListe);
  }
  sCtrl.usBase = static_cast<uint16_t>(sCtrl.usBase + usNbChamps);

  uint16_t usNbLus = 0;
  for (uint16_t usPosition = 0; usPosition < usNbChamps; ++usPosition) {
    // The record is taken by its position; the allowed values by the number read from the
    // zone (the two agree in a zone walked from its group's start).
    if (auto sortie = controler_champ(sCtrl, usCodeGroupe, infos.get()[usPosition], usNbChamps,
                                      &usNbLus)) {
      return sortie;
    }
  }

  uint32_t ulFinGroupe = 0;
  sCtrl.usResultat = MC_usFinGroupe(sCtrl.usZone, &ulFinGroupe);
  if (sCtrl.usResultat == MC_CR_OK && ulFinGroupe == 0) {
    return sortir(sCtrl, code_nombre_champs(sCtrl.usGroupe), Sortie::kErreur);
  }
  return std::nullopt;
}

// The end of the walk: its code, the list back, the cursor to the start, the last lines.
uint16_t terminer(Controle& sCtrl) {
  uint16_t usResultat = sCtrl.usResultat;
  if (usResultat == MC_ERR_FIN) {
    if (sCtrl.bFinDesGroupes && sCtrl.usNbGroupes != 0) {
      usResultat = MC_CR_OK;
    } else {
      // Kept: with an empty dictionary the end of the walk names the group after the last; an
      // end reported by the group-end test names the current group the same way.
      usResultat = code_groupe_inconnu(sCtrl.usGroupe);
      MC_TRACE(kModule, kTrcFormat, MC_TRACE_ERREUR, "ERREUR  groupe inconnu, usResultat= 0x%04x",
               static_cast<unsigned>(usResultat));
    }
  }
  MC_Liberer(sCtrl.pusListe);
  MC_usPositionnerDebut(sCtrl.usZone);
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_DETAIL, "MC_usControlerFormatZoneMemoire:usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_SORTIE, "FIN de la fonction MC_usControlerFormatZoneMemoire");
  return usResultat;
}

}  // namespace

extern "C" MC_API uint16_t MC_usControlerFormatZoneMemoire(uint16_t usZone) {
  if (mc::g_fichierTrace == nullptr) {
    // The same answers without allocating; the requests below are accounted all the same.
    return mc::controler_format_sans_trace(usZone);
  }
  MC_TRACE(kModule, kTrcFormat, MC_TRACE_ENTREE, "%s", kNom);
  Controle sCtrl;
  sCtrl.usZone = usZone;
  preparer(sCtrl);
  while (sCtrl.usResultat == MC_CR_OK) {
    uint16_t usCodeGroupe = 0;
    if (!groupe_suivant(sCtrl, &usCodeGroupe)) {
      break;
    }
    if (auto sortie = controler_groupe(sCtrl, usCodeGroupe)) {
      return *sortie;
    }
  }
  return terminer(sCtrl);
}
