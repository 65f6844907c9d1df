// date_test.cpp -- date checks against std::chrono's calendar, the conversions and their kept
// quirks, the number writer's wrapping limit, and the trace of a date check.
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "checks/mcoutils.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"

namespace {

using mc::test::TraceCapture;

// The calendar as std::chrono knows it, limited to the years 0 to 9999 the checks accept.
bool reference(unsigned y, unsigned m, unsigned d) {
  const std::chrono::year_month_day ymd{std::chrono::year{static_cast<int>(y)},
                                        std::chrono::month{m}, std::chrono::day{d}};
  return y <= 9999 && ymd.ok();
}

// Writes v on n digits at p (v below 10^n).
void put_digits(char* p, unsigned v, int n) {
  for (int i = n - 1; i >= 0; --i) {
    p[i] = static_cast<char>('0' + v % 10);
    v /= 10;
  }
}

class DateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
  }
  void TearDown() override { mc::testing::reset_trace(); }
};

// Every day of every year and the neighbours that must fail: day 0, the day after the month's
// last (February 29 of common years among them), day 32, months 0 and 13. The 12-digit form
// takes one hour and minute pair per date, cycling through all valid ones.
TEST_F(DateTest, StringAndNumericChecksAgreeWithChronoOverYears0To9999) {
  char d6[7] = {};
  char d8[9] = {};
  char d12[13] = {};
  unsigned mismatches = 0;
  unsigned checked = 0;
  unsigned pair = 0;
  for (unsigned y = 0; y <= 9999; ++y) {
    put_digits(d8, y, 4);
    put_digits(d12, y, 4);
    if (y <= 99) {
      put_digits(d6, y, 2);
    }
    for (unsigned m = 0; m <= 13; ++m) {
      put_digits(d8 + 4, m, 2);
      put_digits(d12 + 4, m, 2);
      put_digits(d6 + 2, m, 2);
      const unsigned last_day = (m == 0 || m == 13) ? 1 : 32;
      for (unsigned d = 0; d <= last_day; ++d) {
        const bool expected = reference(y, m, d);
        put_digits(d8 + 6, d, 2);
        put_digits(d12 + 6, d, 2);
        put_digits(d6 + 4, d, 2);
        const unsigned h = pair % 24;
        const unsigned mi = (pair / 24) % 60;
        ++pair;
        put_digits(d12 + 8, h, 2);
        put_digits(d12 + 10, mi, 2);
        bool ok = (MC_bEstDateChaineValide(d8) == 1) == expected &&
                  (MC_bEstDateChaineValide(d12) == 1) == expected &&
                  (MC_bEstDateNumeriqueValide(static_cast<uint16_t>(y), static_cast<uint8_t>(m),
                                              static_cast<uint8_t>(d)) == 1) == expected;
        if (y <= 99) {
          ok = ok && (MC_bEstDateChaineValide(d6) == 1) == expected;
        }
        ++checked;
        if (!ok && ++mismatches <= 10) {
          ADD_FAILURE() << "date " << d8 << " expected " << expected;
        }
      }
    }
  }
  EXPECT_EQ(0u, mismatches);
  EXPECT_EQ(10000u * (12 * 33 + 2 * 2), checked);
}

TEST_F(DateTest, TwelveDigitFormChecksEveryHourAndMinutePair) {
  struct Case {
    const char* date;
    bool valid;
  };
  const Case dates[] = {{"20240229", true}, {"00000101", true}, {"99991231", true},
                        {"20230229", false}, {"20240431", false}};
  for (const Case& c : dates) {
    for (unsigned h = 0; h <= 99; ++h) {
      for (unsigned mi = 0; mi <= 99; ++mi) {
        char d12[13] = {};
        memcpy(d12, c.date, 8);
        put_digits(d12 + 8, h, 2);
        put_digits(d12 + 10, mi, 2);
        const int32_t expected = (c.valid && h <= 23 && mi <= 59) ? 1 : 0;
        if (MC_bEstDateChaineValide(d12) != expected) {
          ADD_FAILURE() << d12;
          return;
        }
      }
    }
  }
}

TEST_F(DateTest, NumericCheckAgreesWithChronoOverAllMonthAndDayBytes) {
  const unsigned years[] = {0, 4, 100, 1900, 2000, 2023, 2024, 9999, 10000, 12024, 65535};
  for (unsigned y : years) {
    SCOPED_TRACE(y);
    for (unsigned m = 0; m <= 255; ++m) {
      for (unsigned d = 0; d <= 255; ++d) {
        const int32_t expected = reference(y, m, d) ? 1 : 0;
        const int32_t got = MC_bEstDateNumeriqueValide(static_cast<uint16_t>(y),
                                                       static_cast<uint8_t>(m),
                                                       static_cast<uint8_t>(d));
        if (got != expected) {
          ADD_FAILURE() << m << "/" << d;
          return;
        }
      }
    }
  }
}

TEST_F(DateTest, StringCheckCases) {
  struct Case {
    const char* date;
    int32_t valid;
  };
  const Case cases[] = {
      {"240229", 1},        {"230229", 0},        {"19000229", 0},     {"20000229", 1},
      {"000229", 1},        {"00000101", 1},      {"20241301", 0},     {"20240100", 0},
      {"202404310000", 0},  {"202412312359", 1},  {"202412312400", 0}, {"202412312360", 0},
      {"2024a101", 0},      {"20240101000a", 0},  {"24022a", 0},       {"2024-1-1", 0},
      {" 2024011", 0},      {"991231", 1},        {"990001", 0},       {"000000", 0},
      {"000000000000", 0},  {"999912312359", 1},  {"\xb2" "0240101", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.date);
    EXPECT_EQ(c.valid, MC_bEstDateChaineValide(c.date));
  }
}

TEST_F(DateTest, StringOfAnyOtherLengthIsAcceptedKept) {
  const char* cases[] = {"", "1", "12345", "abc", "2024023", "2024a", "20240230000", "2024023000000",
                         "99999999999999999999"};
  for (const char* c : cases) {
    SCOPED_TRACE(c);
    EXPECT_EQ(1, MC_bEstDateChaineValide(c));
  }
}

TEST_F(DateTest, FixedLengthChecksStopAtTheTerminatingZero) {
  // Called directly with a shorter string, the checks fail on the zero and read no further.
  const std::vector<char> short_text = {'2', '4', '0', '\0'};
  EXPECT_EQ(0, mc::bOUTILSEstDate6(short_text.data()));
  EXPECT_EQ(0, mc::bOUTILSEstDate8(short_text.data()));
  EXPECT_EQ(0, mc::bOUTILSEstDate12(short_text.data()));
  EXPECT_EQ(1, mc::bOUTILSEstDate8("20240229"));
}

TEST_F(DateTest, HourAndMinuteAreCheckedOnlyForAValidDate) {
  EXPECT_EQ(1, mc::bOUTILSEstDateValide(2024, 2, 29, 23, 59));
  EXPECT_EQ(0, mc::bOUTILSEstDateValide(2024, 2, 29, 24, 0));
  EXPECT_EQ(0, mc::bOUTILSEstDateValide(2024, 2, 29, 0, 60));
  EXPECT_EQ(0, mc::bOUTILSEstDateValide(2024, 2, 30, 0, 0));
  EXPECT_EQ(0, mc::bOUTILSEstDateValide(10000, 1, 1, 0, 0));
}

TEST_F(DateTest, SixDigitStringGivesYearMonthDay) {
  uint16_t year = 7;
  uint8_t month = 0;
  uint8_t day = 0;
  EXPECT_EQ(1, MC_bDateChaineANumerique("240315", &year, &month, &day));
  EXPECT_EQ(24, year);
  EXPECT_EQ(3, month);
  EXPECT_EQ(15, day);
}

TEST_F(DateTest, EightAndTwelveDigitStringsFillFourYearCellsAndNoMonthOrDayKept) {
  struct Case {
    const char* date;
    uint16_t cells[4];
  };
  // Cell 0 was zeroed first and takes the first digit; cells 1 to 3 (7 before) take 7 * 10 plus
  // the digit at their index.
  const Case cases[] = {{"20240315", {2, 70, 72, 74}}, {"199912312359", {1, 79, 79, 79}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.date);
    uint16_t cells[4] = {7, 7, 7, 7};
    uint8_t month = 0xAA;
    uint8_t day = 0xBB;
    EXPECT_EQ(1, MC_bDateChaineANumerique(c.date, cells, &month, &day));
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(c.cells[i], cells[i]) << "cell " << i;
    }
    EXPECT_EQ(0xAA, month);
    EXPECT_EQ(0xBB, day);
  }
}

TEST_F(DateTest, StringToNumbersRefusesInvalidAndUnknownLengths) {
  const char* cases[] = {"20240230", "2024a315", "12345", "", "240230"};
  for (const char* c : cases) {
    SCOPED_TRACE(c);
    uint16_t cells[4] = {7, 7, 7, 7};
    uint8_t month = 0xAA;
    uint8_t day = 0xBB;
    EXPECT_EQ(0, MC_bDateChaineANumerique(c, cells, &month, &day));
    EXPECT_EQ(0, cells[0]);
    EXPECT_EQ(7, cells[1]);
    EXPECT_EQ(0xAA, month);
    EXPECT_EQ(0xBB, day);
  }
}

TEST_F(DateTest, NumbersToStringCases) {
  struct Case {
    uint16_t year;
    uint8_t month;
    uint8_t day;
    uint8_t length;
    const char* expected;
  };
  const Case cases[] = {
      {2024, 2, 29, 8, "20240229"},    {7, 1, 2, 8, "00070102"},
      {2024, 2, 29, 12, "202402290000"}, {24, 3, 15, 6, "240315"},
      {5, 1, 2, 6, "050102"},          {0, 0, 0, 8, "00000000"},
      {65535, 1, 2, 8, "65530102"},    {2024, 100, 5, 8, "20241005"},
      {2024, 1, 255, 8, "20240125"},   {2024, 1, 255, 12, "202401250000"},
      {12345, 1, 2, 6, "120102"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    // Exactly the documented size: a write past it is caught by the address sanitizer.
    std::vector<char> buffer(strlen(c.expected) + 1, '#');
    EXPECT_EQ(1, MC_bDateNumeriqueAChaine(c.year, c.month, c.day, c.length, buffer.data()));
    EXPECT_STREQ(c.expected, buffer.data());
  }
}

TEST_F(DateTest, NumbersToStringConvertsAnInvalidDateKept) {
  char buffer[9] = {};
  EXPECT_EQ(1, MC_bDateNumeriqueAChaine(2024, 2, 30, 8, buffer));
  EXPECT_STREQ("20240230", buffer);
  EXPECT_EQ(1, MC_bDateNumeriqueAChaine(2024, 13, 0, 8, buffer));
  EXPECT_STREQ("20241300", buffer);
}

TEST_F(DateTest, NumbersToStringLetsTheMonthOverwriteAFourDigitYearKept) {
  char buffer[7] = {};
  EXPECT_EQ(1, MC_bDateNumeriqueAChaine(2024, 3, 15, 6, buffer));
  EXPECT_STREQ("200315", buffer);
  EXPECT_EQ(1, MC_bDateNumeriqueAChaine(1999, 12, 31, 6, buffer));
  EXPECT_STREQ("191231", buffer);
}

TEST_F(DateTest, NumbersToStringRefusesOtherLengthsAndWritesNothing) {
  for (uint8_t length : {0, 4, 7, 9, 10, 13, 255}) {
    SCOPED_TRACE(static_cast<int>(length));
    char buffer[16];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(0, MC_bDateNumeriqueAChaine(2024, 2, 29, length, buffer));
    EXPECT_EQ(std::string(16, '#'), std::string(buffer, 16));
  }
}

TEST_F(DateTest, LongToStringWrapsItsLimitAndPassesNegativeValuesKept) {
  struct Case {
    int32_t value;
    uint32_t digits;
    int32_t expected;
    const char* text;
  };
  const Case cases[] = {
      {99, 2, 1, "99"},
      {100, 2, 0, nullptr},
      {-5, 0, 1, "-5"},
      {0, 0, 1, "0"},
      {1, 0, 0, nullptr},
      {999999999, 9, 1, "999999999"},
      {1000000000, 9, 0, nullptr},
      {1410065407, 10, 1, "1410065407"},  // 10^10 wraps to 1410065408
      {1410065408, 10, 0, nullptr},
      {2147483647, 10, 0, nullptr},
      {1215752191, 11, 1, "1215752191"},  // 10^11 wraps to 1215752192
      {1215752192, 11, 0, nullptr},
      {0, 12, 0, nullptr},  // 10^12 wraps to -727379968: nothing above it passes
      {-727379968, 12, 0, nullptr},
      {-727379969, 12, 1, "-727379969"},
      {INT32_MIN, 12, 1, "-2147483648"},
      {0, 32, 0, nullptr},  // from 32 digits on the wrapped limit is 0
      {-1, 32, 1, "-1"},
      {-1, UINT32_MAX, 1, "-1"},
      {0, UINT32_MAX, 0, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.value) + " on " + std::to_string(c.digits));
    char buffer[16];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(c.expected, MC_bLongAChaine(c.value, buffer, c.digits));
    if (c.text != nullptr) {
      EXPECT_STREQ(c.text, buffer);
    } else {
      EXPECT_EQ(std::string(16, '#'), std::string(buffer, 16));
    }
  }
}

TEST_F(DateTest, LongToStringTracesUnderTheNameMcUsLongAChaineKept) {
  TraceCapture trace({{1, 6, 2}});
  char buffer[16] = {};
  MC_bLongAChaine(100, buffer, 2);
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###", "{ MC_usLongAChaine", "  usResultat = 0x0000", "  MC_usLongAChaine",
      "}", "### FIN TRACE ###", ""};
  EXPECT_EQ(expected, trace.lines());
}

TEST_F(DateTest, ConversionsTraceTheirResult) {
  TraceCapture trace({{1, 6, 2}});
  char buffer[16] = {};
  MC_bDateNumeriqueAChaine(2024, 2, 30, 7, buffer);
  trace.stop();
  const std::vector<std::string> expected = {
      "### DEBUT TRACE ###",
      "{ MC_bDateNumeriqueAChaine",
      "  { MC_bEstDateNumeriqueValide",
      "    date = 30/02/2024",
      "    Date invalide",
      "    bResultat = 0x0000",
      "    MC_bEstDateNumeriqueValide",
      "  }",
      "  Date invalide",
      "  bResultat = 0x0000",
      "  MC_bDateNumeriqueAChaine",
      "}",
      "### FIN TRACE ###",
      ""};
  EXPECT_EQ(expected, trace.lines());
}

// Checks of a 6-, an 8- and a 12-digit date and of an unknown length, with the exit line of the
// 8-digit check under the 6-digit check's name.
TEST_F(DateTest, DateCheckTraceMatchesGoldenFileWithEightDigitExitNamedDate6Kept) {
  TraceCapture trace({{1, 6, 2}});
  MC_bEstDateChaineValide("240229");
  MC_bEstDateChaineValide("19000229");
  MC_bEstDateChaineValide("202412312400");
  MC_bEstDateChaineValide("2024a229");
  MC_bEstDateChaineValide("1a");
  trace.stop();
  const std::string expected = mc::test::read_text(mc::test::golden_path("checks/date.trace"));
  EXPECT_EQ(expected, mc::test::mask_dates(trace.text()));
}

}  // namespace
