// mcinit.h -- internal side of the library's start-up and shut-down.
//
// Naming: the names the library has always had (usGTSupprTables, usConstruireNomComplet,
// kpl_GetLine, ...) stay as they are; the other helpers are French snake_case (lire_repertoire,
// charger_dictionnaire). Exported names are extern "C"; every other internal lives in namespace mc,
// the file-local ones in an anonymous namespace, the test hooks in mc::testing.
#ifndef MC_CONFIG_MCINIT_H
#define MC_CONFIG_MCINIT_H

#include <cstdint>

namespace mc {

// Frees the dictionary; always 0.
uint16_t usIADecharger();
// Frees the three dictionary tables: the OR of the three freeing results (0 freed, 1 not loaded).
uint16_t usGTSupprTables();

// The library's own version, as written into 92.adm and handed to the clients.
inline constexpr const char* kVersionMC = "0100";
}  // namespace mc

namespace mc::testing {
// The load counter: successful initialisations not yet matched by a termination.
uint16_t nombre_chargements();
// Sets the load counter back to 0 (the dictionary is left as it is).
void reset_chargement();
}  // namespace mc::testing

#endif  // MC_CONFIG_MCINIT_H
