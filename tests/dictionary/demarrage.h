// demarrage.h -- fixture of the tests that write the shared norba.ini: each test gets its own
// working and table directories under the build tree.
#ifndef MC_TESTS_DICTIONARY_DEMARRAGE_H
#define MC_TESTS_DICTIONARY_DEMARRAGE_H

#include <cstdio>
#include <string>

#include "config/mcinit.h"
#include "dictionary/dev/mcdicosrc.h"
#include "dictionary/mctab.h"
#include "support/mctest.h"

namespace mc::test {

class Configuration : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_dictionnaire();
    mc::testing::reset_chargement();
    base_ = temp_path("conf");
    travail_ = base_ + "/travail";
    tables_ = base_ + "/tables";
    ASSERT_EQ(0, std::system(("mkdir -p '" + travail_ + "' '" + tables_ + "'").c_str()));
    ini_ = config_dir() + "/norba.ini";
    std::remove(ini_.c_str());
  }
  void TearDown() override {
    // Start-up failures may leave the dictionary file open in its slot.
    for (uint16_t us = 1; us <= 100; ++us) {
      MC_usLibererFichierBinaire(us, nullptr);
    }
    std::remove(ini_.c_str());
    mc::testing::reset_dictionnaire();
    mc::testing::reset_chargement();
  }

  void ecrire_ini(bool avec_travail, bool avec_tables) {
    std::string texte = "; test configuration\n[commun]\n";
    if (avec_travail) {
      texte += "repertoiretravail=" + travail_ + "\n";
    }
    if (avec_tables) {
      texte += "repertoiretable=" + tables_ + "\n";
    }
    write_text(ini_, texte);
  }

  static mc::dev::Dictionnaire dictionnaire_dev() {
    mc::dev::Dictionnaire dico;
    std::string erreur;
    EXPECT_TRUE(mc::dev::lire_source(
        read_text(std::string(MC_TEST_SOURCE_DIR) + "/dictionary/dev/dictionnaire.dico"), dico,
        erreur))
        << erreur;
    return dico;
  }

  void ecrire_tables(const mc::dev::Options& options = mc::dev::Options{}) {
    ASSERT_CODE(0, mc::dev::ecrire_table(tables_, dictionnaire_dev(), options));
  }

  std::string fichier_tables() const { return tables_ + "/tablebin.tbx"; }
  std::string adm(const char* nom) const { return travail_ + "/" + nom; }

  std::string base_;
  std::string travail_;
  std::string tables_;
  std::string ini_;
};

}  // namespace mc::test

#endif  // MC_TESTS_DICTIONARY_DEMARRAGE_H
