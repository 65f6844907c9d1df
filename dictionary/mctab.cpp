// mctab.cpp -- the dictionary tables: loading from tablebin.tbx, freeing, and the three queries.
#include "dictionary/mctab.h"

#include <cstring>

#include "dictionary/mcindex.h"
#include "runtime/mctrace.h"

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

// Allocates a table of ulNbLignes entries, zeroed so that rows a failed load never reached read
// as empty; null when the heap refuses.
template <typename T>
T* allouer_table(uint32_t ulNbLignes) {
  mc::invalider_index();  // the new table may take the address of one given back
  const auto ulTaille = static_cast<uint32_t>(ulNbLignes * sizeof(T));
  auto* pTable = static_cast<T*>(MC_Allouer(ulTaille));
  if (pTable != nullptr && ulTaille != 0) {
    memset(static_cast<void*>(pTable), 0, ulTaille);
  }
  return pTable;
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
// the loop stops after that row and the result is the OR of its codes.
template <typename T, typename Lecteur>
uint16_t charger_lignes(uint16_t usNum, T* pTable, uint32_t ulNbLignes, Lecteur lire) {
  uint16_t usResultat = MC_CR_OK;
  // Kept: a 16-bit row index, as the table format's producer always had.
  for (uint16_t usLigne = 0; usLigne < ulNbLignes && usResultat == MC_CR_OK; ++usLigne) {
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

uint16_t usInitTabGroupe(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTInitTabGrp");
  uint16_t usResultat = MC_CR_OK;
  auto* pTable = allouer_table<MC_GroupeDictionnaire>(ulNbLignes);
  if (pTable == nullptr) {
    usResultat = MC_ERR_MEMOIRE;
  } else {
    // Kept: a table already loaded is replaced without being given back.
    g_stTabGrp = pTable;
    g_ulNbTabGrp = ulNbLignes;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "g_stTabGrp = %p, g_ulNbTabGrp = %hu",
           static_cast<void*>(g_stTabGrp), static_cast<unsigned short>(g_ulNbTabGrp));
  if (usResultat == MC_CR_OK) {
    usResultat = charger_lignes(usNumFichierBinaire, pTable, ulNbLignes, lire_groupe);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usGTInitTabGrp");
  return usResultat;
}

uint16_t usInitTabChamp(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTInitTabChp");
  uint16_t usResultat = MC_CR_OK;
  auto* pTable = allouer_table<MC_ChampDictionnaire>(ulNbLignes);
  if (pTable == nullptr) {
    usResultat = MC_ERR_MEMOIRE;
  } else {
    g_stTabChp = pTable;
    g_ulNbTabChp = ulNbLignes;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "g_stTabChp = %p, g_ulNbTabChp = %hu",
           static_cast<void*>(g_stTabChp), static_cast<unsigned short>(g_ulNbTabChp));
  if (usResultat == MC_CR_OK) {
    usResultat = charger_lignes(usNumFichierBinaire, pTable, ulNbLignes, lire_champ);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usGTInitTabChp");
  return usResultat;
}

uint16_t usInitTabValeur(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes) {
  (void)ulInutilise;
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTInitTabValeur");
  uint16_t usResultat = MC_CR_OK;
  auto* pTable = allouer_table<char*>(ulNbLignes);
  if (pTable == nullptr) {
    usResultat = MC_ERR_MEMOIRE;
  } else {
    g_cTabVal = pTable;
    g_ulNbTabVal = ulNbLignes;
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "g_cTabVal = %p, g_ulNbTabVal = %hu",
           static_cast<void*>(g_cTabVal), static_cast<unsigned short>(g_ulNbTabVal));
  if (usResultat == MC_CR_OK) {
    usResultat = charger_lignes(usNumFichierBinaire, pTable, ulNbLignes, lire_valeur);
  }
  MC_TRACE(kModule, kTrcTables, MC_TRACE_DETAIL, "usResultat = 0x%04x",
           static_cast<unsigned>(usResultat));
  MC_TRACE(kModule, kTrcTables, MC_TRACE_SORTIE, "usGTInitTabValeur");
  return usResultat;
}

uint16_t usSupprTabGroupe() {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "usGTSupprTabGrp");
  const bool bCharge = g_stTabGrp != nullptr;
  if (bCharge) {
    MC_Liberer(g_stTabGrp);
    g_stTabGrp = nullptr;
    g_ulNbTabGrp = 0;
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
  }
  // Kept: the exit line names the function otherwise than its entry line.
  return resultat_suppression("usSupprTabValeur", bCharge);
}

extern "C" MC_API uint16_t MC_usDonnerListeGroupes(uint16_t** ppusGroupes, uint16_t* pusNbGroupes) {
  MC_TRACE(kModule, kTrcTables, MC_TRACE_ENTREE, "MC_usDonnerListeGroupes ");
  uint16_t usResultat = MC_CR_OK;
  const uint32_t ulNbGroupes = g_ulNbTabGrp;
  auto* pusGroupes = static_cast<uint16_t*>(MC_Allouer(ulNbGroupes * 2u));
  if (pusGroupes != nullptr) {
    for (uint32_t ul = 0; ul < ulNbGroupes && g_stTabGrp != nullptr; ++ul) {
      pusGroupes[ul] = g_stTabGrp[ul].usCodeGroupe;
    }
  }
  if (ppusGroupes == nullptr) {
    // Kept: a null destination is answered with the memory error.
    MC_TRACE(kModule, kTrcTables, MC_TRACE_ERREUR,
             "MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  ");
    MC_Liberer(pusGroupes);
    usResultat = MC_ERR_MEMOIRE;
  } else if (pusGroupes == nullptr) {
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
    usResultat = MC_ERR_MEMOIRE;
  } else {
    for (uint16_t us = 0; us < sGroupe.usNbChamps && usResultat == MC_CR_OK; ++us) {
      const uint32_t ulChamp = static_cast<uint32_t>(sGroupe.usPremierChamp) + us;
      if (g_stTabChp == nullptr || ulChamp >= g_ulNbTabChp) {
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
    for (uint32_t ul = 0; ul < g_ulNbTabVal; ++ul) {
      MC_Liberer(g_cTabVal[ul]);
    }
  }
  usSupprTabGroupe();
  usSupprTabChamp();
  usSupprTabValeur();
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
  g_stTabChp = static_cast<MC_ChampDictionnaire*>(
      MC_Allouer(ulNbChamps * static_cast<uint32_t>(sizeof(MC_ChampDictionnaire))));
  if (ulNbChamps != 0) {
    std::memcpy(g_stTabChp, psChamps, ulNbChamps * sizeof(MC_ChampDictionnaire));
  }
  g_ulNbTabChp = ulNbChamps;
  g_cTabVal = static_cast<char**>(MC_Allouer(ulNbValeurs * static_cast<uint32_t>(sizeof(char*))));
  for (uint32_t ul = 0; ul < ulNbValeurs; ++ul) {
    const size_t stTaille = std::strlen(ppcValeurs[ul]) + 1;
    g_cTabVal[ul] = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(stTaille)));
    std::memcpy(g_cTabVal[ul], ppcValeurs[ul], stTaille);
  }
  g_ulNbTabVal = ulNbValeurs;
}
}  // namespace mc::testing
