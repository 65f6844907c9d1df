// mctab.h -- internal side of the dictionary tables: the loaders and the freeing functions.
//
// Naming: the names the library has always had (usInitTabGroupe, g_stTabGrp, ...) stay as they are;
// the other helpers are French snake_case (premier_groupe, charger_lignes). Exported names are
// extern "C"; every other internal lives in namespace mc, the file-local ones in an anonymous
// namespace, the test hooks in mc::testing.
#ifndef MC_DICTIONARY_MCTAB_H
#define MC_DICTIONARY_MCTAB_H

#include <cstdint>

#include "mc.h"

namespace mc {

// Loaders: the file stands on the first row of the table. Fill the table with ulNbLignes rows
// (the second argument is not used). 0; 0xF801; the OR of the failing row's reader codes.
uint16_t usInitTabGroupe(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes);
uint16_t usInitTabChamp(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes);
uint16_t usInitTabValeur(uint16_t usNumFichierBinaire, uint32_t ulInutilise, uint32_t ulNbLignes);

// Give a table back: 0 when freed, 1 when it was not loaded. The value strings stay allocated.
uint16_t usSupprTabGroupe();
uint16_t usSupprTabChamp();
uint16_t usSupprTabValeur();

// Rows that can be read behind each table pointer: the count, or fewer when a load the file
// could not satisfy left less room than it announced.
uint32_t lignes_groupes();
uint32_t lignes_champs();
uint32_t lignes_valeurs();
}  // namespace mc

namespace mc::testing {
// Empties the three tables (the value strings too) and sets the counts back to 0.
void reset_dictionnaire();
// Fills the three tables in place with copies of the given rows, as a load would.
void installer_dictionnaire(const MC_GroupeDictionnaire* psGroupes, uint32_t ulNbGroupes,
                            const MC_ChampDictionnaire* psChamps, uint32_t ulNbChamps,
                            const char* const* ppcValeurs, uint32_t ulNbValeurs);
}  // namespace mc::testing

#endif  // MC_DICTIONARY_MCTAB_H
