// lecture_fuzz.cpp -- any bytes as a table file named f.tbx: opened with the control type of
// the input's first byte, then searched and read with every typed reader.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/support/mcfuzz.h"
#include "mc.h"
#include "tablefile/mcslot.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  static const std::string repertoire = mc::fuzz::scratch();
  static const std::string chemin = mc::fuzz::in_scratch("f.tbx");
  mc::fuzz::write_file(chemin, std::string_view(reinterpret_cast<const char*>(data + 1), size - 1));

  const uint16_t usType = data[0] % 3;
  uint16_t num = 0;
  EnteteFichierBinaire e;
  MC_usInitialiserFichierBinaire(repertoire.c_str(), "f.tbx", usType, &num, &e);
  if (num != 0) {
    EnteteTable t;
    MC_usRechercherTable(num, "T", &t);
    uint16_t cr = MC_usLireEnteteTable(num, &t);
    for (int tour = 0; tour < 64 && cr == MC_CR_OK; ++tour) {
      uint8_t uc = 0;
      int8_t c = 0;
      uint16_t us = 0;
      int16_t s = 0;
      uint32_t ul = 0;
      int32_t l = 0;
      double d = 0;
      char fixe[7];
      uint16_t unicode[3];
      char* texte = nullptr;
      switch (tour % 10) {
        case 0: cr = MC_usLireUnsignedChar(num, &uc); break;
        case 1: cr = MC_usLireSignedChar(num, &c); break;
        case 2: cr = MC_usLireUnsignedShort(num, &us); break;
        case 3: cr = MC_usLireSignedShort(num, &s); break;
        case 4: cr = MC_usLireUnsignedLong(num, &ul); break;
        case 5: cr = MC_usLireSignedLong(num, &l); break;
        case 6: cr = MC_usLireDouble(num, &d); break;
        case 7: cr = MC_usLireDate(num, &us, &uc, &uc); break;
        case 8:
          cr = MC_usLireChampFixe(num, fixe, sizeof fixe);
          if (cr == MC_CR_OK) cr = MC_usLireChampUnicodeFixe(num, unicode, 3);
          break;
        default:
          cr = MC_usLireChaineVariable(num, &texte);
          MC_Liberer(texte);
          break;
      }
    }
    MC_usRechercherTable(num, "ABSENT", &t);
    unsigned char* piece = nullptr;
    MC_usLireFichierBinaire(num, 4, 16, &piece);
    MC_Liberer(piece);
    MC_usLibererFichierBinaire(num, nullptr);
  }
  return 0;
}
