// values_test.cpp -- every value type through the writer and the reader, from the case tables
// values.cases (written, then read back) and reads.cases (crafted data at the end of a file); a
// valid file cut at every length and damaged at every byte fails with its exact codes.
#include <cstdio>
#include <map>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

using ValueTest = TableFileTest;

TEST_F(ValueTest, WrittenBytesAndReadBack) {
  const auto cases = read_cases("tablefile/values.cases");
  uint16_t n = 0;
  ASSERT_CODE(0, creer("v.tbx", 0, &n, entete_exemple("v.tbx", "c")));
  const EnteteTable t = entete_table("T", 1);
  ASSERT_CODE(0, MC_usEcrireEnteteTable(n, &t));
  Bytes expected;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.where);
    if (c[0] == "len") {
      unsigned char buffer[5];
      EXPECT_EQ(c[2], to_hex(Bytes(buffer, buffer + stCoderLongueur(static_cast<uint32_t>(number(c[1])), buffer))));
      continue;
    }
    const bool refused = c.fields.size() > 2 && c[2].rfind('!', 0) == 0;
    EXPECT_CODE(refused ? number(c[2].substr(1)) : 0, write_value(n, c[0], c[1]));
    if (refused) continue;
    const Bytes b = c.fields.size() > 2 ? hex(c[2]) : Bytes{};
    expected.insert(expected.end(), b.begin(), b.end());
    if (c[0] == "str" && c[1] != "null") {
      const std::string text = text_of(c[1]);
      expected.insert(expected.end(), text.begin(), text.end());
    }
  }
  ASSERT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
  // The data size patched in at release counts exactly the data bytes.
  const Bytes file = read_file(path("v.tbx"));
  const Bytes head = concat({entete_octets("v.tbx", "c"), table_octets("T", expected)});
  ASSERT_EQ(head.size(), file.size());
  EXPECT_EQ(to_hex(Bytes(head.begin(), head.begin() + 200)), to_hex(Bytes(file.begin(), file.begin() + 200)));
  EXPECT_TRUE(head == file);

  ASSERT_CODE(0, ouvrir("v.tbx", 0, &n));
  EnteteTable r;
  ASSERT_CODE(0, MC_usLireEnteteTable(n, &r));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.where);
    if (c[0] == "len" || (c.fields.size() > 2 && c[2].rfind('!', 0) == 0)) continue;
    const std::string back = c.fields.size() > 3 ? c[3] : c[0] == "str" && c[1] == "null" ? "" : c[1];
    EXPECT_CODE(0, read_value(n, c[0], back));
  }
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(ValueTest, CraftedDataAtTheEndOfTheFile) {
  for (const Case& c : read_cases("tablefile/reads.cases")) {
    SCOPED_TRACE(c.where);
    const Bytes data = data_of(c[1]);
    Bytes file = concat({entete_octets("r.tbx", "c"), table_octets("T", data)});
    sceller_crc(file);
    const uint16_t n = ouvrir_octets("r.tbx", file, MC_CONTROLE_CRC16);
    ASSERT_CODE(0, MC_usPositionnerOffset(n, -static_cast<int32_t>(data.size()), SEEK_END));
    TraceCapture trace({{1, 7, 2}});
    EXPECT_CODE(number(c[2]), read_value(n, c[0], c[3]));
    if (c.fields.size() > 4 && c[4] != "-") { EXPECT_EQ(number(c[4]), g_block); }
    if (c.fields.size() > 5) { EXPECT_TRUE(has_line(trace.lines(), c[5])); }
    trace.stop();
    EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
  }
}

// The damaged file: a table header then these values.
const std::pair<const char*, const char*> kItems[] = {
    {"uc", "0xAB"},   {"sc", "-5"},          {"us", "0x0102"}, {"ss", "-2"},        {"ul", "0x01020304"},
    {"sl", "-256"},   {"dbl", "-1234.5"},    {"date", "2026 1 15"}, {"fix", "abc"}, {"str", "hello"},
    {"str", "rep:300"}, {"uni", "0102 0304"}, {"ul", "0xCAFEF00D"}};

class DamageTest : public TableFileTest {
 protected:
  void SetUp() override {
    TableFileTest::SetUp();
    uint16_t num = 0;
    ASSERT_CODE(0, creer("v.tbx", MC_CONTROLE_CRC16, &num, entete_exemple("v.tbx", "essai")));
    const EnteteTable t = entete_table("T", 1);
    ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    for (const auto& [type, value] : kItems) ASSERT_CODE(0, write_value(num, type, value));
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    valid_ = read_file(path("v.tbx"));
    g_compare_failed = false;
  }
  void TearDown() override {
    g_compare_failed = true;
    TableFileTest::TearDown();
  }
  // Reads the table header and every value; the index of the first failing read (0 the header,
  // i the item i - 1, size + 1 when all went well), its code in *code.
  size_t read_all(uint16_t num, uint16_t* code) {
    EnteteTable t;
    if ((*code = MC_usLireEnteteTable(num, &t)) != 0) return 0;
    for (size_t i = 0; i < std::size(kItems); ++i) {
      // A string cut in its length bytes reads as empty: it is not compared.
      *code = read_value(num, kItems[i].first, partial_string_ && i == 10 ? "" : kItems[i].second);
      if (*code != 0) return i + 1;
    }
    return std::size(kItems) + 1;
  }
  // Where a file cut at `length` makes the reading fail, from the format alone: each value needs
  // its bytes; a string whose length bytes are cut takes the length of those read, and a length
  // of 0 then reads as an empty string with nothing left behind it.
  size_t expected_failure(size_t length) {
    static const std::map<std::string, size_t> sizes = {{"uc", 1}, {"sc", 1}, {"us", 2}, {"ss", 2}, {"ul", 4},
                                                       {"sl", 4}, {"dbl", 8}, {"date", 4}, {"fix", 3}, {"uni", 4}};
    partial_string_ = false;
    size_t pos = 63 + 5 + 25;
    if (length < pos) return 0;
    for (size_t i = 0; i < std::size(kItems); ++i) {
      size_t need = sizes.count(kItems[i].first) != 0 ? sizes.at(kItems[i].first) : 0;
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
    return std::size(kItems) + 1;
  }
  Bytes valid_;
  bool partial_string_ = false;
};

TEST_F(DamageTest, FileCutAtEveryLengthFailsWithItsExactCode) {
  const size_t comment_cr = 60 + 5;
  for (size_t length = 0; length <= valid_.size(); ++length) {
    SCOPED_TRACE(length);
    const Bytes cut(valid_.begin(), valid_.begin() + static_cast<long>(length));
    // With its CRC: the header needs its comment's CR, then the CRC no longer matches.
    const uint16_t expected = length <= comment_cr ? MC_ERR_FIN_FICHIER : length == valid_.size() ? 0 : MC_ERR_CONTROLE;
    uint16_t num = ouvrir_octets("v.tbx", cut, MC_CONTROLE_CRC16, expected);
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    // Without it the file opens, and reading stops at the first value the cut reaches.
    ASSERT_CODE(length > comment_cr ? 0 : MC_ERR_FIN_FICHIER, ouvrir("v.tbx", 0, &num));
    if (length > comment_cr) {
      const size_t expected_index = expected_failure(length);
      uint16_t code = 0;
      ASSERT_EQ(expected_index, read_all(num, &code));
      ASSERT_CODE(length == valid_.size() ? 0 : MC_ERR_FIN_FICHIER, code);
    }
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(DamageTest, FileDamagedAtEveryByteIsRefusedWithItsExactCode) {
  for (size_t at = 0; at < valid_.size(); ++at) {
    SCOPED_TRACE(at);
    Bytes damaged = valid_;
    damaged[at] ^= 0xFF;
    uint16_t expected = MC_ERR_CONTROLE;
    if (at >= 5 && at < 17) {
      expected = MC_ERR_NOM_FICHIER;  // the name is compared before the CRC
    } else if (at == 60 + 5) {
      // The comment runs on to the next CR, or to the end of the file.
      expected = std::find(damaged.begin() + static_cast<long>(at) + 1, damaged.end(), 0x0D) != damaged.end()
                     ? MC_ERR_CONTROLE : MC_ERR_FIN_FICHIER;
    }
    ASSERT_CODE(0, MC_usLibererFichierBinaire(ouvrir_octets("v.tbx", damaged, MC_CONTROLE_CRC16, expected), nullptr));
  }
}

}  // namespace
}  // namespace mc::test
