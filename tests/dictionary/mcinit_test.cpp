// mcinit_test.cpp -- start-up and shut-down: every step's result (demarrage.cases), the load
// counter over the lifecycle, allocation failures, and the dictionary loaded from the development
// source.
#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "common/mcbytes.h"
#include "demarrage.h"
#include "tablefile/mccrc.h"

namespace {

using mc::test::Bytes;
using mc::test::file_exists;
using mc::test::read_file;

char kSentinelle[] = "intact";

class Demarrage : public mc::test::Configuration {
 protected:
  uint16_t initialiser() {
    pcVersionMC_ = pcVersionFichier_ = kSentinelle;
    return MC_usInitLIB(&pcVersionMC_, &pcVersionFichier_);
  }
  void liberer_sorties() {
    for (char*& pc : {std::ref(pcVersionMC_), std::ref(pcVersionFichier_)}) {
      if (pc != kSentinelle) {
        MC_Liberer(pc);
      }
      pc = kSentinelle;
    }
  }
  void TearDown() override {
    liberer_sorties();
    Configuration::TearDown();
  }
  static bool fichier_ouvert() {
    uint32_t ulLongueur = 0;
    return MC_usLongueurFichierBinaire(1, &ulLongueur) == MC_CR_OK;
  }
  static bool dictionnaire_charge() {
    return g_stTabGrp != nullptr && g_stTabChp != nullptr && g_cTabVal != nullptr && g_ulNbTabGrp == 3 &&
           g_ulNbTabChp == 14 && g_ulNbTabVal == 13;
  }
  // The start-up tables, then the shut-down: only the value strings stay, kept on purpose.
  void terminer() {
    std::vector<char*> valeurs(g_cTabVal, g_cTabVal + (g_cTabVal != nullptr ? g_ulNbTabVal : 0));
    while (mc::testing::nombre_chargements() != 0) {
      EXPECT_CODE(0, MC_usTermLIB());
    }
    for (char* pc : g_cTabVal == nullptr ? valeurs : std::vector<char*>{}) {
      MC_Liberer(pc);
    }
  }
  char* pcVersionMC_ = kSentinelle;
  char* pcVersionFichier_ = kSentinelle;
};

// The development dictionary's file with the row count of table t replaced, the CRC recomputed.
void changer_lignes(const std::string& chemin, size_t table, uint32_t lignes) {
  Bytes octets = read_file(chemin);
  size_t pos = 3;
  while (octets[pos - 3] != 0x0D || octets[pos - 2] != 0x0A || octets[pos - 1] != 0x1A) {
    ++pos;
  }
  for (size_t t = 0; t < table; ++t) {
    pos += 25 + mc::lire_be32(&octets[pos + 10]);
  }
  mc::ecrire_be32(&octets[pos + 14], lignes);
  mc::test::write_file(chemin, octets);
  FILE* pFichier = std::fopen(chemin.c_str(), "r+b");
  uint16_t usCrc = 0;
  EXPECT_CODE(0, mc::usCalculerCRC16(pFichier, &usCrc));
  EXPECT_CODE(0, mc::usEcrireCRC(pFichier, usCrc));
  std::fclose(pFichier);
}

TEST_F(Demarrage, EveryStepGivesItsCode) {
  for (const auto& c : mc::test::read_cases("dictionary/demarrage.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    for (const std::string& fichier : {fichier_tables(), adm("92.adm"), adm("93.adm")}) {
      std::remove(fichier.c_str());
    }
    std::istringstream entree(c[1]);
    std::string ini = "complet";
    mc::dev::Options options;
    std::vector<std::string> apres;
    for (std::string mot; entree >> mot;) {
      const std::string cle = mot.substr(0, mot.find('='));
      const std::string valeur = mot.substr(mot.find('=') + 1);
      if (cle == "ini") {
        ini = valeur;
      } else if (cle == "travail") {
        travail_ = base_ + "/absent/travail";
      } else if (cle == "version") {
        options.version = valeur;
      } else if (cle == "requise") {
        options.version_requise = valeur;
      } else if (cle == "nom") {
        options.nom_fichier = valeur;
      } else if (cle == "tables") {
        options.tables.clear();
        std::istringstream noms(valeur);
        for (std::string nom; std::getline(noms, nom, ',');) {
          options.tables.push_back(nom);
        }
      } else if (cle == "manquantes") {
        options.lignes_manquantes = static_cast<uint32_t>(mc::test::number(valeur));
      } else {
        apres.push_back(mot);
      }
    }
    if (ini != "aucun") {
      ecrire_ini(ini != "sanstravail", ini != "sanstables");
    }
    if (std::find(apres.begin(), apres.end(), "sansfichier") == apres.end()) {
      ecrire_tables(options);
      std::rename((tables_ + "/" + options.nom_fichier).c_str(), fichier_tables().c_str());
    }
    for (const std::string& mot : apres) {
      const std::string valeur = mot.substr(mot.find('=') + 1);
      if (mot.rfind("octet=", 0) == 0) {
        Bytes octets = read_file(fichier_tables());
        octets[std::stoi(valeur) < 0 ? octets.size() - 1 : std::stoul(valeur)] ^= 0x01;
        mc::test::write_file(fichier_tables(), octets);
      } else if (mot.rfind("lignes=", 0) == 0) {
        changer_lignes(fichier_tables(), std::stoul(valeur), static_cast<uint32_t>(mc::test::number(valeur.substr(2))));
      }
    }
    const uint32_t ulAvant = mc::memoire_allouee();
    EXPECT_CODE(mc::test::number(c[2]), initialiser());
    // No load asks for more memory than its file could fill.
    EXPECT_LE(mc::memoire_allouee() - ulAvant, 64 * 1024u);
    const std::string versions = c[3] == "-" ? "intact/intact" : c[3];
    EXPECT_EQ(versions, std::string(pcVersionMC_) + "/" + pcVersionFichier_);
    EXPECT_EQ(c[3] != "-" && c[2] == "0", file_exists(adm("92.adm")));
    if (c[2] == "0") {
      EXPECT_EQ(mc::test::bytes_of(pcVersionMC_), read_file(adm("92.adm")));
      EXPECT_EQ(mc::test::bytes_of(pcVersionFichier_), read_file(adm("93.adm")));
    }
    EXPECT_EQ(c[4] == "1", dictionnaire_charge());
    EXPECT_EQ(c[4] == "1" || (g_stTabGrp == nullptr && g_stTabChp == nullptr && g_cTabVal == nullptr &&
                              g_ulNbTabGrp + g_ulNbTabChp + g_ulNbTabVal == 0), true);
    EXPECT_EQ(c[5] == "1", fichier_ouvert());
    EXPECT_EQ(mc::test::number(c[6]), mc::testing::nombre_chargements());
    terminer();
    TearDown();
    SetUp();
  }
}

TEST_F(Demarrage, IndexVariablesStayZeroKept) {
  ecrire_ini(true, true);
  ecrire_tables();
  ASSERT_CODE(0, initialiser());
  uint16_t usZone = 0;
  ASSERT_CODE(0, MC_usCreerZoneMemoire(64, 1, &usZone));
  MC_usAjouterGroupe(usZone, 0x0200);
  for (const char* pc : {"1 RUE", "75001", "PARIS", "DE"}) {
    MC_usAjouterChamp(usZone, reinterpret_cast<const unsigned char*>(pc), static_cast<uint32_t>(strlen(pc)));
  }
  for (const bool bTrace : {false, true}) {
    mc::test::TraceCapture trace({{1, bTrace ? uint16_t{8} : uint16_t{2}, 1}});
    EXPECT_CODE(0x9004, MC_usControlerFormatZoneMemoire(usZone));
    uint16_t* pusGroupes = nullptr;
    uint16_t usNombre = 0;
    ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
    EXPECT_EQ((std::vector<uint16_t>{0x0100, 0x0200, 0x0300}), std::vector<uint16_t>(pusGroupes, pusGroupes + usNombre));
    MC_Liberer(pusGroupes);
    MC_InformationChamp* psInfos = nullptr;
    ASSERT_CODE(0, MC_usDonnerInformationChamp(0x0200, &psInfos, &usNombre));
    EXPECT_EQ(4, usNombre);
    EXPECT_EQ(4, psInfos[3].usNbValeurs);
    MC_Liberer(psInfos);
    char* pcValeur = nullptr;
    ASSERT_CODE(0, MC_usDonnerChampValeur(0x0300, 5, 1, &pcValeur));
    EXPECT_STREQ("EN COURS", pcValeur);
    MC_Liberer(pcValeur);
    EXPECT_EQ(0u, g_ulIndTabGrp + g_ulIndTabChp + g_ulIndTabVal);
  }
  uint32_t ulTaille = 0;
  unsigned char* pucBuffer = nullptr;
  MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer);
  MC_Liberer(pucBuffer);
  terminer();
  EXPECT_EQ(0u, g_ulIndTabGrp + g_ulIndTabChp + g_ulIndTabVal);
}

TEST_F(Demarrage, VersionMismatchReturnsAtOnceKept) {
  ecrire_ini(true, true);
  mc::dev::Options options;
  options.version = "0099";
  ecrire_tables(options);
  mc::test::TraceCapture trace({{1, 5, 2}});
  EXPECT_CODE(MC_ERR_VERSION, initialiser());
  trace.stop();
  const std::string texte = trace.text();
  EXPECT_NE(std::string::npos, texte.find("controle de numeros de version,usResultat= 0xf620\n"));
  // No table loaded, no exit line, the tables not even freed.
  for (const char* pc : {"MC_usLireEnteteTable", "  IAInitialisation\n", "usGTSupprTables"}) {
    EXPECT_EQ(std::string::npos, texte.find(pc)) << pc;
  }
}

TEST_F(Demarrage, LifecycleCounterTraceAndMemory) {
  ecrire_ini(true, true);
  ecrire_tables();
  const uint32_t ulAllocations = mc::testing::nombre_allocations();
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  mc::test::TraceCapture trace({{1, 5, 2}});
  ASSERT_CODE(0, initialiser());
  liberer_sorties();
  terminer();
  trace.stop();
  const std::string attendu = mc::test::read_blocks("dictionary/demarrage.golden").at(0).second;
  std::istringstream lignes(attendu);
  std::string ligne;
  std::getline(lignes, ligne);
  for (const std::string& lue : trace.lines()) {
    if (!ligne.empty() && lue.rfind(ligne, 0) == 0) {
      ligne.clear();
      std::getline(lignes, ligne);
    }
  }
  EXPECT_EQ("", ligne) << trace.text();
  // Everything start-up took went back through MC_Liberer, but the thirteen value strings kept
  // on purpose (given back by terminer()), the three blocks of the file's slot, which its release
  // gives back directly, and the texts of the four INI reads, freed with free().
  EXPECT_EQ(mc::testing::nombre_allocations() - ulAllocations,
            mc::testing::nombre_liberations() - ulLiberations + 3 + 4);
  // With no place for the two version texts, start-up gives them back itself.
  const uint32_t ulPris = mc::testing::nombre_allocations() - mc::testing::nombre_liberations();
  ASSERT_CODE(0, MC_usInitLIB(nullptr, nullptr));
  terminer();
  EXPECT_EQ(ulPris + 3 + 4, mc::testing::nombre_allocations() - mc::testing::nombre_liberations());
  // A later start-up only counts and leaves the outputs alone.
  ASSERT_CODE(0, initialiser());
  liberer_sorties();
  std::remove(fichier_tables().c_str());
  EXPECT_CODE(0, initialiser());
  EXPECT_EQ(kSentinelle, pcVersionMC_);
  EXPECT_EQ(2, mc::testing::nombre_chargements());
  EXPECT_CODE(0, MC_usTermLIB());
  EXPECT_EQ(1, mc::testing::nombre_chargements());
  EXPECT_TRUE(dictionnaire_charge());
  terminer();
  EXPECT_FALSE(g_stTabGrp != nullptr || g_ulNbTabGrp != 0);
  // Unmatched: the counter wraps, and the library then counts as started (kept).
  EXPECT_CODE(0, MC_usTermLIB());
  EXPECT_EQ(65535, mc::testing::nombre_chargements());
  EXPECT_CODE(0, initialiser());
  EXPECT_EQ(0, mc::testing::nombre_chargements());
  EXPECT_EQ(kSentinelle, pcVersionMC_);
}

TEST_F(Demarrage, EachRefusedAllocation) {
  ecrire_ini(true, true);
  ecrire_tables();
  struct Cas {
    uint32_t k;
    uint16_t code;
  };
  // The configuration buffer, then the working directory's copy (the second block is the INI
  // reader's text).
  for (const Cas& c : {Cas{0, MC_ERR_CONFIG}, Cas{2, MC_ERR_MEMOIRE}}) {
    SCOPED_TRACE(c.k);
    mc::testing::faire_echouer_allocation(c.k);
    EXPECT_CODE(c.code, initialiser());
    EXPECT_EQ(kSentinelle, pcVersionMC_);
    EXPECT_FALSE(dictionnaire_charge() || fichier_ouvert() || file_exists(adm("92.adm")));
    EXPECT_EQ(0, mc::testing::nombre_chargements());
  }
  // Every allocation of the start-up and shut-down: one of the memory codes, then it starts again.
  mc::test::each_allocation_failure(
      [&] {
        const uint16_t usCr = initialiser();
        liberer_sorties();
        terminer();
        return usCr;
      },
      0, [](uint32_t, uint32_t code) {
        const uint32_t codes[] = {MC_ERR_MEMOIRE, MC_ERR_CONFIG, MC_ERR_FICHIER_VERSION, MC_ERR_REP_TRAVAIL};
        EXPECT_NE(std::end(codes), std::find(std::begin(codes), std::end(codes), code)) << code;
      });
}

TEST_F(Demarrage, DevelopmentConfigurationBuilt) {
  // The build's development dictionary, made by mcdico, is the one written here.
  ecrire_tables();
  EXPECT_EQ(read_file(fichier_tables()), read_file(std::string(MC_TEST_DEV_DIR) + "/tables/tablebin.tbx"));
  EXPECT_NE(std::string::npos,
            mc::test::read_text(std::string(MC_TEST_DEV_DIR) + "/etc/norba.ini").find("[commun]\nrepertoiretravail="));
}

TEST_F(Demarrage, TableLoadedTwiceAndRetryLoadOverTheFirst) {
  ecrire_ini(false, true);
  mc::dev::Options options;
  options.tables = {"TGROUPE", "TGROUPE", "TCHAMP"};
  ecrire_tables(options);
  // Without a working directory the dictionary stays loaded; the retry loads over it.
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, initialiser());
  ecrire_ini(true, true);
  mc::test::TraceCapture trace({{1, 5, 2}, {1, 7, 2}});
  ASSERT_CODE(0, initialiser());
  trace.stop();
  // The second load of the group table gives the first array back straight to the heap.
  const std::string texte = trace.text();
  const size_t debut = texte.find("{ usGTInitTabGrp", texte.find("{ usGTInitTabGrp") + 1);
  const size_t fin = texte.find("usGTInitTabGrp\n", debut + 2);
  ASSERT_NE(std::string::npos, fin);
  EXPECT_EQ(std::string::npos, texte.substr(debut, fin - debut).find("Liberation"));
  EXPECT_EQ(3u, g_ulNbTabGrp);
  terminer();
}

}  // namespace
