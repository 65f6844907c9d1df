// disque_test.cpp -- the INI writer and the version files against their file systems: full ones
// (a small tmpfs mounted, as root, on this program's own configuration directory and on a second
// directory for targets), another file system, special and unreadable targets, and concurrent
// writers.
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "config.h"

namespace mc::test {
namespace {

std::string cibles() { return config_dir() + "-cibles"; }

// Fills the file system of `dossier` until it refuses more.
void remplir(const std::string& dossier) {
  FILE* f = std::fopen((dossier + "/plein").c_str(), "w");
  const std::string bloc(1024, 'p');
  while (std::fwrite(bloc.data(), 1, bloc.size(), f) == bloc.size() && std::fflush(f) == 0) {
  }
  std::fclose(f);
}

// Runs `ecrire` in a child process, as nobody when run as root; its exit status.
int en_fils(const std::function<int()>& ecrire) {
  const pid_t pid = fork();
  if (pid == 0) _exit(geteuid() == 0 && setuid(65534) != 0 ? 99 : ecrire());
  int etat = -1;
  waitpid(pid, &etat, 0);
  return WIFEXITED(etat) ? WEXITSTATUS(etat) : -1;
}

TEST_F(ConfigTest, FullFileSystemsLeaveTheTargetAsItWas) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting a tmpfs needs root";
  std::vector<std::string> montes;
  for (const std::string& d : {config_dir(), cibles()}) {
    if (::mount("tmpfs", d.c_str(), "tmpfs", 0, "size=16k") != 0) GTEST_SKIP() << std::strerror(errno);
    montes.push_back(d);
  }
  const struct {
    std::string cible;
    size_t taille;      // of the target's content; 0: no target
    std::string plein;  // the file system filled first, if any
  } cas[] = {{temp_path("ini"), 20000, ""},  // larger than the configuration directory's room
             {temp_path("ini"), 100, config_dir()},
             {config_dir() + "/t.ini", 100, config_dir()},
             {config_dir() + "/n.ini", 0, config_dir()},
             {cibles() + "/t.ini", 100, cibles()}};  // the copy beside a target, across file systems
  for (const auto& c : cas) {
    SCOPED_TRACE(c.cible + " " + c.plein);
    const std::string avant = "[ss]\nk=1\n" + std::string(c.taille, '\n');
    if (c.taille > 0) write_text(c.cible, avant);
    if (!c.plein.empty()) remplir(c.plein);
    EXPECT_EQ(0, WriteIniString("ss", "k", "v", c.cible.c_str()));
    EXPECT_EQ(c.taille > 0 ? avant : "", file_exists(c.cible) ? read_text(c.cible) : "");
    std::remove((c.plein + "/plein").c_str());
    std::remove(c.cible.c_str());
    for (const std::string& d : montes) EXPECT_TRUE(std::filesystem::is_empty(d)) << d;
  }
  // A version text that does not reach the full disk whole is removed.
  norba(cibles());
  remplir(cibles());
  EXPECT_CODE(MC_ERR_FICHIER, MC_usEcrireVersionComposant(92, "0100", 4));
  EXPECT_FALSE(file_exists(cibles() + "/92.adm"));
  nettoyer();
  for (const std::string& d : montes) ::umount2(d.c_str(), MNT_DETACH);
}

// Special and odd targets: a FIFO is neither waited for nor replaced; a target that cannot be
// read is left alone; a directory in its place is never deleted (kept: the failed rename is not
// checked, so the writer says 1 and leaves its temporary file); a target on another file system
// is replaced through a copy beside it.
TEST_F(ConfigTest, OddTargets) {
  const std::string fifo = temp_path("fifo"), dossier = temp_path("dossier"), ini = temp_path("ini");
  ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", fifo.c_str()));
  char lu[8];
  EXPECT_EQ(1, GetIniString("ss", "k", "d", lu, 7, fifo.c_str()));
  struct stat etat {};
  EXPECT_TRUE(::stat(fifo.c_str(), &etat) == 0 && S_ISFIFO(etat.st_mode));
  write_text(ini, "[ss]\na=1\n");
  ASSERT_EQ(0, chmod(ini.c_str(), 0222));
  EXPECT_EQ(0, en_fils([&] { return WriteIniString("ss", "k", "v", ini.c_str()); }));
  ASSERT_EQ(0, chmod(ini.c_str(), 0644));
  EXPECT_EQ("[ss]\na=1\n", read_text(ini));
  // The temporary file is the configuration directory's: a directory in its way fails the writer.
  ASSERT_EQ(0, mkdir(temporaire().c_str(), 0700));
  EXPECT_EQ(0, WriteIniString("ss", "a", "v", ini.c_str()));
  EXPECT_EQ("[ss]\na=1\n", read_text(ini));
  ASSERT_EQ(0, rmdir(temporaire().c_str()));
  ASSERT_EQ(0, mkdir(dossier.c_str(), 0700));
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", dossier.c_str()));
  EXPECT_TRUE(::stat(dossier.c_str(), &etat) == 0 && S_ISDIR(etat.st_mode));
  EXPECT_EQ("\n[ss]\nk=v\n", read_text(temporaire()));
  struct stat shm {}, conf {};
  if (stat("/dev/shm", &shm) != 0 || stat(config_dir().c_str(), &conf) != 0 || shm.st_dev == conf.st_dev) {
    GTEST_SKIP() << "/dev/shm is not another file system";
  }
  const std::string prefixe = "mc-ini-" + std::to_string(getpid()), autre = "/dev/shm/" + prefixe + ".ini";
  write_text(autre, "[ss]\nk=1\nb=2\n");
  EXPECT_EQ(1, WriteIniString("ss", "k", "v", autre.c_str()));
  EXPECT_EQ("[ss]\nk=v\nb=2\n", read_text(autre));
  EXPECT_FALSE(file_exists(temporaire()));
  int fichiers = 0;
  for (const auto& e : std::filesystem::directory_iterator("/dev/shm")) fichiers += e.path().filename().string().starts_with(prefixe);
  EXPECT_EQ(1, fichiers);
  std::remove(autre.c_str());
}

TEST_F(ConfigTest, EightWritersOfOneFileLoseNoKey) {
  const std::string path = temp_path("ini");
  std::vector<pid_t> fils;
  for (int p = 0; p < 8; ++p) {
    const pid_t pid = fork();
    if (pid == 0) {
      int echecs = 0;
      for (int i = 0; i < 30; ++i) {
        echecs += WriteIniString("ss", ("cle" + std::to_string(p)).c_str(), std::to_string(i).c_str(), path.c_str()) != 1;
      }
      _exit(echecs);
    }
    fils.push_back(pid);
  }
  for (const pid_t pid : fils) {
    int etat = -1;
    ASSERT_EQ(pid, waitpid(pid, &etat, 0));
    EXPECT_EQ(0, WIFEXITED(etat) ? WEXITSTATUS(etat) : -1);
  }
  for (int p = 0; p < 8; ++p) EXPECT_EQ(29, GetIniInt("ss", ("cle" + std::to_string(p)).c_str(), -1, path.c_str())) << p;
  EXPECT_EQ(9u, split_lines(read_text(path)).size());
}

}  // namespace
}  // namespace mc::test
