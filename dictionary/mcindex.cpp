// mcindex.cpp -- the dictionary index (the first entry of each group code) and the format control
// of a zone while tracing is off.
#include "dictionary/mcindex.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "checks/mcoutils.h"
#include "dictionary/mctab.h"
#include "runtime/mcmemoir.h"
#include "zone/mczone.h"

namespace mc {
namespace {

constexpr uint32_t kNbCodes = 0x10000;     // every 16-bit group code
constexpr uint32_t kAbsent = UINT32_MAX;   // no entry holds the code
constexpr uint32_t kNbValeurs = 0x10000;   // value indexes are computed in 16 bits
constexpr uint16_t kLongue = UINT16_MAX;   // a value too long for its length to be kept

// What the index was built from: the tables, their counts, and the loads seen.
struct Cle {
  const MC_GroupeDictionnaire* psGroupes;
  uint32_t ulNbGroupes;
  char* const* ppcValeurs;
  uint32_t ulNbValeurs;
  uint32_t ulChargement;
  bool operator==(const Cle&) const = default;
};

uint32_t s_ulChargement = 0;
Cle s_cle{};
bool s_bConstruit = false;
// Static, so that no lookup ever allocates: for each code the position of its first entry, and
// the length of each value the 16-bit indexes reach.
uint32_t s_aulPremiere[kNbCodes];
uint16_t s_ausLongueur[kNbValeurs];

// Builds the index again when the tables changed since it was built.
void mettre_a_jour() {
  const Cle cle{g_stTabGrp, g_ulNbTabGrp, g_cTabVal, g_ulNbTabVal, s_ulChargement};
  if (s_bConstruit && cle == s_cle) {
    return;
  }
  std::fill_n(s_aulPremiere, kNbCodes, kAbsent);
  if (g_stTabGrp != nullptr) {
    // From the end, so that the first entry of a code is the one that stays.
    for (uint32_t ul = lignes_groupes(); ul-- > 0;) {
      s_aulPremiere[g_stTabGrp[ul].usCodeGroupe] = ul;
    }
  }
  for (uint32_t ul = 0; g_cTabVal != nullptr && ul < std::min(lignes_valeurs(), kNbValeurs); ++ul) {
    const char* pcValeur = g_cTabVal[ul];
    s_ausLongueur[ul] = static_cast<uint16_t>(
        pcValeur != nullptr ? std::min<size_t>(strlen(pcValeur), kLongue) : 0);
  }
  s_cle = cle;
  s_bConstruit = true;
}

// The requests of one control, added to the accounted memory in runs: a run that stays below
// 2^32 raises both counters as its requests one by one would, and a request that makes the count
// wrap is added alone, after the run before it.
class Demandes {
 public:
  Demandes() : ulTotal_(memoire_allouee()) {}
  ~Demandes() { vider(); }
  Demandes(const Demandes&) = delete;
  Demandes& operator=(const Demandes&) = delete;

  void ajouter(uint32_t ulTaille) {
    if (ulTotal_ + ulTaille < ulTotal_) {
      vider();
      compter_sans_allouer(ulTaille);
    } else {
      ulEnAttente_ += ulTaille;
    }
    ulTotal_ += ulTaille;
  }
  // A NUL-terminated copy of a value, as the traced control takes for its detail line, its type
  // check and its reduction; never requested for a value of UINT32_MAX bytes (no room for the zero).
  void ajouter_copie(uint32_t ulLongueur) {
    if (ulLongueur != UINT32_MAX) {
      ajouter(ulLongueur + 1);
    }
  }

 private:
  void vider() {
    compter_sans_allouer(ulEnAttente_);
    ulEnAttente_ = 0;
  }
  uint32_t ulTotal_;
  uint32_t ulEnAttente_ = 0;
};

enum class Valeur { Autorisee, Refusee, Illisible };

// The first n characters of both equal through the locale's lower-case table plMinuscules.
bool egales_sans_casse(const int32_t* plMinuscules, const char* pcA, const char* pcB, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (plMinuscules[static_cast<unsigned char>(pcA[i])] != plMinuscules[static_cast<unsigned char>(pcB[i])]) {
      return false;
    }
  }
  return true;
}

// The value (significant length s, s not 0) against the field's allowed values, read by the
// field number found in the zone. The traced control compares the value's reduced copy, a C
// string that ends at s or at the value's first zero byte, with each allowed value as stored,
// ignoring case as strcasecmp does (the current locale's lower-case table): the allowed values
// are neither copied nor reduced here either, only their lengths are kept.
Valeur valeur_autorisee(const MC_GroupeDictionnaire& sGroupe, uint16_t usNumChamp,
                        uint16_t usNbValeurs, const char* pcValeur, uint32_t ulSignificative,
                        Demandes& demandes) {
  const auto* pcZero = static_cast<const char*>(memchr(pcValeur, '\0', ulSignificative));
  const size_t stReduite = pcZero != nullptr ? static_cast<size_t>(pcZero - pcValeur) : ulSignificative;
  const int32_t* const plMinuscules = *__ctype_tolower_loc();
  bool bTrouvee = false;
  // Every allowed value is read and its copy requested, also after a match.
  for (uint32_t ulValeur = 1; ulValeur <= usNbValeurs; ++ulValeur) {
    uint16_t usIndex = 0;
    const char* pcAutorisee = valeur_du_champ(sGroupe, static_cast<uint8_t>(usNumChamp),
                                              static_cast<uint8_t>(ulValeur), &usIndex);
    if (pcAutorisee == nullptr) {
      return Valeur::Illisible;
    }
    const size_t stLongueur =
        s_ausLongueur[usIndex] != kLongue ? s_ausLongueur[usIndex] : strlen(pcAutorisee);
    demandes.ajouter(static_cast<uint32_t>(stLongueur + 1));
    // Equal ignoring case needs equal lengths: no character lowers to the zero byte.
    bTrouvee = bTrouvee ||
               (stLongueur == stReduite && egales_sans_casse(plMinuscules, pcValeur, pcAutorisee, stReduite));
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
                            uint8_t ucNumValeur, uint16_t* pusIndex) {
  const auto usChamp = static_cast<uint16_t>(sGroupe.usPremierChamp + ucNumChamp - 1);
  if (g_stTabChp == nullptr || usChamp >= lignes_champs()) {
    return nullptr;
  }
  const auto usValeur =
      static_cast<uint16_t>(g_stTabChp[usChamp].usPremiereValeur + ucNumValeur - 1);
  if (g_cTabVal == nullptr || usValeur >= lignes_valeurs()) {
    return nullptr;
  }
  if (pusIndex != nullptr) {
    *pusIndex = usValeur;
  }
  return g_cTabVal[usValeur];
}

namespace {

// One pass over the bytes of a zone whose syntax has been checked, for the common case where
// every group and field passes: true then, with *pullDemandes the bytes the step-by-step walk
// below would add to the accounted memory. False as soon as anything would not pass or is out
// of the ordinary (a zero byte in a value, a field number or a value count past 255, a length
// not kept in the index); the caller then takes that walk, which gives the exact code and cursor.
// Reads the zone and the tables only.
bool zone_conforme(const ZoneMemoire& z, uint16_t usNbGroupes, uint64_t* pullDemandes) {
  const uint8_t* const pucBuffer = z.Buffer;
  const uint32_t ulTaille = z.TailleDonnees;
  const uint32_t ulNbChamps = g_stTabChp != nullptr ? lignes_champs() : 0;
  const uint32_t ulNbValeurs = g_cTabVal != nullptr ? lignes_valeurs() : 0;
  const int32_t* const plMinuscules = *__ctype_tolower_loc();
  uint64_t ullDemandes = g_ulNbTabGrp * 2u;
  uint64_t ullGroupe = 0;
  while (ullGroupe < ulTaille) {
    const auto ulGroupe = static_cast<uint32_t>(ullGroupe);
    uint16_t usCode = 0;
    uint32_t ulLongueurGroupe = 0;
    uint32_t ulEntete = 0;
    if (decoder_entete_groupe<false>(pucBuffer, ulTaille, ulGroupe, &usCode, &ulLongueurGroupe,
                                     &ulEntete) != MC_CR_OK) {
      return false;
    }
    const uint64_t ullFinGroupe = uint64_t{ulGroupe} + ulEntete + ulLongueurGroupe;
    const uint32_t ulPosition = s_aulPremiere[usCode];
    if (ullFinGroupe > ulTaille || ulPosition == kAbsent || ulPosition >= usNbGroupes) {
      return false;
    }
    const MC_GroupeDictionnaire& sGroupe = g_stTabGrp[ulPosition];
    const uint32_t ulNbAttendus = sGroupe.usNbChamps;
    if (ulNbAttendus > 255 || uint32_t{sGroupe.usPremierChamp} + ulNbAttendus > ulNbChamps) {
      return false;
    }
    ullDemandes += static_cast<uint32_t>(ulNbAttendus * sizeof(MC_InformationChamp));
    uint64_t ullChamp = uint64_t{ulGroupe} + ulEntete;
    uint32_t ulNbLus = 0;
    for (; ullChamp < ullFinGroupe; ++ulNbLus) {
      uint32_t ulLongueur = 0;
      uint32_t ulOctets = 0;
      if (ulNbLus == ulNbAttendus ||
          decoder_longueur<false>(pucBuffer, ulTaille, static_cast<uint32_t>(ullChamp),
                                  &ulLongueur, &ulOctets) != MC_CR_OK) {
        return false;
      }
      const auto* pcValeur = reinterpret_cast<const char*>(pucBuffer + ullChamp + ulOctets);
      ullChamp += uint64_t{ulOctets} + ulLongueur;
      if (ullChamp > ullFinGroupe) {
        return false;
      }
      const MC_ChampDictionnaire& sChamp = g_stTabChp[sGroupe.usPremierChamp + ulNbLus];
      uint32_t ulSignificative = 0;
      bool bEntier = false;
      if (!type_valide(pcValeur, ulLongueur, sChamp.cType, &ulSignificative, &bEntier) || !bEntier) {
        return false;
      }
      ullDemandes += 2 * (uint64_t{ulLongueur} + 1);
      if (!longueur_conforme(sChamp.lObligatoire, sChamp.usLongueurMin, sChamp.usLongueurMax, ulSignificative)) {
        return false;
      }
      if (sChamp.usNbValeurs == 0 || ulSignificative == 0) {
        continue;
      }
      if (sChamp.usNbValeurs > 255) {
        return false;
      }
      ullDemandes += uint64_t{ulLongueur} + 1;
      bool bTrouvee = false;
      for (uint32_t ulValeur = 0; ulValeur < sChamp.usNbValeurs; ++ulValeur) {
        const auto usIndex = static_cast<uint16_t>(sChamp.usPremiereValeur + ulValeur);
        if (usIndex >= ulNbValeurs || g_cTabVal[usIndex] == nullptr || s_ausLongueur[usIndex] == kLongue) {
          return false;
        }
        const uint32_t ulAutorisee = s_ausLongueur[usIndex];
        ullDemandes += ulAutorisee + 1;
        bTrouvee = bTrouvee || (ulAutorisee == ulSignificative &&
                                egales_sans_casse(plMinuscules, pcValeur, g_cTabVal[usIndex], ulSignificative));
      }
      if (!bTrouvee) {
        return false;
      }
    }
    if (ulNbLus != ulNbAttendus) {
      return false;
    }
    ullGroupe = ullFinGroupe;
  }
  *pullDemandes = ullDemandes;
  return usNbGroupes != 0;
}

}  // namespace

// The steps of the traced control, its trace lines left out and each of its allocations replaced
// by the request it adds to the accounted memory. Once the syntax control has passed, the zone is
// walked by the cursor steps the exported calls take while tracing is off.
uint16_t controler_format_sans_trace(uint16_t usZone) {
  Demandes demandes;
  uint16_t usResultat = MC_usControlerSyntaxeZoneMemoire(usZone);
  if (usResultat == MC_CR_OK) {
    usResultat = MC_usPositionnerDebut(usZone);
  }
  if (usResultat != MC_CR_OK) {
    MC_usPositionnerDebut(usZone);
    return usResultat;
  }
  ZoneMemoire& z = *descripteur(usZone);
  // Only the list's first usNbGroupes entries are searched.
  const auto usNbGroupes = static_cast<uint16_t>(g_ulNbTabGrp);
  mettre_a_jour();
  if (uint64_t ullDemandes = 0; zone_conforme(z, usNbGroupes, &ullDemandes) &&
                                ullDemandes <= UINT32_MAX - memoire_allouee()) {
    compter_sans_allouer(static_cast<uint32_t>(ullDemandes));
    positionner_debut(z);
    return MC_CR_OK;
  }
  demandes.ajouter(g_ulNbTabGrp * 2u);  // the group list
  const auto remettre_au_debut = [&z](uint16_t usCode) {
    positionner_debut(z);
    return usCode;
  };

  uint16_t usGroupe = 0;  // g
  uint16_t usBase = 0;    // b
  uint16_t usNumChamp = 0;
  unsigned char* pucValeur = nullptr;
  uint32_t ulLongueur = 0;
  for (;;) {
    ++usGroupe;
    uint16_t usCodeGroupe = 0;
    usResultat = MC_usAvancerGroupeSuivant(usZone, 1, 1, &usCodeGroupe);
    if (usResultat == MC_ERR_FIN) {
      // Kept: with an empty list the end of the walk names the group after the last.
      return remettre_au_debut(usNbGroupes != 0 ? MC_CR_OK : code_groupe_inconnu(usGroupe));
    }
    if (usResultat != MC_CR_OK) {
      return remettre_au_debut(usResultat);
    }
    uint32_t ulPosition = 0;
    if (!premier_groupe(usCodeGroupe, &ulPosition) || ulPosition >= usNbGroupes) {
      // Kept: the cursor stays on the unknown group.
      return code_groupe_inconnu(usGroupe);
    }
    // Found in the list, so the field information's 16-bit search finds the same entry.
    const MC_GroupeDictionnaire& sGroupe = g_stTabGrp[ulPosition];
    const uint16_t usNbChamps = sGroupe.usNbChamps;  // n
    demandes.ajouter(static_cast<uint32_t>(usNbChamps * sizeof(MC_InformationChamp)));
    if (usNbChamps != 0 &&
        (g_stTabChp == nullptr || uint32_t{sGroupe.usPremierChamp} + usNbChamps > lignes_champs())) {
      // Kept: the field information fails and the cursor stays where it is.
      return MC_ERR_FIN;
    }
    usBase = static_cast<uint16_t>(usBase + usNbChamps);

    uint16_t usNbLus = 0;
    for (uint16_t usPosition = 0; usPosition < usNbChamps; ++usPosition) {
      const uint16_t usCr = avancer_champ_1<false>(z, &usNumChamp, &pucValeur, &ulLongueur);
      demandes.ajouter_copie(ulLongueur);  // the detail line's copy, of the last field read
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
      demandes.ajouter_copie(ulLongueur);
      if (!type_valide(pcValeur, ulLongueur, sChamp.cType, &ulSignificative)) {
        return remettre_au_debut(usCodeChamp);
      }
      if (++usNbLus > usNbChamps) {
        return remettre_au_debut(code_nombre_champs(usGroupe));
      }
      if (!longueur_conforme(sChamp.lObligatoire, sChamp.usLongueurMin, sChamp.usLongueurMax, ulSignificative)) {
        return remettre_au_debut(usCodeChamp);
      }
      if (sChamp.usNbValeurs != 0 && ulSignificative != 0) {
        demandes.ajouter_copie(ulLongueur);
        switch (valeur_autorisee(sGroupe, usNumChamp, sChamp.usNbValeurs, pcValeur,
                                 ulSignificative, demandes)) {
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
    if (!est_fin_groupe(z)) {
      return remettre_au_debut(code_nombre_champs(usGroupe));
    }
  }
}

}  // namespace mc
