// ini_ecriture_test.cpp -- the INI writer, checked byte for byte, and its line reader.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "config/sys_util.h"
#include "support/mctest.h"

namespace mc::test {
namespace {

std::string temporaire_config() { return config_dir() + "/WriteIniTmp.txt"; }

class IniEcriture : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(temporaire_config().c_str()); }
};

struct CasEcriture {
  const char* nom;
  std::string avant;
  const char* section;
  const char* cle;
  const char* valeur;
  std::string apres;
};

TEST_F(IniEcriture, RewritesFilesByteForByte) {
  const CasEcriture cas[] = {
      {"existing key replaced", "[ss]\na=1\nk=old\nb=2\n", "ss", "k", "v", "[ss]\na=1\nk=v\nb=2\n"},
      {"only the first key line replaced", "[ss]\nk=1\nk=2\n", "ss", "k", "v", "[ss]\nk=v\nk=2\n"},
      {"comments and other sections kept in order",
       "; tete\n[aa]\nk=0\n\n[ss]\n# note\nk=1\n; fin\n\n[bb]\nk=2\n", "ss", "k", "neuf",
       "; tete\n[aa]\nk=0\n\n[ss]\n# note\nk=neuf\n; fin\n\n[bb]\nk=2\n"},
      {"new key at the end of the block", "[ss]\na=1\n\n[tt]\nb=2\n", "ss", "k", "v",
       "[ss]\na=1\nk=v\n\n[tt]\nb=2\n"},
      {"new key at the end of the file", "[ss]\na=1\n", "ss", "k", "v", "[ss]\na=1\nk=v\n"},
      {"new key right after a header at the end", "[ss]\n", "ss", "k", "v", "[ss]\nk=v\n"},
      {"value with blanks and equal signs", "[ss]\nk=1\n", "ss", "k", " a = b ",
       "[ss]\nk= a = b \n"},
      {"empty value", "[ss]\nk=1\n", "ss", "k", "", "[ss]\nk=\n"},
      {"section absent", "[tt]\nb=2\n", "ss", "k", "v", "[tt]\nb=2\n\n[ss]\nk=v\n"},
      {"empty file", "", "ss", "k", "v", "\n[ss]\nk=v\n"},
      {"one-character section is written", "[t]\n", "s", "k", "v", "[t]\n\n[s]\nk=v\n"},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const std::string path = temp_path("ini");
    write_text(path, c.avant);
    EXPECT_EQ(1, WriteIniString(c.section, c.cle, c.valeur, path.c_str()));
    EXPECT_EQ(c.apres, read_text(path));
    EXPECT_FALSE(file_exists(temporaire_config()));
  }
}

TEST_F(IniEcriture, KeptQuirksOfTheRewrite) {
  const CasEcriture cas[] = {
      {"prefix match replaces a longer key", "[ss]\nports=1\n", "ss", "port", "80",
       "[ss]\nport=80\n"},
      {"prefix match needs no equal sign", "[ss]\nportail\n", "ss", "port", "80",
       "[ss]\nport=80\n"},
      {"key match is case-sensitive", "[ss]\nPORT=1\n", "ss", "port", "80",
       "[ss]\nPORT=1\nport=80\n"},
      {"blank before a key hides it", "[ss]\n port=1\n", "ss", "port", "80",
       "[ss]\n port=1\nport=80\n"},
      {"header match is case-sensitive", "[SS]\nk=1\n", "ss", "k", "v",
       "[SS]\nk=1\n\n[ss]\nk=v\n"},
      {"header with a trailing blank is another line", "[ss] \nk=1\n", "ss", "k", "v",
       "[ss] \nk=1\n\n[ss]\nk=v\n"},
      {"block ends at an empty line, not at the next header",
       "[ss]\na=1\n[tt]\nb=2\n\n[uu]\nc=3\n", "ss", "k", "v",
       "[ss]\na=1\n[tt]\nb=2\nk=v\n\n[uu]\nc=3\n"},
      {"a key of the next block is replaced", "[ss]\na=1\n[tt]\nk=2\n", "ss", "k", "v",
       "[ss]\na=1\n[tt]\nk=v\n"},
      {"CR LF header never matches", "[ss]\r\nk=1\r\n", "ss", "k", "v",
       "[ss]\r\nk=1\r\n\n[ss]\nk=v\n"},
      {"CR LF lines are kept", "[tt]\r\nb=2\r\n\r\n", "tt", "k", "v",
       "[tt]\r\nb=2\r\n\r\n\n[tt]\nk=v\n"},
      {"last line without line feed dropped", "[tt]\nb=2", "ss", "k", "v",
       "[tt]\n\n[ss]\nk=v\n"},
      {"last line without line feed dropped after the key", "[ss]\nk=1\nb=2", "ss", "k", "v",
       "[ss]\nk=v\n"},
      {"everything from a 0xFF byte dropped", "[tt]\nb=2\n\xff[uu]\nc=3\n", "ss", "k", "v",
       "[tt]\nb=2\n\n[ss]\nk=v\n"},
      {"0xFF inside a line drops that line", "[ss]\nk=1\nb=\xff" "2\nc=3\n", "ss", "k", "v",
       "[ss]\nk=v\n"},
      {"0xFF before the header: section appended", "\xff[ss]\nk=1\n", "ss", "k", "v",
       "\n[ss]\nk=v\n"},
      {"other high bytes kept", "[ss]\nk=1\n\xe9t\xe9=2\n", "ss", "k", "\xe0",
       "[ss]\nk=\xe0\n\xe9t\xe9=2\n"},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const std::string path = temp_path("ini");
    write_text(path, c.avant);
    EXPECT_EQ(1, WriteIniString(c.section, c.cle, c.valeur, path.c_str()));
    EXPECT_EQ(c.apres, read_text(path));
  }
}

TEST_F(IniEcriture, CreatesAMissingFile) {
  const std::string path = temp_path("ini");
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", path.c_str()));
  EXPECT_EQ("[ss]\nk=v\n", read_text(path));
  EXPECT_FALSE(file_exists(temporaire_config()));
}

TEST_F(IniEcriture, HandlesNamesAndLinesOfAnyLength) {
  const std::string section(700, 's');
  const std::string cle(900, 'k');
  const std::string valeur(3000, 'v');
  const std::string longue(100000, 'x');
  const std::string avant = longue + "\n[" + section + "]\n" + cle + "=1\n" + longue + "\n";
  const std::string path = temp_path("ini");
  write_text(path, avant);
  EXPECT_EQ(1, WriteIniString(section.c_str(), cle.c_str(), valeur.c_str(), path.c_str()));
  EXPECT_EQ(longue + "\n[" + section + "]\n" + cle + "=" + valeur + "\n" + longue + "\n",
            read_text(path));
  char lu[4000];
  EXPECT_EQ(3000, GetIniString(section.c_str(), cle.c_str(), "", lu, 3500, path.c_str()));
}

TEST_F(IniEcriture, ReadsBackWhatItWrote) {
  const std::string path = temp_path("ini");
  EXPECT_EQ(1, WriteIniString("commun", "repertoiretravail", "/tmp/x", path.c_str()));
  EXPECT_EQ(1, WriteIniString("commun", "repertoiretable", "/tmp/t", path.c_str()));
  EXPECT_EQ(1, WriteIniString("autre", "nb", "12", path.c_str()));
  EXPECT_EQ(1, WriteIniString("commun", "repertoiretravail", "/tmp/y", path.c_str()));
  EXPECT_EQ("[commun]\nrepertoiretravail=/tmp/y\nrepertoiretable=/tmp/t\n\n[autre]\nnb=12\n",
            read_text(path));
  char lu[64];
  EXPECT_EQ(6, GetIniString("COMMUN", "RepertoireTable", "", lu, 63, path.c_str()));
  EXPECT_STREQ("/tmp/t", lu);
  EXPECT_EQ(12, GetIniInt("autre", "nb", -1, path.c_str()));
}

TEST_F(IniEcriture, FileWithSlashIsWrittenInPlaceWithItsTemporaryInTheConfigurationDirectory) {
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\nk=1\n");
  // A directory in the way of the configuration directory's temporary file makes the writer
  // fail: proof that the temporary file goes there, and the target is left as it was.
  ASSERT_EQ(0, mkdir(temporaire_config().c_str(), 0700));
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", path.c_str()));
  EXPECT_EQ("[ss]\nk=1\n", read_text(path));
  ASSERT_EQ(0, rmdir(temporaire_config().c_str()));
  // Nothing is made beside the target.
  const std::string dossier = path.substr(0, path.rfind('/'));
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", path.c_str()));
  EXPECT_EQ("[ss]\nk=v\n", read_text(path));
  EXPECT_FALSE(file_exists(dossier + "/WriteIniTmp.txt"));
  EXPECT_FALSE(file_exists(temporaire_config()));
}

TEST_F(IniEcriture, BareNameIsWrittenInTheConfigurationDirectory) {
  const std::string nom = "ecriture-" + std::to_string(getpid()) + ".ini";
  const std::string path = config_dir() + "/" + nom;
  std::remove(path.c_str());
  EXPECT_EQ(1, WriteIniString("ss", "k", "1", nom.c_str()));
  EXPECT_EQ(1, WriteIniString("ss", "k", "2", nom.c_str()));
  EXPECT_EQ("[ss]\nk=2\n", read_text(path));
  std::remove(path.c_str());
}

TEST_F(IniEcriture, DirectoryInTheTargetsPlaceIsNeverDeleted) {
  // The target opens for reading and reads as empty; deleting it and renaming onto it both fail
  // unchecked, so the writer still says 1 and the directory stays.
  const std::string path = temp_path("ini");
  ASSERT_EQ(0, mkdir(path.c_str(), 0700));
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", path.c_str()));
  struct stat etat {};
  ASSERT_EQ(0, stat(path.c_str(), &etat));
  EXPECT_TRUE(S_ISDIR(etat.st_mode));
  EXPECT_EQ("\n[ss]\nk=v\n", read_text(temporaire_config()));
  rmdir(path.c_str());
}

TEST_F(IniEcriture, RefusesWhatItCannotWrite) {
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", "/nonexistent-dir/x.ini"));
  const std::string path = temp_path("ini");
  EXPECT_EQ(0, WriteIniString(nullptr, "k", "v", path.c_str()));
  EXPECT_EQ(0, WriteIniString("ss", nullptr, "v", path.c_str()));
  EXPECT_EQ(0, WriteIniString("ss", "k", nullptr, path.c_str()));
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", nullptr));
  EXPECT_FALSE(file_exists(path));
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", std::string(5000, 'n').c_str()));
}

TEST_F(IniEcriture, ReplacesATargetOnAnotherFileSystem) {
  // The temporary file cannot be renamed across file systems: the first form had deleted the
  // target by then and lost it.
  struct stat shm {}, conf {};
  if (stat("/dev/shm", &shm) != 0 || stat(config_dir().c_str(), &conf) != 0 ||
      shm.st_dev == conf.st_dev) {
    GTEST_SKIP() << "/dev/shm is not another file system";
  }
  const std::string prefixe = "mc-ini-" + std::to_string(getpid());
  const std::string path = "/dev/shm/" + prefixe + ".ini";
  write_text(path, "[ss]\nk=1\nb=2\n");
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", path.c_str()));
  EXPECT_EQ("[ss]\nk=v\nb=2\n", read_text(path));
  EXPECT_FALSE(file_exists(temporaire_config()));
  int fichiers = 0;
  for (const auto& e : std::filesystem::directory_iterator("/dev/shm")) {
    fichiers += e.path().filename().string().starts_with(prefixe) ? 1 : 0;
  }
  EXPECT_EQ(1, fichiers);
  std::remove(path.c_str());
}

TEST_F(IniEcriture, LeavesAnUnreadableTargetAlone) {
  // Write-only for its owner and for others: root reads anything, so root writes as nobody.
  const std::string path = temp_path("ini");
  write_text(path, "[ss]\na=1\n");
  ASSERT_EQ(0, chmod(path.c_str(), 0222));
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    _exit(geteuid() == 0 && setuid(65534) != 0 ? 2 : WriteIniString("ss", "k", "v", path.c_str()));
  }
  int etat = -1;
  ASSERT_EQ(pid, waitpid(pid, &etat, 0));
  EXPECT_EQ(0, WIFEXITED(etat) ? WEXITSTATUS(etat) : -1);
  ASSERT_EQ(0, chmod(path.c_str(), 0644));
  EXPECT_EQ("[ss]\na=1\n", read_text(path));
}

TEST_F(IniEcriture, RefusedMemoryLeavesTheTargetAsItWas) {
  // Lines longer than the inline room make the writer take heap blocks.
  const std::string path = temp_path("ini");
  const std::string avant = std::string(300, 'x') + "\n[ss]\n" + std::string(600, 'y') + "\nk=1\n";
  each_allocation_failure(
      [&] {
        write_text(path, avant);
        return uint32_t(MC_bEcrireChaineIni("ss", "k", "v", path.c_str()));
      },
      1,
      [&](uint32_t, uint32_t ecrit) {
        EXPECT_EQ(0u, ecrit);
        EXPECT_EQ(avant, read_text(path));
        EXPECT_FALSE(file_exists(temporaire_config()));
      });
}

TEST(IniLigne, ReadsLinesAsTheWriterSeesThem) {
  struct Cas {
    const char* nom;
    std::string texte;
    std::vector<std::string> lignes;  // the lines returned with 1
  };
  const Cas cas[] = {
      {"plain lines", "ab\ncd\n", {"ab", "cd"}},
      {"last line without line feed", "ab\ncd", {"ab"}},
      {"empty lines", "\n\nx\n", {"", "", "x"}},
      {"carriage returns stay", "a\r\nb\rc\n", {"a\r", "b\rc"}},
      {"0xFF ends the file", "ab\nc\xff" "d\nef\n", {"ab"}},
      {"zero bytes stay", std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
      {"empty file", "", {}},
      {"long line", std::string(1000, 'l') + "\n", {std::string(1000, 'l')}},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    FILE* f = fmemopen(const_cast<char*>(c.texte.data()), c.texte.size(), "r");
    if (c.texte.empty()) {
      f = std::tmpfile();
    }
    ASSERT_NE(nullptr, f);
    Ligne ligne;
    std::vector<std::string> lues;
    while (read_line(f, ligne) == 1) {
      lues.emplace_back(ligne.data(), ligne.size());
      EXPECT_EQ('\0', ligne.data()[ligne.size()]);
    }
    EXPECT_EQ(c.lignes, lues);
    std::fclose(f);
  }
}

}  // namespace
}  // namespace mc::test
