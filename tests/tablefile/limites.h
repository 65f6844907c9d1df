// limites.h -- for the tests that leave the well-trodden paths of the files (here and in the
// dictionary tests): a small file system that fills up, and a watchdog for tests that a faulty
// build could block.
#ifndef MC_TESTS_TABLEFILE_LIMITES_H
#define MC_TESTS_TABLEFILE_LIMITES_H

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace mc::test {

// A 16 KiB tmpfs mounted on `dir` for the life of the object; only root can mount it, so the
// tests check monte() and skip otherwise.
class DisquePlein {
 public:
  explicit DisquePlein(std::string dir) : dir_(std::move(dir)) {
    monte_ = geteuid() == 0 && (mkdir(dir_.c_str(), 0755) == 0 || errno == EEXIST) &&
             mount("tmpfs", dir_.c_str(), "tmpfs", 0, "size=16k") == 0;
  }
  ~DisquePlein() {
    if (monte_) {
      umount2(dir_.c_str(), MNT_DETACH);
    }
  }
  DisquePlein(const DisquePlein&) = delete;
  DisquePlein& operator=(const DisquePlein&) = delete;

  bool monte() const { return monte_; }
  const std::string& dir() const { return dir_; }
  // Fills the file system but for `libres` bytes (whole pages).
  bool remplir(long libres) const {
    const int fd = open((dir_ + "/plein").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    char bloc[1024] = {};
    long total = 0;
    for (ssize_t n = 0; fd >= 0 && (n = write(fd, bloc, sizeof bloc)) > 0;) {
      total += n;
    }
    const bool ok = fd >= 0 && total >= libres && ftruncate(fd, total - libres) == 0;
    return close(fd) == 0 && ok;
  }

 private:
  std::string dir_;
  bool monte_ = false;
};

// Kills the test program if the test is still running after `secondes`.
struct Minuterie {
  explicit Minuterie(unsigned secondes = 60) { alarm(secondes); }
  ~Minuterie() { alarm(0); }
};

}  // namespace mc::test

#endif  // MC_TESTS_TABLEFILE_LIMITES_H
