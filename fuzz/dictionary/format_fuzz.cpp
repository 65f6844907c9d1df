// format_fuzz.cpp -- any bytes wrapped as a structured zone and checked against a small
// dictionary: the control ends inside the zone's buffer, answers a code of its families, and
// gives the same code and leaves the same cursor with tracing on as with tracing off.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mc.h"
#include "zone/mczone.h"

namespace {

MC_ChampDictionnaire champ(int32_t obligatoire, uint16_t min, uint16_t max, char type,
                           uint16_t premiere, uint16_t nombre) {
  MC_ChampDictionnaire c{};
  c.lObligatoire = obligatoire;
  c.usLongueurMin = min;
  c.usLongueurMax = max;
  c.cType = static_cast<int8_t>(type);
  c.usPremiereValeur = premiere;
  c.usNbValeurs = nombre;
  return c;
}

// Groups 0x0001 (N, A with the values OUI and NON), 0x0002 (a date) and 0x0003 (L, free, N
// with the values 01 and 02); loaded once, like the library's start-up does.
void charger_dictionnaire() {
  static const char* const kValeurs[] = {"OUI", "NON", "01", "02"};
  static const MC_GroupeDictionnaire kGroupes[] = {{0x0001, 0, 2}, {0x0002, 2, 1}, {0x0003, 3, 3}};
  const MC_ChampDictionnaire champs[] = {champ(1, 1, 4, 'N', 0, 0), champ(0, 0, 0, 'A', 0, 2),
                                         champ(0, 8, 8, 'D', 0, 0), champ(1, 1, 5, 'L', 0, 0),
                                         champ(2, 0, 3, 'X', 0, 0), champ(1, 2, 2, 'N', 2, 2)};
  g_stTabGrp = static_cast<MC_GroupeDictionnaire*>(MC_Allouer(sizeof kGroupes));
  std::memcpy(g_stTabGrp, kGroupes, sizeof kGroupes);
  g_ulNbTabGrp = 3;
  g_stTabChp = static_cast<MC_ChampDictionnaire*>(MC_Allouer(sizeof champs));
  std::memcpy(g_stTabChp, champs, sizeof champs);
  g_ulNbTabChp = 6;
  g_cTabVal = static_cast<char**>(MC_Allouer(4 * sizeof(char*)));
  for (uint32_t v = 0; v < 4; ++v) {
    const size_t n = std::strlen(kValeurs[v]) + 1;
    g_cTabVal[v] = static_cast<char*>(MC_Allouer(static_cast<uint32_t>(n)));
    std::memcpy(g_cTabVal[v], kValeurs[v], n);
  }
  g_ulNbTabVal = 4;
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
