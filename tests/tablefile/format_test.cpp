// format_test.cpp -- the file format through the writer and the reader: the example file, the
// header, table headers and sizes, and every value type at its boundaries.
#include <climits>
#include <cmath>
#include <random>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

// The records keep the fixed places of the format.
static_assert(sizeof(EnteteFichierBinaire) == 256);
static_assert(offsetof(EnteteFichierBinaire, szNomFichier) == 0);
static_assert(offsetof(EnteteFichierBinaire, szVersion) == 13);
static_assert(offsetof(EnteteFichierBinaire, szTexte5) == 18);
static_assert(offsetof(EnteteFichierBinaire, szTexte8) == 24);
static_assert(offsetof(EnteteFichierBinaire, szVersionRequise) == 33);
static_assert(offsetof(EnteteFichierBinaire, szTexte5b) == 38);
static_assert(offsetof(EnteteFichierBinaire, szTexte10) == 44);
static_assert(offsetof(EnteteFichierBinaire, szCommentaire) == 55);
static_assert(sizeof(EnteteTable) == 26);
static_assert(offsetof(EnteteTable, ulTailleDonnees) == 11);
static_assert(offsetof(EnteteTable, ulNombreEnregistrements) == 15);
static_assert(offsetof(EnteteTable, ulReserve) == 19);
static_assert(offsetof(EnteteTable, ucNombreDescripteurs1) == 23);
static_assert(offsetof(EnteteTable, ucReserve) == 25);

class FormatTest : public TableFileTest {
 protected:
  // Creates name (control type 0: no CRC) with one table "T" whose records `write` writes, releases
  // it and returns the bytes that follow the table header.
  template <typename F>
  Bytes table_data(F write, const char* comment = "c") {
    uint16_t num = 0;
    EXPECT_CODE(0, creer("v.tbx", 0, &num, entete_exemple("v.tbx", comment)));
    const EnteteTable t = entete_table("T", 1);
    EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    write(num);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    const Bytes file = read_file(path("v.tbx"));
    const size_t start = 63 + strlen(comment) + 25;
    EXPECT_LE(start, file.size());
    // The data size patched in at release counts exactly the data bytes.
    const Bytes size(file.begin() + static_cast<long>(start) - 15, file.begin() + static_cast<long>(start) - 11);
    EXPECT_EQ(file.size() - start, (uint32_t{size[0]} << 24) | (uint32_t{size[1]} << 16) | (uint32_t{size[2]} << 8) | size[3]);
    return Bytes(file.begin() + static_cast<long>(start), file.end());
  }
  // Opens a file holding header, table "T" with `data` and 128 filler bytes, control type 0,
  // positioned on the first record.
  uint16_t open_data(const Bytes& data) {
    write_file(path("r.tbx"), concat({entete_octets("r.tbx", "c"), table_octets("T", data), Bytes(128, 0xEE)}));
    uint16_t num = 0;
    EXPECT_CODE(0, ouvrir("r.tbx", 0, &num));
    EnteteTable t;
    EXPECT_CODE(0, MC_usLireEnteteTable(num, &t));
    return num;
  }
};

TEST_F(FormatTest, ExampleFileWrittenByteForByteAndReadBack) {
  for (bool explicit_size : {true, false}) {
    SCOPED_TRACE(explicit_size);
    uint16_t num = 0;
    ASSERT_CODE(0, creer("tablebin.tbx", MC_CONTROLE_CRC16, &num, entete_exemple()));
    const EnteteTable t = entete_table("TEST", 1);
    EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
    if (explicit_size) {
      EXPECT_CODE(0, MC_usEcrireTaille(num));
    }
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    EXPECT_EQ(to_hex(exemple_95()), to_hex(read_file(path("tablebin.tbx"))));
  }

  EnteteFichierBinaire e;
  memset(&e, 0x55, sizeof e);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num, &e));
  EXPECT_STREQ("tablebin.tbx", e.szNomFichier);
  EXPECT_STREQ("0100", e.szVersion);
  EXPECT_STREQ("00001", e.szTexte5);
  EXPECT_STREQ("20260115", e.szTexte8);
  EXPECT_STREQ("0100", e.szVersionRequise);
  EXPECT_STREQ("00002", e.szTexte5b);
  EXPECT_STREQ("0000000003", e.szTexte10);
  EXPECT_STREQ("essai", e.szCommentaire);
  uint32_t pos = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(68u, pos);
  EnteteTable t;
  memset(&t, 0x55, sizeof t);
  EXPECT_CODE(0, MC_usLireEnteteTable(num, &t));
  EXPECT_STREQ("TEST", t.szNomTable);
  EXPECT_EQ(2u, uint32_t{t.ulTailleDonnees});  // copied: packed members are unaligned
  EXPECT_EQ(1u, uint32_t{t.ulNombreEnregistrements});  // copied: packed members are unaligned
  EXPECT_EQ(0u, uint32_t{t.ulReserve});  // copied: packed members are unaligned
  EXPECT_EQ(0, t.ucNombreDescripteurs1 + t.ucNombreDescripteurs2 + t.ucReserve);
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(93u, pos);
  uint16_t value = 0;
  EXPECT_CODE(0, MC_usLireUnsignedShort(num, &value));
  EXPECT_EQ(0x0102, value);
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireUnsignedShort(num, &value));
  EXPECT_EQ(0x0102, value);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, HeaderFieldsGoOutAsTheyStandAndTheNameIsPadded) {
  EnteteFichierBinaire e = entete_exemple("h.tbx", "x");
  set_field(e.szVersion, sizeof e.szVersion, "01");  // shorter: written with its NULs
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, e));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(to_hex(bytes_of(std::string("0000 h.tbx        01\0\0 00001 20260115 0100 00002 0000000003 x\r\n\x1a", 64))),
            to_hex(read_file(path("h.tbx"))));
}

TEST_F(FormatTest, TwelveCharacterNameFillsItsFieldAndThirteenIsCut) {
  // Thirteen characters in the record's name field (no NUL left): the writer keeps twelve, and
  // the file can never be opened under its own name.
  for (const char* name : {"abcdefghijkl", "abcdefghijklm"}) {
    SCOPED_TRACE(name);
    EnteteFichierBinaire e = entete_exemple("x");
    memcpy(e.szNomFichier, name, strlen(name));
    uint16_t num = 0;
    ASSERT_CODE(0, creer(name, 1, &num, e));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    const Bytes file = read_file(path(name));
    EXPECT_EQ(bytes_of("abcdefghijkl 0100"), Bytes(file.begin() + 5, file.begin() + 22));
    EXPECT_CODE(strlen(name) == 12 ? 0 : MC_ERR_NOM_FICHIER, ouvrir(name, 1, &num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FormatTest, NameOfTwelveSpacesIsStrippedToEmpty) {
  write_file(path("blank"), concat({entete_octets("            ", "c"), Bytes(128, 0)}));
  uint16_t num = 0;
  EnteteFichierBinaire e;
  EXPECT_CODE(MC_ERR_NOM_FICHIER, ouvrir("blank", 0, &num, &e));
  EXPECT_STREQ("", e.szNomFichier);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, KeptEmptyCommentMisreadsTheFileByOneByte) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("e.tbx", 1, &num, entete_exemple("e.tbx", "")));
  const EnteteTable t = entete_table("TEST", 1);
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  const Bytes file = read_file(path("e.tbx"));
  ASSERT_EQ(63u + 27u, file.size());
  EXPECT_EQ(0x0D, file[60]);
  EXPECT_EQ('T', file[63]);

  EnteteFichierBinaire e;
  ASSERT_CODE(0, ouvrir("e.tbx", 1, &num, &e));
  EXPECT_STREQ("", e.szCommentaire);
  uint32_t pos = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(64u, pos);  // one byte into the first table
  EnteteTable r;
  EXPECT_CODE(0, MC_usLireEnteteTable(num, &r));
  EXPECT_STREQ("EST      ", r.szNomTable);  // ends on the size's first byte, a NUL
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, CommentEndsAtItsFirstCarriageReturnAndTwoBytesAreSkipped) {
  write_file(path("cr.tbx"), concat({entete_octets("cr.tbx", "ab\rXY"), table_octets("T", hex("01"))}));
  uint16_t num = 0;
  EnteteFichierBinaire e;
  ASSERT_CODE(0, ouvrir("cr.tbx", 0, &num, &e));
  EXPECT_STREQ("ab", e.szCommentaire);
  uint32_t pos = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(65u, pos);  // behind "ab", CR, "XY": on the comment's real CR
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, LongCommentKeepsItsFirst200CharactersAndTheStreamFollowsTheFile) {
  const std::string comment(300, 'k');
  write_file(path("long.tbx"), concat({entete_octets("long.tbx", comment), table_octets("T", hex("01"))}));
  uint16_t num = 0;
  EnteteFichierBinaire e;
  ASSERT_CODE(0, ouvrir("long.tbx", 0, &num, &e));
  EXPECT_EQ(std::string(200, 'k'), e.szCommentaire);
  EnteteTable t;
  EXPECT_CODE(0, MC_usLireEnteteTable(num, &t));
  EXPECT_STREQ("T", t.szNomTable);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, TableHeaderWritesNameAsItStandsAndZerosForTheRest) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("t.tbx", 0, &num, entete_exemple("t.tbx", "c")));
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memcpy(t.szNomTable, "AB", 2);  // NUL-padded: the NULs go out too
  t.ulTailleDonnees = 99;
  t.ulNombreEnregistrements = 0x01020304;
  t.ulReserve = 7;
  t.ucNombreDescripteurs1 = 3;
  t.ucNombreDescripteurs2 = 4;
  t.ucReserve = 5;
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_EQ(64 + 10, mc::g_etatFichiers.lPositionTailleTable);
  EXPECT_CODE(0, MC_usEcrireUnsignedChar(num, 0xAA));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  const Bytes file = read_file(path("t.tbx"));
  EXPECT_EQ("41 42 00 00 00 00 00 00 00 00 00 00 00 01 01 02 03 04 00 00 00 00 00 00 00 AA",
            to_hex(Bytes(file.begin() + 64, file.end())));
  EXPECT_EQ(0, mc::g_etatFichiers.lPositionTailleTable);
}

TEST_F(FormatTest, TwoTablesWithoutSizeBetweenThemLeaveTheFirstAtZero) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("two.tbx", 1, &num, entete_exemple("two.tbx", "c")));
  const EnteteTable a = entete_table("A", 1);
  const EnteteTable b = entete_table("B", 1);
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &a));
  EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 1));
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &b));
  EXPECT_CODE(0, MC_usEcrireUnsignedLong(num, 2));
  EXPECT_CODE(0, MC_usEcrireTaille(num));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  Bytes expected = concat({entete_octets("two.tbx", "c"), table_octets("A", hex("00 01")), table_octets("B", hex("00 00 00 02"))});
  expected[64 + 13] = 0;  // A's size stayed 0
  sceller_crc(expected);
  EXPECT_EQ(to_hex(expected), to_hex(read_file(path("two.tbx"))));
}

TEST_F(FormatTest, SizeWithoutTableHeaderIsRefused) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("s.tbx", 1, &num, entete_exemple("s.tbx", "c")));
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : Pas d'entete de table de cree"));
  EXPECT_TRUE(has_line(lines, "MC_usEcrireTaille : Code retour = 0xf811"));
  // Kept: the size's entry line is the table header's.
  EXPECT_TRUE(has_line(lines, "{ MC_usEcrireEnteteTable : usNumFichierBinaire = 1"));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FormatTest, KeptDoubleWritesIntoAnyOpenFileTheOthersRefuseAFileOpenedForReading) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  TraceCapture trace({{1, 7, 2}});
  const EnteteTable t = entete_table("X");
  const uint16_t units[1] = {1};
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedChar(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedChar(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedShort(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedShort(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedLong(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedLong(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireDate(num, 1, 2, 3));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChampFixe(num, "ab", 2));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChaineVariable(num, "ab"));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChaineVariable(num, nullptr));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChampUnicodeFixe(num, units, 1));
  EXPECT_TRUE(has_line(trace.lines(), "ERREUR : Le fichier n'est pas en ecriture"));
  uint32_t before = 0;
  EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &before));
  // The double is not refused: it is attempted on the read-only stream, which fails, and its
  // eight bytes are counted before.
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireDouble(num, 1.5));
  uint32_t after = 0;
  EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &after));
  EXPECT_EQ(before + 8, after);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(exemple_95(), read_file(path("tablebin.tbx")));
}

TEST_F(FormatTest, VariableStringChecksSlotAndWriteModeBeforeCodingItsLength) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  struct Case {
    uint16_t num;
    const char* text;
    uint16_t code;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {num, "ab", MC_ERR_TYPE, {"{ MC_usEcrireChaineVariable", "  MC_usEcrireChaineVariable", "}"}},
      {num, nullptr, MC_ERR_TYPE, {"{ MC_usEcrireChaineVariable", "  MC_usEcrireChaineVariable", "}"}},
      {0, "ab", MC_ERR_NUMERO,
       {"{ MC_usEcrireChaineVariable", "  ERREUR : usRechercherFichier : numero de fichier invalide",
        "  MC_usEcrireChaineVariable", "}"}},
      {7, "ab", MC_ERR_NUMERO,
       {"{ MC_usEcrireChaineVariable", "  ERREUR : usRechercherFichier : fichier non reserve",
        "  MC_usEcrireChaineVariable", "}"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.num) + (c.text != nullptr ? " text" : " null"));
    TraceCapture trace({{1, 7, 2}, {1, 3, 2}});
    EXPECT_CODE(c.code, MC_usEcrireChaineVariable(c.num, c.text));
    std::vector<std::string> lines = trace.lines();
    ASSERT_FALSE(lines.empty());
    lines.erase(lines.begin());  // the header line of the trace file
    EXPECT_EQ(c.lines, lines);
  }
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(exemple_95(), read_file(path("tablebin.tbx")));
}

TEST_F(FormatTest, KeptSizeOnAFileOpenedForReadingStillMovesItToItsEnd) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
  uint32_t pos = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(95u, pos);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

// Writes, or reads back and expects, each of `values` with one typed operation.
template <typename T, size_t N>
void write_all(uint16_t n, uint16_t (*write)(uint16_t, T), const T (&values)[N]) {
  for (T v : values) EXPECT_CODE(0, write(n, v));
}
template <typename T, size_t N>
void expect_all(uint16_t n, uint16_t (*read)(uint16_t, T*), const T (&values)[N]) {
  for (T v : values) {
    T r{};
    EXPECT_CODE(0, read(n, &r));
    EXPECT_EQ(v, r);
  }
}

TEST_F(FormatTest, IntegersAtTheirBoundariesAreBigEndianAndReadBack) {
  const uint8_t uc[] = {0, 1, 127, 128, 255};
  const int8_t sc[] = {-128, -1, 0, 127};
  const uint16_t us[] = {0, 0x0102, 0xFFFF};
  const int16_t ss[] = {-32768, -2, 32767};
  const uint32_t ul[] = {0u, 256u, 0xFFFFFFFFu};
  const int32_t sl[] = {INT32_MIN, -1, INT32_MAX};
  const Bytes data = table_data([&](uint16_t n) {
    write_all(n, MC_usEcrireUnsignedChar, uc);
    write_all(n, MC_usEcrireSignedChar, sc);
    write_all(n, MC_usEcrireUnsignedShort, us);
    write_all(n, MC_usEcrireSignedShort, ss);
    write_all(n, MC_usEcrireUnsignedLong, ul);
    write_all(n, MC_usEcrireSignedLong, sl);
    EXPECT_CODE(0, MC_usEcrireDate(n, 2026, 1, 15));
  });
  EXPECT_EQ(to_hex(hex("00 01 7F 80 FF  80 FF 00 7F  00 00 01 02 FF FF  80 00 FF FE 7F FF"
                       "00 00 00 00 00 00 01 00 FF FF FF FF  80 00 00 00 FF FF FF FF 7F FF FF FF"
                       "07 EA 01 0F")),
            to_hex(data));

  const uint16_t n = open_data(data);
  expect_all(n, MC_usLireUnsignedChar, uc);
  expect_all(n, MC_usLireSignedChar, sc);
  expect_all(n, MC_usLireUnsignedShort, us);
  expect_all(n, MC_usLireSignedShort, ss);
  expect_all(n, MC_usLireUnsignedLong, ul);
  expect_all(n, MC_usLireSignedLong, sl);
  uint16_t year = 0;
  uint8_t month = 0;
  uint8_t day = 0;
  EXPECT_CODE(0, MC_usLireDate(n, &year, &month, &day));
  EXPECT_EQ(2026, year);
  EXPECT_EQ(1, month);
  EXPECT_EQ(15, day);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, RandomStringsDatesAndUnicodeFieldsRoundTrip) {
  std::mt19937 gen(77);
  struct Record {
    std::string text;
    uint16_t year;
    uint8_t month, day;
    std::vector<uint16_t> units;
  };
  std::vector<Record> records(300);
  for (auto& r : records) {
    r.text.resize(gen() % 600);
    for (auto& c : r.text) c = static_cast<char>(1 + gen() % 255);  // no NUL inside a text
    r.year = static_cast<uint16_t>(gen());
    r.month = static_cast<uint8_t>(gen());
    r.day = static_cast<uint8_t>(gen());
    r.units.resize(gen() % 5);
    for (auto& u : r.units) u = static_cast<uint16_t>(gen());
  }
  const Bytes data = table_data([&](uint16_t n) {
    for (const auto& r : records) {
      ASSERT_CODE(0, MC_usEcrireChaineVariable(n, r.text.c_str()));
      ASSERT_CODE(0, MC_usEcrireDate(n, r.year, r.month, r.day));
      ASSERT_CODE(0, MC_usEcrireChampUnicodeFixe(n, r.units.data(), static_cast<uint32_t>(r.units.size())));
    }
  });
  const uint16_t n = open_data(data);
  for (const auto& r : records) {
    char* text = nullptr;
    ASSERT_CODE(0, MC_usLireChaineVariable(n, &text));
    ASSERT_EQ(r.text, text);
    MC_Liberer(text);
    uint16_t year = 0;
    uint8_t month = 0, day = 0;
    ASSERT_CODE(0, MC_usLireDate(n, &year, &month, &day));
    ASSERT_EQ(r.year, year);
    ASSERT_EQ(r.month, month);
    ASSERT_EQ(r.day, day);
    std::vector<uint16_t> units(r.units.size());
    ASSERT_CODE(0, MC_usLireChampUnicodeFixe(n, units.data(), static_cast<uint32_t>(units.size())));
    ASSERT_EQ(r.units, units);
  }
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, ShortReadsFailAndLeaveTheTargetUntouched) {
  const uint16_t n = open_data(hex("AB CD EF"));
  uint32_t l = 0x11111111;
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usPositionnerOffset(n, 0, SEEK_END) == 0 ? MC_usLireUnsignedLong(n, &l) : 0);
  EXPECT_EQ(0x11111111u, l);
  uint16_t s = 0x2222;
  uint8_t c = 0x33;
  double d = 4.5;
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireUnsignedShort(n, &s));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireUnsignedChar(n, &c));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireDouble(n, &d));
  EXPECT_EQ(0x2222, s);
  EXPECT_EQ(0x33, c);
  EXPECT_EQ(4.5, d);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireUnsignedChar(n, nullptr));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, DoublesOfTheFormatsExamples) {
  struct Case {
    double value;
    const char* bytes;
    double back;  // the value read back
  };
  const double below_1e14 = std::nextafter(1e14, 0.0);  // 14 integer digits, printed as 1e14
  const Case cases[] = {{3.5, "03 F5 00 00 00 00 00 00", 3.5},
                        {-1234.5, "11 23 4F 50 00 00 00 00", -1234.5},
                        {0.0, "00 F0 00 00 00 00 00 00", 0.0},
                        {0.001, "00 F0 01 00 00 00 00 00", 0.001},
                        {12345678901234.0, "01 23 45 67 89 01 23 4F", 12345678901234.0},
                        {99999999999999.0, "09 99 99 99 99 99 99 9F", 99999999999999.0},
                        {-99999999999999.0, "19 99 99 99 99 99 99 9F", -99999999999999.0},
                        {0.1234567890123456, "00 F1 23 45 67 89 01 23", 0.1234567890123},
                        {below_1e14, "01 00 00 00 00 00 00 00", 1e14},
                        {-below_1e14, "11 00 00 00 00 00 00 00", -1e14},
                        {std::nextafter(1e13, 0.0), "01 00 00 00 00 00 00 0F", 1e13}};
  const Bytes data = table_data([&](uint16_t n) {
    for (const auto& c : cases) EXPECT_CODE(0, MC_usEcrireDouble(n, c.value));
  });
  ASSERT_EQ(8 * std::size(cases), data.size());
  const uint16_t n = open_data(data);
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].value);
    EXPECT_EQ(cases[i].bytes, to_hex(Bytes(data.begin() + static_cast<long>(8 * i), data.begin() + static_cast<long>(8 * i + 8))));
    double r = -1;
    EXPECT_CODE(0, MC_usLireDouble(n, &r));
    EXPECT_EQ(cases[i].back, r);
  }
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, DoublesWithFifteenIntegerDigitsAreRefusedAndNothingIsWritten) {
  const Bytes data = table_data([](uint16_t n) {
    for (double v : {100000000000000.0, -100000000000000.0, 1e300, HUGE_VAL, -HUGE_VAL, static_cast<double>(NAN)}) {
      EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireDouble(n, v)) << v;
    }
    EXPECT_CODE(0, MC_usEcrireDouble(n, 1.0));
  });
  EXPECT_EQ("01 F0 00 00 00 00 00 00", to_hex(data));
}

TEST_F(FormatTest, RandomDoublesReadBackAsTheirFourteenDigitText) {
  std::mt19937_64 gen(1234);
  std::uniform_real_distribution<double> mantissa(1.0, 10.0);
  std::uniform_int_distribution<int> exponent(-20, 13);
  std::vector<double> values;
  for (int i = 0; i < 2000; ++i) {
    const double v = mantissa(gen) * std::pow(10.0, exponent(gen));
    values.push_back((gen() & 1) != 0 ? -v : v);
  }
  const Bytes data = table_data([&](uint16_t n) {
    for (double v : values) ASSERT_CODE(0, MC_usEcrireDouble(n, v));
  });
  const uint16_t n = open_data(data);
  for (double v : values) {
    // The value printed with 14 - D decimals, D its number of integer digits.
    const double e = std::floor(std::log10(std::fabs(v)));
    const int digits = e < 0 ? 1 : static_cast<int>(e) + 1;
    char text[64];
    snprintf(text, sizeof text, "%.*f", 14 - digits, v);
    double r = 0;
    ASSERT_CODE(0, MC_usLireDouble(n, &r));
    ASSERT_EQ(atof(text), r) << text;
  }
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, DoubleReaderTakesAnyHighHalfAsMinusAndDoesNotCheckDigits) {
  const uint16_t n = open_data(hex("21 2F 50 00 00 00 00 00  01 2A 00 00 00 00 00 00"));
  double r = 0;
  EXPECT_CODE(0, MC_usLireDouble(n, &r));
  EXPECT_EQ(-12.5, r);
  EXPECT_CODE(0, MC_usLireDouble(n, &r));
  EXPECT_EQ(12.0, r);  // the half-byte 10 reads as ':', where the conversion stops
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, LengthCodingOfVariableStrings) {
  struct Case {
    uint32_t length;
    const char* bytes;
  };
  const Case cases[] = {{0, "00"},          {1, "01"},          {127, "7F"},
                        {128, "81 80"},     {255, "81 FF"},     {256, "82 01 00"},
                        {300, "82 01 2C"},  {65535, "82 FF FF"}, {65536, "83 01 00 00"},
                        {16777215, "83 FF FF FF"}, {16777216, "84 01 00 00 00"}, {0xFFFFFFFF, "84 FF FF FF FF"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    unsigned char buffer[5];
    const size_t n = stCoderLongueur(c.length, buffer);
    EXPECT_EQ(c.bytes, to_hex(Bytes(buffer, buffer + n)));
  }
}

TEST_F(FormatTest, LengthCodingTracesUnderTheZoneTraceNumber) {
  TraceCapture trace({{1, 3, 2}});
  unsigned char buffer[5];
  stCoderLongueur(300, buffer);
  const auto lines = trace.lines();
  ASSERT_EQ(5u, lines.size());
  EXPECT_EQ("{ stCoderLongueur :  longueur = 300", lines[1]);
  EXPECT_EQ("  buffer = \x82\x01,", lines[2]);
  EXPECT_EQ("  stCoderLongueur :nbOctets = 3", lines[3]);
  EXPECT_EQ("}", lines[4]);
}

TEST_F(FormatTest, VariableStringsRoundTripAtTheirLengthBoundaries) {
  std::vector<std::string> texts;
  for (size_t len : {0, 1, 127, 128, 255, 256, 300, 65535, 65536, 70000}) {
    std::string t(len, 'x');
    for (size_t i = 0; i < len; ++i) t[i] = static_cast<char>('a' + i % 26);
    texts.push_back(t);
  }
  const Bytes data = table_data([&](uint16_t n) {
    for (const auto& t : texts) EXPECT_CODE(0, MC_usEcrireChaineVariable(n, t.c_str()));
    EXPECT_CODE(0, MC_usEcrireChaineVariable(n, nullptr));
  });
  EXPECT_EQ("82 01 2C 61 62", to_hex(Bytes(data.begin() + 1 + 2 + 128 + 130 + 257 + 259, data.begin() + 1 + 2 + 128 + 130 + 257 + 259 + 5)));
  EXPECT_EQ(0, data.back());
  const uint16_t n = open_data(data);
  for (const auto& t : texts) {
    SCOPED_TRACE(t.size());
    char* r = nullptr;
    ASSERT_CODE(0, MC_usLireChaineVariable(n, &r));
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(t, r);
    MC_Liberer(r);
  }
  char* r = nullptr;
  EXPECT_CODE(0, MC_usLireChaineVariable(n, &r));
  EXPECT_STREQ("", r);
  MC_Liberer(r);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, KeptReaderTakesALoneEightyAsTheLength128) {
  Bytes data = hex("80");
  data.insert(data.end(), 128, 'z');
  data.push_back(0x82);
  data.push_back(0x00);
  data.push_back(0x03);  // a longer coding than needed is read as well
  data.insert(data.end(), {'a', 'b', 'c'});
  const uint16_t n = open_data(data);
  char* r = nullptr;
  EXPECT_CODE(0, MC_usLireChaineVariable(n, &r));
  EXPECT_EQ(std::string(128, 'z'), r);
  MC_Liberer(r);
  EXPECT_CODE(0, MC_usLireChaineVariable(n, &r));
  EXPECT_STREQ("abc", r);
  MC_Liberer(r);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, LengthOnMoreThanFourBytesIsRefused) {
  for (uint8_t first : {0x85, 0xFF}) {
    SCOPED_TRACE(first);
    const uint16_t n = open_data(Bytes{first, 0, 0, 0, 0, 1, 'a'});
    TraceCapture trace({{1, 7, 2}});
    char* r = reinterpret_cast<char*>(1);
    EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireChaineVariable(n, &r));
    EXPECT_EQ(nullptr, r);
    EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usLireChaineVariable : Nombre d'octets pour coder la longueur (" +
                                            std::to_string(first - 128) + ") > 4."));
    trace.stop();
    EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
  }
}

TEST_F(FormatTest, StringCutByTheEndOfTheFileIsHandedOverWithTheCharactersRead) {
  struct Case {
    const char* data;  // the table's data, the last bytes of a CRC file
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"0A 61 62 63", "abc", "lu 3 a liree 10"},
      // A damaged length of two gigabytes asks no more than the file holds.
      {"84 7F FF FF FF 61 62", "ab", "lu 2 a liree 2147483647"},
      // Length bytes cut short give the length of those read: 0x0002, no character left.
      {"83 00 02", "", "lu 0 a liree 2"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.data);
    const Bytes data = hex(c.data);
    Bytes file = concat({entete_octets("s.tbx", "c"), table_octets("T", data)});
    sceller_crc(file);
    write_file(path("s.tbx"), file);
    uint16_t n = 0;
    ASSERT_CODE(0, ouvrir("s.tbx", 1, &n));
    ASSERT_CODE(0, MC_usPositionnerOffset(n, -static_cast<int32_t>(data.size()), SEEK_END));
    TraceCapture trace({{1, 7, 2}});
    char* r = nullptr;
    EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChaineVariable(n, &r));
    ASSERT_NE(nullptr, r);
    EXPECT_STREQ(c.text, r);
    MC_Liberer(r);
    EXPECT_TRUE(has_line(trace.lines(), std::string("ERREUR : MC_usLireChampFixe : Fin de fichier ") + c.message +
                                            " usCr 63040"));
    trace.stop();
    EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
  }
}

TEST_F(FormatTest, FixedAndUnicodeFields) {
  const uint16_t units[3] = {0x0102, 0xFFFE, 0x4100};
  const Bytes data = table_data([&](uint16_t n) {
    EXPECT_CODE(0, MC_usEcrireChampFixe(n, "ab\0c", 4));
    EXPECT_CODE(0, MC_usEcrireChampFixe(n, nullptr, 0));
    EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireChampFixe(n, nullptr, 1));
    EXPECT_CODE(0, MC_usEcrireChampUnicodeFixe(n, units, 3));
  });
  // Kept: the units lie on disk in memory order, low byte first on this platform.
  EXPECT_EQ("61 62 00 63 02 01 FE FF 00 41", to_hex(data));

  const uint16_t n = open_data(data);
  char fixed[4];
  EXPECT_CODE(0, MC_usLireChampFixe(n, fixed, 0));
  EXPECT_CODE(0, MC_usLireChampFixe(n, fixed, 4));
  EXPECT_EQ(0, memcmp(fixed, "ab\0c", 4));
  uint16_t read_units[3] = {};
  EXPECT_CODE(0, MC_usLireChampUnicodeFixe(n, read_units, 3));
  EXPECT_EQ(0, memcmp(units, read_units, sizeof units));
  // The last three bytes of the file, then its last byte.
  EXPECT_CODE(0, MC_usPositionnerOffset(n, -3, SEEK_END));
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChampUnicodeFixe(n, read_units, 3));
  EXPECT_CODE(0, MC_usPositionnerOffset(n, -1, SEEK_END));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChampFixe(n, fixed, 4));
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usLireChampUnicodeFixe : Fin de fichier lu 1 a liree 3 usCr 63040"));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usLireChampFixe : Fin de fichier lu 1 a liree 4 usCr 63040"));
  trace.stop();
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

TEST_F(FormatTest, KeptTableReaderExitLineCarriesTheWritersText) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t n = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &n));
  TraceCapture trace({{1, 7, 2}});
  EnteteTable t;
  EXPECT_CODE(0, MC_usLireEnteteTable(n, &t));
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "{ MC_usLireEnteteTable : usNumFichierBinaire = 1"));
  EXPECT_TRUE(has_line(lines, "MC_usEcrireEnteteTable : Code retour = 0x0000"));
  trace.stop();
  EXPECT_CODE(0, MC_usLibererFichierBinaire(n, nullptr));
}

}  // namespace
}  // namespace mc::test
