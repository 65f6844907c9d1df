// files_test.cpp -- table files as a whole: slots, opening and creation, the header, tables and
// their search, the CRC16, traced scenarios against scenarios.golden, special files and full disks.
#include <cstdio>
#include <functional>
#include <map>

#include "tests/tablefile/limites.h"
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

using FileTest = TableFileTest;

bool in_use(uint16_t num) {
  uint32_t pos = 0;
  return MC_usLirePositionFichier(num, &pos) == MC_CR_OK;
}
uint32_t position(uint16_t num) {
  uint32_t p = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &p));
  return p;
}

TEST_F(FileTest, HundredSlotsThenRefusedAndAReleasedNumberIsGivenAgain) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  for (uint16_t i = 1; i <= 100; ++i) {
    ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
    ASSERT_EQ(i, num);
  }
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_SLOTS, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  EXPECT_EQ(0, num);
  EXPECT_TRUE(has_line(trace.lines(), "ERREUR : plus de fichier disponible."));
  EXPECT_CODE(MC_ERR_SLOTS, creer("new.tbx", 1, &num, entete_exemple("new.tbx")));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(37, nullptr));
  EXPECT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  EXPECT_EQ(37, num);
}

TEST_F(FileTest, NumbersOutsideOneToHundredOrUnusedAreRefused) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t open = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &open));
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &open));
  ASSERT_CODE(0, MC_usLibererFichierBinaire(1, nullptr));
  for (uint16_t num : {0, 101, 0xFFFF, 1, 3, 100}) {
    SCOPED_TRACE(num);
    uint8_t uc = 0;
    uint32_t v = 0;
    unsigned char* buffer = nullptr;
    EnteteTable t;
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(num, nullptr));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLireUnsignedChar(num, &uc));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireUnsignedChar(num, 1));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireTaille(num));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usRechercherTable(num, "A", &t));
    EXPECT_CODE(MC_ERR_NUMERO, usTailleDonnneeFichierBinaire(num, &v));
    // The positioning helpers and the signatures report a failed lookup as a file error.
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichierBinaire(num, &v));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, &v));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, 0, SEEK_SET));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLireFichierBinaire(num, 0, 4, &buffer));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(num, dev_private_key_path().c_str()));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usVerifierSignatureFichier(num));
    EXPECT_EQ(nullptr, buffer);
  }
  EXPECT_TRUE(in_use(2));
}

TEST_F(FileTest, KeptHundredthSlotStaysReservedAfterAFailedOpeningOrCreation) {
  write_file(path("tablebin.tbx"), exemple_95());
  const EnteteFichierBinaire e = entete_exemple("x.tbx");
  uint16_t num = 0;
  for (bool creation : {false, true}) {
    SCOPED_TRACE(creation);
    reset();
    for (uint16_t i = 1; i <= 99; ++i) ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
    EXPECT_CODE(MC_ERR_FICHIER, creation ? MC_usCreerFichierBinaire((dir_ + "/nowhere").c_str(), "x.tbx", 1, &e, &num)
                                         : ouvrir("absent.tbx", 1, &num));
    EXPECT_EQ(0, num);
    EXPECT_CODE(MC_ERR_SLOTS, ouvrir("tablebin.tbx", 1, &num));
    EXPECT_FALSE(in_use(100));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(100, nullptr));
  }
  // A failure on any other slot gives it back.
  EXPECT_CODE(0, MC_usLibererFichierBinaire(5, nullptr));
  EXPECT_CODE(MC_ERR_FICHIER, ouvrir("absent.tbx", 1, &num));
  EXPECT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  EXPECT_EQ(5, num);
}

TEST_F(FileTest, FailedOpeningEmptiesTheEntryOfTheNumberItWasGiven) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t first = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &first));
  uint16_t stale = first;  // the caller did not set it to 0
  EnteteFichierBinaire e;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(nullptr, "tablebin.tbx", 1, &stale, &e));
  EXPECT_EQ(0, stale);
  EXPECT_FALSE(in_use(first));
  uint16_t num = 42;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerFichierBinaire(dir_.c_str(), "n.tbx", 1, nullptr, &num));
  EXPECT_EQ(0, num);
}

TEST_F(FileTest, KeptFailedOpeningAfterTheSlotWasFilledLeavesTheFileOpen) {
  Bytes cut = concat({entete_octets("cut.tbx", "c"), table_octets("A", hex("01 02"))});
  cut.resize(40);
  Bytes damaged = concat({entete_octets("crc.tbx", "c"), table_octets("A", hex("01 02"))});
  sceller_crc(damaged);
  damaged.back() ^= 0x01;
  const std::pair<Bytes, uint16_t> cases[] = {
      {exemple_95(), MC_ERR_NOM_FICHIER}, {cut, MC_ERR_FIN_FICHIER}, {damaged, MC_ERR_CONTROLE}};
  for (const auto& [bytes, code] : cases) {
    SCOPED_TRACE(code);
    const uint16_t num = ouvrir_octets(code == MC_ERR_CONTROLE ? "crc.tbx" : "cut.tbx", bytes, 1, code);
    ASSERT_NE(0, num);
    EXPECT_TRUE(in_use(num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FileTest, EveryAllocationFailureOfAWrittenAndReadFileGivesF801) {
  TraceCapture trace({{1, 7, 2}});
  const EnteteFichierBinaire e = entete_exemple("c.tbx");
  const std::string text(300, 'q');
  each_allocation_failure([&]() -> uint32_t {
    uint16_t num = 0;
    EnteteTable t = entete_table("T", 1);
    uint16_t code = creer("c.tbx", MC_CONTROLE_CRC16, &num, e);
    if (code == 0) code = MC_usEcrireEnteteTable(num, &t);
    if (code == 0) code = MC_usEcrireChaineVariable(num, text.c_str());
    const uint16_t release = num != 0 ? MC_usLibererFichierBinaire(num, nullptr) : 0;
    if (code == 0) code = release;
    if (code == 0) code = ouvrir("c.tbx", MC_CONTROLE_CRC16, &num);
    if (code == 0) code = MC_usRechercherTable(num, "T", &t);
    char* read = nullptr;
    if (code == 0) code = MC_usLireChaineVariable(num, &read);
    if (code == 0 && text != read) code = 1;
    MC_Liberer(read);
    if (num != 0) MC_usLibererFichierBinaire(num, nullptr);
    return code;
  });
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Probleme d'allocation memoire : "
                              "psFichier->pcRepertoire ou psFichier->pcNomFichier"));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : ERREUR : probleme d'allocation memoire : "
                              "psFichier->pcRepertoire ou psFichier->pcNomFichier"));
}

TEST_F(FileTest, PositionsLengthsAndKeptMoveBackOfReadingAPiece) {
  Bytes content = exemple_95();
  memcpy(content.data(), "0000", 4);  // not checked with control type 0
  const uint16_t num = ouvrir_octets("tablebin.tbx", content, 0);
  uint32_t value = 0;
  EXPECT_CODE(0, MC_usLongueurFichierBinaire(num, &value));
  EXPECT_EQ(95u, value);
  EXPECT_EQ(95u, longueur_ouverture(num));
  EXPECT_EQ(68u, position(num));  // behind the header after opening
  EXPECT_CODE(0, MC_usPositionnerOffset(num, -2, SEEK_END));
  EXPECT_EQ(93u, position(num));
  EXPECT_CODE(0, MC_usPositionnerOffset(num, 1, SEEK_CUR));
  EXPECT_EQ(94u, position(num));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, -1, SEEK_SET));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, 0, 12345));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, nullptr));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 10, SEEK_SET));
  unsigned char* buffer = nullptr;
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 0, 4, &buffer));
  EXPECT_EQ(bytes_of("0000"), Bytes(buffer, buffer + 4));
  MC_Liberer(buffer);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 68, 4, &buffer));
  EXPECT_EQ(bytes_of("TEST"), Bytes(buffer, buffer + 4));
  MC_Liberer(buffer);
  EXPECT_EQ(10u, position(num));
  // A read past the end, a refused allocation and a position that cannot be reached all come
  // back as success once the stream has moved back; what could not be read is zero.
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 90, 10, &buffer));
  EXPECT_EQ(hex("00 00 00 01 02 00 00 00 00 00"), Bytes(buffer, buffer + 10));
  MC_Liberer(buffer);
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 0, 10, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, -5, 1, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(10u, position(num));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireFichierBinaire(num, 0, 1, nullptr));
  // Released after reading: nothing is written, no CRC is computed.
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(content, read_file(path("tablebin.tbx")));
  EXPECT_FALSE(has_line(trace.lines(), "{ usCalculerCRC16 : Calcul du CRC du fichier"));
  EXPECT_EQ(0u, longueur_ouverture(num));
}

// Sparse files: past 2 GiB they open; from 4 GiB on, a length or position that the 32-bit
// results cannot hold is refused, not cut.
TEST_F(FileTest, FilesPast2GiBOpenAndPositionsPast4GiBAreRefused) {
  for (const uint64_t size : {(uint64_t{1} << 31) + 100, (uint64_t{1} << 32) + 100}) {
    SCOPED_TRACE(size);
    const uint16_t code = size >> 32 != 0 ? MC_ERR_FICHIER : 0;
    write_file(path("g.tbx"), entete_octets("g.tbx", "c"));
    ASSERT_EQ(0, truncate(path("g.tbx").c_str(), static_cast<off_t>(size)));
    uint16_t num = 0;
    EXPECT_CODE(code, ouvrir("g.tbx", 0, &num));
    if (num != 0) MC_usLibererFichierBinaire(num, nullptr);
    FILE* f = fopen(path("g.tbx").c_str(), "rb");
    uint32_t length = 0;
    EXPECT_CODE(code, MC_usLongueurFichier(f, &length));
    EXPECT_EQ(code == 0 ? size : 0xFFFFFFFFu, length);
    fclose(f);
  }
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, entete_exemple("h.tbx")));
  ASSERT_EQ(0, truncate(path("h.tbx").c_str(), static_cast<off_t>((uint64_t{1} << 32) + 100)));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_END));
  uint32_t pos = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(7u, pos);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  std::remove(path("g.tbx").c_str());
  std::remove(path("h.tbx").c_str());
}

TEST_F(FileTest, ExampleFileWrittenByteForByteAndReadBack) {
  for (bool explicit_size : {true, false}) {
    uint16_t num = 0;
    ASSERT_CODE(0, creer("tablebin.tbx", MC_CONTROLE_CRC16, &num, entete_exemple()));
    const EnteteTable t = entete_table("TEST", 1);
    EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    EXPECT_EQ(68 + 10, g_etatFichiers.lPositionTailleTable);
    EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
    if (explicit_size) { EXPECT_CODE(0, MC_usEcrireTaille(num)); }
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    EXPECT_EQ(0, g_etatFichiers.lPositionTailleTable);
    EXPECT_EQ(to_hex(exemple_95()), to_hex(read_file(path("tablebin.tbx")))) << explicit_size;
  }
  EnteteFichierBinaire e;
  memset(&e, 0x55, sizeof e);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num, &e));
  const auto fields = [](const EnteteFichierBinaire& h) {
    return std::string(h.szNomFichier) + "|" + h.szVersion + "|" + h.szTexte5 + "|" + h.szTexte8 + "|" +
           h.szVersionRequise + "|" + h.szTexte5b + "|" + h.szTexte10 + "|" + h.szCommentaire;
  };
  EXPECT_EQ(fields(entete_exemple()), fields(e));
  EnteteTable t;
  memset(&t, 0x55, sizeof t);
  EXPECT_CODE(0, MC_usLireEnteteTable(num, &t));
  EXPECT_EQ("54 45 53 54 00 00 00 00 00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 00 00 00",
            to_hex(Bytes(reinterpret_cast<uint8_t*>(&t), reinterpret_cast<uint8_t*>(&t) + sizeof t)));
  EXPECT_EQ(93u, position(num));
  uint32_t extent = 0;
  EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &extent));
  EXPECT_EQ(95u, extent);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FileTest, HeaderFieldsGoOutAsTheyStandAndTheNameIsPaddedOrCut) {
  EnteteFichierBinaire e = entete_exemple("h.tbx", "x");
  memset(e.szVersion + 2, 0, 3);  // shorter: written with its NULs
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, e));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(to_hex(bytes_of(std::string("0000 h.tbx        01\0\0 00001 20260115 0100 00002 0000000003 x\r\n\x1a", 64))),
            to_hex(read_file(path("h.tbx"))));
  // Thirteen characters (no NUL left): twelve are written and the file never opens under its name.
  for (const char* name : {"abcdefghijkl", "abcdefghijklm"}) {
    SCOPED_TRACE(name);
    e = entete_exemple("x");
    memcpy(e.szNomFichier, name, strlen(name));
    ASSERT_CODE(0, creer(name, 1, &num, e));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    const Bytes file = read_file(path(name));
    EXPECT_EQ(bytes_of("abcdefghijkl 0100"), Bytes(file.begin() + 5, file.begin() + 22));
    EXPECT_CODE(strlen(name) == 12 ? 0 : MC_ERR_NOM_FICHIER, ouvrir(name, 1, &num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

// Headers read back: the name stripped of its blanks, the comment up to its first CR (two bytes
// skipped behind it) and at most 200 characters.
TEST_F(FileTest, HeaderNameAndCommentAsRead) {
  struct Case {
    std::string name, comment, read_comment;
    uint16_t code;
    uint32_t position;
  };
  const Case cases[] = {{"            ", "c", "c", MC_ERR_NOM_FICHIER, 64},  // opened as "f"
                        {"cr.tbx", "ab\rXY", "ab", 0, 65},
                        {"long.tbx", std::string(300, 'k'), std::string(200, 'k'), 0, 363}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string file = c.code != 0 ? "f" : c.name;
    write_file(path(file), concat({entete_octets(c.name, c.comment), table_octets("T", hex("01"))}));
    EnteteFichierBinaire e;
    uint16_t num = 0;
    EXPECT_CODE(c.code, ouvrir(file, 0, &num, &e));
    EXPECT_EQ(c.code != 0 ? "" : c.name, e.szNomFichier);
    EXPECT_EQ(c.read_comment, e.szCommentaire);
    EXPECT_EQ(c.position, position(num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FileTest, KeptEmptyCommentMisreadsTheFileByOneByte) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("e.tbx", 1, &num, entete_exemple("e.tbx", "")));
  const EnteteTable t = entete_table("TEST", 1);
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  Bytes expected = concat({entete_octets("e.tbx", ""), table_octets("TEST", hex("01 02"))});
  sceller_crc(expected);
  EXPECT_EQ(to_hex(expected), to_hex(read_file(path("e.tbx"))));
  EnteteFichierBinaire e;
  ASSERT_CODE(0, ouvrir("e.tbx", 1, &num, &e));
  EXPECT_STREQ("", e.szCommentaire);
  EXPECT_EQ(64u, position(num));  // one byte into the first table
  EnteteTable r;
  EXPECT_CODE(0, MC_usLireEnteteTable(num, &r));
  EXPECT_STREQ("EST      ", r.szNomTable);  // ends on the size's first byte, a NUL
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FileTest, TableHeadersAsWrittenAndTwoTablesWithoutSizeBetweenThem) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("t.tbx", 1, &num, entete_exemple("t.tbx", "c")));
  EnteteTable t;
  memset(&t, 0, sizeof t);
  memcpy(t.szNomTable, "AB", 2);  // NUL-padded: the NULs go out too; the rest goes out as zeros
  t.ulTailleDonnees = 99;
  t.ulNombreEnregistrements = 0x01020304;
  t.ulReserve = 7;
  t.ucNombreDescripteurs1 = 3;
  t.ucNombreDescripteurs2 = 4;
  t.ucReserve = 5;
  const EnteteTable b = entete_table("B", 1);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireEnteteTable(num, nullptr));
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(0, MC_usEcrireUnsignedShort(num, 1));
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &b));
  EXPECT_CODE(0, MC_usEcrireUnsignedLong(num, 2));
  EXPECT_CODE(0, MC_usEcrireTaille(num));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  Bytes expected = concat({entete_octets("t.tbx", "c"), bytes_of(std::string("AB\0\0\0\0\0\0\0\0", 10)),
                           hex("00 00 00 00 01 02 03 04 00 00 00 00 00 00 00 00 01"),
                           table_octets("B", hex("00 00 00 02"))});
  sceller_crc(expected);
  EXPECT_EQ(to_hex(expected), to_hex(read_file(path("t.tbx"))));
}

TEST_F(FileTest, TableHeaderWrittenAtTheVeryStartOfTheFile) {
  uint16_t num = 0;
  ASSERT_CODE(0, creer("z.tbx", 0, &num, entete_exemple("z.tbx", "c")));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_SET));
  const EnteteTable t = entete_table("Z", 1);
  EXPECT_CODE(0, MC_usEcrireEnteteTable(num, &t));
  EXPECT_EQ(10, g_etatFichiers.lPositionTailleTable);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FileTest, KeptWritesOnAFileOpenedForReading) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  const EnteteTable t = entete_table("X");
  const uint16_t units[1] = {1};
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireEnteteTable(num, &t));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireEnteteTable(num, nullptr));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedChar(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedChar(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedShort(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedShort(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedLong(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireSignedLong(num, 1));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireDate(num, 1, 2, 3));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChampFixe(num, "ab", 2));
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChampUnicodeFixe(num, units, 1));
  // The double is attempted on the read-only stream, which fails, its eight bytes counted before.
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireDouble(num, 1.5));
  uint32_t extent = 0;
  EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &extent));
  EXPECT_EQ(8u, extent);
  // The size still moves the stream to the end of the file.
  EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
  EXPECT_EQ(95u, position(num));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireSignatureFichier(num, dev_private_key_path().c_str()));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(exemple_95(), read_file(path("tablebin.tbx")));
}

TEST_F(FileTest, KeptEveryControlTypeButOneEndsTheTableArea128BytesEarly) {
  const Bytes file = concat({entete_octets("t.tbx", "c"), table_octets("A", Bytes(200, 7)), Bytes(10, 0)});
  for (uint16_t type : {0, 3, 0xFFFF}) {
    SCOPED_TRACE(type);
    const uint16_t num = ouvrir_octets("t.tbx", file, type);
    uint32_t extent = 0;
    EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &extent));
    EXPECT_EQ(file.size() - 128, extent);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

// Search by name: one round from wherever the stream stands, descriptor entries skipped.
TEST_F(FileTest, SearchFindsTablesAheadAndBehindAndStopsAfterOneRound) {
  const Bytes header = entete_octets("s.tbx", "tables");
  const Bytes a = table_octets("ALPHA", hex("0A 0B 0C"), 3, 1, 2), b = table_octets("BETA", hex("0B"), 1, 0, 3),
              c = table_octets("GAMMA", Bytes(40, 0x0C), 40);
  Bytes file = concat({header, a, b, c});
  sceller_crc(file);
  const uint16_t num = ouvrir_octets("s.tbx", file, MC_CONTROLE_CRC16);
  const uint32_t at_b = static_cast<uint32_t>(header.size() + a.size()), at_c = at_b + static_cast<uint32_t>(b.size());
  EnteteTable t;
  ASSERT_CODE(0, MC_usRechercherTable(num, "GAMMA", &t));
  EXPECT_EQ(at_c + 25, position(num));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 40, SEEK_CUR));
  ASSERT_CODE(0, MC_usRechercherTable(num, "BETA", &t));
  EXPECT_STREQ("BETA", t.szNomTable);
  EXPECT_EQ(at_b + 40, position(num));
  ASSERT_CODE(0, MC_usRechercherTable(num, "ALPHA", &t));
  EXPECT_EQ(header.size() + 40, position(num));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "ALPH", &t));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "ALPHA ", &t));
  for (const uint32_t from : {static_cast<uint32_t>(header.size()), at_b, static_cast<uint32_t>(file.size())}) {
    SCOPED_TRACE(from);
    ASSERT_CODE(0, MC_usPositionnerOffset(num, static_cast<int32_t>(from), SEEK_SET));
    TraceCapture trace({{1, 7, 2}});
    EXPECT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "DELTA", &t));
    const auto lines = trace.lines();
    EXPECT_EQ(3, std::count(lines.begin(), lines.end(), "  { MC_usLireEnteteTable : usNumFichierBinaire = 1"));
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "  { usLireEnteteFichierBinaire : usNumFichierBinaire = 1"));
    trace.stop();
    EXPECT_EQ(from, position(num));  // the round ends where it started
  }
  // Tables are read one after another, descriptor entries skipped.
  ASSERT_CODE(0, MC_usPositionnerOffset(num, static_cast<int32_t>(header.size()), SEEK_SET));
  ASSERT_CODE(0, MC_usLireEnteteTable(num, &t));
  EXPECT_STREQ("ALPHA", t.szNomTable);
  EXPECT_EQ(3u, uint32_t{t.ulTailleDonnees});
  EXPECT_EQ(0x0102, t.ucNombreDescripteurs1 << 8 | t.ucNombreDescripteurs2);
  EXPECT_EQ(header.size() + 40, position(num));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherTable(num, nullptr, &t));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherTable(num, "ALPHA", nullptr));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

// Crafted table areas: the search ends within the file and after one round, whatever the sizes.
TEST_F(FileTest, SearchInCraftedTableAreas) {
  const Bytes head = entete_octets("d.tbx", "c");
  const Bytes three = concat({head, table_octets("A", hex("01 02")), table_octets("B", hex("03")),
                              table_octets("C", hex("04 05 06"))});
  const Bytes big = concat({head, table_octets("BIG", Bytes(200, 1)), table_octets("SMALL", hex("05"))});
  Bytes cut = concat({head, table_octets("A", hex("01")), table_octets("B", hex("02"))});
  const Bytes partial = table_octets("C", hex("03"));
  cut.insert(cut.end(), partial.begin(), partial.begin() + 12);
  struct Case {
    Bytes file;
    uint16_t type;
    size_t size_at;  // a damaged data size at this place (0: none)
    uint32_t size;
    int32_t from;  // start of the search (-1: end of file, -2: where the opening left it)
    const char* name;
    uint16_t code;
  };
  const Case cases[] = {
      {three, 1, 64, 0x7FFFFFFF, -2, "C", MC_ERR_FIN_FICHIER}, {three, 1, 64, 0x80000000, -2, "C", MC_ERR_FIN_FICHIER},
      {three, 1, 64, 0xFFFFFFFF, -2, "C", MC_ERR_FIN_FICHIER}, {three, 1, 91, 0xFFFFFFF0, -2, "C", MC_ERR_FIN_FICHIER},
      {three, 1, 91, 0xFFFFFFF0, -2, "A", 0},                  {three, 1, 64, 0x7F000002, -2, "C", MC_ERR_FIN},
      // Kept: without the CRC the table area ends 128 bytes before the end of the file.
      {big, 0, 0, 0, -2, "SMALL", MC_ERR_FIN}, {concat({big, Bytes(128, 0)}), 0, 0, 0, -2, "SMALL", 0},
      {big, 1, 0, 0, -2, "SMALL", 0}, {big, 0, 0, 0, -1, "Z", MC_ERR_FIN}, {big, 0, 0, 0, -1, "BIG", 0},
      // From a cut last header its read hits the end of the file: the wrap replaces the error.
      {cut, 1, 0, 0, static_cast<int32_t>(cut.size() - 12), "B", 0}, {cut, 1, 0, 0, 64, "C", MC_ERR_FIN},
      // From the very start of the file its header is read as a table's, whose size ends the round.
      {three, 1, 0, 0, 0, "B", MC_ERR_FIN}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.file.size() << " " << c.type << " " << c.size_at << " " << c.name);
    Bytes file = c.file;
    for (int k = 0; c.size_at != 0 && k < 4; ++k) file[c.size_at + 10 + k] = static_cast<uint8_t>(c.size >> (24 - 8 * k));
    if (c.type == 1) sceller_crc(file);
    const uint16_t num = ouvrir_octets("d.tbx", file, c.type);
    if (c.from != -2) { ASSERT_CODE(0, MC_usPositionnerOffset(num, c.from < 0 ? 0 : c.from, c.from < 0 ? SEEK_END : SEEK_SET)); }
    EnteteTable t;
    EXPECT_CODE(c.code, MC_usRechercherTable(num, c.name, &t));
    if (c.code == 0) { EXPECT_STREQ(c.name, t.szNomTable); }
    EXPECT_LE(position(num), file.size());
    ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(FileTest, CrcOfKnownContents) {
  for (const Case& c : read_cases("tablefile/crc.cases")) {
    SCOPED_TRACE(c.where);
    Bytes content = bytes_of(unescape(c[0]));
    if (c[0].rfind("rnd:", 0) == 0) {
      content.resize(std::stoul(c[0].substr(4)));
      uint32_t x = 1;
      for (uint8_t& b : content) b = static_cast<uint8_t>((x = x * 1103515245u + 12345u) >> 16);
    }
    write_file(path("crc.bin"), content);
    FILE* f = fopen(path("crc.bin").c_str(), "rb");
    fseek(f, 7, SEEK_SET);
    uint16_t crc = 0xBEEF;
    EXPECT_CODE(0, usCalculerCRC16(f, &crc));
    EXPECT_EQ(number(c[1]), crc);
    EXPECT_EQ(crc_reference(content, 4), crc);
    EXPECT_EQ(7, ftell(f));  // the position is kept
    fclose(f);
  }
  // Kept: the bare value 1 when position 4 cannot be reached.
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  ASSERT_EQ(4, write(fds[1], "0000", 4));
  close(fds[1]);
  FILE* f = fdopen(fds[0], "rb");
  uint16_t crc = 0;
  EXPECT_CODE(1, usCalculerCRC16(f, &crc));
  fclose(f);
}

TEST_F(FileTest, CrcTextReadWrittenAndChecked) {
  const std::string digits = "0123456789ABCDEFabcdef";
  for (size_t i = 0; i < digits.size(); ++i) EXPECT_EQ(i < 16 ? i : i - 6, usConvertirHexa(digits[i]));
  for (char c : {'G', 'g', ' ', '\0', '/', ':', '@', '`', static_cast<char>(0xC9)}) EXPECT_EQ(0xFFFF, usConvertirHexa(c));
  // The stored text: its value read (a damaged digit adds 0xFFFF shifted to its place, in 16 bits)
  // and the opening of the example file that carries it.
  for (const Case& c : read_cases("tablefile/crctext.cases")) {
    SCOPED_TRACE(c.where);
    const std::string text = unescape(c[0]);
    write_text(path("crc.txt"), text + " rest");
    FILE* f = fopen(path("crc.txt").c_str(), "rb");
    fseek(f, 6, SEEK_SET);
    uint16_t read = 0;
    EXPECT_CODE(0, usLireCRC(f, &read));
    EXPECT_EQ(number(c[1]), read);
    EXPECT_EQ(6, ftell(f));
    fclose(f);
    Bytes file = exemple_95();
    memcpy(file.data(), text.data(), 4);
    const uint16_t num = ouvrir_octets("tablebin.tbx", file, MC_CONTROLE_CRC16, static_cast<uint16_t>(number(c[2])));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
  write_text(path("crc.txt"), "6CA");
  FILE* f = fopen(path("crc.txt").c_str(), "rb");
  uint16_t read = 0x1234;
  EXPECT_CODE(MC_ERR_FICHIER, usLireCRC(f, &read));
  EXPECT_EQ(0x1234, read);
  fclose(f);
  write_text(path("w.bin"), "0000 abc");
  f = fopen(path("w.bin").c_str(), "rb+");
  EXPECT_CODE(0, usEcrireCRC(f, 0x00AB));
  fclose(f);
  EXPECT_EQ("00AB abc", read_text(path("w.bin")));
  f = fopen(path("w.bin").c_str(), "rb");
  EXPECT_CODE(MC_ERR_FICHIER, usEcrireCRC(f, 0x1234));
  fclose(f);
}

// Whole trace files of traced scenarios (dates and the test directory masked).
TEST_F(FileTest, TracedScenariosMatchTheirGoldenBlocks) {
  const std::map<std::string, std::function<void()>> scenarios = {
      {"exemple",
       [&] {
         uint16_t num = 0;
         ASSERT_CODE(0, creer("tablebin.tbx", MC_CONTROLE_CRC16, &num, entete_exemple()));
         const EnteteTable t = entete_table("TEST", 1);
         ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
         ASSERT_CODE(0, MC_usEcrireUnsignedShort(num, 0x0102));
         ASSERT_CODE(0, MC_usEcrireChaineVariable(num, "AB"));
         ASSERT_CODE(0, MC_usEcrireTaille(num));
         ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
         ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
         EnteteTable r;
         ASSERT_CODE(0, MC_usRechercherTable(num, "TEST", &r));
         uint16_t v = 0;
         ASSERT_CODE(0, MC_usLireUnsignedShort(num, &v));
         char* text = nullptr;
         ASSERT_CODE(0, MC_usLireChaineVariable(num, &text));
         MC_Liberer(text);
         ASSERT_CODE(MC_ERR_FIN, MC_usRechercherTable(num, "ABSENT", &r));
         ASSERT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
       }},
      {"echecs",
       [&] {
         write_file(path("tablebin.tbx"), exemple_95());
         uint16_t num = 0;
         EXPECT_CODE(MC_ERR_FICHIER, ouvrir("absent.tbx", MC_CONTROLE_CRC16, &num));
         ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
         const EnteteTable t = entete_table("X");
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireEnteteTable(num, &t));
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChaineVariable(num, "ab"));
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireChaineVariable(num, nullptr));
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireUnsignedChar(num, 1));  // refused without an error line
         EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
         EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(num, nullptr));
         EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireChaineVariable(0, "ab"));
         EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireChaineVariable(7, "ab"));
         uint32_t size = 0;
         EXPECT_CODE(MC_ERR_NUMERO, usTailleDonnneeFichierBinaire(0, &size));
         // A signed file whose key cannot be read is closed unsigned.
         ASSERT_CODE(0, creer("signe.tbx", MC_CONTROLE_SIGNATURE, &num, entete_exemple("signe.tbx")));
         EXPECT_CODE(MC_ERR_FICHIER, MC_usLibererFichierBinaire(num, path("absent.key").c_str()));
         EXPECT_CODE(MC_ERR_NUMERO, usTailleDonnneeFichierBinaire(5, &size));
       }},
      {"arguments",
       [&] {
         EnteteFichierBinaire e = entete_exemple("n.tbx");
         uint16_t num = 42;
         // Kept: the opening's messages carry the creating operation's name.
         EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(dir_.c_str(), nullptr, 1, &num, &e));
         EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(nullptr, "a", 1, &num, &e));
         EXPECT_CODE(MC_ERR_POINTEUR, MC_usInitialiserFichierBinaire(dir_.c_str(), "a", 1, nullptr, &e));
         EXPECT_CODE(MC_ERR_POINTEUR, MC_usInitialiserFichierBinaire(dir_.c_str(), "a", 1, &num, nullptr));
         num = 42;
         EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerFichierBinaire(nullptr, "n.tbx", 1, &e, &num));
         EXPECT_CODE(MC_ERR_POINTEUR, MC_usCreerFichierBinaire(dir_.c_str(), "n.tbx", 1, &e, nullptr));
         num = 42;
         EXPECT_CODE(MC_ERR_FICHIER, MC_usCreerFichierBinaire((dir_ + "/no/such").c_str(), "n.tbx", 1, &e, &num));
         EXPECT_EQ(0, num);
         EXPECT_CODE(0, creer("n.tbx", 1, &num, e));
         EXPECT_EQ(1, num);  // the failed creation gave its slot back
         // Kept: the size's entry line is the table header's.
         EXPECT_CODE(MC_ERR_TYPE, MC_usEcrireTaille(num));
         unsigned char buffer[5];
         EXPECT_EQ(3u, stCoderLongueur(300, buffer));
         EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
       }}};
  for (const auto& [name, text] : read_blocks("tablefile/scenarios.golden")) {
    SCOPED_TRACE(name);
    reset();
    std::string got;
    {
      TraceCapture trace({{1, 7, 2}, {1, 3, 2}});
      scenarios.at(name)();
      trace.stop();
      for (std::string line : trace.lines()) {
        for (size_t at = line.find(dir_); at != std::string::npos; at = line.find(dir_)) line.replace(at, dir_.size(), "<dir>");
        got += line + "\n";
      }
    }
    EXPECT_EQ(text, mask_dates(got));
  }
}

TEST_F(FileTest, SpecialFilesAreRefusedAtOpeningAndCreation) {
  ASSERT_EQ(0, mkfifo(path("fifo.tbx").c_str(), 0644));
  // Held open both ways, so that even a blocking open would come back.
  const int fifo = open(path("fifo.tbx").c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_LE(0, fifo);
  ASSERT_EQ(0, mkdir(path("sous.tbx").c_str(), 0755));
  const std::string cases[][3] = {{"/dev", "zero", "Invalid argument"}, {"/dev", "full", "Invalid argument"},
                                  {dir_, "fifo.tbx", "Invalid argument"}, {dir_, "sous.tbx", "Is a directory"}};
  TraceCapture trace({{1, 7, 2}});
  for (const auto& [dir, name, error] : cases) {
    SCOPED_TRACE(name);
    uint16_t num = 0;
    EnteteFichierBinaire e;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usInitialiserFichierBinaire(dir.c_str(), name.c_str(), 1, &num, &e));
    EXPECT_EQ(0, num);
    e = entete_exemple(name.c_str());
    EXPECT_CODE(MC_ERR_FICHIER, MC_usCreerFichierBinaire(dir.c_str(), name.c_str(), 1, &e, &num));
    EXPECT_EQ(0, num);
    const std::string opened = "Probleme d'ouverture du fichier " + dir + "/" + name + ", " + error;
    EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usCreerFichierBinaire : " + opened));
    EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usCreerFichierBinaire : ERREUR : " + opened));
  }
  close(fifo);
}

TEST_F(FileTest, ReadsStopAtTheLengthMeasuredAtOpening) {
  const uint16_t num = ouvrir_octets("tablebin.tbx", exemple_95(), 0);
  FILE* f = fopen(path("tablebin.tbx").c_str(), "ab");
  fputs("\x05" "ABCDEFGH", f);
  fclose(f);
  uint32_t ul = 0;
  char* text = nullptr;
  char fixed[2];
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 93, SEEK_SET));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireUnsignedLong(num, &ul));
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChaineVariable(num, &text));
  EXPECT_EQ(nullptr, text);
  EXPECT_CODE(MC_ERR_FIN_FICHIER, MC_usLireChampFixe(num, fixed, 2));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(FileTest, FullDiskFailsEveryLaterWriteAndSealsNothing) {
  const DisquePlein disque(path("mnt"));
  if (!disque.monte()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const EnteteFichierBinaire e = entete_exemple("p.tbx");
  const EnteteTable t = entete_table("T", 1);
  for (uint16_t type : {MC_CONTROLE_CRC16, MC_CONTROLE_SIGNATURE, 0u}) {
    SCOPED_TRACE(type);
    std::remove((disque.dir() + "/p.tbx").c_str());
    ASSERT_TRUE(disque.remplir(4096));
    TraceCapture trace({{1, 7, 2}});
    uint16_t num = 0;
    ASSERT_CODE(0, MC_usCreerFichierBinaire(disque.dir().c_str(), "p.tbx", type, &e, &num));
    ASSERT_CODE(0, MC_usEcrireEnteteTable(num, &t));
    uint32_t failed = 0;  // from the first write that fails on, every write fails
    for (uint32_t i = 0; i < 2048; ++i) {
      const uint16_t code = MC_usEcrireUnsignedLong(num, i);
      if (failed != 0 || code != 0) {
        EXPECT_CODE(MC_ERR_FICHIER, code) << i;
        ++failed;
      }
    }
    EXPECT_LT(0u, failed);
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLibererFichierBinaire(num, "absent.key"));
    EXPECT_EQ(0, g_etatFichiers.lPositionTailleTable);  // not left for the next file
    const auto lines = trace.lines();
    EXPECT_TRUE(has_line(lines, "ERREUR : Probleme lors de la fermeture du fichier: No space left on device"));
    EXPECT_FALSE(has_line(lines, "{ usCalculerCRC16 : Calcul du CRC du fichier"));
    EXPECT_FALSE(has_line(lines, "{ MC_usEcrireSignatureFichier : NumFichier = 1"));
    EnteteFichierBinaire r;
    EXPECT_CODE(type == 0 ? 0 : MC_ERR_CONTROLE, MC_usInitialiserFichierBinaire(disque.dir().c_str(), "p.tbx", type, &num, &r));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
