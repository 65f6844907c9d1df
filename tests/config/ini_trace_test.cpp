// ini_trace_test.cpp -- the traced INI services, on files named by the caller and on the
// suite's "norba.ini" of the configuration directory.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "config/mcini.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

using Lignes = std::vector<std::string>;

class IniTrace : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    std::remove(norba().c_str());
  }
  void TearDown() override {
    mc::testing::reset_trace();
    std::remove(norba().c_str());
    std::remove((config_dir() + "/WriteIniTmp.txt").c_str());
  }
  static std::string norba() { return config_dir() + "/" + kFichierNorba; }
};

// The lines between the header and the end marker.
Lignes corps(TraceCapture& trace) {
  trace.stop();
  Lignes lignes = trace.lines();
  EXPECT_GE(lignes.size(), 3u);
  if (lignes.size() < 3) {
    return {};
  }
  return Lignes(lignes.begin() + 1, lignes.end() - 2);
}

TEST_F(IniTrace, ReproducesTheTraceExampleThroughTheNorbaFile) {
  write_text(norba(), "[commun]\nrepertoiretravail=/data\nrepertoiretable=/tables\n");
  TraceCapture trace({{1, 5, 2}});
  char buffer[257];
  EXPECT_EQ(5u, MC_ulLireChaineNorba("commun", "repertoiretravail", buffer, 256));
  EXPECT_STREQ("/data", buffer);
  trace.stop();
  EXPECT_EQ(read_text(golden_path("config/exemple_norba.trace")), trace.text());
}

TEST_F(IniTrace, ReadsAStringFromANamedFile) {
  const std::string path = temp_path("ini");
  write_text(path, "[commun]\nrepertoiretravail=/tmp/x\n");
  TraceCapture trace({{1, 5, 2}});
  char buffer[257];
  EXPECT_EQ(6u, MC_ulLireChaineIni("COMMUN", "RepertoireTravail", buffer, 256, path.c_str()));
  EXPECT_STREQ("/tmp/x", buffer);
  EXPECT_EQ(0u, MC_ulLireChaineIni("commun", "absente", buffer, 256, path.c_str()));
  EXPECT_STREQ("", buffer);
  EXPECT_EQ((Lignes{"{ MC_ulLireChaineIni", "  MC_ulLireChaineIni / Longueur =0x0006",
                    "  MC_ulLireChaineIni", "}", "{ MC_ulLireChaineIni",
                    "  MC_ulLireChaineIni / Longueur =0x0000", "  MC_ulLireChaineIni", "}"}),
            corps(trace));
}

TEST_F(IniTrace, StringReadersLeaveTheBufferAloneOnMissingArguments) {
  const std::string path = temp_path("ini");
  write_text(path, "[commun]\ncle=v\n");
  write_text(norba(), "[commun]\ncle=v\n");
  struct Cas {
    const char* nom;
    const char* section;
    const char* cle;
    uint32_t taille;
  };
  const Cas cas[] = {{"null section", nullptr, "cle", 8},
                     {"null key", "commun", nullptr, 8},
                     {"size 0", "commun", "cle", 0}};
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    char buffer[9] = "intacte";
    EXPECT_EQ(0u, MC_ulLireChaineIni(c.section, c.cle, buffer, c.taille, path.c_str()));
    EXPECT_EQ(0u, MC_ulLireChaineNorba(c.section, c.cle, buffer, c.taille));
    EXPECT_STREQ("intacte", buffer);
  }
  EXPECT_EQ(0u, MC_ulLireChaineIni("commun", "cle", nullptr, 8, path.c_str()));
  EXPECT_EQ(0u, MC_ulLireChaineNorba("commun", "cle", nullptr, 8));
}

TEST_F(IniTrace, NorbaReaderChecksItsArgumentsBeforeCallingTheFileReader) {
  TraceCapture trace({{1, 5, 2}});
  char buffer[8];
  EXPECT_EQ(0u, MC_ulLireChaineNorba(nullptr, "cle", buffer, 7));
  EXPECT_EQ((Lignes{"{ MC_ulLireChaineNorba", "  MC_ulLireChaineNorba / Longueur =0x0000",
                    "  MC_ulLireChaineNorba", "}"}),
            corps(trace));
}

TEST_F(IniTrace, HugeSizeIsTakenAsTheLargestSignedOne) {
  const std::string path = temp_path("ini");
  write_text(path, "[commun]\ncle=valeur\n");
  char buffer[16];
  EXPECT_EQ(6u, MC_ulLireChaineIni("commun", "cle", buffer, 0xFFFFFFFFu, path.c_str()));
  EXPECT_STREQ("valeur", buffer);
}

TEST_F(IniTrace, ReadsLongsWithMinusOneForAbsent) {
  const std::string path = temp_path("ini");
  write_text(path, "[commun]\nnb=12abc\nlettres=abc\n");
  write_text(norba(), "[commun]\nnb=40000\n");
  TraceCapture trace({{1, 5, 2}});
  EXPECT_EQ(12, MC_lLireLongIni("commun", "nb", path.c_str()));
  EXPECT_EQ(0, MC_lLireLongIni("commun", "lettres", path.c_str()));
  EXPECT_EQ(-1, MC_lLireLongIni("commun", "absente", path.c_str()));
  EXPECT_EQ(-1, MC_lLireLongIni(nullptr, "nb", path.c_str()));
  EXPECT_EQ(-1, MC_lLireLongIni("commun", nullptr, path.c_str()));
  EXPECT_EQ(40000, MC_lLireLongNorba("commun", "nb"));
  EXPECT_EQ(-1, MC_lLireLongNorba(nullptr, "nb"));
  EXPECT_EQ((Lignes{"{ MC_lLireLongIni", "  MC_lLireLongIni / lRetour =0x000c",
                    "  MC_lLireLongIni", "}",
                    "{ MC_lLireLongIni", "  MC_lLireLongIni / lRetour =0x0000",
                    "  MC_lLireLongIni", "}",
                    "{ MC_lLireLongIni", "  MC_lLireLongIni / lRetour =0xffffffff",
                    "  MC_lLireLongIni", "}",
                    "{ MC_lLireLongIni", "  MC_lLireLongIni / lRetour =0xffffffff",
                    "  MC_lLireLongIni", "}",
                    "{ MC_lLireLongIni", "  MC_lLireLongIni / lRetour =0xffffffff",
                    "  MC_lLireLongIni", "}",
                    "{ MC_lLireLongNorba", "  { MC_lLireLongIni",
                    "    MC_lLireLongIni / lRetour =0x9c40", "    MC_lLireLongIni", "  }",
                    "  MC_lLireLongNorba / lRetour =0x9c40", "  MC_lLireLongNorba", "}",
                    "{ MC_lLireLongNorba", "  MC_lLireLongNorba / lRetour =0xffffffff",
                    "  MC_lLireLongNorba", "}"}),
            corps(trace));
}

TEST_F(IniTrace, WritesTheNorbaFileOfTheConfigurationDirectory) {
  TraceCapture trace({{1, 5, 2}});
  EXPECT_EQ(1, MC_bEcrireChaineNorba("commun", "repertoiretravail", "/w"));
  EXPECT_EQ(1, MC_bEcrireChaineNorba("commun", "repertoiretable", "/t"));
  EXPECT_EQ("[commun]\nrepertoiretravail=/w\nrepertoiretable=/t\n", read_text(norba()));
  char buffer[257];
  EXPECT_EQ(2u, MC_ulLireChaineNorba("commun", "repertoiretable", buffer, 256));
  EXPECT_STREQ("/t", buffer);
  const Lignes lignes = corps(trace);
  ASSERT_GE(lignes.size(), 8u);
  EXPECT_EQ((Lignes{"{ MC_bEcrireChaineNorba", "  { MC_bEcrireChaineIni",
                    "    MC_bEcrireChaineIni / bRetour =0x0001", "    MC_bEcrireChaineIni",
                    "  }", "  MC_bEcrireChaineNorba / bRetour =0x0001",
                    "  MC_bEcrireChaineNorba", "}"}),
            Lignes(lignes.begin(), lignes.begin() + 8));
}

TEST_F(IniTrace, WriterReportsFailureAsFalse) {
  TraceCapture trace({{1, 5, 2}});
  EXPECT_EQ(0, MC_bEcrireChaineIni("commun", "cle", "v", "/nonexistent-dir/x.ini"));
  EXPECT_EQ(0, MC_bEcrireChaineIni(nullptr, "cle", "v", "/nonexistent-dir/x.ini"));
  EXPECT_EQ((Lignes{"{ MC_bEcrireChaineIni", "  MC_bEcrireChaineIni / bRetour =0x0000",
                    "  MC_bEcrireChaineIni", "}", "{ MC_bEcrireChaineIni",
                    "  MC_bEcrireChaineIni / bRetour =0x0000", "  MC_bEcrireChaineIni", "}"}),
            corps(trace));
}

TEST_F(IniTrace, WorksWithTracingOffAndUnregisteredPairs) {
  write_text(norba(), "[commun]\ncle=v\n");
  char buffer[8];
  EXPECT_EQ(1u, MC_ulLireChaineNorba("commun", "cle", buffer, 7));
  TraceCapture trace({{1, 4, 2}});
  EXPECT_EQ(1u, MC_ulLireChaineNorba("commun", "cle", buffer, 7));
  EXPECT_EQ(Lignes{}, corps(trace));
}

}  // namespace
}  // namespace mc::test
