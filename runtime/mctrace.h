// mctrace.h -- internal side of the trace facility: the MC_TRACE macro and the trace numbers.
//
// Naming: the names the library has always had (MC_Allouer, MC_usInitialiserTrace, ...) stay as
// they are; the other helpers are French snake_case (memoire_allouee, ecrire_trace). Exported names
// are extern "C"; every other internal lives in namespace mc, the file-local ones in an anonymous
// namespace, the test hooks in mc::testing.
#ifndef MC_RUNTIME_MCTRACE_H
#define MC_RUNTIME_MCTRACE_H

#include <cstdint>
#include <cstdio>

#include "mc.h"

namespace mc {

// The open trace file; null while tracing is off.
extern FILE* g_fichierTrace;

inline constexpr uint16_t kModule = 1;  // the library's own module number

// Trace numbers: the area of the library that writes the line.
inline constexpr uint16_t kTrcSyntaxe = 1;  // syntax control of a zone
inline constexpr uint16_t kTrcFormat = 2;   // format control of a zone
inline constexpr uint16_t kTrcZone = 3;     // memory zones and the length coding
inline constexpr uint16_t kTrcVersion = 4;  // working directory, component versions
inline constexpr uint16_t kTrcInit = 5;     // start-up, INI wrappers, memory accounting
inline constexpr uint16_t kTrcOutils = 6;   // value checks
inline constexpr uint16_t kTrcTables = 7;   // dictionary, binary table files, signatures

namespace testing {
// Closes the trace file if one is open and empties the registrations and the depth.
void reset_trace();
// Current nesting depth.
uint8_t profondeur_trace();
}  // namespace testing

}  // namespace mc

// A trace call that costs one pointer test while tracing is off: the arguments are not even
// evaluated then.
#define MC_TRACE(...)                                  \
  do {                                                 \
    if (::mc::g_fichierTrace != nullptr) {             \
      ::MC_TraceEcrire(__VA_ARGS__);                   \
    }                                                  \
  } while (0)

#endif  // MC_RUNTIME_MCTRACE_H
