// Trace facility: registrations, levels, depth, modes, dated lines and binary dumps.
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/mctrace.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

using Lines = std::vector<std::string>;

std::string at(int depth, const std::string& text) { return std::string(2 * depth, ' ') + text; }

std::string numbered(const char* prefix, int i) {
  char text[32];
  std::snprintf(text, sizeof text, "%s%d", prefix, i);
  return text;
}

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override { mc::testing::reset_trace(); }
  void TearDown() override { mc::testing::reset_trace(); }

  // Opens a fresh file at `path_` with one pair registered.
  void open(uint16_t module, uint16_t trace, uint8_t level, const char* mode = "w") {
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), mode, module, trace, level));
  }
  Lines close_and_read() {
    EXPECT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 1, 0));
    return split_lines(mask_dates(read_text(path_)));
  }

  std::string path_ = temp_path("trace");
};

TEST_F(TraceTest, WorkedExampleMatchesGoldenFile) {
  open(1, 5, 2);
  MC_TraceEcrire(1, 5, MC_TRACE_ENTREE, "MC_ulLireChaineNorba");
  MC_TraceEcrire(1, 5, MC_TRACE_ENTREE, "MC_ulLireChaineIni");
  MC_TraceEcrire(1, 5, MC_TRACE_DETAIL, "MC_ulLireChaineIni / Longueur =0x%04x", 5u);
  MC_TraceEcrire(1, 5, MC_TRACE_SORTIE, "MC_ulLireChaineIni");
  MC_TraceEcrire(1, 5, MC_TRACE_DETAIL, "MC_ulLireChaineNorba / Longueur =0x%04x", 5u);
  MC_TraceEcrire(1, 5, MC_TRACE_SORTIE, "MC_ulLireChaineNorba");
  ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 5, 0));
  EXPECT_EQ(read_text(golden_path("runtime/exemple.trace")), read_text(path_));
}

// Ten nested functions, each writing a detail after its entry, an error at the deepest point,
// then the ten exits.
void nested_calls() {
  for (int i = 0; i < 10; ++i) {
    MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f%d", i);
    MC_TraceEcrire(1, 3, MC_TRACE_DETAIL, "d%d", i);
  }
  MC_TraceEcrire(1, 3, MC_TRACE_ERREUR, "profond");
  for (int i = 9; i >= 0; --i) {
    MC_TraceEcrire(1, 3, MC_TRACE_SORTIE, "f%d", i);
  }
}

TEST_F(TraceTest, LevelOneHidesLinesBelowDepthSevenButKeepsCounting) {
  open(1, 3, 1);
  nested_calls();
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  const Lines expected = {
      "### DEBUT TRACE ###",
      at(0, "{ f0"), at(1, "d0"), at(1, "{ f1"), at(2, "d1"), at(2, "{ f2"), at(3, "d2"),
      at(3, "{ f3"), at(4, "d3"), at(4, "{ f4"), at(5, "d4"), at(5, "{ f5"), at(6, "d5"),
      at(6, "{ f6"), at(7, "d6"),
      // Kept: the entry at depth 7 shows, its detail (taken at depth 8) does not.
      at(7, "{ f7"),
      // Errors show at any depth.
      at(10, "ERREUR : profond"),
      // Kept: the exits of f9, f8 and f7 are hidden; the braces of depths 6 to 0 close.
      at(7, "f6"), at(6, "}"), at(6, "f5"), at(5, "}"), at(5, "f4"), at(4, "}"),
      at(4, "f3"), at(3, "}"), at(3, "f2"), at(2, "}"), at(2, "f1"), at(1, "}"),
      at(1, "f0"), at(0, "}"),
      "### FIN TRACE ###", ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, LevelTwoShowsEveryDepth) {
  open(1, 3, 2);
  nested_calls();
  Lines expected = {"### DEBUT TRACE ###"};
  for (int i = 0; i < 10; ++i) {
    expected.push_back(at(i, numbered("{ f", i)));
    expected.push_back(at(i + 1, numbered("d", i)));
  }
  expected.push_back(at(10, "ERREUR : profond"));
  for (int i = 9; i >= 0; --i) {
    expected.push_back(at(i + 1, numbered("f", i)));
    expected.push_back(at(i, "}"));
  }
  expected.insert(expected.end(), {"### FIN TRACE ###", ""});
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, LevelAboveTwoIsTakenAsTwo) {
  open(1, 3, 3);
  for (int i = 0; i < 9; ++i) {
    MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f%d", i);
  }
  MC_TraceEcrire(1, 3, MC_TRACE_DETAIL, "visible");
  const unsigned char octet = 0x5a;
  MC_TraceEcrireBinaire(1, 3, "b", &octet, 1);
  const Lines lines = close_and_read();
  ASSERT_EQ(14u, lines.size());
  EXPECT_EQ(at(9, "visible"), lines[10]);
  EXPECT_EQ(at(9, "b[0] = 0x5a"), lines[11]);
}

TEST_F(TraceTest, KindsOneThreeAndOthers) {
  open(1, 4, 2);
  MC_TraceEcrire(1, 4, MC_TRACE_SORTIE, "sortie a vide");  // depth stays 0
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  MC_TraceEcrire(1, 4, MC_TRACE_ENTREE, "f");
  MC_TraceEcrire(1, 4, MC_TRACE_APPEL, "appel %s", "x");
  EXPECT_EQ(1, mc::testing::profondeur_trace());
  MC_TraceEcrire(1, 4, 6, "jamais");
  MC_TraceEcrire(1, 4, 0xFFFF, "jamais");
  MC_TraceEcrire(1, 4, MC_TRACE_SORTIE, "f");
  const Lines expected = {"### DEBUT TRACE ###", "sortie a vide", "}",     "{ f",
                          "  { appel x",         "  }",           "  f",   "}",
                          "### FIN TRACE ###",   ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, UnregisteredPairWritesOnlyDatedLines) {
  open(1, 4, 2);
  const unsigned char octets[] = {1, 2};
  for (uint16_t kind = 1; kind <= 5; ++kind) {
    MC_TraceEcrire(1, 5, kind, "non %u", static_cast<unsigned>(kind));
    MC_TraceEcrire(2, 4, kind, "non %u", static_cast<unsigned>(kind));
  }
  MC_TraceEcrireBinaire(1, 5, "b", octets, 2);
  MC_TraceEcrire(7, 7, MC_TRACE_HORODATAGE, "date %d", 42);
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  const Lines expected = {"### DEBUT TRACE ###", "", "<date>", "date 42", "### FIN TRACE ###",
                          ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, DatedLineIsNotIndented) {
  open(1, 4, 2);
  MC_TraceEcrire(1, 4, MC_TRACE_ENTREE, "f");
  MC_TraceEcrire(1, 4, MC_TRACE_HORODATAGE, "libre");
  const Lines lines = close_and_read();
  ASSERT_EQ(7u, lines.size());
  EXPECT_EQ("", lines[2]);
  EXPECT_EQ("<date>", lines[3]);
  EXPECT_EQ("libre", lines[4]);
}

MC_PRINTF(1, 2) void trace_detail_8(const char* format, ...) {
  va_list args;
  va_start(args, format);
  MC_TraceEcrire2(1, 8, MC_TRACE_DETAIL, format, args);
  va_end(args);
}

TEST_F(TraceTest, TraceEcrire2TakesAnArgumentList) {
  open(1, 8, 2);
  trace_detail_8("valeur = 0x%04x, %s", 0xBEEFu, "ok");
  const Lines expected = {"### DEBUT TRACE ###", "valeur = 0xbeef, ok", "### FIN TRACE ###", ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, BinaryDumpNeedsLevelTwo) {
  open(1, 7, 2);
  ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 6, 1));
  const unsigned char cle[] = {0x1F, 0xA0};
  MC_TraceEcrire(1, 7, MC_TRACE_ENTREE, "f");
  MC_TraceEcrireBinaire(1, 7, "cle", cle, 2);
  MC_TraceEcrireBinaire(1, 7, "vide", cle, 0);
  MC_TraceEcrireBinaire(1, 6, "niveau1", cle, 2);
  MC_TraceEcrire(1, 7, MC_TRACE_SORTIE, "f");
  const Lines expected = {"### DEBUT TRACE ###", "{ f", "  cle[0] = 0x1f", "  cle[1] = 0xa0",
                          "  f",                 "}",   "### FIN TRACE ###", ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, RegistrationTableLimits) {
  open(2, 0, 1);
  for (uint16_t t = 1; t < 100; ++t) {
    ASSERT_CODE(0, MC_usAjouterTrace(2, t, 1)) << "pair (2, " << t << ")";
  }
  EXPECT_CODE(MC_ERR_TRACE_PLEINE, MC_usAjouterTrace(3, 1, 2));
  EXPECT_CODE(MC_ERR_TRACE_PLEINE, MC_usActiverTrace(path_.c_str(), "w", 3, 1, 2));
  // Re-registering a known pair still works on a full table, and only changes its level.
  EXPECT_CODE(0, MC_usAjouterTrace(2, 99, 2));
  uint16_t index = 0xFFFF;
  ASSERT_TRUE(MC_bRechercherTrace(2, 99, &index));
  EXPECT_EQ(99, index);
  const unsigned char octet = 7;
  MC_TraceEcrireBinaire(2, 99, "x", &octet, 1);  // level 2 now: dumped
  const Lines lines = close_and_read();
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ("x[0] = 0x07", lines[1]);
}

TEST_F(TraceTest, LibraryModuleAcceptsTraceNumbersOneToEightOnly) {
  open(1, 1, 1);
  struct Case {
    uint16_t module, trace;
    uint16_t expected;
  };
  const Case cases[] = {{1, 0, MC_ERR_TRACE_NUMERO}, {1, 9, MC_ERR_TRACE_NUMERO},
                        {1, 0xFFFF, MC_ERR_TRACE_NUMERO}, {1, 8, 0}, {2, 9, 0}, {2, 0, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE("pair (" + std::to_string(c.module) + ", " + std::to_string(c.trace) + ")");
    EXPECT_CODE(c.expected, MC_usAjouterTrace(c.module, c.trace, 2));
    uint16_t index = 0;
    EXPECT_EQ(c.expected == 0 ? 1 : 0, MC_bRechercherTrace(c.module, c.trace, &index));
  }
}

TEST_F(TraceTest, RefusedPairIsOverwrittenByTheNextRegistration) {
  open(1, 1, 1);
  EXPECT_CODE(MC_ERR_TRACE_NUMERO, MC_usActiverTrace(path_.c_str(), "w", 1, 9, 2));
  EXPECT_TRUE(MC_bTraceActive());  // the file stays open
  EXPECT_CODE(0, MC_usAjouterTrace(4, 4, 1));
  uint16_t index = 0;
  ASSERT_TRUE(MC_bRechercherTrace(4, 4, &index));
  EXPECT_EQ(1, index);
  EXPECT_FALSE(MC_bRechercherTrace(1, 9, &index));
}

TEST_F(TraceTest, SearchLeavesIndexUntouchedWhenAbsent) {
  open(1, 2, 1);
  uint16_t index = 0x1234;
  EXPECT_FALSE(MC_bRechercherTrace(1, 3, &index));
  EXPECT_EQ(0x1234, index);
}

TEST_F(TraceTest, SecondActivationKeepsTheFirstFile) {
  open(1, 3, 2);
  const std::string other = temp_path("autre");
  ASSERT_CODE(0, MC_usActiverTrace(other.c_str(), "a", 1, 4, 2));
  MC_TraceEcrire(1, 4, MC_TRACE_DETAIL, "ici");
  EXPECT_FALSE(file_exists(other));
  const Lines expected = {"### DEBUT TRACE ###", "ici", "### FIN TRACE ###", ""};
  EXPECT_EQ(expected, close_and_read());
}

TEST_F(TraceTest, LevelZeroClosesAndForgetsEveryPair) {
  open(1, 3, 2);
  ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 4, 2));
  MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f");
  EXPECT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 4, 0));
  EXPECT_FALSE(MC_bTraceActive());
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  uint16_t index = 0;
  EXPECT_FALSE(MC_bRechercherTrace(1, 3, &index));
  EXPECT_EQ("### DEBUT TRACE ###\n{ f\n### FIN TRACE ###\n\n", read_text(path_));
  // Level 0 with no file open does nothing.
  EXPECT_CODE(0, MC_usActiverTrace(path_.c_str(), "w", 1, 4, 0));
  EXPECT_FALSE(MC_bTraceActive());
}

TEST_F(TraceTest, OpeningModes) {
  struct Case {
    const char* mode;
    bool appends;
  };
  for (const Case& c : {Case{"w", false}, Case{"wb", false}, Case{"a", true}, Case{"ab", true}}) {
    SCOPED_TRACE(c.mode);
    write_text(path_, "avant\n");
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), c.mode, 1, 1, 1));
    MC_TraceEcrire(1, 1, MC_TRACE_DETAIL, "ligne");
    ASSERT_CODE(0, MC_usActiverTrace(path_.c_str(), c.mode, 1, 1, 0));
    const std::string run = "### DEBUT TRACE ###\nligne\n### FIN TRACE ###\n\n";
    EXPECT_EQ(c.appends ? "avant\n" + run : run, read_text(path_));
  }
}

TEST_F(TraceTest, RefusedOpenings) {
  struct Case {
    const char* path;
    const char* mode;
    uint16_t expected;
  };
  const std::string missing_dir = temp_path("absent") + "/trace.txt";
  const Case cases[] = {{path_.c_str(), "r", MC_ERR_ARGUMENT},
                        {path_.c_str(), "w+", MC_ERR_ARGUMENT},
                        {path_.c_str(), "", MC_ERR_ARGUMENT},
                        {path_.c_str(), "W", MC_ERR_ARGUMENT},
                        {path_.c_str(), nullptr, MC_ERR_ARGUMENT},
                        {"", "w", MC_ERR_ARGUMENT},
                        {nullptr, "w", MC_ERR_ARGUMENT},
                        {missing_dir.c_str(), "w", MC_ERR_TRACE_OUVERTURE}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.path ? c.path : "(null)") + " / " + (c.mode ? c.mode : "(null)"));
    EXPECT_CODE(c.expected, MC_usActiverTrace(c.path, c.mode, 1, 1, 2));
    EXPECT_FALSE(MC_bTraceActive());
    EXPECT_FALSE(file_exists(path_));
  }
}

TEST_F(TraceTest, OuvrirTraceLeavesAnOpenStreamAlone) {
  FILE* stream = stdout;
  EXPECT_CODE(0, MC_usOuvrirTrace(nullptr, nullptr, &stream));
  EXPECT_EQ(stdout, stream);
}

TEST_F(TraceTest, DepthIsAByteThatWraps) {
  open(1, 3, 2);
  for (int i = 0; i < 256; ++i) {
    MC_TraceEcrire(1, 3, MC_TRACE_ENTREE, "f");
  }
  EXPECT_EQ(0, mc::testing::profondeur_trace());
}

TEST_F(TraceTest, CallsWithTracingOffWriteNothing) {
  EXPECT_FALSE(MC_bTraceActive());
  MC_TraceEcrire(1, 1, MC_TRACE_ENTREE, "f");
  MC_TraceEcrire(1, 1, MC_TRACE_HORODATAGE, "date");
  const unsigned char octet = 0;
  MC_TraceEcrireBinaire(1, 1, "b", &octet, 1);
  EXPECT_EQ(0, mc::testing::profondeur_trace());
  EXPECT_FALSE(file_exists(path_));
}

}  // namespace
}  // namespace mc::test
