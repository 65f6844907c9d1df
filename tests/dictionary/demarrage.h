// demarrage.h -- the one fixture of the dictionary tests: every test starts and ends with the
// tables, the load counter, the trace, the zones, the file slots and the memory hooks reset, and
// gets its own working and table directories under the build tree.
#ifndef MC_TESTS_DICTIONARY_DEMARRAGE_H
#define MC_TESTS_DICTIONARY_DEMARRAGE_H

#include <cstdio>
#include <string>

#include "config/mcinit.h"
#include "dictionary/dev/mcdicosrc.h"
#include "dictionary/mctab.h"
#include "runtime/mcmemoir.h"
#include "runtime/mctrace.h"
#include "support/mctest.h"
#include "tablefile/mcslot.h"
#include "zone/mczone.h"

namespace mc::test {

class Configuration : public ::testing::Test {
 protected:
  void SetUp() override {
    reinitialiser();
    base_ = temp_path("conf");
    travail_ = base_ + "/travail";
    tables_ = base_ + "/tables";
    ASSERT_EQ(0, std::system(("mkdir -p '" + travail_ + "' '" + tables_ + "'").c_str()));
    ini_ = config_dir() + "/norba.ini";
    retirer_ini();
  }
  void TearDown() override {
    retirer_ini();
    reinitialiser();
  }
  // Programs that never write the shared norba.ini (MC_TEST_SANS_INI) leave it alone.
  void retirer_ini() const {
#ifndef MC_TEST_SANS_INI
    std::remove(ini_.c_str());
#endif
  }
  static void reinitialiser() {
    mc::testing::reset_trace();
    mc::testing::reset_dictionnaire();
    mc::testing::reset_chargement();
    mc::testing::reset_zones();
    for (uint16_t us = 1; us <= 100; ++us) {  // start-up failures may leave the table file open
      MC_usLibererFichierBinaire(us, nullptr);
    }
    mc::testing::reset_memoire();
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


 public:
  static mc::dev::Dictionnaire source(const std::string& texte) {
    mc::dev::Dictionnaire dico;
    std::string erreur;
    EXPECT_TRUE(mc::dev::lire_source(texte, dico, erreur)) << erreur;
    return dico;
  }
  static mc::dev::Dictionnaire dictionnaire_dev() {
    return source(read_text(std::string(MC_TEST_SOURCE_DIR) + "/dictionary/dev/dictionnaire.dico"));
  }


 protected:
  void ecrire_tables(const mc::dev::Options& options = mc::dev::Options{},
                     const mc::dev::Dictionnaire& dico = dictionnaire_dev()) {
    ASSERT_CODE(0, mc::dev::ecrire_table(tables_, dico, options));
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
