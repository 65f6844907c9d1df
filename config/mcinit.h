// mcinit.h -- internal side of the library's start-up and shut-down.
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
