// ini_disque_test.cpp -- the INI writer against its file systems: full ones, special files and
// concurrent writers. Built with a configuration directory of its own, on which the tests mount
// a small tmpfs when they run as root.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/mctest.h"

namespace mc::test {
namespace {

// A second small file system for targets, beside the configuration directory.
std::string dossier_cibles() { return config_dir() + "-cibles"; }

// Fills the file system of `dossier` until it refuses more.
void remplir(const std::string& dossier) {
  const int fd = ::open((dossier + "/plein").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_GE(fd, 0);
  const std::string bloc(1024, 'p');
  while (::write(fd, bloc.data(), bloc.size()) > 0) {
  }
  ::close(fd);
}

class IniDisquePlein : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "mounting a tmpfs needs root";
    }
    for (const std::string& d : {config_dir(), dossier_cibles()}) {
      ::mkdir(d.c_str(), 0755);
      if (::mount("tmpfs", d.c_str(), "tmpfs", 0, "size=16k") != 0) {
        GTEST_SKIP() << "cannot mount a tmpfs: " << std::strerror(errno);
      }
      montes_.push_back(d);
    }
  }
  void TearDown() override {
    for (const auto& d : montes_) {
      ::umount2(d.c_str(), MNT_DETACH);
    }
  }
  std::vector<std::string> montes_;
};

TEST_F(IniDisquePlein, FullFileSystemsLeaveTheTargetAsItWas) {
  struct Cas {
    const char* nom;
    std::string cible;
    size_t taille;      // of the target's content; 0: no target
    std::string plein;  // the file system filled first, if any
  };
  const Cas cas[] = {
      {"target larger than the configuration directory's room", temp_path("ini"), 20000, ""},
      {"target on the disk, configuration directory full", temp_path("ini"), 100, config_dir()},
      {"target in the full configuration directory", config_dir() + "/t.ini", 100, config_dir()},
      {"new file in the full configuration directory", config_dir() + "/n.ini", 0, config_dir()},
      {"copy beside a target on another, full file system", dossier_cibles() + "/t.ini", 100,
       dossier_cibles()},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const std::string avant = "[ss]\nk=1\n" + std::string(c.taille, '\n');
    if (c.taille > 0) {
      write_text(c.cible, avant);
    }
    if (!c.plein.empty()) {
      remplir(c.plein);
    }
    EXPECT_EQ(0, WriteIniString("ss", "k", "v", c.cible.c_str()));
    if (c.taille > 0) {
      EXPECT_EQ(avant, read_text(c.cible));
    } else {
      EXPECT_FALSE(file_exists(c.cible));
    }
    // Nothing is left behind: no temporary file, no copy.
    std::remove((c.plein + "/plein").c_str());
    std::remove(c.cible.c_str());
    for (const std::string& d : montes_) {
      EXPECT_TRUE(std::filesystem::is_empty(d)) << d;
    }
  }
}

TEST(IniFichierSpecial, FifoIsNeitherWaitedForNorReplaced) {
  const std::string path = temp_path("fifo");
  ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
  EXPECT_EQ(0, WriteIniString("ss", "k", "v", path.c_str()));
  char lu[8];
  EXPECT_EQ(1, GetIniString("ss", "k", "d", lu, 7, path.c_str()));
  struct stat etat {};
  ASSERT_EQ(0, ::stat(path.c_str(), &etat));
  EXPECT_TRUE(S_ISFIFO(etat.st_mode));
  ::unlink(path.c_str());
}

TEST(IniConcurrence, EightWritersOfOneFileLoseNoKey) {
  constexpr int kProcessus = 8;
  constexpr int kEcritures = 30;
  const std::string path = temp_path("ini");
  std::vector<pid_t> fils;
  for (int p = 0; p < kProcessus; ++p) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      const std::string cle = "cle" + std::to_string(p);
      int echecs = 0;
      for (int i = 0; i < kEcritures; ++i) {
        echecs += WriteIniString("ss", cle.c_str(), std::to_string(i).c_str(), path.c_str()) != 1;
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
  for (int p = 0; p < kProcessus; ++p) {
    EXPECT_EQ(kEcritures - 1, GetIniInt("ss", ("cle" + std::to_string(p)).c_str(), -1, path.c_str()))
        << "cle" << p;
  }
  EXPECT_EQ(kProcessus + 1, static_cast<int>(split_lines(read_text(path)).size()));
}

}  // namespace
}  // namespace mc::test
