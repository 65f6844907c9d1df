// mcmemoir.h -- internal side of the accounted allocator.
#ifndef MC_RUNTIME_MCMEMOIR_H
#define MC_RUNTIME_MCMEMOIR_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <sys/types.h>

namespace mc {

// The private counters: bytes requested since load, and the highest value reached.
uint32_t memoire_allouee();
uint32_t memoire_max();
// Requests the heap refused since load (MC_Allouer and allouer_non_compte): a caller that gets a
// plain failure from a query can tell a shortage of memory from a refusal of its input.
uint32_t allocations_refusees();

// Adds ulTaille to both private counters exactly as an MC_Allouer of that size does, without
// allocating or tracing: for the paths that account the requests they no longer make.
void compter_sans_allouer(uint32_t ulTaille);

// malloc for the library's own untraced buffers (the INI layer's): not accounted in the counters
// above, but counted and failed by the test hooks below like MC_Allouer. Freed with free().
void* allouer_non_compte(size_t taille);

// Room of the full names built by MC_usCreerNomCompletFichier, their zero included.
inline constexpr size_t kTailleNomComplet = 1024;

// fopen for the library's own files (mode "r", "w" or "a", with "b" and "+" as fopen takes them),
// that never blocks on a FIFO and accepts only a regular file: anything else is closed again and
// refused with a null stream and errno EISDIR (a directory) or EINVAL.
FILE* ouvrir_fichier_regulier(const char* pcChemin, const char* pcMode);

// A file position (or length) as the unsigned 32-bit value the calls hand out: 0xFFFFFFFF, the
// failure value, for a failed one (negative) and for one that does not fit below it.
uint32_t position_32(off_t position);

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
