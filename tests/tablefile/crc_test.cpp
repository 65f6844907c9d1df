// crc_test.cpp -- the CRC16: compile-time tables re-derived, check values, files, the CRC text.
#include <unistd.h>

#include <random>

#include "tablefile/mccrc16.h"
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

// Standard reflected CRC register of `data` from 0 (CRC-16/KERMIT without the final swap).
uint16_t kermit_register(const Bytes& data) {
  uint32_t c = 0;
  for (uint8_t b : data) {
    c ^= b;
    for (int k = 0; k < 8; ++k) {
      c = (c & 1u) != 0 ? (c >> 1) ^ 0x8408 : c >> 1;
    }
  }
  return static_cast<uint16_t>(c);
}

TEST(CrcTables, RederivedFromThePolynomial) {
  for (size_t k = 0; k < crc16::kTables.size(); ++k) {
    for (uint32_t b = 0; b < 256; ++b) {
      Bytes data(k + 1, 0);
      data[0] = static_cast<uint8_t>(b);
      ASSERT_EQ(kermit_register(data), crc16::kTables[k][b]) << "table " << k << " byte " << b;
    }
  }
}

TEST(CrcTables, SlicedUpdateEqualsBitwiseFormOnRandomData) {
  std::mt19937 gen(20260115);
  for (int round = 0; round < 400; ++round) {
    const size_t size = gen() % 300;
    Bytes data(size);
    for (auto& b : data) {
      b = static_cast<uint8_t>(gen());
    }
    SCOPED_TRACE(size);
    // Fed in two pieces cut anywhere: the register carries all the state.
    const size_t cut = size == 0 ? 0 : gen() % (size + 1);
    uint32_t r = crc16::ajouter(0, data.data(), cut);
    r = crc16::ajouter(r, data.data() + cut, size - cut);
    ASSERT_EQ(crc_reference(data), crc16::valeur(r));
  }
}

TEST(CrcTables, RegisterIsKermitOfDataLessLastTwoBytesXoredWithThem) {
  const Bytes data = bytes_of("123456789");
  const Bytes head(data.begin(), data.end() - 2);
  const uint32_t expected = kermit_register(head) ^ (data[7] | (data[8] << 8));
  EXPECT_EQ(expected, crc16::ajouter(0, data.data(), data.size()));
}

class CrcFileTest : public TableFileTest {
 protected:
  // usCalculerCRC16 over a file holding `content`; the code, the CRC in *crc.
  uint16_t crc_of(const Bytes& content, uint16_t* crc, long position = 0) {
    const std::string p = path("crc.bin");
    write_file(p, content);
    FILE* f = fopen(p.c_str(), "rb");
    EXPECT_NE(nullptr, f);
    fseek(f, position, SEEK_SET);
    const uint16_t cr = usCalculerCRC16(f, crc);
    position_after_ = ftell(f);
    fclose(f);
    return cr;
  }
  long position_after_ = -1;
};

TEST_F(CrcFileTest, CheckValuesOfTheFormat) {
  struct Case {
    const char* content;
    uint16_t crc;
  };
  const Case cases[] = {{"0000123456789", 0x7F50}, {"0000 ", 0x0020}, {"0000", 0x0000}, {"00", 0x0000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    uint16_t crc = 0xBEEF;
    EXPECT_CODE(0, crc_of(bytes_of(c.content), &crc));
    EXPECT_EQ(c.crc, crc);
  }
}

TEST_F(CrcFileTest, LargeFileAcrossBlocksMatchesBitwiseFormAndKeepsPosition) {
  std::mt19937 gen(7);
  Bytes data(3 * 64 * 1024 + 1234);
  for (auto& b : data) {
    b = static_cast<uint8_t>(gen());
  }
  uint16_t crc = 0;
  EXPECT_CODE(0, crc_of(data, &crc, 777));
  EXPECT_EQ(crc_reference(data, 4), crc);
  EXPECT_EQ(777, position_after_);
}

TEST_F(CrcFileTest, KeptBareValueOneWhenPositionFourCannotBeReached) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  ASSERT_EQ(4, write(fds[1], "0000", 4));
  close(fds[1]);
  FILE* f = fdopen(fds[0], "rb");
  uint16_t crc = 0;
  EXPECT_CODE(1, usCalculerCRC16(f, &crc));
  fclose(f);
}

TEST(CrcText, ConvertsHexadecimalCharacters) {
  const std::string digits = "0123456789ABCDEF";
  for (size_t i = 0; i < digits.size(); ++i) {
    EXPECT_EQ(i, usConvertirHexa(digits[i]));
    EXPECT_EQ(i, usConvertirHexa(static_cast<char>(std::tolower(digits[i]))));
  }
  for (char c : {'G', 'g', ' ', '\0', '/', ':', '@', '`', static_cast<char>(0xC9)}) {
    EXPECT_EQ(0xFFFF, usConvertirHexa(c)) << static_cast<int>(c);
  }
}

TEST_F(CrcFileTest, ReadsStoredTextAddingDamagedDigitsAsFFFF) {
  struct Case {
    const char* text;
    uint16_t value;
  };
  // A damaged digit adds 0xFFFF shifted to its place, in 16 bits.
  const Case cases[] = {{"6CA8", 0x6CA8},
                        {"6ca8", 0x6CA8},
                        {"6CA ", static_cast<uint16_t>(0x6CA0 + 0xFFFF)},
                        {"x000", static_cast<uint16_t>(0xFFFF << 12)},
                        {"0x00", static_cast<uint16_t>(0xFFFF << 8)},
                        {"GGGG", static_cast<uint16_t>((0xFFFF << 12) + (0xFFFF << 8) + (0xFFFF << 4) + 0xFFFF)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const std::string p = path("crc.txt");
    write_text(p, std::string(c.text) + " rest");
    FILE* f = fopen(p.c_str(), "rb");
    fseek(f, 6, SEEK_SET);
    uint16_t value = 0;
    EXPECT_CODE(0, usLireCRC(f, &value));
    EXPECT_EQ(c.value, value);
    EXPECT_EQ(6, ftell(f));
    fclose(f);
  }
}

TEST_F(CrcFileTest, ReadingTextOfShortFileFails) {
  const std::string p = path("short.txt");
  write_text(p, "6CA");
  FILE* f = fopen(p.c_str(), "rb");
  uint16_t value = 0x1234;
  EXPECT_CODE(MC_ERR_FICHIER, usLireCRC(f, &value));
  EXPECT_EQ(0x1234, value);
  fclose(f);
}

TEST_F(CrcFileTest, WritesFourUpperCaseDigitsAtTheStart) {
  const std::string p = path("w.bin");
  write_text(p, "0000 abc");
  FILE* f = fopen(p.c_str(), "rb+");
  EXPECT_CODE(0, usEcrireCRC(f, 0x00AB));
  fclose(f);
  EXPECT_EQ("00AB abc", read_text(p));
  FILE* r = fopen(p.c_str(), "rb");
  EXPECT_CODE(MC_ERR_FICHIER, usEcrireCRC(r, 0x1234));
  fclose(r);
}

TEST_F(CrcFileTest, OpeningAcceptsLowerCaseTextAndRefusesDamagedOnes) {
  Bytes good = exemple_95();
  struct Case {
    const char* text;
    uint16_t code;
  };
  const Case cases[] = {{"6CA8", 0}, {"6ca8", 0}, {"6Ca8", 0}, {"6CA9", MC_ERR_CONTROLE},
                        {"6CA ", MC_ERR_CONTROLE}, {"0000", MC_ERR_CONTROLE}, {"8AC6", MC_ERR_CONTROLE}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Bytes file = good;
    memcpy(file.data(), c.text, 4);
    write_file(path("tablebin.tbx"), file);
    uint16_t num = 0;
    EXPECT_CODE(c.code, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
    EXPECT_NE(0, num);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
