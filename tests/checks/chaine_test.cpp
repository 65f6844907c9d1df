// chaine_test.cpp -- character classes over every byte, the type check and the two reductions,
// comparison, and the conversion of extended text to the restricted set.
#include <cstring>
#include <string>
#include <vector>

#include "checks/mcoutils.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"

namespace {

using mc::test::TraceCapture;

// The default locale's classes, written out by hand.
bool is_digit(int b) { return b >= '0' && b <= '9'; }
bool is_upper(int b) { return b >= 'A' && b <= 'Z'; }
bool is_lower(int b) { return b >= 'a' && b <= 'z'; }

std::string printable(const std::string& s) {
  std::string out;
  for (unsigned char c : s) {
    if (c >= 32 && c < 127) {
      out.push_back(static_cast<char>(c));
    } else {
      out += "\\x" + mc::test::to_hex({c});
    }
  }
  return out;
}

class ChaineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  void TearDown() override {
    mc::testing::reset_trace();
    EXPECT_EQ(mc::testing::nombre_allocations(), mc::testing::nombre_liberations())
        << "a buffer was not given back";
  }
};

TEST_F(ChaineTest, ClassChecksOverEveryByteValue) {
  for (int b = 1; b <= 255; ++b) {
    SCOPED_TRACE(b);
    const char one[2] = {static_cast<char>(b), '\0'};
    EXPECT_EQ(is_digit(b) ? 1 : 0, MC_bEstNumerique(one));
    EXPECT_EQ(is_digit(b) || is_upper(b) || b == ' ' ? 1 : 0, MC_bEstAlphaNumerique(one));
    EXPECT_EQ(is_upper(b) || b == ' ' ? 1 : 0, MC_bEstAlphabetique(one));
    // The same byte after characters that pass every check, and before one.
    const char inside[5] = {'1', ' ', static_cast<char>(b), '2', '\0'};
    EXPECT_EQ(is_digit(b) ? 1 : 0, MC_bEstNumerique(inside + 2));
    EXPECT_EQ(is_digit(b) || is_upper(b) || b == ' ' ? 1 : 0, MC_bEstAlphaNumerique(inside));
  }
}

TEST_F(ChaineTest, ClassCheckCases) {
  struct Case {
    const char* text;
    int32_t numeric;
    int32_t alphanumeric;
    int32_t alphabetic;
  };
  const Case cases[] = {
      {"", 1, 1, 1},        {"0123456789", 1, 1, 0}, {"12a", 0, 0, 0},    {"-1", 0, 0, 0},
      {"AB 12", 0, 1, 0},   {"AB C", 0, 1, 1},       {"  ", 0, 1, 1},     {"1.5", 0, 0, 0},
      {"A\tB", 0, 0, 0},    {"\xc9T\xc9", 0, 0, 0},  {"ZZ9", 0, 1, 0},    {"+12", 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(printable(c.text));
    EXPECT_EQ(c.numeric, MC_bEstNumerique(c.text));
    EXPECT_EQ(c.alphanumeric, MC_bEstAlphaNumerique(c.text));
    EXPECT_EQ(c.alphabetic, MC_bEstAlphabetique(c.text));
  }
}

TEST_F(ChaineTest, LowerCaseLettersAreRefusedByAlphanumericAndAlphabeticKept) {
  EXPECT_EQ(0, MC_bEstAlphaNumerique("ab"));
  EXPECT_EQ(0, MC_bEstAlphaNumerique("ABc"));
  EXPECT_EQ(0, MC_bEstAlphabetique("ab"));
  EXPECT_EQ(0, MC_bEstAlphabetique("Abc"));
}

TEST_F(ChaineTest, CompareIgnoresCaseAndRefusesNull) {
  EXPECT_EQ(1, MC_bCompareChaine("abc", "ABC"));
  EXPECT_EQ(1, MC_bCompareChaine("", ""));
  EXPECT_EQ(0, MC_bCompareChaine("abc", "abd"));
  EXPECT_EQ(0, MC_bCompareChaine("abc", "abc "));
  EXPECT_EQ(0, MC_bCompareChaine(nullptr, "abc"));
  EXPECT_EQ(0, MC_bCompareChaine("abc", nullptr));
  EXPECT_EQ(0, MC_bCompareChaine(nullptr, nullptr));
}

// Deviation: every string check answers 0 for a null text and writes nothing.
TEST_F(ChaineTest, NullTextFailsEveryStringCheck) {
  uint32_t length = 7;
  char* out = reinterpret_cast<char*>(&length);
  EXPECT_EQ(0, MC_bEstNumerique(nullptr));
  EXPECT_EQ(0, MC_bEstAlphaNumerique(nullptr));
  EXPECT_EQ(0, MC_bEstAlphabetique(nullptr));
  EXPECT_EQ(0, MC_bReduireChaine(nullptr, 3, 'N', &length));
  EXPECT_EQ(0, MC_bReduireChaineCtrl(nullptr, &out, 3, 'N', &length));
  EXPECT_EQ(nullptr, out);
  out = reinterpret_cast<char*>(&length);
  EXPECT_EQ(0, MC_bConvertirEtenduEnAlpha(nullptr, &out, &length, 0));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(7u, length);
}

constexpr uint32_t kUntouched = 0xDEADBEEF;

struct TypeCase {
  std::string value;
  int8_t type;
  int32_t expected;
  uint32_t significant;  // kUntouched when the check fails
};

TEST_F(ChaineTest, FormatCheckByType) {
  const TypeCase cases[] = {
      {"AB  ", 'A', 1, 2},
      {"   ", 'A', 1, 0},
      {"A B ", 'A', 1, 3},
      {"ab", 'A', 0, kUntouched},
      {"AB C  ", 'L', 1, 4},
      {"AB1", 'L', 0, kUntouched},
      {"0070", 'N', 1, 4},
      {"7 ", 'N', 0, kUntouched},
      {"20240229", 'D', 1, 8},
      {"20240230", 'D', 0, kUntouched},
      {"202412312400", 'D', 0, kUntouched},
      {"2024a229", 'D', 0, kUntouched},
      {"12345", 'D', 1, 5},  // not a date length: accepted
      {"", 'D', 1, 0},
      {"xyz! ", 'X', 1, 5},
      {"xyz! ", 0, 1, 5},
      {"xyz! ", -23, 1, 5},
      {std::string("AB\0  ", 5), 'A', 1, 3},  // the checks stop at a zero inside the value
  };
  for (const TypeCase& c : cases) {
    SCOPED_TRACE(printable(c.value) + " type " + std::to_string(c.type));
    // The value is not NUL-terminated: exactly its bytes, so a read past them is caught.
    std::vector<char> value(c.value.begin(), c.value.end());
    uint32_t significant = kUntouched;
    EXPECT_EQ(c.expected, mc::bChaineCtrlFormat(value.data(), static_cast<uint32_t>(value.size()),
                                            c.type, &significant));
    EXPECT_EQ(c.significant, significant);
  }
}

TEST_F(ChaineTest, FormatCheckFailsWhenTheCopyCannotBeAllocated) {
  mc::testing::faire_echouer_allocation(0);
  uint32_t significant = kUntouched;
  EXPECT_EQ(0, mc::bChaineCtrlFormat("AB", 2, 'A', &significant));
  EXPECT_EQ(kUntouched, significant);
  mc::testing::reset_memoire();  // the refused request was counted as an allocation
}

TEST_F(ChaineTest, CheckedReductionTakesADateAsDigitsOnlyKept) {
  const TypeCase cases[] = {
      {"20240230", 'D', 1, 8},
      {"99999999", 'D', 1, 8},
      {"2024a229", 'D', 0, kUntouched},
      {"AB  ", 'A', 1, 2},
      {"AB C  ", 'L', 1, 4},
      {"0070", 'N', 1, 4},  // leading zeros stay here
      {"ab", 'A', 0, kUntouched},
      {"x y  ", 'X', 1, 5},
      {"", 'N', 1, 0},
  };
  for (const TypeCase& c : cases) {
    SCOPED_TRACE(printable(c.value) + " type " + std::to_string(c.type));
    std::vector<char> value(c.value.begin(), c.value.end());
    char* reduced = nullptr;
    uint32_t length = kUntouched;
    EXPECT_EQ(c.expected, MC_bReduireChaineCtrl(value.data(), &reduced,
                                                static_cast<uint32_t>(value.size()), c.type,
                                                &length));
    EXPECT_EQ(c.significant, length);
    ASSERT_NE(nullptr, reduced);
    // On success the copy is cut at the significant length; on failure it stays whole.
    const std::string expected_copy =
        c.expected != 0 ? c.value.substr(0, c.significant) : c.value;
    EXPECT_EQ(expected_copy, std::string(reduced));
    MC_Liberer(reduced);
  }
}

TEST_F(ChaineTest, CheckedReductionGivesNullWhenTheHeapRefuses) {
  mc::testing::faire_echouer_allocation(0);
  char* reduced = reinterpret_cast<char*>(&reduced);
  uint32_t length = kUntouched;
  EXPECT_EQ(0, MC_bReduireChaineCtrl("AB", &reduced, 2, 'A', &length));
  EXPECT_EQ(nullptr, reduced);
  EXPECT_EQ(kUntouched, length);
  mc::testing::reset_memoire();  // the refused request was counted as an allocation
}

TEST_F(ChaineTest, InPlaceReductionDropsLeadingZerosOfNumbersOnly) {
  struct Case {
    const char* text;
    int8_t type;
    int32_t expected;
    const char* result;
    uint32_t length;
  };
  const Case cases[] = {
      {"0070", 'N', 1, "70", 2},
      {"0012", 'N', 1, "12", 2},
      {"000", 'N', 1, "0", 1},
      {"0", 'N', 1, "0", 1},
      {"100", 'N', 1, "100", 3},
      {"", 'N', 1, "", 0},
      {"0070", 'D', 1, "0070", 4},
      {"20240230", 'D', 1, "20240230", 8},  // digits only: no date check here
      {"0070", 'X', 1, "0070", 4},
      {"007  ", 'A', 1, "007", 3},
      {"AB C  ", 'L', 1, "AB C", 4},
      {"12a", 'N', 0, "12a", kUntouched},
      {"ab  ", 'A', 0, "ab  ", kUntouched},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " type " + std::to_string(c.type));
    std::vector<char> text(c.text, c.text + strlen(c.text) + 1);
    uint32_t length = kUntouched;
    EXPECT_EQ(c.expected, MC_bReduireChaine(text.data(), static_cast<uint32_t>(strlen(c.text)),
                                            c.type, &length));
    EXPECT_STREQ(c.result, text.data());
    EXPECT_EQ(c.length, length);
  }
}

struct Conversion {
  std::string text;
  int32_t keep;
  std::string expected;
};

void check_conversion(const Conversion& c) {
  SCOPED_TRACE(printable(c.text) + " keep " + std::to_string(c.keep));
  char* result = nullptr;
  uint32_t length = kUntouched;
  EXPECT_EQ(1, MC_bConvertirEtenduEnAlpha(c.text.c_str(), &result, &length, c.keep));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(c.expected, std::string(result));
  EXPECT_EQ(c.expected.size(), length);
  MC_Liberer(result);
}

TEST_F(ChaineTest, ConversionOfLatin1TextWithBothKeepFlags) {
  const Conversion cases[] = {
      {"\xe9t\xe9 1", 1, "T 1"},
      {"\xe9t\xe9 1", 0, " T  1 "},
      {"abc", 1, "ABC"},
      {"abc", 0, "ABC "},
      {"Ca va, \xc7" "A ?", 1, "CA VA A "},
      {"Ca va, \xc7" "A ?", 0, "CA VA   A   "},
      {"x\ty\n", 1, "XY"},
      {"x\ty\n", 0, "X Y  "},
      {"\xff\x80z9", 1, "Z9"},
      {"\xff\x80z9", 0, "  Z9 "},
  };
  for (const Conversion& c : cases) {
    check_conversion(c);
  }
}

TEST_F(ChaineTest, ConversionProcessesTheTerminatingZeroAndFitsTheEmptyTextKept) {
  // The zero of the text comes out as a trailing blank with keep flag 0; the result buffer holds
  // L + 2 bytes, which the address sanitizer checks.
  check_conversion({"", 0, " "});
  check_conversion({"", 1, ""});
  check_conversion({"A", 0, "A "});
  check_conversion({std::string(300, 'q'), 0, std::string(300, 'Q') + " "});
}

TEST_F(ChaineTest, ConversionTakesTheTextLengthOnSixteenBits) {
  // 65537 characters read as a length of 1: positions 0 and 1 are converted, no zero among them.
  check_conversion({std::string(65537, 'a'), 0, "AA"});
}

TEST_F(ChaineTest, ConversionOfEveryByteValue) {
  for (int b = 1; b <= 255; ++b) {
    std::string converted;
    if (is_digit(b) || is_upper(b) || b == ' ') {
      converted = std::string(1, static_cast<char>(b));
    } else if (is_lower(b)) {
      converted = std::string(1, static_cast<char>(b - 'a' + 'A'));
    }
    check_conversion({std::string(1, static_cast<char>(b)), 1, converted});
    check_conversion(
        {std::string(1, static_cast<char>(b)), 0, (converted.empty() ? " " : converted) + " "});
  }
}

TEST_F(ChaineTest, ConversionFailsWithNullResultWhenTheHeapRefuses) {
  mc::testing::faire_echouer_allocation(0);
  char* result = reinterpret_cast<char*>(&result);
  uint32_t length = kUntouched;
  EXPECT_EQ(0, MC_bConvertirEtenduEnAlpha("abc", &result, &length, 0));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(kUntouched, length);
  mc::testing::reset_memoire();  // the refused request was counted as an allocation
}

TEST_F(ChaineTest, FormatCheckTracesUnderTheNameBReduireChaineCtrlFormatKept) {
  TraceCapture trace({{1, 6, 2}});
  uint32_t significant = 0;
  mc::bChaineCtrlFormat("AB  ", 4, 'A', &significant);
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ bReduireChaineCtrlFormat",
      "  { MC_bEstAlphaNumerique",
      "    bResultat = 0x0001",
      "    MC_bEstAlphaNumerique",
      "  }",
      "  MC_bEstAlphaNumerique:bResultat = 0x0001",
      "  bReduireChaineCtrlFormat:bResultat = 0x0001",
      "  bReduireChaineCtrlFormat",
      "}",
      "### FIN TRACE ###",
      ""};
  // Registered at trace 6 only, so the allocator's lines (trace 5) stay out.
  EXPECT_EQ(expected, trace.lines());
}

TEST_F(ChaineTest, DateFieldCheckTracesNumericThenDate) {
  TraceCapture trace({{1, 6, 1}});
  uint32_t significant = 0;
  mc::bChaineCtrlFormat("12a", 3, 'D', &significant);
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ bReduireChaineCtrlFormat",
      "  { MC_bEstNumerique",
      "    chaine invalide",
      "    bResultat = 0x0000",
      "    MC_bEstNumerique",
      "  }",
      "  MC_bEstNumerique:bResultat = 0x0000",
      "  bReduireChaineCtrlFormat:bResultat = 0x0000",
      "  bReduireChaineCtrlFormat",
      "}",
      "### FIN TRACE ###",
      ""};
  EXPECT_EQ(expected, trace.lines());
}

TEST_F(ChaineTest, CheckedReductionExitsUnderTheNameMcBReduireChaineKept) {
  TraceCapture trace({{1, 6, 2}});
  char* reduced = nullptr;
  uint32_t length = 0;
  MC_bReduireChaineCtrl("7", &reduced, 1, 'X', &length);
  MC_Liberer(reduced);
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ MC_bReduireChaineCtrl",
      "  MC_bReduireChaine:bResultat = 0x0001",
      "  MC_bReduireChaine",
      "}",
      "### FIN TRACE ###",
      ""};
  EXPECT_EQ(expected, trace.lines());
}

}  // namespace
