// limites_test.cpp -- files off the format's paths: special files, a file that grows while it is
// read, string lengths beyond the end, and a disk that fills up while a file is written.
#include <cstdio>

#include "runtime/mcmemoir.h"
#include "tests/tablefile/limites.h"
#include "tests/tablefile/tftest.h"

namespace mc::test {
namespace {

using LimitTest = TableFileTest;

TEST_F(LimitTest, SpecialFilesAreRefusedAtOpeningAndCreation) {
  const Minuterie minuterie;
  ASSERT_EQ(0, mkfifo(path("fifo.tbx").c_str(), 0644));
  // Held open both ways, so that even a blocking open would come back.
  const int fifo = open(path("fifo.tbx").c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_LE(0, fifo);
  ASSERT_EQ(0, mkdir(path("sous.tbx").c_str(), 0755));
  struct Case {
    std::string dir, name, error;
  };
  const Case cases[] = {{"/dev", "zero", "Invalid argument"},
                        {"/dev", "full", "Invalid argument"},
                        {dir_, "fifo.tbx", "Invalid argument"},
                        {dir_, "sous.tbx", "Is a directory"}};
  TraceCapture trace({{1, 7, 2}});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    uint16_t num = 0;
    EnteteFichierBinaire e;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usInitialiserFichierBinaire(c.dir.c_str(), c.name.c_str(), 1, &num, &e));
    EXPECT_EQ(0, num);
    e = entete_exemple(c.name.c_str());
    EXPECT_CODE(MC_ERR_FICHIER, MC_usCreerFichierBinaire(c.dir.c_str(), c.name.c_str(), 1, &e, &num));
    EXPECT_EQ(0, num);
    const std::string opened = " du fichier " + c.dir + "/" + c.name + ", " + c.error;
    const auto lines = trace.lines();
    EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : Probleme d'ouverture" + opened));
    EXPECT_TRUE(has_line(lines, "ERREUR : MC_usCreerFichierBinaire : ERREUR : Probleme d'ouverture" + opened));
  }
  close(fifo);
}

TEST_F(LimitTest, ReadsStopAtTheLengthMeasuredAtOpening) {
  write_file(path("tablebin.tbx"), exemple_95());
  uint16_t num = 0;
  ASSERT_CODE(0, ouvrir("tablebin.tbx", 0, &num));
  EXPECT_EQ(95u, longueur_ouverture(num));
  FILE* f = fopen(path("tablebin.tbx").c_str(), "ab");
  ASSERT_NE(nullptr, f);
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
  EXPECT_EQ(0u, longueur_ouverture(num));
}

TEST_F(LimitTest, StringLongerThanTheFileTakesNoMoreThanTheFileHolds) {
  struct Case {
    const char* data;
    uint16_t code;
    const char* text;
    uint32_t block;
  };
  const Case cases[] = {{"05 41 42 43 44 45", 0, "ABCDE", 6},
                        {"80 41 42 43", MC_ERR_FIN_FICHIER, "ABC", 4},  // 0x80 alone: 128
                        {"82 FF FF 41", MC_ERR_FIN_FICHIER, "A", 2},
                        {"84 FF FF FF FF 41 42", MC_ERR_FIN_FICHIER, "AB", 3},
                        {"84 7F", MC_ERR_FIN_FICHIER, "", 1}};  // length bytes cut: 0x7F
  for (const Case& c : cases) {
    SCOPED_TRACE(c.data);
    write_file(path("s.tbx"), concat({entete_octets("s.tbx", "c"), hex(c.data)}));
    uint16_t num = 0;
    ASSERT_CODE(0, ouvrir("s.tbx", 0, &num));
    TraceCapture trace({{1, 7, 2}});
    const uint32_t before = memoire_allouee();
    char* text = nullptr;
    EXPECT_CODE(c.code, MC_usLireChaineVariable(num, &text));
    EXPECT_EQ(c.block, memoire_allouee() - before);
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ(c.text, text);
    MC_Liberer(text);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
    if (c.block == 3) {
      EXPECT_TRUE(has_line(trace.lines(), "ERREUR : MC_usLireChampFixe : Fin de fichier lu 2 a liree -1 usCr 63040"));
    }
  }
}

TEST_F(LimitTest, FullDiskFailsEveryLaterWriteAndSealsNothing) {
  const DisquePlein disque(path("mnt"));
  if (!disque.monte()) {
    GTEST_SKIP() << "mounting a tmpfs needs root";
  }
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
    // One page reaches the disk; from the first write that fails on, every write fails.
    uint32_t failed = 0;
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
    // What reached the disk carries no seal that would let it open.
    EnteteFichierBinaire r;
    const uint16_t open = MC_usInitialiserFichierBinaire(disque.dir().c_str(), "p.tbx", type, &num, &r);
    EXPECT_CODE(type == 0 ? 0 : MC_ERR_CONTROLE, open);
    EXPECT_CODE(0, MC_usLibererFichierBinaire(num, nullptr));
  }
}

}  // namespace
}  // namespace mc::test
