// controles_fuzz.cpp -- every exported date and string check, conversion and reduction on any
// text and numbers, each compared with an independent answer: std::chrono for the calendar, the
// character classes spelled out for the string checks and the conversion to the restricted set.
//
// Input: year (2 bytes), month, day, wanted length, a 4-byte value, a digit count, a type code,
// a flag byte, a second text up to a zero byte, then the text checked.
#include <strings.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "checks/mcoutils.h"
#include "fuzz/support/mcfuzz.h"
#include "mc.h"

namespace {

using mc::fuzz::check;

bool chiffre(char c) { return c >= '0' && c <= '9'; }
bool majuscule(char c) { return c >= 'A' && c <= 'Z'; }

bool date_valide(unsigned annee, unsigned mois, unsigned jour) {
  using namespace std::chrono;
  return annee <= 9999 && year_month_day{year{static_cast<int>(annee)}, month{mois}, day{jour}}.ok();
}

unsigned nombre(std::string_view s, size_t debut, size_t n) {
  unsigned v = 0;
  for (size_t i = debut; i < debut + n; ++i) {
    v = v * 10 + static_cast<unsigned>(s[i] - '0');
  }
  return v;
}

// The text of 6, 8 or 12 digits as a date; any other length passes.
bool date_chaine_valide(std::string_view s) {
  const size_t n = s.size();
  if (n != 6 && n != 8 && n != 12) {
    return true;
  }
  for (size_t i = 0; i < n; ++i) {
    if (!chiffre(s[i])) {
      return false;
    }
  }
  const size_t a = n == 6 ? 2 : 4;
  return date_valide(nombre(s, 0, a), nombre(s, a, 2), nombre(s, a + 2, 2)) &&
         (n != 12 || (nombre(s, 8, 2) <= 23 && nombre(s, 10, 2) <= 59));
}

// A copy of exactly n bytes on the heap, so that a read past them is a read past the block.
struct Copie {
  explicit Copie(std::string_view s, bool zero) : octets(s.size() + (zero || s.empty() ? 1 : 0)) {
    if (!s.empty()) {
      std::memcpy(octets.data(), s.data(), s.size());
    }
  }
  std::vector<char> octets;
  char* get() { return octets.data(); }
};

void dates(std::string_view texte, mc::fuzz::Input& in) {
  const uint16_t annee = in.u16();
  const uint8_t mois = in.byte();
  const uint8_t jour = in.byte();
  const uint8_t longueur = in.byte();
  Copie c(texte, true);
  const std::string_view s(c.get());  // up to the first zero
  check(MC_bEstDateChaineValide(c.get()) == (date_chaine_valide(s) ? 1 : 0));

  auto* cases = static_cast<uint16_t*>(std::calloc(4, sizeof(uint16_t)));
  uint8_t m = 0xEE;
  uint8_t j = 0xEE;
  const int32_t b = MC_bDateChaineANumerique(c.get(), cases, &m, &j);
  const size_t n = s.size();
  check(b == ((n == 6 || n == 8 || n == 12) && date_chaine_valide(s) ? 1 : 0));
  if (b != 0 && n == 6) {
    check(cases[0] == nombre(s, 0, 2) && m == nombre(s, 2, 2) && j == nombre(s, 4, 2));
  } else if (b != 0) {
    for (size_t i = 0; i < 4; ++i) {
      check(cases[i] == nombre(s, i, 1));  // kept: one digit a 16-bit cell
    }
    check(m == 0xEE && j == 0xEE);
  }
  std::free(cases);

  check(MC_bEstDateNumeriqueValide(annee, mois, jour) == (date_valide(annee, mois, jour) ? 1 : 0));
  const size_t taille = longueur == 6 ? 7 : longueur == 8 ? 9 : longueur == 12 ? 13 : 1;
  std::vector<char> sortie(taille, '\x5a');
  const int32_t bEcrit = MC_bDateNumeriqueAChaine(annee, mois, jour, longueur, sortie.data());
  check(bEcrit == (taille > 1 ? 1 : 0));
  if (bEcrit != 0) {
    check(sortie.back() == '\0');
    if (longueur != 6 && annee <= 9999 && mois <= 99 && jour <= 99) {
      char attendu[16];
      std::snprintf(attendu, sizeof attendu, "%04u%02u%02u%s", annee, mois, jour,
                    longueur == 12 ? "0000" : "");
      check(std::strcmp(sortie.data(), attendu) == 0);
    }
  }
}

void nombres(mc::fuzz::Input& in) {
  const auto valeur = static_cast<int32_t>(in.u32());
  const uint8_t chiffres = in.byte();
  uint32_t limite = 1;
  for (uint32_t i = 0; i < chiffres; ++i) {
    limite *= 10;  // kept: wraps in 32 bits
  }
  std::vector<char> sortie(12, '\x5a');
  const int32_t b = MC_bLongAChaine(valeur, sortie.data(), chiffres);
  check(b == (valeur < static_cast<int32_t>(limite) ? 1 : 0));
  if (b != 0) {
    check(sortie.data() == std::to_string(valeur));
  }
}

void chaines(std::string_view texte, std::string_view autre, int8_t cType, bool bConserver) {
  Copie c(texte, true);
  const std::string_view s(c.get());  // up to the first zero
  bool num = true;
  bool alnum = true;
  bool alpha = true;
  for (const char ch : s) {
    num = num && chiffre(ch);
    alnum = alnum && (chiffre(ch) || majuscule(ch) || ch == ' ');
    alpha = alpha && (majuscule(ch) || ch == ' ');
  }
  check(MC_bEstNumerique(c.get()) == (num ? 1 : 0));
  check(MC_bEstAlphaNumerique(c.get()) == (alnum ? 1 : 0));
  check(MC_bEstAlphabetique(c.get()) == (alpha ? 1 : 0));
  Copie d(autre, true);
  check(MC_bCompareChaine(c.get(), d.get()) == (strcasecmp(c.get(), d.get()) == 0 ? 1 : 0));
  check(MC_bCompareChaine(nullptr, d.get()) == 0);

  // The value checks on the exact bytes, not terminated.
  Copie v(texte, false);
  const auto n = static_cast<uint32_t>(texte.size());
  uint32_t ulSignificative = 0xFFFFFFFF;
  if (mc::bChaineCtrlFormat(v.get(), n, cType, &ulSignificative) != 0) {
    check(ulSignificative <= n);
  } else {
    check(ulSignificative == 0xFFFFFFFF);
  }
  char* pcReduite = nullptr;
  uint32_t ulReduite = 0xFFFFFFFF;
  if (MC_bReduireChaineCtrl(v.get(), &pcReduite, n, cType, &ulReduite) != 0) {
    check(ulReduite <= n && pcReduite[ulReduite] == '\0');
  }
  MC_Liberer(pcReduite);
  Copie r(s, true);
  ulReduite = 0xFFFFFFFF;
  if (MC_bReduireChaine(r.get(), static_cast<uint32_t>(s.size()), cType, &ulReduite) != 0) {
    check(ulReduite <= s.size() && std::strlen(r.get()) == ulReduite);
  }

  // Digits, upper case and blanks; the text's own terminating zero is converted too.
  std::string attendu;
  for (size_t i = 0; i <= s.size(); ++i) {
    const char ch = i < s.size() ? s[i] : '\0';
    if (chiffre(ch) || majuscule(ch) || ch == ' ') {
      attendu += ch;
    } else if (ch >= 'a' && ch <= 'z') {
      attendu += static_cast<char>(ch - 'a' + 'A');
    } else if (!bConserver) {
      attendu += ' ';
    }
  }
  char* pcResultat = nullptr;
  uint32_t ulLongueur = 0xFFFFFFFF;
  check(MC_bConvertirEtenduEnAlpha(c.get(), &pcResultat, &ulLongueur, bConserver ? 1 : 0) == 1);
  check(ulLongueur == attendu.size() && std::string_view(pcResultat) == attendu);
  MC_Liberer(pcResultat);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 60000) {
    return 0;
  }
  mc::fuzz::Input in(data, size);
  const std::string_view entete = in.bytes(10);
  mc::fuzz::Input nombres_in(reinterpret_cast<const uint8_t*>(entete.data()), entete.size());
  const auto cType = static_cast<int8_t>(in.byte());
  const uint8_t drapeaux = in.byte();
  if ((drapeaux & 2u) != 0) {
    for (uint16_t trace = 1; trace <= 8; ++trace) {
      MC_usActiverTrace("/dev/null", "w", 1, trace, 2);
    }
  }
  const std::string_view autre = in.text();
  const std::string_view texte = in.rest();
  dates(texte, nombres_in);
  nombres(nombres_in);
  chaines(texte, autre, cType, (drapeaux & 1u) != 0);
  mc::fuzz::reset_library();
  return 0;
}
