// mcmemoir.h -- internal side of the accounted allocator.
#ifndef MC_RUNTIME_MCMEMOIR_H
#define MC_RUNTIME_MCMEMOIR_H

#include <cstddef>
#include <cstdint>

namespace mc {

// The private counters: bytes requested since load, and the highest value reached.
uint32_t memoire_allouee();
uint32_t memoire_max();

// Adds ulTaille to both private counters exactly as an MC_Allouer of that size does, without
// allocating or tracing: for the paths that account the requests they no longer make.
void compter_sans_allouer(uint32_t ulTaille);

// malloc for the library's own untraced buffers (the INI layer's): not accounted in the counters
// above, but counted and failed by the test hooks below like MC_Allouer. Freed with free().
void* allouer_non_compte(size_t taille);

namespace testing {
// Sets both private counters back to 0 and cancels a pending allocation failure.
void reset_memoire();
// Makes the allocation that follows `reussites` successful ones fail, once, as if the heap refused.
void faire_echouer_allocation(uint32_t reussites);
void annuler_echec_allocation();
// Number of MC_Allouer calls since load (or since reset_memoire), and of non-null MC_Liberer calls.
uint32_t nombre_allocations();
uint32_t nombre_liberations();
// Counts one allocation and says whether it may go ahead (false: the pending failure is due).
// MC_Allouer and allouer_non_compte call it; a test may route a third-party allocator through it.
bool compter_allocation();
}  // namespace testing

}  // namespace mc

#endif  // MC_RUNTIME_MCMEMOIR_H
