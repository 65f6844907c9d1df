// mcmemoir.h -- internal side of the accounted allocator.
#ifndef MC_RUNTIME_MCMEMOIR_H
#define MC_RUNTIME_MCMEMOIR_H

#include <cstdint>

namespace mc {

// The private counters: bytes requested since load, and the highest value reached.
uint32_t memoire_allouee();
uint32_t memoire_max();

namespace testing {
// Sets both private counters back to 0 and cancels a pending allocation failure.
void reset_memoire();
// Makes the allocation that follows `reussites` successful ones fail, once, as if the heap refused.
void faire_echouer_allocation(uint32_t reussites);
// Number of MC_Allouer calls since load (or since reset_memoire), and of non-null MC_Liberer calls.
uint32_t nombre_allocations();
uint32_t nombre_liberations();
}  // namespace testing

}  // namespace mc

#endif  // MC_RUNTIME_MCMEMOIR_H
