// slots_test.cpp -- the slot table: numbers, reservation, opening, creation, release and the
// positioning helpers.
#include <unistd.h>

#include <cstdio>

#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

class SlotTest : public TableFileTest {
 protected:
  void SetUp() override {
    TableFileTest::SetUp();
    write_file(path("tablebin.tbx"), exemple_95());
  }
  // A usable slot: its position can be read.
  static bool in_use(uint16_t num) {
    uint32_t pos = 0;
    return MC_usLirePositionFichier(num, &pos) == MC_CR_OK;
  }
};

TEST_F(SlotTest, HundredSlotsThenTheHundredAndFirstIsRefused) {
  for (uint16_t i = 1; i <= 100; ++i) {
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
    ASSERT_EQ(i, num);
  }
  EXPECT_TRUE(in_use(100));
  TraceCapture trace({{1, 7, 2}});
  uint16_t num = 0;
  EXPECT_CODE(MC_ERR_SLOTS, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  EXPECT_EQ(0, num);
  EXPECT_TRUE(has_line(trace.lines(), "ERREUR : plus de fichier disponible."));
  EnteteFichierBinaire e = entete_exemple("new.tbx");
  EXPECT_CODE(MC_ERR_SLOTS, creer("new.tbx", 1, &num, e));
  EXPECT_EQ(0, num);
  // Releasing one frees its number for the next opening.
  EXPECT_CODE(0, MC_usLibererFichierBinaire(37, nullptr));
  EXPECT_CODE(0, ouvrir("tablebin.tbx", MC_CONTROLE_CRC16, &num));
  EXPECT_EQ(37, num);
}

TEST_F(SlotTest, NumbersOutsideOneToHundredOrUnusedAreRefused) {
  TraceCapture trace({{1, 7, 2}});
  struct Case {
    uint16_t num;
    const char* message;
  };
  const Case cases[] = {{0, "ERREUR : usRechercherFichier : numero de fichier invalide"},
                        {101, "ERREUR : usRechercherFichier : numero de fichier invalide"},
                        {0xFFFF, "ERREUR : usRechercherFichier : numero de fichier invalide"},
                        {1, "ERREUR : usRechercherFichier : fichier non reserve"},
                        {100, "ERREUR : usRechercherFichier : fichier non reserve"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.num);
    uint8_t uc = 0;
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(c.num, nullptr));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLireUnsignedChar(c.num, &uc));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireUnsignedChar(c.num, 1));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usEcrireTaille(c.num));
    EXPECT_TRUE(has_line(trace.lines(), c.message));
    // The positioning helpers report a failed lookup as a file error.
    uint32_t v = 0;
    unsigned char* buffer = nullptr;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichierBinaire(c.num, &v));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(c.num, &v));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(c.num, 0, SEEK_SET));
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLireFichierBinaire(c.num, 0, 4, &buffer));
    EXPECT_EQ(nullptr, buffer);
  }
  uint32_t size = 0;
  EXPECT_CODE(MC_ERR_NUMERO, usTailleDonnneeFichierBinaire(0, &size));
  EXPECT_CODE(MC_ERR_NUMERO, usTailleDonnneeFichierBinaire(5, &size));
  EXPECT_TRUE(has_line(trace.lines(), "ERREUR : usTailleDonnneeFichierBinaire : numero de fichier invalide"));
  EXPECT_TRUE(has_line(trace.lines(), "ERREUR : usTailleDonnneeFichierBinaire : fichier non reserve"));
}

TEST_F(SlotTest, KeptHundredthSlotStaysReservedAfterAFailedOpeningOrCreation) {
  const EnteteFichierBinaire e = entete_exemple("x.tbx");
  for (bool creation : {false, true}) {
    SCOPED_TRACE(creation);
    mc::testing::reset_fichiers();
    for (uint16_t i = 1; i <= 99; ++i) {
      uint16_t num = 0;
      ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
    }
    uint16_t num = 0;
    EXPECT_CODE(MC_ERR_FICHIER, creation ? MC_usCreerFichierBinaire((dir_ + "/nowhere").c_str(), "x.tbx", 1, &e, &num)
                                         : ouvrir("absent.tbx", 1, &num));
    EXPECT_EQ(0, num);
    // The hundredth entry keeps its reservation: no slot is left, and 100 is not usable.
    EXPECT_CODE(MC_ERR_SLOTS, ouvrir("tablebin.tbx", 1, &num));
    EXPECT_FALSE(in_use(100));
    EXPECT_CODE(MC_ERR_NUMERO, MC_usLibererFichierBinaire(100, nullptr));
  }
  // A failure on any other slot gives it back.
  uint16_t num = 0;
  EXPECT_CODE(0, MC_usLibererFichierBinaire(5, nullptr));
  EXPECT_CODE(MC_ERR_FICHIER, ouvrir("absent.tbx", 1, &num));
  EXPECT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  EXPECT_EQ(5, num);
}

TEST_F(SlotTest, FailedOpeningEmptiesTheEntryOfTheNumberItWasGiven) {
  uint16_t first = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &first));
  // The caller forgot to set the number to 0: a failure empties the entry it names.
  uint16_t stale = first;
  EnteteFichierBinaire e;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(nullptr, "tablebin.tbx", 1, &stale, &e));
  EXPECT_EQ(0, stale);
  EXPECT_FALSE(in_use(first));
}

TEST_F(SlotTest, KeptFailedOpeningAfterTheSlotWasFilledLeavesTheFileOpen) {
  Bytes cut = concat({entete_octets("cut.tbx", "c"), table_octets("A", hex("01 02"))});
  cut.resize(40);
  write_file(path("cut.tbx"), cut);
  Bytes damaged = concat({entete_octets("crc.tbx", "c"), table_octets("A", hex("01 02"))});
  sceller_crc(damaged);
  damaged.back() ^= 0x01;
  write_file(path("crc.tbx"), damaged);
  std::rename(path("tablebin.tbx").c_str(), path("other.tbx").c_str());
  struct Case {
    const char* name;
    uint16_t code;
  };
  const Case cases[] = {{"other.tbx", MC_ERR_NOM_FICHIER}, {"cut.tbx", MC_ERR_FIN_FICHIER}, {"crc.tbx", MC_ERR_CONTROLE}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    uint16_t num = 0;
    EXPECT_CODE(c.code, ouvrir(c.name, 1, &num));
    ASSERT_NE(0, num);
    EXPECT_TRUE(in_use(num));
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    EXPECT_FALSE(in_use(num));
  }
}

TEST_F(SlotTest, KeptOpeningMessagesCarryTheCreatingOperationsName) {
  TraceCapture trace({{1, 7, 2}});
  EnteteFichierBinaire e;
  uint16_t num = 0;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(dir_.c_str(), nullptr, 1, &num, &e));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usInitialiserFichierBinaire(nullptr, "a", 1, &num, &e));
  EXPECT_CODE(MC_ERR_POINTEUR, MC_usInitialiserFichierBinaire(dir_.c_str(), "a", 1, nullptr, &e));
  EXPECT_CODE(MC_ERR_POINTEUR, MC_usInitialiserFichierBinaire(dir_.c_str(), "a", 1, &num, nullptr));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usInitialiserFichierBinaire(dir_.c_str(), "absent.tbx", 1, &num, &e));
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul."));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : pointeur numero de fichier binaire ou "
                              "pointeur entete du fichier nul."));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Probleme d'ouverture du fichier " +
                                  path("absent.tbx") + ", No such file or directory"));
  EXPECT_TRUE(has_line(lines, "{ MC_usInitialiserFichierBinaire : pcRepertoire = (null), pcNomFichier =a, "
                              "usTypeControle = 1"));
  EXPECT_TRUE(has_line(lines, "MC_usInitialiserFichierBinaire : Code retour = 0xf800"));
}

TEST_F(SlotTest, CreationChecksItsArgumentsAndSetsTheNumberToZeroAtOnce) {
  TraceCapture trace({{1, 7, 2}});
  const EnteteFichierBinaire e = entete_exemple("n.tbx");
  uint16_t num = 42;
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerFichierBinaire(dir_.c_str(), "n.tbx", 1, nullptr, &num));
  EXPECT_EQ(0, num);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usCreerFichierBinaire(nullptr, "n.tbx", 1, &e, &num));
  EXPECT_CODE(MC_ERR_POINTEUR, MC_usCreerFichierBinaire(dir_.c_str(), "n.tbx", 1, &e, nullptr));
  num = 42;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usCreerFichierBinaire((dir_ + "/no/such").c_str(), "n.tbx", 1, &e, &num));
  EXPECT_EQ(0, num);
  const auto lines = trace.lines();
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Nom de repertoire ou nom de fichier nul ou "
                              "pointeur sur l'entete du fichier nul."));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : pointeur numero de fichier binaire nul."));
  EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture du fichier " +
                                  dir_ + "/no/such/n.tbx, No such file or directory"));
  EXPECT_TRUE(has_line(lines, "{ MC_usCreerFichierBinaire : pcRepertoire = " + dir_ +
                                  ", pcNomFichier =n.tbx, usTypeControle = 1, pusNumFichierBinaire= 42"));
  // The failed creation gave its slot back.
  EXPECT_CODE(0, creer("n.tbx", 1, &num, e));
  EXPECT_EQ(1, num);
}

TEST_F(SlotTest, EveryAllocationFailureOfAWrittenAndReadFileGivesF801) {
  TraceCapture trace({{1, 7, 2}});
  const EnteteFichierBinaire e = entete_exemple("c.tbx");
  const std::string text(300, 'q');
  // Creation, a table with a string, release with the CRC, opening, search and reading back.
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

TEST_F(SlotTest, KeptReservationTraceEndsWithANewline) {
  TraceCapture trace({{1, 7, 2}});
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  const auto lines = trace.lines();
  const auto it = std::find(lines.begin(), lines.end(), "  numero de fichier =2");
  ASSERT_NE(lines.end(), it);
  ASSERT_NE(lines.end(), it + 1);
  EXPECT_EQ("", *(it + 1));
}

TEST_F(SlotTest, KeptMoveBackOverridesTheResultOfReadingAPiece) {
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 10, SEEK_SET));
  unsigned char* buffer = nullptr;
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 68, 4, &buffer));
  ASSERT_NE(nullptr, buffer);
  EXPECT_EQ(0, memcmp(buffer, "TEST", 4));
  MC_Liberer(buffer);
  uint32_t pos = 0;
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(10u, pos);
  // A read past the end and a refused allocation both come back as success; what could not be
  // read is zero.
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 90, 10, &buffer));
  ASSERT_NE(nullptr, buffer);
  EXPECT_EQ(hex("00 00 00 01 02 00 00 00 00 00"), Bytes(buffer, buffer + 10));
  MC_Liberer(buffer);
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, 0, 10, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &pos));
  EXPECT_EQ(10u, pos);
  // A position that cannot be reached is an error that the move back then overrides too.
  EXPECT_CODE(0, MC_usLireFichierBinaire(num, -5, 1, &buffer));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usLireFichierBinaire(num, 0, 1, nullptr));
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

TEST_F(SlotTest, PositionAndLengthHelpers) {
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 1, &num));
  uint32_t value = 0;
  EXPECT_CODE(0, MC_usLongueurFichierBinaire(num, &value));
  EXPECT_EQ(95u, value);
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &value));
  EXPECT_EQ(68u, value);  // behind the header after opening
  EXPECT_CODE(0, MC_usPositionnerOffset(num, -2, SEEK_END));
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &value));
  EXPECT_EQ(93u, value);
  EXPECT_CODE(0, MC_usPositionnerOffset(num, 1, SEEK_CUR));
  EXPECT_CODE(0, MC_usLirePositionFichier(num, &value));
  EXPECT_EQ(94u, value);
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, -1, SEEK_SET));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usPositionnerOffset(num, 0, 12345));
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, nullptr));
  uint32_t extent = 0;
  EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &extent));
  EXPECT_EQ(95u, extent);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
}

// Sparse files (truncate takes no disk space): past 2 GiB they open on every build; from 4 GiB on,
// a length or position that the 32-bit results cannot hold is refused, not cut.
TEST_F(SlotTest, FilesPast2GiBOpenAndPositionsPast4GiBAreRefused) {
  struct Case {
    uint64_t size;
    uint16_t code;
  };
  const Case cases[] = {{(uint64_t{1} << 31) + 100, 0}, {(uint64_t{1} << 32) + 100, MC_ERR_FICHIER}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    write_file(path("g.tbx"), entete_octets("g.tbx", "c"));
    ASSERT_EQ(0, truncate(path("g.tbx").c_str(), static_cast<off_t>(c.size)));
    uint16_t num = 0;
    EXPECT_CODE(c.code, ouvrir("g.tbx", 0, &num));
    if (num != 0) {
      MC_usLibererFichierBinaire(num, nullptr);
    }
    FILE* f = fopen(path("g.tbx").c_str(), "rb");
    uint32_t length = 0;
    EXPECT_CODE(c.code, MC_usLongueurFichier(f, &length));
    EXPECT_EQ(c.code == 0 ? c.size : 0xFFFFFFFFu, length);
    fclose(f);
  }
  uint16_t num = 0;
  ASSERT_CODE(0, creer("h.tbx", 0, &num, entete_exemple("h.tbx")));
  ASSERT_EQ(0, truncate(path("h.tbx").c_str(), static_cast<off_t>(cases[1].size)));
  ASSERT_CODE(0, MC_usPositionnerOffset(num, 0, SEEK_END));
  uint32_t position = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLirePositionFichier(num, &position));
  EXPECT_EQ(7u, position);
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  std::remove(path("g.tbx").c_str());
  std::remove(path("h.tbx").c_str());
}

TEST_F(SlotTest, KeptEveryControlTypeButOneEndsTheTableArea128BytesEarly) {
  Bytes file = concat({entete_octets("t.tbx", "c"), table_octets("A", Bytes(200, 7)), Bytes(10, 0)});
  write_file(path("t.tbx"), file);
  // Control type 2 opens only with a valid signature: its signed files are tested beside the
  // signatures.
  for (uint16_t type : {0, 3, 0xFFFF}) {
    SCOPED_TRACE(type);
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("t.tbx", type, &num));
    uint32_t extent = 0;
    EXPECT_CODE(0, usTailleDonnneeFichierBinaire(num, &extent));
    EXPECT_EQ(file.size() - 128, extent);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

TEST_F(SlotTest, ReleasingAFileOpenedForReadingWritesNothing) {
  Bytes content = exemple_95();
  memcpy(content.data(), "0000", 4);  // not checked with control type 0
  write_file(path("tablebin.tbx"), content);
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 0, &num));
  TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  EXPECT_EQ(content, read_file(path("tablebin.tbx")));
  const auto lines = trace.lines();
  EXPECT_FALSE(has_line(lines, "{ usCalculerCRC16 : Calcul du CRC du fichier"));
  EXPECT_TRUE(has_line(lines, "Fermeture du fichier"));
}

}  // namespace
}  // namespace mc::test
