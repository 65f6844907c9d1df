// mctab.cpp -- the dictionary tables: loading from tablebin.tbx, freeing, and the three queries.
#include "dictionary/mctab.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dictionary/mcindex.h"
#include "runtime/mctrace.h"
#include "tablefile/mcslot.h"

extern "C" {
MC_API uint32_t g_ulNbTabGrp = 0;
MC_API MC_GroupeDictionnaire* g_stTabGrp = nullptr;
MC_API uint32_t g_ulNbTabChp = 0;
MC_API MC_ChampDictionnaire* g_stTabChp = nullptr;
MC_API uint32_t g_ulNbTabVal = 0;
MC_API char** g_cTabVal = nullptr;
// Kept: declared beside the counts, never read nor written.
MC_API uint32_t g_ulIndTabGrp = 0;
MC_API uint32_t g_ulIndTabChp = 0;
MC_API uint32_t g_ulIndTabVal = 0;
}

static_assert(sizeof(MC_InformationChamp) == 17, "the field information record is packed");

namespace {

using mc::kModule;
using mc::kTrcTables;

// Entries actually allocated behind each table pointer. A load that the file cannot satisfy
// keeps the announced count but has room only for the rows the file could hold; the queries
// never look past this.
uint32_t s_ulPlaceGrp = 0;
uint32_t s_ulPlaceChp = 0;
uint32_t s_ulPlaceVal = 0;


// Bytes from the stream's position to the length measured when the file was opened, which no
// read goes beyond; 0 when the number is not open for reading. No trace lines.
uint64_t octets_restants(uint16_t usNum) {
  const uint64_t ullFin = mc::longueur_ouverture(usNum);
  if (ullFin == 0) {
    return 0;
  }
  const off_t lPosition = ftello(mc::g_etatFichiers.fichiers[usNum - 1].psFichier->pFichier);
  if (lPosition < 0 || static_cast<uint64_t>(lPosition) > ullFin) {
    return 0;
  }
  return ullFin - static_cast<uint64_t>(lPosition);
}

// How many rows a load may attempt: a row takes at least ulOctetsLigne bytes of the file, so
// past the rows the rest of the file holds, one more row can only fail.
uint64_t lignes_possibles(uint16_t usNum, uint32_t ulOctetsLigne) {
  return octets_restants(usNum) / ulOctetsLigne + 1;
}

// The entries to allocate for ulNbLignes announced rows: no more than the rows a load can
// attempt, and no more than its 16-bit row index reaches.
uint32_t place_table(uint32_t ulNbLignes, uint64_t ullPossibles) {
  constexpr uint64_t kIndexMax = uint64_t{UINT16_MAX} + 1;
  return static_cast<uint32_t>(std::min({uint64_t{ulNbLignes}, ullPossibles, kIndexMax}));
}

// Allocates a table of ulPlace entries, zeroed so that rows a failed load never reached read
// as empty; null when the heap refuses.
template <typename T>
T* allouer_table(uint32_t ulPlace) {
  mc::invalider_index();  // the new table may take the address of one given back
  const uint64_t ullTaille = uint64_t{ulPlace} * sizeof(T);
  if (ullTaille > UINT32_MAX) {
    return nullptr;
  }
  auto* pTable = static_cast<T*>(MC_Allouer(static_cast<uint32_t>(ullTaille)));
  if (pTable != nullptr && ullTaille != 0) {
    memset(static_cast<void*>(pTable), 0, static_cast<size_t>(ullTaille));
  }
  return pTable;
}

// Puts a newly loaded array in place of the table's pointer.
template <typename T>
void remplacer_table(T*& pTable, T* pNouvelle) {
  // Deviation: an array loaded before is given back, straight to the heap (no trace line).
  // Its value strings stay, as on every freeing.
  free(static_cast<void*>(pTable));
  pTable = pNouvelle;
}

uint16_t lire_groupe(uint16_t usNum, MC_GroupeDictionnaire& sGroupe) {
  uint16_t usCr = MC_usLireUnsignedShort(usNum, &sGroupe.usCodeGroupe);
  usCr |= MC_usLireUnsignedShort(usNum, &sGroupe.usPremierChamp);
  usCr |= MC_usLireUnsignedShort(usNum, &sGroupe.usNbChamps);
  return usCr;
}

uint16_t lire_champ(uint16_t usNum, MC_ChampDictionnaire& sChamp) {
  uint16_t usCr = MC_usLireSignedLong(usNum, &sChamp.lObligatoire);
  usCr |= MC_usLireUnsignedShort(usNum, &sChamp.usLongueurMin);
  usCr |= MC_usLireUnsignedShort(usNum, &sChamp.usLongueurMax);
  usCr |= MC_usLireSignedChar(usNum, &sChamp.cType);
  usCr |= MC_usLireSignedLong(usNum, &sChamp.lInformation);
  usCr |= MC_usLireUnsignedShort(usNum, &sChamp.usPremiereValeur);
  usCr |= MC_usLireUnsignedShort(usNum, &sChamp.usNbValeurs);
  return usCr;
}

uint16_t lire_valeur(uint16_t usNum, char*& pcValeur) {
  return MC_usLireChaineVariable(usNum, &pcValeur);
}

// The loop shared by the three loaders. Every column of a row is read even after one failed;
// the loop stops after that row and the result is the OR of its codes. No more than
// ullPossibles rows are attempted: in a file that does not grow, the last of them fails anyway.
template <typename T, typename Lecteur>
uint16_t charger_lignes(uint16_t usNum, T* pTable, uint32_t ulNbLignes, uint64_t ullPossibles,
                        Lecteur lire) {
  uint16_t usResultat = MC_CR_OK;
  uint64_t ullLues = 0;
  // Kept: a 16-bit row index, as the table format's producer always had.
  for (uint16_t usLigne = 0; usLigne < ulNbLignes && usResultat == MC_CR_OK; ++usLigne) {
    if (ullLues++ == ullPossibles) {
      // Deviation: a stream yielding more rows than its length allowed gives 0xF640.
      // (It grew, or it is not a regular file.)
      usResultat = MC_ERR_FIN_FICHIER;
      break;
    }
    usResultat = lire(usNum, pTable[usLigne]);
  }
  return usResultat;
}

uint16_t resultat_suppression(const char* pcSortie, bool bCharge) {
  const uint16_t usResultat = bCharge ? MC_CR_OK : MC_CR_UN;
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", pcSortie);
  return usResultat;
}

}  // namespace

namespace mc {
uint32_t lignes_groupes() { return std::min(g_ulNbTabGrp, s_ulPlaceGrp); }
uint32_t lignes_champs() { return std::min(g_ulNbTabChp, s_ulPlaceChp); }
uint32_t lignes_valeurs() { return std::min(g_ulNbTabVal, s_ulPlaceVal); }
}  // namespace mc

namespace {

// What tells the three loaders apart: the table's names in the trace and its smallest row.
struct TableChargee {
  const char* pcTrace;      // entry and exit lines
  const char* pcPointeur;   // the table pointer's name in the detail line
  const char* pcNombre;     // the count's name in the detail line
  uint32_t ulOctetsLigne;   // bytes of the shortest row in the file
};

constexpr TableChargee kGroupes = {"usGTInitTabGrp", "g_stTabGrp", "g_ulNbTabGrp", 6};
constexpr TableChargee kChamps = {"usGTInitTabChp", "g_stTabChp", "g_ulNbTabChp", 17};
constexpr TableChargee kValeurs = {"usGTInitTabValeur", "g_cTabVal", "g_ulNbTabVal", 1};

template <typename T, typename Lecteur>
uint16_t charger_table(const TableChargee& sTable, uint16_t usNum, uint32_t ulNbLignes,
                       T*& pTable, uint32_t& ulNbTable, uint32_t& ulPlace, Lecteur lire) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "%s", sTable.pcTrace);
  uint16_t usResultat = MC_CR_OK;
  // Deviation: the array holds no more rows than the rest of the file can, sized in 64 bits.
  // A crafted count neither wraps the size nor asks for more memory than the file could fill;
  // the count itself is kept, and the load fails where the file ends.
  const uint64_t ullPossibles = lignes_possibles(usNum, sTable.ulOctetsLigne);
  const uint32_t ulNouvellePlace = place_table(ulNbLignes, ullPossibles);
  T* pNouvelle = allouer_table<T>(ulNouvellePlace);
  if (pNouvelle == nullptr) {
    usResultat = MC_ERR_MEMOIRE;
  } else {
    remplacer_table(pTable, pNouvelle);
    ulNbTable = ulNbLignes;
    ulPlace = ulNouvellePlace;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "%s = %p, %s = %hu", sTable.pcPointeur,
           static_cast<void*>(pTable), sTable.pcNombre, static_cast<unsigned short>(ulNbTable));
  if (usResultat == MC_CR_OK) {
    usResultat = charger_lignes(usNum, pNouvelle, ulNbLignes, ullPossibles, lire);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "%s", sTable.pcTrace);
  return usResultat;
}

}  // namespace

namespace mc {

uint16_t usInitTabGroupe(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  return charger_table(kGroupes, usNumFichierBinaire, ulNbLignes, g_stTabGrp, g_ulNbTabGrp,
                       s_ulPlaceGrp, lire_groupe);
}

uint16_t usInitTabChamp(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  return charger_table(kChamps, usNumFichierBinaire, ulNbLignes, g_stTabChp, g_ulNbTabChp,
                       s_ulPlaceChp, lire_champ);
}

uint16_t usInitTabValeur(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  return charger_table(kValeurs, usNumFichierBinaire, ulNbLignes, g_cTabVal, g_ulNbTabVal,
                       s_ulPlaceVal, lire_valeur);
}

uint16_t usSupprTabGroupe() {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTSupprTabGrp");
  const bool bCharge = g_stTabGrp != nullptr;
  if (bCharge) {
    MC_Liberer(g_stTabGrp);
    g_stTabGrp = nullptr;
    g_ulNbTabGrp = 0;
    s_ulPlaceGrp = 0;
  }
  return resultat_suppression("usGTSupprTabGrp", bCharge);
}

uint16_t usSupprTabChamp() {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTSupprTabChp");
  const bool bCharge = g_stTabChp != nullptr;
  if (bCharge) {
    MC_Liberer(g_stTabChp);
    g_stTabChp = nullptr;
    g_ulNbTabChp = 0;
    s_ulPlaceChp = 0;
  }
  // Kept: the exit line names the function otherwise than its entry line.
  return resultat_suppression("usSupprTabChamp", bCharge);
}

uint16_t usSupprTabValeur() {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTSupprTabValeur");
  const bool bCharge = g_cTabVal != nullptr;
  if (bCharge) {
    // Kept: only the array goes back; the value strings stay allocated.
    MC_Liberer(g_cTabVal);
    g_cTabVal = nullptr;
    g_ulNbTabVal = 0;
    s_ulPlaceVal = 0;
  }
  // Kept: the exit line names the function otherwise than its entry line.
  return resultat_suppression("usSupprTabValeur", bCharge);
}

}  // namespace mc

extern "C" MC_API uint16_t MC_usDonnerListeGroupes(uint16_t** ppusGroupes, uint16_t* pusNbGroupes) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usDonnerListeGroupes ");
  uint16_t usResultat = MC_CR_OK;
  const uint32_t ulNbGroupes = g_ulNbTabGrp;
  // Two bytes a code, counted in 64 bits: a count that the 32-bit size cannot hold is refused
  // like a refused allocation.
  const uint64_t ullTaille = uint64_t{ulNbGroupes} * 2u;
  auto* pusGroupes = ullTaille > UINT32_MAX
                         ? nullptr
                         : static_cast<uint16_t*>(MC_Allouer(static_cast<uint32_t>(ullTaille)));
  if (pusGroupes != nullptr) {
    const uint32_t ulLues = g_stTabGrp != nullptr ? mc::lignes_groupes() : 0;
    for (uint32_t ul = 0; ul < ulNbGroupes; ++ul) {
      // Rows that a failed load never reached are empty.
      pusGroupes[ul] = ul < ulLues ? g_stTabGrp[ul].usCodeGroupe : 0;
    }
  }
  if (ppusGroupes == nullptr) {
    // Kept: a null destination is answered with the memory error.
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  ");
    MC_Liberer(pusGroupes);
    usResultat = MC_ERR_MEMOIRE;
  } else if (pusGroupes == nullptr) {
    // Deviation: a refused list is 0xF801 (the first form wrote through the null pointer).
    usResultat = MC_ERR_MEMOIRE;
  } else {
    if (pusNbGroupes != nullptr) {
      *pusNbGroupes = static_cast<uint16_t>(ulNbGroupes);
    }
    *ppusGroupes = pusGroupes;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usDonnerListeGroupes ");
  return usResultat;
}

extern "C" MC_API uint16_t MC_usDonnerInformationChamp(uint16_t usCodeGroupe,
                                                       MC_InformationChamp** ppsInfos,
                                                       uint16_t* pusNbChamps) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usDonnerInformationChamp ");
  // The search runs with a 16-bit position: a first entry past 65535 is never reached.
  uint32_t ulPosition = 0;
  if (!mc::premier_groupe(usCodeGroupe, &ulPosition) || ulPosition > UINT16_MAX) {
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT ");
    MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usDonnerInformationChamp ");
    return MC_ERR_FIN;
  }
  const MC_GroupeDictionnaire& sGroupe = g_stTabGrp[ulPosition];
  uint16_t usResultat = MC_CR_OK;
  auto* psInfos = static_cast<MC_InformationChamp*>(
      MC_Allouer(static_cast<uint32_t>(sGroupe.usNbChamps) * sizeof(MC_InformationChamp)));
  if (ppsInfos == nullptr) {
    // Kept: a null destination is answered with the memory error.
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usDonnerInformationChamp  =ERREUR ALLOCATION MEMOIRE");
    usResultat = MC_ERR_MEMOIRE;
  } else if (psInfos == nullptr) {
    // Deviation: refused records are 0xF801 (the first form wrote through the null pointer).
    usResultat = MC_ERR_MEMOIRE;
  } else {
    for (uint16_t us = 0; us < sGroupe.usNbChamps && usResultat == MC_CR_OK; ++us) {
      const uint32_t ulChamp = static_cast<uint32_t>(sGroupe.usPremierChamp) + us;
      if (g_stTabChp == nullptr || ulChamp >= mc::lignes_champs()) {
        // A group whose fields lie outside the field table: the file was inconsistent.
        usResultat = MC_ERR_FIN;
        break;
      }
      const MC_ChampDictionnaire& sChamp = g_stTabChp[ulChamp];
      MC_InformationChamp& sInfo = psInfos[us];
      sInfo.lObligatoire = sChamp.lObligatoire;
      sInfo.usLongueurMin = sChamp.usLongueurMin;
      sInfo.usLongueurMax = sChamp.usLongueurMax;
      sInfo.cType = sChamp.cType;
      sInfo.lInformation = sChamp.lInformation;
      sInfo.usPremiereValeur = sChamp.usPremiereValeur;
      sInfo.usNbValeurs = sChamp.usNbValeurs;
    }
  }
  if (usResultat == MC_CR_OK) {
    if (pusNbChamps != nullptr) {
      *pusNbChamps = sGroupe.usNbChamps;
    }
    *ppsInfos = psInfos;
  } else {
    MC_Liberer(psInfos);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usDonnerInformationChamp ");
  return usResultat;
}

extern "C" MC_API uint16_t MC_usDonnerChampValeur(uint16_t usCodeGroupe, uint8_t ucNumChamp,
                                                  uint8_t ucNumValeur, char** ppcValeur) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usDonnerChampValeur");
  // Kept: the search also compares the entry one past the end; that spare entry never matches.
  uint32_t ulPosition = 0;
  uint16_t usResultat = MC_CR_OK;
  if (!mc::premier_groupe(usCodeGroupe, &ulPosition)) {
    usResultat = MC_ERR_FIN;
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR, "usResultat = 0x%04x",
             static_cast<unsigned>(usResultat));
  } else {
    // Kept: neither number is checked against the group's or the field's counts.
    const char* pcValeur = mc::valeur_du_champ(g_stTabGrp[ulPosition], ucNumChamp, ucNumValeur);
    if (pcValeur == nullptr) {
      // Indexes outside the tables: the file was inconsistent.
      usResultat = MC_ERR_FIN;
    } else if (ppcValeur == nullptr) {
      usResultat = MC_ERR_MEMOIRE;
    } else {
      const size_t stLongueur = strlen(pcValeur);
      auto* pcCopie = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(stLongueur + 1)));
      if (pcCopie == nullptr) {
        // Deviation: a refused copy is 0xF801 (the first form wrote through the null pointer).
        usResultat = MC_ERR_MEMOIRE;
      } else {
        memcpy(pcCopie, pcValeur, stLongueur + 1);
        *ppcValeur = pcCopie;
      }
    }
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "MC_usDonnerChampValeur usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  return usResultat;
}

namespace mc::testing {
void reset_dictionnaire() {
  if (g_cTabVal != nullptr) {
    for (uint32_t ul = 0; ul < mc::lignes_valeurs(); ++ul) {
      MC_Liberer(g_cTabVal[ul]);
    }
  }
  mc::usSupprTabGroupe();
  mc::usSupprTabChamp();
  mc::usSupprTabValeur();
}

void installer_dictionnaire(const MC_GroupeDictionnaire* psGroupes, uint32_t ulNbGroupes,
                            const MC_ChampDictionnaire* psChamps, uint32_t ulNbChamps,
                            const char* const* ppcValeurs, uint32_t ulNbValeurs) {
  mc::invalider_index();
  g_stTabGrp = static_cast<MC_GroupeDictionnaire*>(
      MC_Allouer(ulNbGroupes * static_cast<uint32_t>(sizeof(MC_GroupeDictionnaire))));
  if (ulNbGroupes != 0) {
    std::memcpy(g_stTabGrp, psGroupes, ulNbGroupes * sizeof(MC_GroupeDictionnaire));
  }
  g_ulNbTabGrp = ulNbGroupes;
  s_ulPlaceGrp = ulNbGroupes;
  g_stTabChp = static_cast<MC_ChampDictionnaire*>(
      MC_Allouer(ulNbChamps * static_cast<uint32_t>(sizeof(MC_ChampDictionnaire))));
  if (ulNbChamps != 0) {
    std::memcpy(g_stTabChp, psChamps, ulNbChamps * sizeof(MC_ChampDictionnaire));
  }
  g_ulNbTabChp = ulNbChamps;
  s_ulPlaceChp = ulNbChamps;
  g_cTabVal = static_cast<char**>(MC_Allouer(ulNbValeurs * static_cast<uint32_t>(sizeof(char*))));
  for (uint32_t ul = 0; ul < ulNbValeurs; ++ul) {
    const size_t stTaille = std::strlen(ppcValeurs[ul]) + 1;
    g_cTabVal[ul] = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(stTaille)));
    std::memcpy(g_cTabVal[ul], ppcValeurs[ul], stTaille);
  }
  g_ulNbTabVal = ulNbValeurs;
  s_ulPlaceVal = ulNbValeurs;
}
}  // namespace mc::testing
