// mcindex.cpp -- the dictionary index (the first entry of each group code) and the format control
// of a zone while tracing is off.
#include "dictionary/mcindex.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

#include "checks/mcoutils.h"
#include "runtime/mcmemoir.h"

namespace mc {
namespace {

constexpr uint32_t kNbCodes = 0x10000;    // every 16-bit group code
constexpr uint32_t kAbsent = UINT32_MAX;  // no entry holds the code

// What the index was built from: the group table, its count, and the loads seen.
struct Cle {
  const MC_GroupeDictionnaire* psGroupes;
  uint32_t ulNbGroupes;
  uint32_t ulChargement;
  bool operator==(const Cle&) const = default;
};

uint32_t s_ulChargement = 0;
Cle s_cle{};
bool s_bConstruit = false;
// For each code, the position of its first entry: static, so that no lookup ever allocates.
uint32_t s_aulPremiere[kNbCodes];

// Builds the index again when the tables changed since it was built.
void mettre_a_jour() {
  const Cle cle{g_stTabGrp, g_ulNbTabGrp, s_ulChargement};
  if (s_bConstruit && cle == s_cle) {
    return;
  }
  std::fill_n(s_aulPremiere, kNbCodes, kAbsent);
  if (g_stTabGrp != nullptr) {
    // From the end, so that the first entry of a code is the one that stays.
    for (uint32_t ul = g_ulNbTabGrp; ul-- > 0;) {
      s_aulPremiere[g_stTabGrp[ul].usCodeGroupe] = ul;
    }
  }
  s_cle = cle;
  s_bConstruit = true;
}

// Codes of the control, in 16 bits like the traced control's.
uint16_t code_groupe_inconnu(uint16_t usGroupe) {
  return static_cast<uint16_t>(MC_ERR_GROUPE_INCONNU + usGroupe);
}
uint16_t code_nombre_champs(uint16_t usGroupe) {
  return static_cast<uint16_t>(MC_ERR_NOMBRE_CHAMPS + usGroupe);
}
uint16_t code_champ(uint16_t usBase, uint16_t usNbChamps, uint16_t usNumChamp) {
  return static_cast<uint16_t>(MC_ERR_FORMAT_CHAMP + static_cast<uint16_t>(usBase - usNbChamps) +
                               usNumChamp);
}

// The request of a NUL-terminated copy of a value, as the traced control makes it for its
// detail line, its type check and its reduction.
void compter_copie(uint32_t ulLongueur) {
  if (ulLongueur != UINT32_MAX) {  // that copy is never requested: no room for the zero
    compter_sans_allouer(ulLongueur + 1);
  }
}

enum class Valeur { Autorisee, Refusee, Illisible };

// The value (significant length s, s not 0) against the field's allowed values, read by the
// field number found in the zone. The traced control compares the value's reduced copy, a C
// string that ends at s or at the value's first zero byte, with each allowed value as stored,
// ignoring case: the allowed values are neither copied nor reduced here either.
Valeur valeur_autorisee(const MC_GroupeDictionnaire& sGroupe, uint16_t usNumChamp,
                        uint16_t usNbValeurs, const char* pcValeur, uint32_t ulSignificative) {
  const auto* pcZero = static_cast<const char*>(memchr(pcValeur, '\0', ulSignificative));
  const size_t stReduite = pcZero != nullptr ? static_cast<size_t>(pcZero - pcValeur) : ulSignificative;
  bool bTrouvee = false;
  // Every allowed value is read and its copy requested, also after a match.
  for (uint32_t ulValeur = 1; ulValeur <= usNbValeurs; ++ulValeur) {
    const char* pcAutorisee = valeur_du_champ(sGroupe, static_cast<uint8_t>(usNumChamp),
                                              static_cast<uint8_t>(ulValeur));
    if (pcAutorisee == nullptr) {
      return Valeur::Illisible;
    }
    const size_t stLongueur = strlen(pcAutorisee);
    compter_sans_allouer(static_cast<uint32_t>(stLongueur + 1));
    // Equal ignoring case needs equal lengths: no character lowers to the zero byte.
    bTrouvee = bTrouvee ||
               (stLongueur == stReduite && strncasecmp(pcValeur, pcAutorisee, stReduite) == 0);
  }
  return bTrouvee ? Valeur::Autorisee : Valeur::Refusee;
}

}  // namespace

bool premier_groupe(uint16_t usCodeGroupe, uint32_t* pulPosition) {
  mettre_a_jour();
  *pulPosition = s_aulPremiere[usCodeGroupe];
  return *pulPosition != kAbsent;
}

void invalider_index() { ++s_ulChargement; }

const char* valeur_du_champ(const MC_GroupeDictionnaire& sGroupe, uint8_t ucNumChamp,
                            uint8_t ucNumValeur) {
  const auto usChamp = static_cast<uint16_t>(sGroupe.usPremierChamp + ucNumChamp - 1);
  if (g_stTabChp == nullptr || usChamp >= g_ulNbTabChp) {
    return nullptr;
  }
  const auto usValeur =
      static_cast<uint16_t>(g_stTabChp[usChamp].usPremiereValeur + ucNumValeur - 1);
  if (g_cTabVal == nullptr || usValeur >= g_ulNbTabVal) {
    return nullptr;
  }
  return g_cTabVal[usValeur];
}

// The steps of the traced control, its trace lines left out and each of its allocations replaced
// by the request it adds to the accounted memory.
uint16_t controler_format_sans_trace(uint16_t usZone) {
  uint16_t usResultat = MC_usControlerSyntaxeZoneMemoire(usZone);
  if (usResultat == MC_CR_OK) {
    usResultat = MC_usPositionnerDebut(usZone);
  }
  uint16_t usNbGroupes = 0;  // the group list: its first usNbGroupes entries are searched
  if (usResultat == MC_CR_OK) {
    compter_sans_allouer(g_ulNbTabGrp * 2u);
    usNbGroupes = static_cast<uint16_t>(g_ulNbTabGrp);
  }
  const auto remettre_au_debut = [usZone](uint16_t usCode) {
    MC_usPositionnerDebut(usZone);
    return usCode;
  };

  uint16_t usGroupe = 0;  // g
  uint16_t usBase = 0;    // b
  uint16_t usNumChamp = 0;
  unsigned char* pucValeur = nullptr;
  uint32_t ulLongueur = 0;
  bool bFinDesGroupes = false;
  while (usResultat == MC_CR_OK) {
    ++usGroupe;
    uint16_t usCodeGroupe = 0;
    usResultat = MC_usAvancerGroupeSuivant(usZone, 1, 1, &usCodeGroupe);
    if (usResultat == MC_ERR_FIN) {
      bFinDesGroupes = true;
      break;
    }
    if (usResultat != MC_CR_OK) {
      break;
    }
    uint32_t ulPosition = 0;
    if (!premier_groupe(usCodeGroupe, &ulPosition) || ulPosition >= usNbGroupes) {
      // Kept: the cursor stays on the unknown group.
      return code_groupe_inconnu(usGroupe);
    }
    // Found in the list, so the field information's 16-bit search finds the same entry.
    const MC_GroupeDictionnaire& sGroupe = g_stTabGrp[ulPosition];
    const uint16_t usNbChamps = sGroupe.usNbChamps;  // n
    compter_sans_allouer(static_cast<uint32_t>(usNbChamps * sizeof(MC_InformationChamp)));
    if (usNbChamps != 0 &&
        (g_stTabChp == nullptr || uint32_t{sGroupe.usPremierChamp} + usNbChamps > g_ulNbTabChp)) {
      // Kept: the field information fails and the cursor stays where it is.
      return MC_ERR_FIN;
    }
    usBase = static_cast<uint16_t>(usBase + usNbChamps);

    uint16_t usNbLus = 0;
    for (uint16_t usPosition = 0; usPosition < usNbChamps; ++usPosition) {
      const uint16_t usCr =
          MC_usAvancerChampSuivant(usZone, 1, &usNumChamp, &pucValeur, &ulLongueur);
      compter_copie(ulLongueur);  // the detail line's copy, of the last field read
      if (usCr == MC_ERR_FIN) {
        return remettre_au_debut(code_nombre_champs(usGroupe));
      }
      if (usCr != MC_CR_OK) {
        return remettre_au_debut(usCr);
      }
      const MC_ChampDictionnaire& sChamp = g_stTabChp[sGroupe.usPremierChamp + usPosition];
      const uint16_t usCodeChamp = code_champ(usBase, usNbChamps, usNumChamp);
      const auto* pcValeur = reinterpret_cast<const char*>(pucValeur);
      uint32_t ulSignificative = 0;
      compter_copie(ulLongueur);
      if (!type_valide(pcValeur, ulLongueur, sChamp.cType, &ulSignificative)) {
        return remettre_au_debut(usCodeChamp);
      }
      if (++usNbLus > usNbChamps) {
        return remettre_au_debut(code_nombre_champs(usGroupe));
      }
      const uint16_t usMin = sChamp.usLongueurMin;
      const uint16_t usMax = sChamp.usLongueurMax;
      if (ulSignificative != 0) {
        if (ulSignificative < usMin || (usMax != 0 && ulSignificative > usMax)) {
          return remettre_au_debut(usCodeChamp);
        }
      } else if (usMin != 0 && sChamp.lObligatoire == 1) {
        return remettre_au_debut(usCodeChamp);
      }
      if (sChamp.usNbValeurs != 0 && ulSignificative != 0) {
        compter_copie(ulLongueur);
        switch (valeur_autorisee(sGroupe, usNumChamp, sChamp.usNbValeurs, pcValeur,
                                 ulSignificative)) {
          case Valeur::Illisible:
            // Kept: the cursor stays on the field.
            return code_groupe_inconnu(usGroupe);
          case Valeur::Refusee:
            return remettre_au_debut(usCodeChamp);
          case Valeur::Autorisee:
            break;
        }
      }
    }

    uint32_t ulFinGroupe = 0;
    usResultat = MC_usFinGroupe(usZone, &ulFinGroupe);
    if (usResultat == MC_CR_OK && ulFinGroupe == 0) {
      return remettre_au_debut(code_nombre_champs(usGroupe));
    }
  }

  if (usResultat == MC_ERR_FIN) {
    // Kept: with an empty dictionary the end of the walk names the group after the last; an
    // end reported by the group-end test names the current group the same way.
    usResultat = bFinDesGroupes && usNbGroupes != 0 ? MC_CR_OK : code_groupe_inconnu(usGroupe);
  }
  return remettre_au_debut(usResultat);
}

}  // namespace mc
