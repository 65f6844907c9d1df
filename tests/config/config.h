// config.h -- the one fixture of the configuration tests: trace, memory and start-up state reset,
// the configuration directory's norba.ini and temporary file removed, a fresh working directory.
#ifndef MC_TESTS_CONFIG_CONFIG_H
#define MC_TESTS_CONFIG_CONFIG_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "config/mcinit.h"
#include "config/mcnorba.h"
#include "config/sys_util.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"

namespace mc::test {

class ConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    nettoyer();
    travail_ = temp_path("travail");
    std::filesystem::create_directories(travail_);
  }
  void TearDown() override { nettoyer(); }

 public:
  static void nettoyer() {
    mc::testing::reset_trace();
    mc::testing::reset_memoire();
    mc::testing::reset_chargement();
    for (const char* f : {"/norba.ini", "/WriteIniTmp.txt"}) std::remove((config_dir() + f).c_str());
  }
  static std::string temporaire() { return config_dir() + "/WriteIniTmp.txt"; }
  // norba.ini of the configuration directory, naming `travail` as the working directory.
  static void norba(const std::string& travail) {
    write_text(config_dir() + "/norba.ini", "; test\n[commun]\nrepertoiretravail=" + travail + "\n");
  }
  std::string adm(const std::string& nom) const { return travail_ + "/" + nom; }
  std::string travail_;
};

// A field of a case table: C escapes, and "{c*N}" for N bytes c.
inline std::string champ(const std::string& f) {
  std::string out;
  size_t i = 0;
  for (size_t j; (j = f.find('{', i)) != std::string::npos && f.find('}', j) != std::string::npos;) {
    const size_t fin = f.find('}', j);
    out += unescape(f.substr(i, j - i)) + std::string(std::strtoul(f.c_str() + j + 3, nullptr, 10), f[j + 1]);
    i = fin + 1;
  }
  return out + unescape(f.substr(i));
}

}  // namespace mc::test

#endif  // MC_TESTS_CONFIG_CONFIG_H
