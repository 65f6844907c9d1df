// tftest.h -- fixture and helpers of the table file tests: a fresh directory per test, header
// records, the example file of the format and an independent bitwise CRC16.
#ifndef MC_TESTS_TABLEFILE_TFTEST_H
#define MC_TESTS_TABLEFILE_TFTEST_H

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/mctest.h"
#include "runtime/mcmemoir.h"
#include "tablefile/mccrc.h"
#include "tablefile/mcecritu.h"
#include "tablefile/mcslot.h"

namespace mc::test {

// The CRC16 of the format, bit by bit exactly as the format states it, over bytes 4 to the end
// of a file's content; returns the stored value (bytes of the register swapped).
inline uint16_t crc_reference(const Bytes& data, size_t from = 0) {
  uint32_t r = 0;
  for (size_t i = from; i < data.size(); ++i) {
    r |= static_cast<uint32_t>(data[i]) << 16;
    for (int k = 0; k < 8; ++k) {
      const uint32_t bit = r & 1u;
      r >>= 1;
      if (bit != 0) {
        r ^= 0x8408;
      }
    }
  }
  return static_cast<uint16_t>(((r >> 8) & 0xFF) | ((r & 0xFF) << 8));
}

// How many trace lines read `wanted` once their indentation is taken off.
inline size_t count_lines(const std::vector<std::string>& lines, const std::string& wanted) {
  return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
    const size_t start = l.find_first_not_of(' ');
    return start != std::string::npos && l.compare(start, std::string::npos, wanted) == 0;
  }));
}
inline bool has_line(const std::vector<std::string>& lines, const std::string& wanted) {
  return count_lines(lines, wanted) != 0;
}

inline void set_field(char* field, size_t size, const char* text) {
  memset(field, 0, size);
  memcpy(field, text, strnlen(text, size - 1));
}

// The header of the format's example: name, versions 0100 and 0100, fields 00001, 20260115,
// 00002, 0000000003, comment "essai".
inline EnteteFichierBinaire entete_exemple(const char* name = "tablebin.tbx", const char* comment = "essai") {
  EnteteFichierBinaire e;
  memset(&e, 0, sizeof e);
  set_field(e.szNomFichier, sizeof e.szNomFichier, name);
  set_field(e.szVersion, sizeof e.szVersion, "0100");
  set_field(e.szTexte5, sizeof e.szTexte5, "00001");
  set_field(e.szTexte8, sizeof e.szTexte8, "20260115");
  set_field(e.szVersionRequise, sizeof e.szVersionRequise, "0100");
  set_field(e.szTexte5b, sizeof e.szTexte5b, "00002");
  set_field(e.szTexte10, sizeof e.szTexte10, "0000000003");
  set_field(e.szCommentaire, sizeof e.szCommentaire, comment);
  return e;
}

// A table header to write: the name padded with spaces to 10 characters.
inline EnteteTable entete_table(const char* name, uint32_t records = 0) {
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memset(t.szNomTable, ' ', 10);
  memcpy(t.szNomTable, name, strnlen(name, 10));
  t.ulNombreEnregistrements = records;
  return t;
}

// The 95 bytes of the format's example file.
inline Bytes exemple_95() {
  return hex(
      "36 43 41 38 20 74 61 62 6C 65 62 69 6E 2E 74 62 78 20 30 31 30 30 20 30 30 30 30 31 20 32 30 32 "
      "36 30 31 31 35 20 30 31 30 30 20 30 30 30 30 32 20 30 30 30 30 30 30 30 30 30 33 20 65 73 73 61 "
      "69 0D 0A 1A 54 45 53 54 20 20 20 20 20 20 00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 01 02");
}

// Header bytes (positions 0 to 62 + n) of a file named `name` with comment `comment`, control
// text "0000".
inline Bytes entete_octets(const std::string& name, const std::string& comment) {
  std::string padded = name;
  padded.resize(12, ' ');
  return bytes_of("0000 " + padded + " 0100 00001 20260115 0100 00002 0000000003 " + comment +
                  "\r\n\x1a");
}

// A table as bytes: header with the given descriptor entries, then the data.
inline Bytes table_octets(const std::string& name, const Bytes& data, uint32_t records = 1,
                          uint8_t list1 = 0, uint8_t list2 = 0) {
  std::string padded = name;
  padded.resize(10, ' ');
  Bytes out = bytes_of(padded);
  const auto put32 = [&out](uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) {
      out.push_back(static_cast<uint8_t>(v >> s));
    }
  };
  put32(static_cast<uint32_t>(data.size()));
  put32(records);
  put32(0);
  out.push_back(list1);
  out.push_back(list2);
  out.push_back(0);
  for (int i = 0; i < 5 * (list1 + list2); ++i) {
    out.push_back(static_cast<uint8_t>(0xD0 + i % 16));
  }
  out.insert(out.end(), data.begin(), data.end());
  return out;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) {
    out.insert(out.end(), p.begin(), p.end());
  }
  return out;
}

// Writes the stored CRC text of a complete file content into its first four bytes.
inline void sceller_crc(Bytes& file) {
  char text[5];
  snprintf(text, sizeof text, "%04X", crc_reference(file, 4));
  memcpy(file.data(), text, 4);
}

class TableFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_fichiers();
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
    dir_ = temp_path("dir");
    ASSERT_EQ(0, mkdir(dir_.c_str(), 0755));
  }
  void TearDown() override {
    mc::testing::reset_fichiers();
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  // Opens dir_/name for reading; the result code, the number in *num.
  uint16_t ouvrir(const std::string& name, uint16_t type, uint16_t* num, EnteteFichierBinaire* e = nullptr) {
    EnteteFichierBinaire local;
    *num = 0;
    return MC_usInitialiserFichierBinaire(dir_.c_str(), name.c_str(), type, num, e != nullptr ? e : &local);
  }
  uint16_t creer(const std::string& name, uint16_t type, uint16_t* num, const EnteteFichierBinaire& e) {
    return MC_usCreerFichierBinaire(dir_.c_str(), name.c_str(), type, &e, num);
  }
  std::string dir_;
};

}  // namespace mc::test

#endif  // MC_TESTS_TABLEFILE_TFTEST_H
