// format_fuzz.cpp -- any bytes wrapped as a structured zone and checked against a small
// dictionary: the control ends inside the zone's buffer, answers a code of its families, and
// gives the same code and leaves the same cursor with tracing on as with tracing off.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mc.h"
#include "dictionary/mctab.h"
#include "zone/mczone.h"

namespace {

// Groups 0x0001 (N, A with the values OUI and NON), 0x0002 (a date) and 0x0003 (L, free, N
// with the values 01 and 02); loaded once, like the library's start-up does.
void charger_dictionnaire() {
  static const char* const kValeurs[] = {"OUI", "NON", "01", "02"};
  static const MC_GroupeDictionnaire kGroupes[] = {{0x0001, 0, 2}, {0x0002, 2, 1}, {0x0003, 3, 3}};
  // obligatoire, min, max, type, information, first value, values
  static const MC_ChampDictionnaire kChamps[] = {{1, 1, 4, 'N', 0, 0, 0}, {0, 0, 0, 'A', 0, 0, 2},
                                                 {0, 8, 8, 'D', 0, 0, 0}, {1, 1, 5, 'L', 0, 0, 0},
                                                 {2, 0, 3, 'X', 0, 0, 0}, {1, 2, 2, 'N', 0, 2, 2}};
  mc::testing::installer_dictionnaire(kGroupes, 3, kChamps, 6, kValeurs, 4);
}

bool code_connu(uint16_t cr) {
  return cr == MC_CR_OK || cr == MC_ERR_SYNTAXE || (cr >= 0x9001 && cr < 0xB000);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool charge = (charger_dictionnaire(), true);
  (void)charge;
  if (size == 0 || size > 4096) {
    return 0;
  }
  // An exact-size copy, so that a read past the data is a read past the block.
  auto* buffer = static_cast<unsigned char*>(std::malloc(size));
  std::memcpy(buffer, data, size);
  uint16_t zone = 0;
  if (MC_usInitialiserZoneMemoire(buffer, static_cast<uint32_t>(size), &zone, 1) != MC_CR_OK) {
    std::abort();
  }
  const uint16_t crSansTrace = MC_usControlerFormatZoneMemoire(zone);
  const ZoneMemoire sansTrace = *mc::ZM[zone];
  MC_usActiverTrace("/dev/null", "w", 1, 2, 2);
  for (uint16_t trace = 1; trace <= 7; ++trace) {
    MC_usActiverTrace("/dev/null", "w", 1, trace, 2);
  }
  MC_usPositionnerDebut(zone);
  const uint16_t crAvecTrace = MC_usControlerFormatZoneMemoire(zone);
  MC_usActiverTrace("/dev/null", "w", 1, 2, 0);
  if (!code_connu(crSansTrace) || crSansTrace != crAvecTrace ||
      std::memcmp(&sansTrace, mc::ZM[zone], sizeof sansTrace) != 0) {
    std::abort();
  }
  MC_usLibererZoneMemoire(zone);
  std::free(buffer);
  return 0;
}
