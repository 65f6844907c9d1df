// damage_test.cpp -- a valid file cut at every length and damaged at every byte: each opening and
// each read fails with its exact code, and nothing reads outside its buffers.
#include <functional>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

// One value of the test table: its bytes on disk (0 for a variable string, whose length the
// file tells), how to write it, and how to read it back and compare it.
struct Item {
  size_t size;
  std::function<uint16_t(uint16_t)> write;
  std::function<uint16_t(uint16_t, bool)> read;
};

template <typename T>
Item value(uint16_t (*write)(uint16_t, T), uint16_t (*read)(uint16_t, T*), T v, size_t size = sizeof(T)) {
  return {size, [=](uint16_t n) { return write(n, v); }, [=](uint16_t n, bool compare) {
            T r{};
            const uint16_t code = read(n, &r);
            if (code == 0 && compare) { EXPECT_EQ(v, r); }
            return code;
          }};
}

Item variable_string(const std::string& text) {
  return {0, [=](uint16_t n) { return MC_usEcrireChaineVariable(n, text.c_str()); },
          [=](uint16_t n, bool compare) {
            char* r = nullptr;
            const uint16_t code = MC_usLireChaineVariable(n, &r);
            if (code == 0 && compare) { EXPECT_EQ(text, r); }
            MC_Liberer(r);
            return code;
          }};
}

const std::vector<Item>& items() {
  static const std::vector<Item> list = {
      value(MC_usEcrireUnsignedChar, MC_usLireUnsignedChar, uint8_t{0xAB}),
      value(MC_usEcrireSignedChar, MC_usLireSignedChar, int8_t{-5}),
      value(MC_usEcrireUnsignedShort, MC_usLireUnsignedShort, uint16_t{0x0102}),
      value(MC_usEcrireSignedShort, MC_usLireSignedShort, int16_t{-2}),
      value(MC_usEcrireUnsignedLong, MC_usLireUnsignedLong, uint32_t{0x01020304}),
      value(MC_usEcrireSignedLong, MC_usLireSignedLong, int32_t{-256}),
      value(MC_usEcrireDouble, MC_usLireDouble, -1234.5),
      {4, [](uint16_t n) { return MC_usEcrireDate(n, 0x07EA, 0x01, 0x0F); },
       [](uint16_t n, bool compare) {
         uint16_t a = 0;
         uint8_t b = 0, c = 0;
         const uint16_t code = MC_usLireDate(n, &a, &b, &c);
         if (code == 0 && compare) { EXPECT_EQ(0x07EA010Fu, (uint32_t{a} << 16) | (uint32_t{b} << 8) | c); }
         return code;
       }},
      {3, [](uint16_t n) { return MC_usEcrireChampFixe(n, "abc", 3); },
       [](uint16_t n, bool compare) {
         char r[3];
         const uint16_t code = MC_usLireChampFixe(n, r, 3);
         if (code == 0 && compare) { EXPECT_EQ("abc", std::string(r, 3)); }
         return code;
       }},
      variable_string("hello"),
      variable_string(std::string(300, 'q')),
      {4, [](uint16_t n) { const uint16_t u[2] = {0x0201, 0x0403}; return MC_usEcrireChampUnicodeFixe(n, u, 2); },
       [](uint16_t n, bool compare) {
         uint16_t r[2] = {};
         const uint16_t code = MC_usLireChampUnicodeFixe(n, r, 2);
         if (code == 0 && compare) { EXPECT_EQ(0x04030201u, (uint32_t{r[1]} << 16) | r[0]); }
         return code;
       }},
      value(MC_usEcrireUnsignedLong, MC_usLireUnsignedLong, uint32_t{0xCAFEF00D})};
  return list;
}

class DamageTest : public TableFileTest {
 protected:
  void SetUp() override {
    TableFileTest::SetUp();
    uint16_t num = 0;
    ASSERT_CODE(0, creer("v.tbx", MC_CONTROLE_CRC16, &num, entete_exemple("v.tbx", "essai")));
    const EnteteTable t = entete_table("T", 1);
    ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    for (const Item& it : items()) {
      ASSERT_CODE(0, it.write(num));
    }
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    valid_ = read_file(path("v.tbx"));
  }

  // Reads the table header and every value from file number num, comparing the values with those
  // written while the reads succeed. Returns the index of the first failing read (0 the table
  // header, i the item i - 1, size() + 1 when all went well) and its code in *code.
  size_t read_all(uint16_t num, uint16_t* code, bool compare) {
    EnteteTable t;
    *code = MC_usLireEnteteTable(num, &t);
    if (*code != 0) return 0;
    for (size_t i = 0; i < items().size(); ++i) {
      // A string cut in its length bytes reads as empty: it is not compared.
      *code = items()[i].read(num, compare && !(partial_string_ && items()[i].size == 0));
      if (*code != 0) return i + 1;
    }
    return items().size() + 1;
  }

  // Where a file cut at `length` makes the reading fail, from the format alone: each value
  // needs its bytes; a string whose length bytes are cut takes the length of those read, and
  // a length of 0 then reads as an empty string with nothing left behind it.
  size_t expected_failure(size_t length) {
    partial_string_ = false;
    size_t pos = 63 + 5;
    if (length < pos + 25) return 0;
    pos += 25;
    for (size_t i = 0; i < items().size(); ++i) {
      size_t need = items()[i].size;
      if (need == 0) {
        if (length < pos + 1) return i + 1;
        const uint8_t first = valid_[pos];
        const size_t count = first > 0x80 ? first - 0x80u : 0;
        const size_t available = std::min(count, length - pos - 1);
        uint32_t len = first > 0x80 ? 0 : first;
        for (size_t k = 0; k < available; ++k) len = (len << 8) | valid_[pos + 1 + k];
        if (available < count && len == 0) {
          partial_string_ = true;
          pos = length;
          continue;
        }
        need = 1 + count + len;
      }
      if (length < pos + need) return i + 1;
      pos += need;
    }
    return items().size() + 1;
  }

  Bytes valid_;
  bool partial_string_ = false;
};

TEST_F(DamageTest, ValidFileReadsBackEveryValue) {
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("v.tbx", MC_CONTROLE_CRC16, &num));
  uint16_t code = 0;
  EXPECT_EQ(items().size() + 1, read_all(num, &code, true));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(DamageTest, FileCutAtEveryLengthFailsWithItsExactCode) {
  const size_t comment_cr = 60 + 5;
  for (size_t length = 0; length < valid_.size(); ++length) {
    SCOPED_TRACE(length);
    const Bytes cut(valid_.begin(), valid_.begin() + static_cast<long>(length));
    write_file(path("v.tbx"), cut);
    // With its CRC: the header needs its comment's CR, then the CRC no longer matches.
    uint16_t num = 0;
    uint16_t expected = MC_ERR_FIN_FICHIER;
    if (length > comment_cr) {
      expected = crc_reference(cut, 4) == crc_reference(valid_, 4) ? 0 : MC_ERR_CONTROLE;
    }
    ASSERT_CODE(expected, ouvrir("v.tbx", MC_CONTROLE_CRC16, &num));
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    // Without it the file opens, and reading stops at the first value the cut reaches.
    ASSERT_CODE(length > comment_cr ? 0 : MC_ERR_FIN_FICHIER, ouvrir("v.tbx", 0, &num));
    if (length > comment_cr) {
      const size_t expected_index = expected_failure(length);
      uint16_t code = 0;
      ASSERT_EQ(expected_index, read_all(num, &code, true));
      ASSERT_CODE(MC_ERR_FIN_FICHIER, code);
    }
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(DamageTest, FileDamagedAtEveryByteIsRefusedWithItsExactCode) {
  const size_t comment_cr = 60 + 5;
  for (size_t at = 0; at < valid_.size(); ++at) {
    SCOPED_TRACE(at);
    Bytes damaged = valid_;
    damaged[at] ^= 0xFF;
    write_file(path("v.tbx"), damaged);
    uint16_t expected = MC_ERR_CONTROLE;
    if (at >= 5 && at < 17) {
      expected = MC_ERR_NOM_FICHIER;  // the name is compared before the CRC
    } else if (at == comment_cr) {
      // The comment runs on to the next CR, or to the end of the file.
      const bool another_cr = std::find(damaged.begin() + static_cast<long>(at) + 1, damaged.end(), 0x0D) != damaged.end();
      expected = another_cr ? MC_ERR_CONTROLE : MC_ERR_FIN_FICHIER;
    }
    uint16_t num = 0;
    ASSERT_CODE(expected, ouvrir("v.tbx", MC_CONTROLE_CRC16, &num));
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
