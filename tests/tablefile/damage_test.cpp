// damage_test.cpp -- a valid file cut at every length and damaged at every byte: each opening and
// each read fails with its exact code, and nothing reads outside its buffers.
#include <random>
#include <variant>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

// The records of the test table, in writing order.
struct Item {
  enum Kind { kUChar, kSChar, kUShort, kSShort, kULong, kSLong, kDouble, kDate, kFixed, kString, kUnicode } kind;
  uint32_t number = 0;  // the integer value, or a count
  double real = 0;
  std::string text;
};

const std::vector<Item>& items() {
  static const std::vector<Item> list = {
      {Item::kUChar, 0xAB, 0, ""},           {Item::kSChar, 0xFB, 0, ""},
      {Item::kUShort, 0x0102, 0, ""},        {Item::kSShort, 0xFFFE, 0, ""},
      {Item::kULong, 0x01020304, 0, ""},     {Item::kSLong, 0xFFFFFF00, 0, ""},
      {Item::kDouble, 0, -1234.5, ""},       {Item::kDate, 0x07EA010F, 0, ""},
      {Item::kFixed, 3, 0, "abc"},           {Item::kString, 0, 0, "hello"},
      {Item::kString, 0, 0, std::string(300, 'q')}, {Item::kUnicode, 2, 0, "\x01\x02\x03\x04"},
      {Item::kULong, 0xCAFEF00D, 0, ""}};
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
      switch (it.kind) {
        case Item::kUChar: ASSERT_CODE(0, MC_usEcrireUnsignedChar(num, static_cast<uint8_t>(it.number))); break;
        case Item::kSChar: ASSERT_CODE(0, MC_usEcrireSignedChar(num, static_cast<int8_t>(it.number))); break;
        case Item::kUShort: ASSERT_CODE(0, MC_usEcrireUnsignedShort(num, static_cast<uint16_t>(it.number))); break;
        case Item::kSShort: ASSERT_CODE(0, MC_usEcrireSignedShort(num, static_cast<int16_t>(it.number))); break;
        case Item::kULong: ASSERT_CODE(0, MC_usEcrireUnsignedLong(num, it.number)); break;
        case Item::kSLong: ASSERT_CODE(0, MC_usEcrireSignedLong(num, static_cast<int32_t>(it.number))); break;
        case Item::kDouble: ASSERT_CODE(0, MC_usEcrireDouble(num, it.real)); break;
        case Item::kDate:
          ASSERT_CODE(0, MC_usEcrireDate(num, static_cast<uint16_t>(it.number >> 16),
                                         static_cast<uint8_t>(it.number >> 8), static_cast<uint8_t>(it.number)));
          break;
        case Item::kFixed: ASSERT_CODE(0, MC_usEcrireChampFixe(num, it.text.data(), it.number)); break;
        case Item::kString: ASSERT_CODE(0, MC_usEcrireChaineVariable(num, it.text.c_str())); break;
        case Item::kUnicode: {
          uint16_t units[2];
          memcpy(units, it.text.data(), 4);
          ASSERT_CODE(0, MC_usEcrireChampUnicodeFixe(num, units, it.number));
          break;
        }
      }
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
      const Item& it = items()[i];
      switch (it.kind) {
        case Item::kUChar: { uint8_t v = 0; *code = MC_usLireUnsignedChar(num, &v); if (!*code && compare) { EXPECT_EQ(it.number, v); } break; }
        case Item::kSChar: { int8_t v = 0; *code = MC_usLireSignedChar(num, &v); if (!*code && compare) { EXPECT_EQ(static_cast<int8_t>(it.number), v); } break; }
        case Item::kUShort: { uint16_t v = 0; *code = MC_usLireUnsignedShort(num, &v); if (!*code && compare) { EXPECT_EQ(it.number, v); } break; }
        case Item::kSShort: { int16_t v = 0; *code = MC_usLireSignedShort(num, &v); if (!*code && compare) { EXPECT_EQ(static_cast<int16_t>(it.number), v); } break; }
        case Item::kULong: { uint32_t v = 0; *code = MC_usLireUnsignedLong(num, &v); if (!*code && compare) { EXPECT_EQ(it.number, v); } break; }
        case Item::kSLong: { int32_t v = 0; *code = MC_usLireSignedLong(num, &v); if (!*code && compare) { EXPECT_EQ(static_cast<int32_t>(it.number), v); } break; }
        case Item::kDouble: { double v = 0; *code = MC_usLireDouble(num, &v); if (!*code && compare) { EXPECT_EQ(it.real, v); } break; }
        case Item::kDate: {
          uint16_t a = 0; uint8_t b = 0, c = 0;
          *code = MC_usLireDate(num, &a, &b, &c);
          if (!*code && compare) {
            EXPECT_EQ(it.number, (uint32_t{a} << 16) | (uint32_t{b} << 8) | c);
          }
          break;
        }
        case Item::kFixed: { char v[3]; *code = MC_usLireChampFixe(num, v, 3); if (!*code && compare) { EXPECT_EQ(it.text, std::string(v, 3)); } break; }
        case Item::kString: {
          char* v = nullptr;
          *code = MC_usLireChaineVariable(num, &v);
          if (!*code && compare && !partial_string_) {
            EXPECT_EQ(it.text, v);
          }
          MC_Liberer(v);
          break;
        }
        case Item::kUnicode: { uint16_t v[2]; *code = MC_usLireChampUnicodeFixe(num, v, 2); if (!*code && compare) { EXPECT_EQ(0, memcmp(v, it.text.data(), 4)); } break; }
      }
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
      const Item& it = items()[i];
      size_t need = 0;
      switch (it.kind) {
        case Item::kUChar: case Item::kSChar: need = 1; break;
        case Item::kUShort: case Item::kSShort: need = 2; break;
        case Item::kULong: case Item::kSLong: case Item::kDate: need = 4; break;
        case Item::kDouble: need = 8; break;
        case Item::kFixed: need = 3; break;
        case Item::kUnicode: need = 4; break;
        case Item::kString: {
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
          break;
        }
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

TEST_F(DamageTest, RandomDamageNeverReadsOutsideBuffers) {
  std::mt19937 gen(99);
  for (int round = 0; round < 400; ++round) {
    Bytes damaged = valid_;
    const int hits = 1 + static_cast<int>(gen() % 4);
    for (int h = 0; h < hits; ++h) {
      damaged[68 + gen() % (damaged.size() - 68)] = static_cast<uint8_t>(gen());
    }
    if (gen() % 3 == 0) {
      damaged.resize(68 + gen() % (damaged.size() - 68));
    }
    write_file(path("v.tbx"), damaged);
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("v.tbx", 0, &num));
    uint16_t code = 0;
    read_all(num, &code, false);
    ASSERT_TRUE(code == 0 || code == MC_ERR_FIN_FICHIER || code == MC_ERR_ARGUMENT) << round << " " << code;
    EnteteTable t;
    const uint16_t search = MC_usRechercherTable(num, "T", &t);
    ASSERT_TRUE(search == 0 || search == MC_ERR_FIN || search == MC_ERR_FIN_FICHIER) << round;
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
