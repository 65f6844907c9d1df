// ini_lecture_test.cpp -- the INI reader: the syntax it accepts, its kept quirks, the default's
// size rule, integers, file names, and odd or broken files.
#include <climits>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "config/sys_util.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

constexpr char kDefaut[] = "<defaut>";

// The value of key in section of a file holding `contenu`, or nullopt when the default stayed.
std::optional<std::string> lire(const std::string& contenu, const char* section, const char* key) {
  const std::string path = temp_path("ini");
  write_text(path, contenu);
  std::vector<char> buffer(contenu.size() + 64, 'Z');
  const int32_t size = static_cast<int32_t>(buffer.size() - 1);
  const int32_t n = GetIniString(section, key, kDefaut, buffer.data(), size, path.c_str());
  std::remove(path.c_str());
  EXPECT_EQ(static_cast<size_t>(n), std::strlen(buffer.data()));
  if (std::string(buffer.data()) == kDefaut) {
    return std::nullopt;
  }
  return std::string(buffer.data());
}

struct CasLecture {
  const char* nom;
  std::string contenu;
  const char* section;
  const char* cle;
  std::optional<std::string> attendu;
};

void verifier(const std::vector<CasLecture>& cas) {
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    EXPECT_EQ(c.attendu, lire(c.contenu, c.section, c.cle));
  }
}

TEST(IniLecture, FindsKeysWithoutCaseAndWithoutTrimming) {
  verifier({
      {"basic", "[commun]\nrepertoiretravail=/tmp/x\n", "COMMUN", "RepertoireTravail", "/tmp/x"},
      {"section in any case", "[CoMmUn]\ncle=v\n", "commun", "CLE", "v"},
      {"blank before the equal sign is part of the key", "[ss]\ncle = valeur\n", "ss", "cle",
       std::nullopt},
      {"key with its blank", "[ss]\ncle = valeur\n", "ss", "cle ", " valeur"},
      {"blank after the equal sign is part of the value", "[ss]\ncle= valeur\n", "ss", "cle",
       " valeur"},
      {"trailing blanks kept", "[ss]\ncle=v  \t\n", "ss", "cle", "v  \t"},
      {"blanks inside the section brackets", "[ commun ]\ncle=v\n", "commun", "cle",
       std::nullopt},
      {"leading blanks and tabs before a key", "[ss]\n  \t cle=v\n", "ss", "cle", "v"},
      {"leading blanks before a section", "   [ss]\ncle=v\n", "ss", "cle", "v"},
      {"empty value replaces the default", "[ss]\ncle=\n", "ss", "cle", ""},
      {"text after the bracket on the header line", "[ss] junk\ncle=v\n", "ss", "cle", "v"},
      {"key absent", "[ss]\nautre=v\n", "ss", "cle", std::nullopt},
      {"section absent", "[tt]\ncle=v\n", "ss", "cle", std::nullopt},
      {"key in another section", "[ss]\nx1=1\n[tt]\ncle=v\n", "ss", "cle", std::nullopt},
      {"lines before the first section are skipped", "cle=v\n[ss]\n", "ss", "cle", std::nullopt},
      {"section name longer than asked", "[sss]\ncle=v\n", "ss", "cle", std::nullopt},
      {"header without closing bracket closes the section", "[ss]\n[t\ncle=v\n", "ss", "cle",
       std::nullopt},
      {"empty header closes the section", "[ss]\n[]\ncle=v\n", "ss", "cle", std::nullopt},
      {"bracket in a section name", "[a]b]\ncle=v\n", "a", "cle", std::nullopt},
      {"first closing bracket ends the name", "[ab]c]\ncle=v\n", "ab", "cle", "v"},
  });
}

TEST(IniLecture, KeptOneCharacterNamesNeverMatch) {
  verifier({
      {"one-character section", "[a]\ncle=v\n", "a", "cle", std::nullopt},
      {"one-character key", "[ss]\nk=v\n", "ss", "k", std::nullopt},
      {"two characters suffice", "[ab]\nkl=v\n", "ab", "kl", "v"},
      {"an equal sign at index 0", "[ss]\n=v\n", "ss", "", std::nullopt},
  });
}

TEST(IniLecture, KeptCommentsOnlyWhereATokenStarts) {
  verifier({
      {"semicolon comment", "[ss]\n; cle=1\n", "ss", "; cle", std::nullopt},
      {"semicolon comment hides the key", "[ss]\n;cle=1\n", "ss", "cle", std::nullopt},
      {"hash comment", "[ss]\n# cle=1\ncle=2\n", "ss", "cle", "2"},
      {"indented comment", "[ss]\n   ;cle=1\n", "ss", "cle", std::nullopt},
      {"semicolon inside a value", "[ss]\nxy=1 ; note\n", "ss", "xy", "1 ; note"},
      {"hash inside a key", "[ss]\na#b=1\n", "ss", "a#b", "1"},
      {"commented header is no header", "[tt]\n;[ss]\ncle=v\n", "ss", "cle", std::nullopt},
      {"comment inside a section keeps it open", "[ss]\n;x\ncle=v\n", "ss", "cle", "v"},
  });
}

TEST(IniLecture, KeptHighBytesSkippedLikeBlanks) {
  verifier({
      {"accented first letter is skipped", "[ss]\n\xe9t\xe9=1\n", "ss", "t\xe9", "1"},
      {"the full name is not found", "[ss]\n\xe9t\xe9=1\n", "ss", "\xe9t\xe9", std::nullopt},
      {"high bytes before a section", "\xff\xfe[ss]\ncle=v\n", "ss", "cle", "v"},
      {"high bytes inside a value are kept", "[ss]\ncle=\xe9\xff\n", "ss", "cle", "\xe9\xff"},
      {"control characters skipped", "\x01\x02[ss]\n\x7f\x1f", "ss", "cle", std::nullopt},
  });
}

TEST(IniLecture, SearchesEveryOccurrenceOfASection) {
  verifier({
      {"second occurrence", "[ss]\nx1=1\n[tt]\nx2=2\n[ss]\ncle=3\n", "ss", "cle", "3"},
      {"first match in file order wins", "[ss]\ncle=1\ncle=2\n", "ss", "cle", "1"},
      {"first match across occurrences", "[ss]\ncle=1\n[tt]\n[ss]\ncle=2\n", "ss", "cle", "1"},
      {"first match across case variants", "[SS]\nCLE=1\n[ss]\ncle=2\n", "ss", "cle", "1"},
  });
}

TEST(IniLecture, KeptValueOfANonMatchingKeyIsScannedAgain) {
  verifier({
      {"a1=b2=7 gives b2", "[ss]\na1=b2=7\n", "ss", "b2", "7"},
      {"a1=b2=7 gives a1", "[ss]\na1=b2=7\n", "ss", "a1", "b2=7"},
      {"after a one-character key, two characters on", "[ss]\nx=abc=5\n", "ss", "bc", "5"},
      {"... so the next character is lost", "[ss]\nx=ab=5\n", "ss", "ab", std::nullopt},
      {"a value opening a section", "[ss]\nk1=[ss]k2=5\n", "ss", "k2", "5"},
      {"that section closes the wanted one", "[ss]\nk1=[tt]\nk2=5\n", "ss", "k2", std::nullopt},
      {"a value opening a comment", "[ss]\nk1=;k2=1\nk2=2\n", "ss", "k2", "2"},
  });
}

TEST(IniLecture, KeptTooShortKeysMoveOnByTwo) {
  // A key of one character, or a line without "=", moves the scan on by its "=" index plus 2.
  verifier({
      {"line without equal sign, then a key", "[ss]\nabc\nxy=1\n", "ss", "xy", "1"},
      {"skipping lands on a one-character key", "[ss]\nabc\nx=1\n", "ss", "x", std::nullopt},
      {"skipping splits a word into a key", "[ss]\nabcd=1\n", "ss", "bcd", std::nullopt},
      {"lone word of four", "[ss]\nabcde\nxy=1\n", "ss", "xy", "1"},
  });
}

TEST(IniLecture, ReadsLineEndsOfEveryKind) {
  verifier({
      {"CR LF", "[ss]\r\ncle=v\r\nautre=w\r\n", "ss", "autre", "w"},
      {"CR LF value has no CR", "[ss]\r\ncle=v\r\n", "ss", "cle", "v"},
      {"CR alone", "[ss]\rcle=v\rx2=w", "ss", "x2", "w"},
      {"no final line feed", "[ss]\ncle=v", "ss", "cle", "v"},
      {"empty value at the very end", "[ss]\ncle=", "ss", "cle", ""},
      {"header at the very end", "[ss]", "ss", "cle", std::nullopt},
      {"lone bracket at the very end", "[ss]\n[", "ss", "cle", std::nullopt},
      {"key without equal sign at the very end", "[ss]\nc", "ss", "c", std::nullopt},
      {"empty file", "", "ss", "cle", std::nullopt},
      {"only blanks", "  \n\n\r\n\t", "ss", "cle", std::nullopt},
  });
}

TEST(IniLecture, ZeroBytesEndLinesInsideTheText) {
  verifier({
      {"zero inside a value cuts it", std::string("[ss]\ncle=ab\0cd\n", 14), "ss", "cle", "ab"},
      {"text after a zero in a comment is read", std::string("[ss]\n;x\0cle=v\n", 13), "ss", "cle",
       "v"},
      {"zero inside a key", std::string("[ss]\nc\0le=v\n", 11), "ss", "le", "v"},
  });
}

TEST(IniLecture, HandlesNamesAndLinesOfAnyLength) {
  const std::string section(1000, 's');
  const std::string cle(5000, 'k');
  const std::string valeur(100000, 'v');
  const std::string contenu = "[" + std::string(300, 'x') + "]\n" + std::string(70000, 'y') +
                              "=1\n[" + section + "]\n" + cle + "x=faux\n" + cle + "=" + valeur +
                              "\n";
  EXPECT_EQ(valeur, lire(contenu, section.c_str(), cle.c_str()));
  EXPECT_EQ(std::nullopt, lire(contenu, section.c_str(), (cle + "k").c_str()));
  EXPECT_EQ(std::nullopt, lire(contenu, (section + "s").c_str(), cle.c_str()));
  EXPECT_EQ("1", lire(contenu, std::string(300, 'X').c_str(), std::string(70000, 'Y').c_str()));
}

TEST(IniLecture, SurvivesBinaryGarbage) {
  // A fixed pseudo-random sequence: no crash, no read outside the text (checked under ASan),
  // and a value found is always a piece of the file.
  uint32_t etat = 12345;
  for (int essai = 0; essai < 200; ++essai) {
    SCOPED_TRACE(essai);
    std::string contenu;
    const size_t taille = static_cast<size_t>(essai) * 7;
    for (size_t i = 0; i < taille; ++i) {
      etat = etat * 1103515245u + 12345u;
      const char alphabet[] = "[]=;#\n\r ab\0\xff";
      contenu.push_back(alphabet[(etat >> 16) % (sizeof alphabet)]);
    }
    const auto valeur = lire(contenu, "ab", "ab");
    if (valeur) {
      EXPECT_NE(std::string::npos, contenu.find(*valeur));
    }
  }
}

TEST(IniLecture, MissingFileLeavesTheDefault) {
  char buffer[32];
  EXPECT_EQ(5, GetIniString("ss", "cle", "dflt!", buffer, 31, "/nonexistent-dir/x.ini"));
  EXPECT_STREQ("dflt!", buffer);
  EXPECT_EQ(7, GetIniInt("ss", "cle", 7, "/nonexistent-dir/x.ini"));
  EXPECT_EQ(3, GetIniString("ss", "cle", "def", buffer, 31, "absent-from-config-dir.ini"));
}

TEST(IniLecture, ADirectoryReadsAsMissing) {
  char buffer[32];
  EXPECT_EQ(3, GetIniString("ss", "cle", "def", buffer, 31, MC_TEST_TMP_DIR));
  EXPECT_STREQ("def", buffer);
}

TEST(IniLecture, BareNameIsReadInTheConfigurationDirectory) {
  const std::string nom = "lecture-" + std::to_string(getpid()) + ".ini";
  write_text(config_dir() + "/" + nom, "[ss]\ncle=ici\n");
  char buffer[32];
  EXPECT_EQ(3, GetIniString("ss", "cle", "", buffer, 31, nom.c_str()));
  EXPECT_STREQ("ici", buffer);
  std::remove((config_dir() + "/" + nom).c_str());
}

TEST(IniLecture, NameTooLongForTheSystemReadsAsMissing) {
  const std::string nom(5000, 'n');
  char buffer[32];
  EXPECT_EQ(3, GetIniString("ss", "cle", "def", buffer, 31, nom.c_str()));
  EXPECT_EQ(3, GetIniString("ss", "cle", "def", buffer, 31, ("/" + nom).c_str()));
}

struct Tampon {
  std::vector<char> octets = std::vector<char>(32, 'Z');
  std::string texte() const { return std::string(octets.data()); }
  // Bytes from `from` on that were left untouched.
  bool intact_depuis(size_t from) const {
    for (size_t i = from; i < octets.size(); ++i) {
      if (octets[i] != 'Z') {
        return false;
      }
    }
    return true;
  }
};

TEST(IniLecture, KeptDefaultSizeRule) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\nlong=abcdef\ncourt=ab\n");
  struct Cas {
    const char* nom;
    const char* cle;
    const char* defaut;
    int32_t taille;
    const char* attendu;
    size_t octets_ecrits;
  };
  const Cas cas[] = {
      {"default longer than the size keeps size-1", "absente", "abcdef", 3, "ab", 3},
      {"default of exactly the size takes size+1 bytes", "absente", "abc", 3, "abc", 4},
      {"short default", "absente", "a", 3, "a", 2},
      {"value longer than the size gives size characters", "long", "", 3, "abc", 4},
      {"value shorter than the size", "court", "xyzxyz", 3, "ab", 3},
      {"value of exactly the size", "court", "", 2, "ab", 3},
      {"size 0 and a long default leaves an empty text", "absente", "abc", 0, "", 1},
      {"size 0 and a value", "long", "", 0, "", 1},
      {"negative size counts as 0", "long", "abc", -5, "", 1},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    Tampon t;
    const int32_t n = GetIniString("ss", c.cle, c.defaut, t.octets.data(), c.taille, path.c_str());
    EXPECT_EQ(std::string(c.attendu), t.texte());
    EXPECT_EQ(static_cast<int32_t>(std::strlen(c.attendu)), n);
    EXPECT_TRUE(t.intact_depuis(c.octets_ecrits));
  }
}

TEST(IniLecture, NullArgumentsLeaveTheDefault) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\ncle=v\n");
  char buffer[16];
  EXPECT_EQ(0, GetIniString("ss", "cle", "def", nullptr, 15, path.c_str()));
  EXPECT_EQ(3, GetIniString(nullptr, "cle", "def", buffer, 15, path.c_str()));
  EXPECT_EQ(3, GetIniString("ss", nullptr, "def", buffer, 15, path.c_str()));
  EXPECT_EQ(3, GetIniString("ss", "cle", "def", buffer, 15, nullptr));
  EXPECT_EQ(1, GetIniString("ss", "cle", nullptr, buffer, 15, path.c_str()));
  EXPECT_STREQ("v", buffer);
  EXPECT_EQ(0, GetIniString("ss", "autre", nullptr, buffer, 15, path.c_str()));
  EXPECT_EQ(-1, GetIniInt("ss", nullptr, -1, path.c_str()));
  EXPECT_EQ(nullptr, getIniInfo("ss", "cle", nullptr, 's', 4, path.c_str()));
}

TEST(IniLecture, ReadsIntegersAsAtoiDoes) {
  const std::string path = temp_path("ini");
  write_text(path,
             "[ss]\nnb=12abc\nlettres=abc\nneg=  -42\nplus=+7\nvide=\nsuite=\n5\n"
             "grand=99999999999\npetit=-99999999999\nmax=2147483647\nmin=-2147483648\n"
             "signe=-\nblanc= \t 3\ncrlf=15\r\n");
  struct Cas {
    const char* cle;
    int32_t attendu;
  };
  const Cas cas[] = {{"nb", 12},           {"lettres", 0},          {"neg", -42},
                     {"plus", 7},          {"vide", 0},             {"suite", 0},
                     {"grand", INT32_MAX}, {"petit", INT32_MIN},    {"max", INT32_MAX},
                     {"min", INT32_MIN},   {"signe", 0},            {"blanc", 3},
                     {"crlf", 15},         {"absente", -1}};
  for (const auto& c : cas) {
    SCOPED_TRACE(c.cle);
    EXPECT_EQ(c.attendu, GetIniInt("ss", c.cle, -1, path.c_str()));
  }
}

TEST(IniLecture, KindLetterIsReadWithoutCase) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\nnb=0x12\n");
  int32_t entier = 99;
  EXPECT_EQ(&entier, getIniInfo("ss", "nb", &entier, 'I', 4, path.c_str()));
  EXPECT_EQ(0, entier);
  char texte[8] = {};
  EXPECT_EQ(texte, getIniInfo("ss", "nb", texte, 'x', 7, path.c_str()));
  EXPECT_STREQ("0x12", texte);
}

TEST(IniLecture, TakesNoAccountedMemory) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\ncle=v\n");
  mc::testing::reset_memoire();
  char buffer[8];
  EXPECT_EQ(1, GetIniString("ss", "cle", "", buffer, 7, path.c_str()));
  EXPECT_EQ(0u, mc::memoire_allouee());
}

TEST(IniLecture, RefusedMemoryLeavesTheDefault) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\ncle=1234\n");
  const char* f = path.c_str();
  char b[16];
  struct Cas {
    const char* nom;
    std::function<uint32_t()> lire;
    uint32_t trouve, defaut;
  };
  const Cas cas[] = {
      {"GetIniString", [&] { return uint32_t(GetIniString("ss", "cle", "dd", b, 15, f)); }, 4, 2},
      {"GetIniInt", [&] { return uint32_t(GetIniInt("ss", "cle", 7, f)); }, 1234, 7},
      {"MC_ulLireChaineIni", [&] { return MC_ulLireChaineIni("ss", "cle", b, 15, f); }, 4, 0},
      {"MC_lLireLongIni", [&] { return uint32_t(MC_lLireLongIni("ss", "cle", f)); }, 1234,
       uint32_t(-1)},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    each_allocation_failure(c.lire, c.trouve, [&](uint32_t, uint32_t r) { EXPECT_EQ(c.defaut, r); });
  }
}

TEST(IniScanners, FindLineEndsAndDelimiters) {
  EXPECT_EQ(3u, kpl_GetLine("abc\ndef"));
  EXPECT_EQ(3u, kpl_GetLine("abc\rdef"));
  EXPECT_EQ(3u, kpl_GetLine("abc"));
  EXPECT_EQ(0u, kpl_GetLine("\n"));
  EXPECT_EQ(2u, kpl_GetToken("ab=c=d", '='));
  EXPECT_EQ(0u, kpl_GetToken("=abc", '='));
  EXPECT_EQ(0u, kpl_GetToken("abc\n=d", '='));
  EXPECT_EQ(0u, kpl_GetToken("abc\r=d", '='));
  EXPECT_EQ(0u, kpl_GetToken("abc", '='));
  char texte[] = "ab\xe9-z]";
  EXPECT_STREQ("AB\xe9-Z]", kpl_uprstr(texte));
}

}  // namespace
}  // namespace mc::test
