// search_test.cpp -- searching tables by name in hand-built files with descriptor entries and
// several tables: from before and after the current position, one round and no more.
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

class SearchTest : public TableFileTest {
 protected:
  void SetUp() override {
    TableFileTest::SetUp();
    header_ = entete_octets("s.tbx", "tables");
    a_ = table_octets("ALPHA", hex("0A 0B 0C"), 3, 1, 2);     // 15 bytes of descriptor entries
    b_ = table_octets("BETA", hex("0B"), 1, 0, 3);            // 15 more
    c_ = table_octets("GAMMA", Bytes(40, 0x0C), 40);         // none
    Bytes file = concat({header_, a_, b_, c_});
    sceller_crc(file);
    write_file(path("s.tbx"), file);
    ASSERT_CODE(0, ouvrir("s.tbx", MC_CONTROLE_CRC16, &num_));
  }
  void TearDown() override {
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num_, nullptr));
    TableFileTest::TearDown();
  }
  uint32_t position() const {
    uint32_t p = 0;
    EXPECT_CODE(0, MC_usLirePositionFichier(num_, &p));
    return p;
  }
  uint32_t data_of_a() const { return static_cast<uint32_t>(header_.size() + 25 + 15); }
  uint32_t start_of_b() const { return static_cast<uint32_t>(header_.size() + a_.size()); }
  uint32_t data_of_b() const { return start_of_b() + 25 + 15; }
  uint32_t start_of_c() const { return start_of_b() + static_cast<uint32_t>(b_.size()); }
  Bytes header_, a_, b_, c_;
  uint16_t num_ = 0;
};

TEST_F(SearchTest, TablesAreReadOneAfterAnotherSkippingDescriptorEntries) {
  EnteteTable t;
  ASSERT_CODE(0, MC_usLireEnteteTable(num_, &t));
  EXPECT_STREQ("ALPHA", t.szNomTable);
  EXPECT_EQ(3u, uint32_t{t.ulTailleDonnees});  // copied: packed members are unaligned
  EXPECT_EQ(1, t.ucNombreDescripteurs1);
  EXPECT_EQ(2, t.ucNombreDescripteurs2);
  EXPECT_EQ(data_of_a(), position());
  uint8_t v = 0;
  EXPECT_CODE(0, MC_usLireUnsignedChar(num_, &v));
  EXPECT_EQ(0x0A, v);
}

TEST_F(SearchTest, FindsTablesAheadAndBehindTheCurrentPosition) {
  EnteteTable t;
  ASSERT_CODE(0, MC_usRechercherTable(num_, "GAMMA", &t));
  EXPECT_STREQ("GAMMA", t.szNomTable);
  EXPECT_EQ(40u, uint32_t{t.ulNombreEnregistrements});  // copied: packed members are unaligned
  EXPECT_EQ(start_of_c() + 25, position());
  // Read GAMMA to its end, then look back: the search wraps once.
  ASSERT_CODE(0, MC_usPositionnerOffset(num_, 40, SEEK_CUR));
  ASSERT_CODE(0, MC_usRechercherTable(num_, "BETA", &t));
  EXPECT_STREQ("BETA", t.szNomTable);
  EXPECT_EQ(data_of_b(), position());
  uint8_t v = 0;
  EXPECT_CODE(0, MC_usLireUnsignedChar(num_, &v));
  EXPECT_EQ(0x0B, v);
  // From the end of BETA's data (GAMMA's header) back to ALPHA.
  ASSERT_CODE(0, MC_usRechercherTable(num_, "ALPHA", &t));
  EXPECT_EQ(data_of_a(), position());
  // The name matches exactly once its trailing spaces are gone.
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num_, "ALPH", &t));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num_, "ALPHA ", &t));
}

TEST_F(SearchTest, AbsentTableIsNotFoundAfterExactlyOneRound) {
  struct Case {
    const char* where;
    int32_t position;
    size_t headers;  // table headers read in one round
  };
  const Case cases[] = {{"first table", static_cast<int32_t>(header_.size()), 3},
                        {"second table", static_cast<int32_t>(start_of_b()), 3},
                        {"end of file", -1, 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.where);
    const int32_t target = c.position >= 0 ? c.position : static_cast<int32_t>(start_of_c() + c_.size());
    ASSERT_CODE(0, MC_usPositionnerOffset(num_, target, SEEK_SET));
    TraceCapture trace({{1, 7, 2}});
    EnteteTable t;
    EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num_, "DELTA", &t));
    const auto lines = trace.lines();
    EXPECT_EQ(c.headers, count_lines(lines, "{ MC_usLireEnteteTable : usNumFichierBinaire = 1"));
    EXPECT_EQ(1u, count_lines(lines, "{ usLireEnteteFichierBinaire : usNumFichierBinaire = 1"));
    EXPECT_EQ(1u, count_lines(lines, "MC_usRechercherTable : Code retour = 0xf805"));
    trace.stop();
    // The round ends where it started.
    EXPECT_EQ(static_cast<uint32_t>(target), position());
  }
}

TEST_F(SearchTest, ArgumentsAndNumbersAreChecked) {
  EnteteTable t;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherTable(num_, nullptr, &t));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherTable(num_, "ALPHA", nullptr));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usRechercherTable(99, "ALPHA", &t));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usLireEnteteTable(99, &t));
}

class AreaTest : public TableFileTest {};

TEST_F(AreaTest, KeptTableInTheLast128BytesIsNotFoundWithoutCRC) {
  const Bytes header = entete_octets("u.tbx", "c");
  const Bytes body = concat({table_octets("BIG", Bytes(200, 1)), table_octets("SMALL", hex("05"))});
  for (bool padded : {false, true}) {
    SCOPED_TRACE(padded);
    Bytes file = concat({header, body});
    if (padded) {
      file.insert(file.end(), 128, 0);  // where a signature would stand
    }
    write_file(path("u.tbx"), file);
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("u.tbx", 0, &num));
    EnteteTable t;
    EXPECT_CODE(padded ? 0 : MC_ERR_FIN, MC_usRechercherTable(num, "SMALL", &t));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    // With control type 1 the whole file is the table area.
    sceller_crc(file);
    write_file(path("u.tbx"), file);
    ASSERT_CODE(0, ouvrir("u.tbx", 1, &num));
    EXPECT_CODE(0, MC_usRechercherTable(num, "SMALL", &t));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(AreaTest, SearchStartedBeyondTheTableAreaEndsAfterOneRound) {
  Bytes file = concat({entete_octets("b.tbx", "c"), table_octets("A", Bytes(300, 1)), table_octets("B", hex("05"))});
  write_file(path("b.tbx"), file);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("b.tbx", 0, &num));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_END));
  EnteteTable t;
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "Z", &t));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_END));
  EXPECT_CODE(0, MC_usRechercherTable(num, "A", &t));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(AreaTest, TruncatedLastHeaderMakesTheSearchWrapWithoutError) {
  Bytes file = concat({entete_octets("w.tbx", "c"), table_octets("A", hex("01")), table_octets("B", hex("02"))});
  const Bytes partial = table_octets("C", hex("03"));
  file.insert(file.end(), partial.begin(), partial.begin() + 12);
  sceller_crc(file);
  write_file(path("w.tbx"), file);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("w.tbx", 1, &num));
  EnteteTable t;
  // From the cut header: its read hits the end of the file, the wrap replaces the error.
  ASSERT_CODE(0, MC_usPositionnerOffset(num, -12, SEEK_END));
  EXPECT_CODE(0, MC_usRechercherTable(num, "B", &t));
  EXPECT_STREQ("B", t.szNomTable);
  EXPECT_CODE(0, MC_usPositionnerOffset(num, 64, SEEK_SET));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "C", &t));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(AreaTest, DamagedDataSizeStopsTheSearchWithinTheFile) {
  const Bytes clean = concat({entete_octets("d.tbx", "c"), table_octets("A", hex("01 02")),
                              table_octets("B", hex("03")), table_octets("C", hex("04 05 06"))});
  struct Case {
    size_t table_at;  // start of the damaged table
    uint32_t size;
    const char* name;
    uint16_t code;
  };
  const Case cases[] = {{64, 0x7FFFFFFF, "C", MC_ERR_FIN_FICHIER}, {64, 0x80000000, "C", MC_ERR_FIN_FICHIER},
                        {64, 0xFFFFFFFF, "C", MC_ERR_FIN_FICHIER}, {91, 0xFFFFFFF0, "C", MC_ERR_FIN_FICHIER},
                        {91, 0xFFFFFFF0, "A", 0},                  {64, 0x7F000002, "C", MC_ERR_FIN}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.table_at << " " << std::hex << c.size << " " << c.name);
    Bytes file = clean;
    for (int k = 0; k < 4; ++k) {
      file[c.table_at + 10 + static_cast<size_t>(k)] = static_cast<uint8_t>(c.size >> (24 - 8 * k));
    }
    sceller_crc(file);
    write_file(path("d.tbx"), file);
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("d.tbx", 1, &num));
    EnteteTable t;
    EXPECT_CODE(c.code, MC_usRechercherTable(num, c.name, &t));
    uint32_t position = 0;
    EXPECT_CODE(0, MC_usLirePositionFichier(num, &position));
    EXPECT_LE(position, file.size());
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
