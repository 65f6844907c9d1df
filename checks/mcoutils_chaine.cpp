// mcoutils_chaine.cpp -- character class checks of field values, their reduction to the
// significant part by field type, comparison, and conversion of a free text to the restricted set.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "checks/mcoutils.h"
#include "common/mcholder.h"
#include "runtime/mctrace.h"

namespace {

constexpr char kBlanc = ' ';

// A character as the platform's class table sees it: taken as a signed byte. The table's
// negative half repeats the upper half of the byte range, but -1 is EOF and has no class; the
// value returned is a valid argument of the <cctype> functions either way.
int classe(char c) {
  const auto sc = static_cast<signed char>(c);
  return sc == EOF ? EOF : static_cast<unsigned char>(c);
}

bool est_chiffre(char c) { return isdigit(classe(c)) != 0; }
bool est_majuscule(char c) { return isupper(classe(c)) != 0; }
bool est_minuscule(char c) { return islower(classe(c)) != 0; }
bool est_blanc(char c) { return c == kBlanc; }

uint32_t sans_blancs_finaux(const char* pc, uint32_t ulLongueur) {
  while (ulLongueur > 0 && pc[ulLongueur - 1] == kBlanc) {
    --ulLongueur;
  }
  return ulLongueur;
}

// The class checks shared by the reductions: 'D' is checked as numeric only. On success returns
// true and the significant length (without trailing blanks for 'A' and 'L').
bool controler_type(const char* pcChaine, uint32_t ulLongueur, int8_t cType,
                    uint32_t* pulSignificative) {
  bool bOk = true;
  uint32_t ulSignificative = ulLongueur;
  switch (cType) {
    case mc::kTypeDate:
    case mc::kTypeNumerique:
      bOk = MC_bEstNumerique(pcChaine) != 0;
      break;
    case mc::kTypeAlphaNumerique:
      bOk = MC_bEstAlphaNumerique(pcChaine) != 0;
      ulSignificative = sans_blancs_finaux(pcChaine, ulLongueur);
      break;
    case mc::kTypeAlphabetique:
      bOk = MC_bEstAlphabetique(pcChaine) != 0;
      ulSignificative = sans_blancs_finaux(pcChaine, ulLongueur);
      break;
    default:
      break;
  }
  *pulSignificative = ulSignificative;
  return bOk;
}

// A NUL-terminated copy of ulLongueur bytes, or an empty holder when the heap refuses or the
// length leaves no room for the zero.
mc::Tampon<char> copier_valeur(const char* pcValeur, uint32_t ulLongueur) {
  // Deviation: a null value of non-zero length fails like a refused copy (the first form read it).
  if (ulLongueur == UINT32_MAX || (pcValeur == nullptr && ulLongueur != 0)) {
    return mc::Tampon<char>();
  }
  mc::Tampon<char> copie = mc::allouer<char>(size_t{ulLongueur} + 1);
  if (copie) {
    if (ulLongueur != 0) {  // an empty value may come without an address
      memcpy(copie.get(), pcValeur, ulLongueur);
    }
    copie.get()[ulLongueur] = '\0';
  }
  return copie;
}

}  // namespace

extern "C" MC_API int32_t MC_bEstNumerique(const char* pcChaine) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bEstNumerique");
  // Deviation: a null text is not a string of the class (the first form read through it).
  int32_t bResultat = pcChaine != nullptr ? 1 : 0;
  for (const char* pc = pcChaine; pc != nullptr && *pc != '\0'; ++pc) {
    if (!est_chiffre(*pc)) {
      bResultat = 0;
      break;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           bResultat != 0 ? "chaine valide" : "chaine invalide");
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bEstNumerique");
  return bResultat;
}

extern "C" MC_API int32_t MC_bEstAlphaNumerique(const char* pcChaine) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bEstAlphaNumerique");
  // Deviation: a null text is not a string of the class (the first form read through it).
  int32_t bResultat = pcChaine != nullptr ? 1 : 0;
  // Kept: lower-case letters are refused.
  for (const char* pc = pcChaine; pc != nullptr && *pc != '\0'; ++pc) {
    if (!est_chiffre(*pc) && !est_majuscule(*pc) && !est_blanc(*pc)) {
      bResultat = 0;
      break;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bEstAlphaNumerique");
  return bResultat;
}

extern "C" MC_API int32_t MC_bEstAlphabetique(const char* pcChaine) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bEstAlphabetique");
  // Deviation: a null text is not a string of the class (the first form read through it).
  int32_t bResultat = pcChaine != nullptr ? 1 : 0;
  // Kept: lower-case letters are refused.
  for (const char* pc = pcChaine; pc != nullptr && *pc != '\0'; ++pc) {
    if (!est_majuscule(*pc) && !est_blanc(*pc)) {
      bResultat = 0;
      break;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bEstAlphabetique");
  return bResultat;
}

extern "C" MC_API int32_t MC_bCompareChaine(const char* pcChaine1, const char* pcChaine2) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bCompareChaine");
  int32_t bResultat = 0;
  if (pcChaine1 != nullptr && pcChaine2 != nullptr) {
    bResultat = strcasecmp(pcChaine1, pcChaine2) == 0 ? 1 : 0;
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bCompareChaine");
  return bResultat;
}

namespace mc {

int32_t bChaineCtrlFormat(const char* pcValeur, uint32_t ulLongueur, int8_t cType,
                          uint32_t* pulLongueurSignificative) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "bReduireChaineCtrlFormat");
  int32_t bResultat = 0;
  const mc::Tampon<char> copie = copier_valeur(pcValeur, ulLongueur);
  if (copie) {
    const char* pcCopie = copie.get();
    uint32_t ulSignificative = ulLongueur;
    switch (cType) {
      case mc::kTypeDate:
        bResultat = MC_bEstNumerique(pcCopie);
        MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
                 "MC_bEstNumerique:bResultat = 0x%04x", static_cast<unsigned>(bResultat));
        if (bResultat != 0) {
          // Only this check looks at dates; the reductions take a date as digits.
          bResultat = MC_bEstDateChaineValide(pcCopie);
        }
        break;
      case mc::kTypeAlphaNumerique:
        bResultat = MC_bEstAlphaNumerique(pcCopie);
        MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
                 "MC_bEstAlphaNumerique:bResultat = 0x%04x", static_cast<unsigned>(bResultat));
        ulSignificative = sans_blancs_finaux(pcCopie, ulLongueur);
        break;
      case mc::kTypeAlphabetique:
        bResultat = MC_bEstAlphabetique(pcCopie);
        MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
                 "MC_bEstAlphabetique:bResultat = 0x%04x", static_cast<unsigned>(bResultat));
        ulSignificative = sans_blancs_finaux(pcCopie, ulLongueur);
        break;
      case mc::kTypeNumerique:
        bResultat = MC_bEstNumerique(pcCopie);
        MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
                 "MC_bEstNumerique:bResultat = 0x%04x", static_cast<unsigned>(bResultat));
        break;
      default:
        bResultat = 1;
        break;
    }
    if (bResultat != 0) {
      *pulLongueurSignificative = ulSignificative;
    }
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL,
           "bReduireChaineCtrlFormat:bResultat = 0x%04x", static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "bReduireChaineCtrlFormat");
  return bResultat;
}

}  // namespace mc

namespace {
// How many of the ulLongueur bytes, from the first, have one of the classes of usMasque in the
// platform's table (blanks too when bBlanc), the classes est_chiffre and est_majuscule test, read
// once for the whole value. A zero byte has none of them.
constexpr auto kChiffre = static_cast<unsigned short>(_ISdigit);
constexpr auto kMajuscule = static_cast<unsigned short>(_ISupper);

uint32_t prefixe(const char* pc, uint32_t ulLongueur, unsigned short usMasque, bool bBlanc) {
  const unsigned short* const pusClasses = *__ctype_b_loc();
  uint32_t i = 0;
  while (i < ulLongueur &&
         ((pusClasses[classe(pc[i])] & usMasque) != 0 || (bBlanc && est_blanc(pc[i])))) {
    ++i;
  }
  return i;
}
}  // namespace

bool mc::type_valide(const char* pcValeur, uint32_t ulLongueur, int8_t cType,
                     uint32_t* pulLongueurSignificative, bool* pbEntier) {
  uint32_t ulSignificative = ulLongueur;
  uint32_t ulLus = ulLongueur;  // the bytes before the first that stops the check
  switch (cType) {
    case kTypeDate:
    case kTypeNumerique:
      ulLus = prefixe(pcValeur, ulLongueur, kChiffre, false);
      break;
    case kTypeAlphaNumerique:
      ulLus = prefixe(pcValeur, ulLongueur, kChiffre | kMajuscule, true);
      ulSignificative = sans_blancs_finaux(pcValeur, ulLongueur);
      break;
    case kTypeAlphabetique:
      ulLus = prefixe(pcValeur, ulLongueur, kMajuscule, true);
      ulSignificative = sans_blancs_finaux(pcValeur, ulLongueur);
      break;
    default:
      if (pbEntier != nullptr) {
        const auto* pcZero = static_cast<const char*>(memchr(pcValeur, '\0', ulLongueur));
        ulLus = pcZero != nullptr ? static_cast<uint32_t>(pcZero - pcValeur) : ulLongueur;
      }
      break;
  }
  // The check ends at the first zero byte: what follows it is not looked at.
  bool bOk = ulLus == ulLongueur || pcValeur[ulLus] == '\0';
  if (bOk && cType == kTypeDate) {
    bOk = date_valide(pcValeur, static_cast<uint16_t>(ulLus));
  }
  if (pbEntier != nullptr) {
    *pbEntier = ulLus == ulLongueur;
  }
  if (bOk) {
    *pulLongueurSignificative = ulSignificative;
  }
  return bOk;
}

extern "C" MC_API int32_t MC_bReduireChaineCtrl(const char* pcValeur, char** ppcReduite,
                                                uint32_t ulLongueur, int8_t cType,
                                                uint32_t* pulLongueurReduite) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bReduireChaineCtrl");
  int32_t bResultat = 0;
  mc::Tampon<char> copie = copier_valeur(pcValeur, ulLongueur);
  if (copie) {
    uint32_t ulSignificative = 0;
    // Kept: a date is checked as digits only here, not as a date.
    if (controler_type(copie.get(), ulLongueur, cType, &ulSignificative)) {
      copie.get()[ulSignificative] = '\0';
      *pulLongueurReduite = ulSignificative;
      bResultat = 1;
    }
  }
  *ppcReduite = copie.release();
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "MC_bReduireChaine:bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  // Kept: the exit line carries the name of the in-place reduction.
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bReduireChaine");
  return bResultat;
}

extern "C" MC_API int32_t MC_bReduireChaine(char* pcChaine, uint32_t ulLongueur, int8_t cType,
                                            uint32_t* pulLongueurReduite) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bReduireChaine");
  int32_t bResultat = 0;
  uint32_t ulSignificative = 0;
  // Deviation: a null string fails its check instead of being read and written through.
  if (pcChaine != nullptr && controler_type(pcChaine, ulLongueur, cType, &ulSignificative)) {
    if (cType == mc::kTypeNumerique) {
      // Only this reduction drops leading zeros; one digit always stays.
      uint32_t ulZeros = 0;
      while (ulSignificative - ulZeros > 1 && pcChaine[ulZeros] == '0') {
        ++ulZeros;
      }
      ulSignificative -= ulZeros;
      memmove(pcChaine, pcChaine + ulZeros, ulSignificative);
    }
    pcChaine[ulSignificative] = '\0';
    *pulLongueurReduite = ulSignificative;
    bResultat = 1;
  }
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_DETAIL, "MC_bReduireChaine:bResultat = 0x%04x",
           static_cast<unsigned>(bResultat));
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bReduireChaine");
  return bResultat;
}

extern "C" MC_API int32_t MC_bConvertirEtenduEnAlpha(const char* pcTexte, char** ppcResultat,
                                                     uint32_t* pulLongueur, int32_t bConserver) {
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_ENTREE, "MC_bConvertirEtenduEnAlpha");
  // Deviation: a null text converts to nothing and fails (the first form read through it).
  if (pcTexte == nullptr) {
    if (ppcResultat != nullptr) {
      *ppcResultat = nullptr;
    }
    MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bConvertirEtenduEnAlpha");
    return 0;
  }
  const auto usLongueur = static_cast<uint16_t>(strlen(pcTexte));
  // Positions 0 to L are read, the text's terminating zero included, and a zero follows what
  // is written: L + 2 bytes, also for the empty text.
  mc::Tampon<char> resultat = mc::allouer<char>(size_t{usLongueur} + 2);
  int32_t bResultat = 0;
  if (resultat) {
    char* pcResultat = resultat.get();
    uint32_t ulEcrits = 0;
    // Kept: the terminating zero is processed like any other character.
    for (uint32_t i = 0; i <= usLongueur; ++i) {
      const char c = pcTexte[i];
      if (est_blanc(c) || est_majuscule(c) || est_chiffre(c)) {
        pcResultat[ulEcrits++] = c;
      } else if (est_minuscule(c)) {
        pcResultat[ulEcrits++] = static_cast<char>(toupper(classe(c)));
      } else if (bConserver == 0) {
        pcResultat[ulEcrits++] = kBlanc;
      }
    }
    pcResultat[ulEcrits] = '\0';
    *pulLongueur = ulEcrits;
    constexpr int8_t kSansType = 2;
    bResultat = MC_bReduireChaine(pcResultat, ulEcrits, kSansType, pulLongueur);
  }
  *ppcResultat = resultat.release();
  MC_TRACE(mc::kModule, mc::kTrcOutils, MC_TRACE_SORTIE, "MC_bConvertirEtenduEnAlpha");
  return bResultat;
}
