// Accounted memory and the two file helpers.
#include <cstdio>
#include <regex>
#include <string>

#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

class MemoireTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  void TearDown() override { mc::testing::reset_trace(); }
};

TEST_F(MemoireTest, CountIsATotalOfRequestsNotOfMemoryInUse) {
  void* block = MC_Allouer(100);
  ASSERT_NE(nullptr, block);
  MC_Liberer(block);
  EXPECT_EQ(100u, mc::memoire_allouee());
  EXPECT_EQ(100u, mc::memoire_max());
  void* second = MC_Allouer(28);
  MC_Liberer(second);
  EXPECT_EQ(128u, mc::memoire_allouee());
  EXPECT_EQ(128u, mc::memoire_max());
}

TEST_F(MemoireTest, ExportedCountersStayZero) {
  MC_Liberer(MC_Allouer(4096));
  EXPECT_EQ(0u, ulMemAllouee);
  EXPECT_EQ(0u, ulMaxAlloue);
}

TEST_F(MemoireTest, RefusedRequestIsCountedAndTraced) {
  TraceCapture trace({{1, 5, 2}});
  mc::testing::faire_echouer_allocation(1);
  void* first = MC_Allouer(8);
  EXPECT_NE(nullptr, first);
  EXPECT_EQ(nullptr, MC_Allouer(50));
  EXPECT_EQ(58u, mc::memoire_allouee());
  EXPECT_EQ(58u, mc::memoire_max());
  void* third = MC_Allouer(2);
  EXPECT_NE(nullptr, third);
  MC_Liberer(first);
  MC_Liberer(third);
  trace.stop();
  const auto lines = trace.lines();
  ASSERT_EQ(19u, lines.size());
  const std::regex allocation(R"(\{ Allocation de 50 \(50\) a l'adresse (\(nil\)|0x0+))");
  EXPECT_TRUE(std::regex_match(lines[4], allocation)) << lines[4];
  EXPECT_EQ("  ERREUR : MC_Allouer memoire insuffisante", lines[5]);
  EXPECT_EQ("  Taille Memoire cumulee = 58", lines[6]);
  EXPECT_EQ("}", lines[7]);
}

TEST_F(MemoireTest, TraceLinesOfAllocationAndRelease) {
  TraceCapture trace({{1, 5, 2}});
  void* block = MC_Allouer(100);
  MC_Liberer(block);
  MC_Liberer(nullptr);  // no trace at all
  trace.stop();
  const auto lines = trace.lines();
  char pointer[32];
  std::snprintf(pointer, sizeof pointer, "%p", block);
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ Allocation de 100 (100) a l'adresse " + std::string(pointer),
      "  Taille Memoire cumulee = 100",
      "}",
      "{ Liberation de 0 octets a l'adresse " + std::string(pointer),
      // Kept: a tab stands before the number in the release line.
      "  Taille Memoire cumulee = \t100",
      "}",
      "### FIN TRACE ###",
      ""};
  EXPECT_EQ(expected, lines);
}

TEST_F(MemoireTest, LengthOfAFileLeavesItsPosition) {
  const std::string path = temp_path("bin");
  struct Case {
    size_t size;
    long position;
  };
  for (const Case& c : {Case{0, 0}, Case{10, 3}, Case{10, 10}, Case{70000, 65537}}) {
    SCOPED_TRACE(std::to_string(c.size) + " bytes, at " + std::to_string(c.position));
    write_file(path, Bytes(c.size, 0xAB));
    FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(nullptr, f);
    ASSERT_EQ(0, std::fseek(f, c.position, SEEK_SET));
    uint32_t length = 0xFFFF;
    EXPECT_CODE(0, MC_usLongueurFichier(f, &length));
    EXPECT_EQ(c.size, length);
    EXPECT_EQ(c.position, std::ftell(f));
    std::fclose(f);
  }
}

TEST_F(MemoireTest, LengthOfAnUnseekableStreamFails) {
  FILE* pipe = popen("true", "r");
  ASSERT_NE(nullptr, pipe);
  uint32_t length = 0;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichier(pipe, &length));
  pclose(pipe);
}

TEST_F(MemoireTest, FullFileNames) {
  struct Case {
    const char* directory;
    const char* name;
    const char* expected;
  };
  const Case cases[] = {{"/usr/local/norba/etc", "norba.ini", "/usr/local/norba/etc/norba.ini"},
                        {"rep/", "f.adm", "rep//f.adm"},
                        {"", "x", "/x"},
                        {"d", "", "d/"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    char* full = nullptr;
    ASSERT_CODE(0, MC_usCreerNomCompletFichier(c.directory, c.name, &full));
    EXPECT_STREQ(c.expected, full);
    MC_Liberer(full);
  }
}

TEST_F(MemoireTest, FullFileNameRefusals) {
  char* full = nullptr;
  const std::string long_directory(4000, 'r');
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerNomCompletFichier(long_directory.c_str(), "n", &full));
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usCreerNomCompletFichier("d", "n", &full));
  EXPECT_EQ(nullptr, full);
}

}  // namespace
}  // namespace mc::test
