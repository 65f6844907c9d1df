// chargement_fuzz.cpp -- any bytes as the dictionary file tablebin.tbx, its CRC16 made right so
// that the start-up gets past the check: MC_usInitLIB loads what it can and either hands out the
// two versions or a code with the outputs untouched; a loaded dictionary is queried; then the
// library is put back as it was loaded. Meant to run with -malloc_limit_mb (README): a file must
// not make the loader ask for more than it could hold.
//
// The first four input bytes are replaced by the CRC; bit 0 of the first one turns tracing on.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "fuzz/support/mcfuzz.h"
#include "mc.h"
#include "tablefile/mccrc16.h"

namespace {

using mc::fuzz::check;

// The queries, on a dictionary whose ranges hold together: the file's producer keeps the group
// and field ranges inside their tables, and the library relies on it. A table may be missing
// (a name given twice takes the place of another) and then counts 0.
void interroger() {
  for (uint32_t g = 0; g < g_ulNbTabGrp; ++g) {
    const MC_GroupeDictionnaire& groupe = g_stTabGrp[g];
    if (static_cast<uint32_t>(groupe.usPremierChamp) + groupe.usNbChamps > g_ulNbTabChp) {
      return;
    }
    for (uint32_t c = groupe.usPremierChamp; c < groupe.usPremierChamp + groupe.usNbChamps; ++c) {
      if (static_cast<uint32_t>(g_stTabChp[c].usPremiereValeur) + g_stTabChp[c].usNbValeurs >
          g_ulNbTabVal) {
        return;
      }
    }
  }
  uint16_t* pusGroupes = nullptr;
  uint16_t usNbGroupes = 0;
  check(MC_usDonnerListeGroupes(&pusGroupes, &usNbGroupes) == MC_CR_OK &&
        usNbGroupes == static_cast<uint16_t>(g_ulNbTabGrp));
  for (uint16_t g = 0; g < usNbGroupes && g < 64; ++g) {
    MC_InformationChamp* psChamps = nullptr;
    uint16_t usNbChamps = 0;
    if (MC_usDonnerInformationChamp(pusGroupes[g], &psChamps, &usNbChamps) == MC_CR_OK) {
      for (uint16_t c = 0; c < usNbChamps && c < 255; ++c) {
        uint16_t usNbValeurs = 0;
        std::memcpy(&usNbValeurs, reinterpret_cast<const char*>(&psChamps[c]) + 15, 2);
        for (uint16_t v = 0; v < usNbValeurs && v < 255; ++v) {
          char* pcValeur = nullptr;
          check(MC_usDonnerChampValeur(pusGroupes[g], static_cast<uint8_t>(c + 1),
                                       static_cast<uint8_t>(v + 1), &pcValeur) == MC_CR_OK);
          MC_Liberer(pcValeur);
        }
      }
      MC_Liberer(psChamps);
    }
  }
  MC_Liberer(pusGroupes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string fichier = [] {
    std::filesystem::create_directory(mc::fuzz::in_scratch("travail"));
    std::filesystem::create_directory(mc::fuzz::in_scratch("tables"));
    mc::fuzz::write_config(mc::fuzz::in_scratch("travail"), mc::fuzz::in_scratch("tables"));
    return mc::fuzz::in_scratch("tables/tablebin.tbx");
  }();
  std::string contenu(reinterpret_cast<const char*>(data), size);
  if (size >= 4) {
    char szCRC[5];
    std::snprintf(szCRC, sizeof szCRC, "%04X",
                  static_cast<unsigned>(mc::crc16::valeur(mc::crc16::ajouter(0, data + 4, size - 4))));
    std::memcpy(contenu.data(), szCRC, 4);
  }
  mc::fuzz::write_file(fichier, contenu);
  if (size != 0 && (data[0] & 1u) != 0) {
    for (uint16_t trace = 1; trace <= 8; ++trace) {
      MC_usActiverTrace("/dev/null", "w", 1, trace, 2);
    }
  }

  char* pcVersionMC = nullptr;
  char* pcVersionFichier = nullptr;
  const uint16_t usCr = MC_usInitLIB(&pcVersionMC, &pcVersionFichier);
  if (usCr == MC_CR_OK) {
    check(pcVersionMC != nullptr && std::strcmp(pcVersionMC, "0100") == 0);
    check(pcVersionFichier != nullptr && std::strlen(pcVersionFichier) <= 4);
    interroger();
  } else {
    // A failed start-up hands nothing out.
    check(pcVersionMC == nullptr && pcVersionFichier == nullptr);
  }
  MC_Liberer(pcVersionMC);
  MC_Liberer(pcVersionFichier);
  mc::fuzz::reset_library();
  return 0;
}
