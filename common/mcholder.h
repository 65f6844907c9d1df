// mcholder.h -- a scoped holder that gives a block back through MC_Liberer.
#ifndef MC_COMMON_MCHOLDER_H
#define MC_COMMON_MCHOLDER_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "mc.h"

namespace mc {

struct Liberateur {
  void operator()(void* p) const { MC_Liberer(p); }
};

template <typename T>
using Tampon = std::unique_ptr<T, Liberateur>;

// count elements of T from MC_Allouer (uninitialised), or an empty holder when the heap refuses.
template <typename T>
Tampon<T> allouer(size_t count) {
  return Tampon<T>(static_cast<T*>(MC_Allouer(static_cast<uint32_t>(count * sizeof(T)))));
}

}  // namespace mc

#endif  // MC_COMMON_MCHOLDER_H
