// mcinit_test.cpp -- start-up and shut-down: every failing step, the load counter over the
// lifecycle, and the dictionary loaded from the development source.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "common/mcbytes.h"
#include "demarrage.h"
#include "runtime/mcmemoir.h"
#include "tablefile/mccrc.h"

namespace {

using mc::test::Bytes;
using mc::test::file_exists;
using mc::test::read_file;
using mc::test::read_text;

char kSentinelle[] = "intact";

class Demarrage : public mc::test::Configuration {
 protected:
  uint16_t initialiser() {
    pcVersionMC_ = kSentinelle;
    pcVersionFichier_ = kSentinelle;
    return MC_usInitLIB(&pcVersionMC_, &pcVersionFichier_);
  }
  void liberer_sorties() {
    if (pcVersionMC_ != kSentinelle) {
      MC_Liberer(pcVersionMC_);
    }
    if (pcVersionFichier_ != kSentinelle) {
      MC_Liberer(pcVersionFichier_);
    }
    pcVersionMC_ = pcVersionFichier_ = kSentinelle;
  }
  void TearDown() override {
    liberer_sorties();
    Configuration::TearDown();
  }
  void attendre_echec_sans_sortie() {
    EXPECT_EQ(kSentinelle, pcVersionMC_);
    EXPECT_EQ(kSentinelle, pcVersionFichier_);
    EXPECT_EQ(0, mc::testing::nombre_chargements());
    EXPECT_FALSE(file_exists(adm("92.adm")));
    EXPECT_FALSE(file_exists(adm("93.adm")));
  }
  static bool fichier_ouvert(uint16_t usNumero) {
    uint32_t ulLongueur = 0;
    return MC_usLongueurFichierBinaire(usNumero, &ulLongueur) == MC_CR_OK;
  }
  static bool dictionnaire_vide() {
    return g_stTabGrp == nullptr && g_stTabChp == nullptr && g_cTabVal == nullptr &&
           g_ulNbTabGrp == 0 && g_ulNbTabChp == 0 && g_ulNbTabVal == 0;
  }

  char* pcVersionMC_ = kSentinelle;
  char* pcVersionFichier_ = kSentinelle;
};

TEST_F(Demarrage, FirstInitialisationLoadsDictionaryAndWritesVersions) {
  ecrire_ini(true, true);
  ecrire_tables();
  ASSERT_CODE(0, initialiser());
  EXPECT_STREQ("0100", pcVersionMC_);
  EXPECT_STREQ("0100", pcVersionFichier_);
  EXPECT_EQ(1, mc::testing::nombre_chargements());
  EXPECT_EQ(mc::test::bytes_of("0100"), read_file(adm("92.adm")));
  EXPECT_EQ(mc::test::bytes_of("0100"), read_file(adm("93.adm")));
  EXPECT_EQ(3u, g_ulNbTabGrp);
  EXPECT_EQ(14u, g_ulNbTabChp);
  EXPECT_EQ(13u, g_ulNbTabVal);
  // The file's slot was released: the number is free again.
  uint32_t ulLongueur = 0;
  EXPECT_CODE(MC_ERR_FICHIER, MC_usLongueurFichierBinaire(1, &ulLongueur));
}

TEST_F(Demarrage, FileVersionGoesToSecondOutputAndComponent93) {
  ecrire_ini(true, true);
  mc::dev::Options options;
  options.version = "0107";
  ecrire_tables(options);
  ASSERT_CODE(0, initialiser());
  EXPECT_STREQ("0100", pcVersionMC_);
  EXPECT_STREQ("0107", pcVersionFichier_);
  EXPECT_EQ(mc::test::bytes_of("0107"), read_file(adm("93.adm")));
}

TEST_F(Demarrage, QueriesOnDevelopmentDictionary) {
  ecrire_ini(true, true);
  ecrire_tables();
  ASSERT_CODE(0, initialiser());
  uint16_t* pusGroupes = nullptr;
  uint16_t usNombre = 0;
  ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  EXPECT_EQ((std::vector<uint16_t>{0x0100, 0x0200, 0x0300}),
            std::vector<uint16_t>(pusGroupes, pusGroupes + usNombre));
  MC_Liberer(pusGroupes);

  // The second group starts at field 5; its fourth field at value 2.
  MC_InformationChamp* psInfos = nullptr;
  ASSERT_CODE(0, MC_usDonnerInformationChamp(0x0200, &psInfos, &usNombre));
  ASSERT_EQ(4, usNombre);
  EXPECT_EQ('N', psInfos[1].cType);
  EXPECT_EQ(5, psInfos[1].usLongueurMin);
  EXPECT_EQ(1, psInfos[1].lObligatoire);
  EXPECT_EQ(0, psInfos[3].lObligatoire);
  EXPECT_EQ(2, psInfos[3].usPremiereValeur);
  EXPECT_EQ(4, psInfos[3].usNbValeurs);
  MC_Liberer(psInfos);

  char* pcValeur = nullptr;
  ASSERT_CODE(0, MC_usDonnerChampValeur(0x0200, 4, 3, &pcValeur));
  EXPECT_STREQ("CH", pcValeur);
  MC_Liberer(pcValeur);
  ASSERT_CODE(0, MC_usDonnerChampValeur(0x0300, 5, 1, &pcValeur));
  EXPECT_STREQ("EN COURS", pcValeur);
  MC_Liberer(pcValeur);
}

TEST_F(Demarrage, EveryFailingStepGivesItsCode) {
  struct Cas {
    const char* nom;
    uint16_t attendu;
    bool avec_ini = true;
    bool avec_tables_cle = true;
    bool avec_fichier = true;
    mc::dev::Options options = {};
  };
  std::vector<Cas> cas;
  cas.push_back({"no configuration file", MC_ERR_REP_TABLES, false});
  cas.push_back({"no table directory key", MC_ERR_REP_TABLES, true, false});
  cas.push_back({"no table file", MC_ERR_FICHIER, true, true, false});
  {
    Cas c{"file version 0099", MC_ERR_VERSION};
    c.options.version = "0099";
    cas.push_back(c);
  }
  {
    Cas c{"required library version 0101", MC_ERR_VERSION};
    c.options.version_requise = "0101";
    cas.push_back(c);
  }
  {
    // Kept: the characters are not checked: "010/" counts as 99.
    Cas c{"file version 010/", MC_ERR_VERSION};
    c.options.version = "010/";
    cas.push_back(c);
  }
  {
    Cas c{"foreign first table", MC_ERR_FIN_FICHIER};
    c.options.tables = {"TAUTRE", "TGROUPE", "TCHAMP", "TVALEUR"};
    cas.push_back(c);
  }
  {
    Cas c{"foreign third table", MC_ERR_FIN_FICHIER};
    c.options.tables = {"TGROUPE", "TCHAMP", "TAUTRE", "TVALEUR"};
    cas.push_back(c);
  }
  {
    Cas c{"two tables only", MC_ERR_FIN_FICHIER};
    c.options.tables = {"TGROUPE", "TVALEUR"};
    cas.push_back(c);
  }
  {
    Cas c{"last table cut short", MC_ERR_FIN_FICHIER};
    c.options.lignes_manquantes = 1;
    cas.push_back(c);
  }
  {
    Cas c{"first table cut short", MC_ERR_FIN_FICHIER};
    c.options.tables = {"TCHAMP"};
    c.options.lignes_manquantes = 1;
    cas.push_back(c);
  }
  for (const Cas& c : cas) {
    SCOPED_TRACE(c.nom);
    std::remove(fichier_tables().c_str());
    std::remove(ini_.c_str());
    if (c.avec_ini) {
      ecrire_ini(true, c.avec_tables_cle);
    }
    if (c.avec_fichier) {
      ecrire_tables(c.options);
    }
    EXPECT_CODE(c.attendu, initialiser());
    attendre_echec_sans_sortie();
    EXPECT_TRUE(dictionnaire_vide());
    // Only a version mismatch keeps the file open; a failed load gives its slot back.
    EXPECT_EQ(c.attendu == MC_ERR_VERSION, fichier_ouvert(1));
    TearDown();
    SetUp();
  }
}

TEST_F(Demarrage, DamagedCrcIsRefused) {
  ecrire_ini(true, true);
  ecrire_tables();
  Bytes octets = read_file(fichier_tables());
  // Every byte the CRC covers: the header, a table header, a row.
  for (size_t position : {size_t{4}, size_t{20}, size_t{70}, octets.size() - 1}) {
    SCOPED_TRACE(position);
    Bytes abime = octets;
    abime[position] ^= 0x01;
    mc::test::write_file(fichier_tables(), abime);
    EXPECT_CODE(MC_ERR_CONTROLE, initialiser());
    attendre_echec_sans_sortie();
    EXPECT_TRUE(dictionnaire_vide());
  }
}

TEST_F(Demarrage, OtherNameInHeaderIsRefused) {
  ecrire_ini(true, true);
  mc::dev::Options options;
  options.nom_fichier = "autre.tbx";
  ecrire_tables(options);
  ASSERT_EQ(0, std::rename((tables_ + "/autre.tbx").c_str(), fichier_tables().c_str()));
  EXPECT_CODE(MC_ERR_NOM_FICHIER, initialiser());
  attendre_echec_sans_sortie();
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
  EXPECT_EQ(std::string::npos, texte.find("MC_usLireEnteteTable"));
  EXPECT_EQ(std::string::npos, texte.find("  IAInitialisation\n"));
  EXPECT_EQ(std::string::npos, texte.find("usGTSupprTables"));
  // The file stays open in its slot.
  uint32_t ulLongueur = 0;
  EXPECT_CODE(0, MC_usLongueurFichierBinaire(1, &ulLongueur));
}

TEST_F(Demarrage, NewerFileWithinRequiredVersionLoads) {
  ecrire_ini(true, true);
  mc::dev::Options options;
  options.version = "0250";
  options.version_requise = "0100";
  ecrire_tables(options);
  EXPECT_CODE(0, initialiser());
  EXPECT_STREQ("0250", pcVersionFichier_);
}

TEST_F(Demarrage, MissingWorkingDirectoryKeepsDictionaryLoadedKept) {
  ecrire_ini(false, true);
  ecrire_tables();
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, initialiser());
  EXPECT_EQ(kSentinelle, pcVersionMC_);
  EXPECT_EQ(0, mc::testing::nombre_chargements());
  EXPECT_EQ(3u, g_ulNbTabGrp);
  EXPECT_NE(nullptr, g_cTabVal);
  // The file stays open in its slot.
  uint32_t ulLongueur = 0;
  EXPECT_CODE(0, MC_usLongueurFichierBinaire(1, &ulLongueur));
}

TEST_F(Demarrage, UnwritableWorkingDirectoryStillInitialisesKept) {
  ecrire_tables();
  travail_ = base_ + "/absent/travail";
  ecrire_ini(true, true);
  EXPECT_CODE(MC_ERR_FICHIER_VERSION, initialiser());
  EXPECT_EQ(1, mc::testing::nombre_chargements());
  EXPECT_STREQ("0100", pcVersionMC_);
  EXPECT_STREQ("0100", pcVersionFichier_);
  EXPECT_EQ(3u, g_ulNbTabGrp);
}

TEST_F(Demarrage, CounterOverTheLifecycle) {
  ecrire_ini(true, true);
  ecrire_tables();
  ASSERT_CODE(0, initialiser());
  liberer_sorties();
  // A later initialisation only counts and leaves the outputs alone.
  std::remove(fichier_tables().c_str());
  EXPECT_CODE(0, initialiser());
  EXPECT_EQ(kSentinelle, pcVersionMC_);
  EXPECT_EQ(kSentinelle, pcVersionFichier_);
  EXPECT_EQ(2, mc::testing::nombre_chargements());

  EXPECT_CODE(0, MC_usTermLIB());
  EXPECT_EQ(1, mc::testing::nombre_chargements());
  EXPECT_NE(nullptr, g_stTabGrp);
  std::vector<char*> valeurs(g_cTabVal, g_cTabVal + g_ulNbTabVal);
  EXPECT_CODE(0, MC_usTermLIB());
  EXPECT_EQ(0, mc::testing::nombre_chargements());
  EXPECT_TRUE(dictionnaire_vide());
  for (char* pc : valeurs) {
    MC_Liberer(pc);  // kept by the library on purpose
  }
}

TEST_F(Demarrage, UnmatchedTerminationWrapsCounterKept) {
  EXPECT_CODE(0, MC_usTermLIB());
  EXPECT_EQ(65535, mc::testing::nombre_chargements());
  // The library now counts as initialised: the next call only counts, back to 0.
  EXPECT_CODE(0, initialiser());
  EXPECT_EQ(0, mc::testing::nombre_chargements());
  EXPECT_EQ(kSentinelle, pcVersionMC_);
}

TEST_F(Demarrage, TraceOfSuccessfulStartUp) {
  ecrire_ini(true, true);
  ecrire_tables();
  mc::test::TraceCapture trace({{1, 5, 2}});
  ASSERT_CODE(0, initialiser());
  EXPECT_CODE(0, MC_usTermLIB());
  trace.stop();
  // The start-up's own lines, in order (allocation lines of the same trace number between them).
  const std::vector<std::string> attendu = {
      "{ MC_usInitLIB",
      "  Nombre de modules ayant initialis\xe9 le MC = 0",
      "  MC_usInitLIB",
      "{ IAInitialisation",
      "  REPERTOIRE TRAVAIL :MC_ulLireChaineNorba:usLongueur=0x" ,
      "  recuperation du repertoire de travail OK",
      "  REPERTOIRE TABLES:MC_ulLireChaineNorba:usLongueur=0x",
      "  recuperation du repertoire des tables externes OK",
      "  MC_usInitialiserFichierBinaire:initialisation des tables externes / usResultat=0x0000",
      "  controle de numeros de version,usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  MC_usLireEnteteTable:usResultat= 0x0000",
      "  ecriture des fichiers .adm composants",
      "  ecriture du fichier .adm, composant MC :usResultat= 0x0000",
      "  ecriture du fichier .adm, composant Fichier Tables :usResultat= 0x0000",
      "  Sortie : numero de version MC",
      "  Sortie : numero de version du Fichier de tables",
      "  IAInitialisation",
      "{ MC_usTermLIB",
      "   0",
      "  { usIADecharger",
      "    { Suppression des tables /usGTSupprTables",
      "      suppression de la table TGROUPE, usResultat=0x0000",
      "      suppression de la table TCHAMP, usResultat=0x0000",
      "      suppression de la table TVALEUR, usResultat=0x0000",
      "      Suppression des tables = usGTSupprTables / usResultat = 0x0000",
      "    usIADecharger",
      "  MC_usTermLIB",
  };
  const auto lignes = trace.lines();
  size_t suivante = 0;
  for (const std::string& ligne : lignes) {
    if (suivante < attendu.size() && ligne.rfind(attendu[suivante], 0) == 0) {
      ++suivante;
    }
  }
  EXPECT_EQ(attendu.size(), suivante) << "missing: " << (suivante < attendu.size() ? attendu[suivante] : "")
                                      << "\n" << trace.text();
}

TEST_F(Demarrage, ConfigurationBufferRefusedIsFFFB) {
  ecrire_ini(true, true);
  ecrire_tables();
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_CONFIG, initialiser());
  attendre_echec_sans_sortie();
  EXPECT_TRUE(dictionnaire_vide());
}

TEST_F(Demarrage, RefusedCopyOfTheWorkingDirectoryIsAMemoryError) {
  ecrire_ini(true, true);
  ecrire_tables();
  // The third block is the working directory's copy (the second, the INI reader's text); the
  // table directory's copy succeeds.
  mc::testing::faire_echouer_allocation(2);
  EXPECT_CODE(MC_ERR_MEMOIRE, initialiser());
  attendre_echec_sans_sortie();
  EXPECT_TRUE(dictionnaire_vide());
}

TEST_F(Demarrage, LifecycleKeepsOnlyTheValueStrings) {
  ecrire_ini(true, true);
  ecrire_tables();
  const uint32_t ulAllocations = mc::testing::nombre_allocations();
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  ASSERT_CODE(0, initialiser());
  std::vector<char*> valeurs(g_cTabVal, g_cTabVal + g_ulNbTabVal);
  liberer_sorties();
  ASSERT_CODE(0, MC_usTermLIB());
  // Everything start-up took went back through MC_Liberer, but the thirteen value strings kept
  // on purpose and the three blocks of the file's slot (record and two names), which the slot's
  // release gives back directly, and the texts of the four INI reads, freed with free().
  // LeakSanitizer checks the latter in the sanitizer build.
  EXPECT_EQ(mc::testing::nombre_allocations() - ulAllocations,
            mc::testing::nombre_liberations() - ulLiberations + 13 + 3 + 4);
  for (char* pc : valeurs) {
    MC_Liberer(pc);
  }
}

TEST_F(Demarrage, DevelopmentConfigurationBuilt) {
  // The build's development dictionary, made by mcdico, loads like the one written here.
  const std::string dev = std::string(MC_TEST_DEV_DIR) + "/tables/tablebin.tbx";
  ASSERT_TRUE(file_exists(dev));
  ecrire_tables();
  EXPECT_EQ(read_file(fichier_tables()), read_file(dev));
  const std::string ini = read_text(std::string(MC_TEST_DEV_DIR) + "/etc/norba.ini");
  EXPECT_NE(std::string::npos, ini.find("[commun]\nrepertoiretravail="));
}

// The development dictionary with the row count of one table (0 TGROUPE, 1 TCHAMP, 2 TVALEUR)
// replaced, written to `chemin` with its CRC recomputed so that the loader is reached.
size_t ecrire_avec_lignes(Bytes octets, size_t table, uint32_t lignes, const std::string& chemin) {
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
  return octets.size();
}

TEST_F(Demarrage, CraftedRowCountsEndAtTheFileWithoutOverallocating) {
  // Counts whose size in memory wraps 32 bits (rows of 6, 20 and 8 bytes), and counts far
  // beyond the file: each load reads what the file holds and stops at its end.
  struct Cas {
    size_t table;
    uint32_t lignes;
  };
  const Cas cas[] = {{0, 0x2AAAAAABu}, {1, 0x0CCCCCCDu}, {2, 0x20000001u}, {0, 0xFFFFFFFFu},
                     {1, 0x00100000u}, {2, 0x00010000u}, {2, 0xFFFFFFFFu}};
  ecrire_ini(true, true);
  const Bytes dev = read_file(std::string(MC_TEST_DEV_DIR) + "/tables/tablebin.tbx");
  for (const Cas& c : cas) {
    SCOPED_TRACE(::testing::Message() << "table " << c.table << ", " << c.lignes << " rows");
    const size_t taille = ecrire_avec_lignes(dev, c.table, c.lignes, fichier_tables());
    const uint32_t ulAvant = mc::memoire_allouee();
    EXPECT_CODE(MC_ERR_FIN_FICHIER, initialiser());
    EXPECT_LE(mc::memoire_allouee() - ulAvant, 32 * taille + 4096);
    attendre_echec_sans_sortie();
    EXPECT_TRUE(dictionnaire_vide());
    EXPECT_FALSE(fichier_ouvert(1));
  }
}

TEST_F(Demarrage, TableLoadedTwiceGivesTheFirstArrayBackSilently) {
  ecrire_ini(true, true);
  mc::dev::Options options;
  options.tables = {"TGROUPE", "TGROUPE", "TCHAMP"};
  ecrire_tables(options);
  mc::test::TraceCapture trace({{1, 5, 2}, {1, 7, 2}});
  ASSERT_CODE(0, initialiser());
  trace.stop();
  const std::string texte = trace.text();
  const size_t debut = texte.find("{ usGTInitTabGrp", texte.find("{ usGTInitTabGrp") + 1);
  const size_t fin = texte.find("usGTInitTabGrp\n", debut + 2);
  ASSERT_NE(std::string::npos, fin);
  EXPECT_EQ(std::string::npos, texte.substr(debut, fin - debut).find("Liberation"));
  EXPECT_EQ(3u, g_ulNbTabGrp);
  EXPECT_CODE(0, MC_usTermLIB());
}

TEST_F(Demarrage, RetryAfterFailedStartUpLeavesNothingBehind) {
  // Without a working directory the dictionary stays loaded; the retry loads over it.
  ecrire_ini(false, true);
  ecrire_tables();
  EXPECT_CODE(MC_ERR_REP_TRAVAIL, initialiser());
  ecrire_ini(true, true);
  ASSERT_CODE(0, initialiser());
  EXPECT_EQ(3u, g_ulNbTabGrp);
  EXPECT_CODE(0, MC_usTermLIB());
}

// A structured zone of the given groups of the development dictionary.
uint16_t zone_de(const std::vector<std::pair<uint16_t, std::vector<std::string>>>& groupes) {
  uint16_t usZone = 0xFFFF;
  EXPECT_CODE(0, MC_usCreerZoneMemoire(256, 1, &usZone));
  for (const auto& [usCode, champs] : groupes) {
    EXPECT_CODE(0, MC_usAjouterGroupe(usZone, usCode));
    for (const std::string& champ : champs) {
      EXPECT_CODE(0, MC_usAjouterChamp(usZone, reinterpret_cast<const unsigned char*>(champ.data()),
                                       static_cast<uint32_t>(champ.size())));
    }
  }
  return usZone;
}

void liberer_zone(uint16_t usZone) {
  uint32_t ulTaille = 0;
  unsigned char* pucBuffer = nullptr;
  if (MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer) == MC_CR_OK) {
    MC_Liberer(pucBuffer);
    MC_usLibererZoneMemoire(usZone);
  }
}

// One operation of each family that allocates, run with each of its allocations failing in
// turn: one of its memory codes, then the same operation succeeds again.
TEST_F(Demarrage, EveryAllocationFailureIsReportedAndRecovered) {
  ecrire_ini(true, true);
  ecrire_tables();
  unsigned char octets[8] = {};
  uint16_t usBrute = 0xFFFF;
  uint16_t usConforme = 0xFFFF;
  uint16_t usFautive = 0xFFFF;
  const auto client = [](const char* pays) {
    return zone_de({{0x0100, {"42", "DUPONT", "JEAN", "19800101", "M"}},
                    {0x0200, {"1 RUE DU PORT", "75001", "PARIS", pays}}});
  };
  struct Operation {
    const char* nom;
    std::function<void()> preparer;
    std::function<uint32_t()> lancer;
    uint32_t succes;
    std::vector<uint32_t> codes = {MC_ERR_MEMOIRE};
  };
  const Operation operations[] = {
      {"zone creation", [] {},
       [] {
         uint16_t usZone = 0xFFFF;
         const uint16_t usCr = MC_usCreerZoneMemoire(64, 1, &usZone);
         liberer_zone(usZone);  // kept: a zone whose buffer was refused keeps its number
         return usCr;
       },
       0},
      {"zone loading", [] {},
       [&] {
         uint16_t usZone = 0xFFFF;
         const uint16_t usCr = MC_usInitialiserZoneMemoireNonPlein(octets, 8, 0, &usZone, 1);
         MC_usLibererZoneMemoire(usZone);
         return usCr;
       },
       0},
      {"zone resizing", [&] { ASSERT_CODE(0, MC_usCreerZoneMemoire(8, 0, &usBrute)); },
       [&] { return MC_usRedimensionner(usBrute, 16); }, 0},
      {"start-up and shut-down", [] {},
       [&] {
         const uint16_t usCr = initialiser();
         liberer_sorties();
         if (mc::testing::nombre_chargements() != 0) {
           EXPECT_CODE(0, MC_usTermLIB());
         }
         return usCr;
       },
       // The start-up's and the version files' directory buffers, and a version file's path;
       // the version files' INI read refused reads as no working directory.
       0, {MC_ERR_MEMOIRE, MC_ERR_CONFIG, MC_ERR_FICHIER_VERSION, MC_ERR_REP_TRAVAIL}},
      {"format control",
       [&] {
         ASSERT_CODE(0, initialiser());
         usConforme = client("FR");
         usFautive = client("DE");
       },
       [&] { return MC_usControlerFormatZoneMemoire(usConforme); }, 0},
      {"format control of a refused value", [] {},
       [&] { return MC_usControlerFormatZoneMemoire(usFautive); }, 0x9009},
  };
  for (const Operation& o : operations) {
    SCOPED_TRACE(o.nom);
    o.preparer();
    mc::test::each_allocation_failure(o.lancer, o.succes, [&](uint32_t, uint32_t code) {
      EXPECT_NE(o.codes.end(), std::find(o.codes.begin(), o.codes.end(), code))
          << ::testing::PrintToString(mc::test::Code{code});
    });
  }
  for (const uint16_t usZone : {usBrute, usConforme, usFautive}) {
    liberer_zone(usZone);
  }
  EXPECT_CODE(0, MC_usTermLIB());
}

}  // namespace
