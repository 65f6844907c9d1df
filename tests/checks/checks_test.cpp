// checks_test.cpp -- dates against std::chrono's calendar, then the case tables of
// tests/golden/checks (string checks, reductions, conversions, dates) and their golden traces.
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "checks/mcoutils.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

constexpr uint32_t kIntact = 0xDEADBEEF;

// Every block a check hands out is given back by the test.
class ChecksTest : public RuntimeState {
 protected:
  ChecksTest() : RuntimeState(true) {}
};

void digits(char* p, unsigned v, int n) {
  for (int i = n - 1; i >= 0; --i, v /= 10) p[i] = static_cast<char>('0' + v % 10);
}

// Every day of years 0 to 9999 and its failing neighbours (day 0, the day after the month's last,
// day 32, months 0 and 13), in the 6-, 8- and 12-digit forms (one hour:minute pair per date,
// cycling through all, valid or not) and as numbers; then every month and day byte of edge years.
TEST_F(ChecksTest, DatesAgreeWithChrono) {
  char d6[7] = {}, d8[9] = {}, d12[13] = {};
  unsigned faux = 0, pair = 0;
  for (unsigned y = 0; y <= 9999; ++y) {
    for (unsigned m = 0; m <= 13; ++m) {
      for (unsigned d = 0; d <= ((m == 0 || m == 13) ? 1u : 32u); ++d, ++pair) {
        const bool ok = std::chrono::year_month_day{std::chrono::year(int(y)), std::chrono::month(m),
                                                    std::chrono::day(d)}.ok();
        const unsigned h = pair % 25, mi = (pair / 25) % 61;
        digits(d8, y * 10000 + m * 100 + d, 8);
        digits(d12, y * 10000 + m * 100 + d, 8);
        digits(d12 + 8, h * 100 + mi, 4);
        digits(d6, (y % 100) * 10000 + m * 100 + d, 6);
        bool bon = (MC_bEstDateChaineValide(d8) == 1) == ok &&
                   (MC_bEstDateChaineValide(d12) == 1) == (ok && h < 24 && mi < 60) &&
                   (MC_bEstDateNumeriqueValide(uint16_t(y), uint8_t(m), uint8_t(d)) == 1) == ok;
        if (y <= 99) bon = bon && (MC_bEstDateChaineValide(d6) == 1) == ok;
        if (!bon && ++faux <= 5) ADD_FAILURE() << d12;
      }
    }
  }
  for (unsigned y : {0u, 100u, 1900u, 2000u, 2023u, 2024u, 9999u, 10000u, 65535u}) {
    for (unsigned md = 0; md <= 0xFFFF; ++md) {
      const bool ok = y <= 9999 && std::chrono::year_month_day{std::chrono::year(int(y)),
                                       std::chrono::month(md >> 8), std::chrono::day(md & 0xFF)}.ok();
      if ((MC_bEstDateNumeriqueValide(uint16_t(y), uint8_t(md >> 8), uint8_t(md)) == 1) != ok &&
          ++faux <= 10) ADD_FAILURE() << y << " " << (md >> 8) << "/" << (md & 0xFF);
    }
  }
  EXPECT_EQ(0u, faux);
}

// Text fields are escaped (unescape()); "(null)" is a null pointer and "c*N..." stands for N
// bytes c followed by the rest of the field.
std::string etendu(const std::string& f) {
  if (f.size() < 3 || f[1] != '*' || !std::isdigit(static_cast<unsigned char>(f[2]))) return unescape(f);
  char* fin = nullptr;
  const unsigned long n = std::strtoul(f.c_str() + 2, &fin, 10);
  return std::string(n, f[0]) + unescape(fin);
}
const char* texte(const std::string& champ, std::string& stock) {
  stock = etendu(champ);
  return champ == "(null)" ? nullptr : stock.c_str();
}

void run_case(const Case& c) {
  SCOPED_TRACE(c.where);
  const std::string& op = c[0];
  std::string s, s2;
  const auto n = [&](size_t i) { return number(c[i]); };
  if (op == "date") {  // text | result
    EXPECT_EQ(n(2), MC_bEstDateChaineValide(texte(c[1], s)));
  } else if (op == "date6" || op == "date8" || op == "date12") {  // called with a shorter text
    const auto f = op == "date6" ? bOUTILSEstDate6 : op == "date8" ? bOUTILSEstDate8 : bOUTILSEstDate12;
    s = etendu(c[1]);
    std::vector<char> v(s.c_str(), s.c_str() + s.size() + 1);
    EXPECT_EQ(n(2), f(v.data()));
  } else if (op == "valide") {  // year | month | day | hour | minute | result
    EXPECT_EQ(n(6), bOUTILSEstDateValide(uint16_t(n(1)), uint8_t(n(2)), uint8_t(n(3)), uint8_t(n(4)),
                                         uint8_t(n(5))));
  } else if (op == "vers_nombres") {  // text | result | 4 year cells, month, day (7 before)
    uint16_t an[4] = {7, 7, 7, 7};
    uint8_t md[2] = {7, 7};
    EXPECT_EQ(n(2), MC_bDateChaineANumerique(texte(c[1], s), an, &md[0], &md[1]));
    std::string lu;
    for (unsigned v : {unsigned(an[0]), unsigned(an[1]), unsigned(an[2]), unsigned(an[3]),
                       unsigned(md[0]), unsigned(md[1])}) lu += (lu.empty() ? "" : " ") + std::to_string(v);
    EXPECT_EQ(c[3], lu);
  } else if (op == "vers_texte") {  // year | month | day | length | result | text (none: untouched)
    // Exactly the text's size: a write past it is caught by the address sanitizer.
    std::vector<char> b(c[6].empty() ? 16 : c[6].size() + 1, '#');
    EXPECT_EQ(n(5), MC_bDateNumeriqueAChaine(uint16_t(n(1)), uint8_t(n(2)), uint8_t(n(3)),
                                             uint8_t(n(4)), b.data()));
    EXPECT_EQ(c[6].empty() ? std::string(16, '#') : c[6] + '\0', std::string(b.begin(), b.end()));
  } else if (op == "long") {  // value | digits | result | text (none: untouched)
    char b[17] = "################";
    EXPECT_EQ(n(3), MC_bLongAChaine(int32_t(n(1)), b, uint32_t(n(2))));
    EXPECT_EQ(c.fields.size() > 4 ? c[4] : std::string(16, '#'), std::string(b));
  } else if (op == "classes") {  // text | numeric | alphanumeric | alphabetic
    const char* t = texte(c[1], s);
    EXPECT_EQ(n(2), MC_bEstNumerique(t));
    EXPECT_EQ(n(3), MC_bEstAlphaNumerique(t));
    EXPECT_EQ(n(4), MC_bEstAlphabetique(t));
  } else if (op == "compare") {  // a | b | result
    EXPECT_EQ(n(3), MC_bCompareChaine(texte(c[1], s), texte(c[2], s2)));
  } else if (op == "type" || op == "reduire_ctrl" || op == "reduire") {
    // value | type | result | length | copy (reduire_ctrl) or text after (reduire)
    s = etendu(c[1]);
    // Not NUL-terminated but for the in-place reduction: a read past the bytes is caught.
    std::vector<char> v(s.begin(), s.end());
    if (op == "reduire") v.push_back('\0');
    char* p = c[1] == "(null)" ? nullptr : v.data();
    const auto taille = uint32_t(op == "type" && c.fields.size() > 5 ? n(5) : s.size());
    uint32_t l = kIntact;
    char* copie = reinterpret_cast<char*>(&l);
    const int8_t t = int8_t(std::isalpha(static_cast<unsigned char>(c[2][0])) ? c[2][0] : n(2));
    if (op == "type") {
      EXPECT_EQ(n(3), bChaineCtrlFormat(p, taille, t, &l));
      uint32_t l2 = kIntact;  // the untraced check agrees
      EXPECT_EQ(n(3) == 1, type_valide(p, taille, t, &l2));
      EXPECT_EQ(uint32_t(n(4)), l2);
    } else if (op == "reduire") {
      EXPECT_EQ(n(3), MC_bReduireChaine(p, taille, t, &l));
      if (p != nullptr) { EXPECT_EQ(etendu(c[5]), std::string(p)); }
    } else {
      EXPECT_EQ(n(3), MC_bReduireChaineCtrl(p, &copie, taille, t, &l));
      EXPECT_EQ(etendu(c[5]), copie == nullptr ? "(null)" : std::string(copie));
      MC_Liberer(copie);
    }
    EXPECT_EQ(uint32_t(n(4)), l);
  } else if (op == "convertir") {  // text | keep | result | result length ((null): fails)
    uint32_t l = kIntact;
    char* r = reinterpret_cast<char*>(&l);
    EXPECT_EQ(c[3] == "(null)" ? 0 : 1, MC_bConvertirEtenduEnAlpha(texte(c[1], s), &r, &l, int32_t(n(2))));
    EXPECT_EQ(etendu(c[3]), r == nullptr ? "(null)" : std::string(r));
    EXPECT_EQ(r == nullptr ? kIntact : etendu(c[3]).size(), l);
    MC_Liberer(r);
  } else {
    ADD_FAILURE() << "unknown case " << op;
  }
}

TEST_F(ChecksTest, CaseTables) {
  for (const char* table : {"checks/dates.cases", "checks/chaines.cases"}) {
    for (const Case& c : read_cases(table)) run_case(c);
  }
}

// Each byte value alone and after characters that pass every check, against the classes
// written out by hand; then converted with both keep flags.
TEST_F(ChecksTest, EveryByteValue) {
  for (int b = 1; b <= 255; ++b) {
    SCOPED_TRACE(b);
    const bool chiffre = b >= '0' && b <= '9', maj = (b >= 'A' && b <= 'Z') || b == ' ';
    const char seul[2] = {char(b), 0}, dedans[5] = {'1', ' ', char(b), '2', 0};
    EXPECT_EQ(chiffre, MC_bEstNumerique(seul) == 1);
    EXPECT_EQ(chiffre || maj, MC_bEstAlphaNumerique(seul) == 1);
    EXPECT_EQ(maj, MC_bEstAlphabetique(seul) == 1);
    EXPECT_EQ(chiffre, MC_bEstNumerique(dedans + 2) == 1);
    EXPECT_EQ(chiffre || maj, MC_bEstAlphaNumerique(dedans) == 1);
    const std::string sortie = chiffre || maj ? std::string(seul)
                               : b >= 'a' && b <= 'z' ? std::string(1, char(b - 32)) : "";
    for (int garder : {1, 0}) {
      char* r = nullptr;
      uint32_t l = 0;
      EXPECT_EQ(1, MC_bConvertirEtenduEnAlpha(seul, &r, &l, garder));
      EXPECT_EQ(garder ? sortie : (sortie.empty() ? " " : sortie) + " ", std::string(r));
      MC_Liberer(r);
    }
  }
}

// A refused copy fails the check, with a null result and the length untouched.
TEST_F(ChecksTest, RefusedMemory) {
  uint32_t l = kIntact;
  char* r = nullptr;
  const std::function<uint32_t()> ops[] = {
      [&] { return uint32_t(bChaineCtrlFormat("AB", 2, 'A', &l)); },
      [&] {
        r = reinterpret_cast<char*>(&r);
        const uint32_t b = uint32_t(MC_bReduireChaineCtrl("AB", &r, 2, 'A', &l));
        EXPECT_TRUE(b == 1 || r == nullptr);
        MC_Liberer(b ? r : nullptr);
        return b;
      },
      [&] {
        r = reinterpret_cast<char*>(&r);
        const uint32_t b = uint32_t(MC_bConvertirEtenduEnAlpha("abc", &r, &l, 0));
        EXPECT_TRUE(b == 1 || r == nullptr);
        MC_Liberer(b ? r : nullptr);
        return b;
      }};
  for (const auto& op : ops) {
    each_allocation_failure(
        [&] { l = kIntact; return op(); }, 1, [&](uint32_t, uint32_t b) {
          EXPECT_EQ(0u, b);
          EXPECT_EQ(kIntact, l);
        });
  }
  mc::testing::reset_memoire();  // refused requests count as allocations
}

// The traces of tests/golden/checks/traces.golden, one block per call.
TEST_F(ChecksTest, GoldenTraces) {
  std::string s;
  uint32_t l = 0;
  char b[16] = {};
  char* r = nullptr;
  const std::map<std::string, std::function<void()>> appels = {
      {"dates", [&] {
         for (const char* d : {"240229", "19000229", "202412312400", "2024a229", "1a"})
           MC_bEstDateChaineValide(d);
       }},
      {"long", [&] { MC_bLongAChaine(100, b, 2); }},
      {"date_invalide_en_texte", [&] { MC_bDateNumeriqueAChaine(2024, 2, 30, 7, b); }},
      {"type_A", [&] { bChaineCtrlFormat("AB  ", 4, 'A', &l); }},
      {"type_D", [&] { bChaineCtrlFormat("12a", 3, 'D', &l); }},
      {"reduire_ctrl", [&] {
         MC_bReduireChaineCtrl("7", &r, 1, 'X', &l);
         MC_Liberer(r);
       }},
  };
  for (const auto& [nom, attendu] : read_blocks("checks/traces.golden")) {
    SCOPED_TRACE(nom);
    TraceCapture trace({{1, 6, 2}});
    appels.at(nom)();
    trace.stop();
    EXPECT_EQ(attendu, mask_dates(trace.text()));
  }
}

}  // namespace
}  // namespace mc::test
