// mcnorba_test.cpp -- the working directory and the component version files, byte for byte.
#include <cstring>
#include <filesystem>
#include <string>

#include "config/mcnorba.h"
#include "demarrage.h"
#include "runtime/mcmemoir.h"
#include "tests/tablefile/limites.h"

namespace {

using mc::test::bytes_of;
using mc::test::file_exists;
using mc::test::read_file;

using Versions = mc::test::Configuration;

// Open file descriptors of the process.
size_t nombre_descripteurs() {
  size_t n = 0;
  for ([[maybe_unused]] const auto& entree : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++n;
  }
  return n;
}

TEST_F(Versions, WorkingDirectoryIsHandedOut) {
  ecrire_ini(true, false);
  char* pcRepertoire = nullptr;
  ASSERT_CODE(0, MC_usDonnerRepertoireTravail(&pcRepertoire));
  EXPECT_EQ(travail_, pcRepertoire);
  MC_Liberer(pcRepertoire);
}

TEST_F(Versions, WorkingDirectoryBufferHandedOutEvenWhenAbsent) {
  ecrire_ini(false, true);
  char* pcRepertoire = nullptr;
  mc::test::TraceCapture trace({{1, 4, 2}});
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, MC_usDonnerRepertoireTravail(&pcRepertoire));
  EXPECT_NE(nullptr, pcRepertoire);
  MC_Liberer(pcRepertoire);
  EXPECT_NE(std::string::npos, trace.text().find("ERREUR : ERREUR du repertoire de travail  (63217)\n"));
}

TEST_F(Versions, WorkingDirectoryAllocationFailure) {
  ecrire_ini(true, false);
  char* pcRepertoire = nullptr;
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_CONFIG, MC_usDonnerRepertoireTravail(&pcRepertoire));
  EXPECT_EQ(nullptr, pcRepertoire);
}

TEST_F(Versions, OverlongWorkingDirectoryIsCutToBuffer) {
  travail_ = std::string(300, 'x');
  ecrire_ini(true, false);
  char* pcRepertoire = nullptr;
  ASSERT_CODE(0, MC_usDonnerRepertoireTravail(&pcRepertoire));
  EXPECT_EQ(std::string(255, 'x'), pcRepertoire);
  MC_Liberer(pcRepertoire);
}

TEST_F(Versions, WriteCreatesFileWithExactlyTheText) {
  ecrire_ini(true, false);
  ASSERT_CODE(0, MC_usEcrireVersionComposant(92, "0100", 4));
  EXPECT_EQ(bytes_of("0100"), read_file(adm("92.adm")));
  // The length argument is not used: the whole text is written, and replaces the old one.
  ASSERT_CODE(0, MC_usEcrireVersionComposant(92, "020", 1));
  EXPECT_EQ(bytes_of("020"), read_file(adm("92.adm")));
}

TEST_F(Versions, ComponentNumberIsSignedEightBitKept) {
  ecrire_ini(true, false);
  struct Cas {
    uint8_t composant;
    const char* nom;
  };
  const Cas cas[] = {{0, "0.adm"},      {93, "93.adm"},    {127, "127.adm"},
                     {128, "-128.adm"}, {156, "-100.adm"}, {200, "-56.adm"},
                     {255, "-1.adm"}};
  for (const Cas& c : cas) {
    SCOPED_TRACE(c.nom);
    ASSERT_CODE(0, MC_usEcrireVersionComposant(c.composant, "v1", 2));
    EXPECT_EQ(bytes_of("v1"), read_file(adm(c.nom)));
    char* pcNom = nullptr;
    ASSERT_CODE(0, mc::usConstruireNomComplet(c.composant, &pcNom));
    EXPECT_STREQ(c.nom, pcNom);
    MC_Liberer(pcNom);
  }
}

TEST_F(Versions, ComponentNameTakesEightBytesAndOneMoreOnlyWhenItNeedsIt) {
  struct Cas {
    uint8_t composant;
    uint32_t taille;
  };
  // "-56.adm" and "127.adm" fit the eight bytes with their zero; "-100.adm" to "-128.adm" do not.
  const Cas cas[] = {{92, 8}, {127, 8}, {200, 8}, {157, 8}, {156, 9}, {128, 9}};
  for (const Cas& c : cas) {
    SCOPED_TRACE(static_cast<int>(c.composant));
    const uint32_t ulAvant = mc::memoire_allouee();
    char* pcNom = nullptr;
    ASSERT_CODE(0, mc::usConstruireNomComplet(c.composant, &pcNom));
    EXPECT_EQ(c.taille, mc::memoire_allouee() - ulAvant);
    EXPECT_GE(c.taille - 1, std::strlen(pcNom));
    MC_Liberer(pcNom);
  }
}

TEST_F(Versions, ReadFailureAfterOpeningClosesTheFileWithoutCloseLines) {
  ecrire_ini(true, false);
  mc::test::write_file(adm("93.adm"), bytes_of("0100"));
  const size_t ulDescripteurs = nombre_descripteurs();
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 7;
  mc::test::TraceCapture trace({{1, 4, 2}});
  // The seventh block is the one the file's bytes are read into: 256, the INI reader's text,
  // 256, directory copy, short name, full path, then the bytes.
  mc::testing::faire_echouer_allocation(6);
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usLireVersionComposant(93, &pcContenu, &ulLongueur));
  trace.stop();
  EXPECT_EQ(nullptr, pcContenu);
  EXPECT_EQ(7u, ulLongueur);
  EXPECT_NE(std::string::npos, trace.text().find("usOuvrirFichier"));
  EXPECT_EQ(std::string::npos, trace.text().find("usFermerFichier"));
  EXPECT_EQ(ulDescripteurs, nombre_descripteurs());
}

TEST_F(Versions, WriteWithoutWorkingDirectoryCreatesNothing) {
  ecrire_ini(false, true);
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, MC_usEcrireVersionComposant(92, "0100", 4));
  EXPECT_FALSE(file_exists(adm("92.adm")));
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 7;
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, MC_usLireVersionComposant(92, &pcContenu, &ulLongueur));
  EXPECT_EQ(nullptr, pcContenu);
  EXPECT_EQ(7u, ulLongueur);
}

TEST_F(Versions, WriteIntoMissingDirectoryIsF6F2) {
  travail_ = base_ + "/absent";
  ecrire_ini(true, false);
  mc::test::TraceCapture trace({{1, 4, 2}});
  EXPECT_CODE(MC_ERR_FICHIER_VERSION, MC_usEcrireVersionComposant(92, "0100", 4));
  EXPECT_NE(std::string::npos,
            trace.text().find("ERREUR : ECRITURE DES COMPOSANTS Retour ERREUR =(62992)\n"));
}

TEST_F(Versions, ReadGivesBytesWithoutTerminator) {
  ecrire_ini(true, false);
  mc::test::write_file(adm("93.adm"), bytes_of("0100"));
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 0;
  ASSERT_CODE(0, MC_usLireVersionComposant(93, &pcContenu, &ulLongueur));
  ASSERT_EQ(4u, ulLongueur);
  EXPECT_EQ(bytes_of("0100"), mc::test::Bytes(pcContenu, pcContenu + ulLongueur));
  MC_Liberer(pcContenu);

  mc::test::write_file(adm("-56.adm"), mc::test::hex("00 FF 0D 0A"));
  ASSERT_CODE(0, MC_usLireVersionComposant(200, &pcContenu, &ulLongueur));
  EXPECT_EQ(mc::test::hex("00 FF 0D 0A"), mc::test::Bytes(pcContenu, pcContenu + ulLongueur));
  MC_Liberer(pcContenu);
}

TEST_F(Versions, ReadOfAbsentComponentLeavesOutputs) {
  ecrire_ini(true, false);
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 7;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLireVersionComposant(42, &pcContenu, &ulLongueur));
  EXPECT_EQ(nullptr, pcContenu);
  EXPECT_EQ(7u, ulLongueur);
}

TEST_F(Versions, EmptyVersionFileReadsEmpty) {
  ecrire_ini(true, false);
  mc::test::write_file(adm("5.adm"), {});
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 7;
  ASSERT_CODE(0, MC_usLireVersionComposant(5, &pcContenu, &ulLongueur));
  EXPECT_EQ(0u, ulLongueur);
  MC_Liberer(pcContenu);
}

TEST_F(Versions, WrittenVersionReadsBack) {
  ecrire_ini(true, false);
  ASSERT_CODE(0, MC_usEcrireVersionComposant(17, "2.4.1", 5));
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 0;
  ASSERT_CODE(0, MC_usLireVersionComposant(17, &pcContenu, &ulLongueur));
  EXPECT_EQ(bytes_of("2.4.1"), mc::test::Bytes(pcContenu, pcContenu + ulLongueur));
  MC_Liberer(pcContenu);
}

TEST_F(Versions, ReadLosesItsFirstBufferAndShortNameKept) {
  ecrire_ini(true, false);
  mc::test::write_file(adm("93.adm"), bytes_of("0100"));
  char* pcContenu = nullptr;
  uint32_t ulLongueur = 0;
  const uint32_t ulAllocations = mc::testing::nombre_allocations();
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  ASSERT_CODE(0, MC_usLireVersionComposant(93, &pcContenu, &ulLongueur));
  MC_Liberer(pcContenu);
  // Two blocks are never given back: the first 256-byte buffer and the short name; the INI
  // reader's text is freed with free().
  EXPECT_EQ(mc::testing::nombre_allocations() - ulAllocations,
            mc::testing::nombre_liberations() - ulLiberations + 2 + 1);
}

TEST_F(Versions, SpecialFilesAreRefusedWithoutBlocking) {
  const mc::test::Minuterie minuterie;
  ecrire_ini(true, false);
  ASSERT_EQ(0, mkfifo(adm("93.adm").c_str(), 0644));
  const int fifo = open(adm("93.adm").c_str(), O_RDWR | O_NONBLOCK);  // a peer for both ways
  ASSERT_LE(0, fifo);
  ASSERT_EQ(0, symlink("/dev/zero", adm("94.adm").c_str()));
  ASSERT_EQ(0, symlink("/dev/full", adm("95.adm").c_str()));
  for (uint8_t composant : {93, 94, 95}) {
    SCOPED_TRACE(static_cast<int>(composant));
    char* pcContenu = nullptr;
    uint32_t ulLongueur = 7;
    EXPECT_CODE(MC_ERR_FICHIER, MC_usLireVersionComposant(composant, &pcContenu, &ulLongueur));
    EXPECT_EQ(nullptr, pcContenu);
    EXPECT_EQ(7u, ulLongueur);
    EXPECT_CODE(MC_ERR_FICHIER_VERSION, MC_usEcrireVersionComposant(composant, "0100", 4));
  }
  close(fifo);
}

TEST_F(Versions, VersionNotWrittenWholeOnAFullDiskIsRemoved) {
  const mc::test::DisquePlein disque(base_ + "/plein");
  if (!disque.monte()) {
    GTEST_SKIP() << "mounting a tmpfs needs root";
  }
  ASSERT_TRUE(disque.remplir(0));
  travail_ = disque.dir();
  ecrire_ini(true, false);
  mc::test::TraceCapture trace({{1, 4, 2}});
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireVersionComposant(92, "0100", 4));
  trace.stop();
  EXPECT_FALSE(file_exists(adm("92.adm")));
  EXPECT_NE(std::string::npos, trace.text().find("ERREUR : Retour ERREUR =(62992)\n"));
}

TEST_F(Versions, EveryAllocationFailureGivesACodeAndTheNextRunSucceeds) {
  ecrire_ini(true, false);
  mc::test::each_allocation_failure(
      [] {
        uint32_t code = MC_usEcrireVersionComposant(92, "0100", 4);
        char* pcContenu = nullptr;
        uint32_t ulLongueur = 0;
        if (code == 0) code = MC_usLireVersionComposant(92, &pcContenu, &ulLongueur);
        if (code == 0 && std::string(pcContenu, ulLongueur) != "0100") code = 1;
        MC_Liberer(pcContenu);
        return code;
      },
      0, [](uint32_t, uint32_t code) {
        // 0xFFFB for the directory buffer and 0xF6F2 for the writer's full path, as the
        // functions name them; 0xF6F1 when the INI reader's buffer fails (the reader reports no
        // error, so the key reads as absent); 0xF801 for the other blocks; 0 for the reader's
        // first buffer, which is replaced anyway.
        EXPECT_TRUE(code == MC_ERR_MEMOIRE || code == MC_ERR_CONFIG || code == MC_ERR_FICHIER_VERSION ||
                    code == MC_ERR_REP_TRAVAIL || code == 0)
            << std::hex << code;
      });
}

TEST_F(Versions, NullVersionTextIsRefused) {
  ecrire_ini(true, false);
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usEcrireVersionComposant(92, nullptr, 0));
  EXPECT_FALSE(file_exists(adm("92.adm")));
}

}  // namespace
