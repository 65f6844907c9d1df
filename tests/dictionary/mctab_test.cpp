// mctab_test.cpp -- the dictionary tables: the record layout, the three queries on tables filled
// in place, the loaders on table files written with the library's writer, and the freeing.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "dictionary/dev/mcdicosrc.h"
#include "dictionary/mctab.h"
#include "runtime/mcmemoir.h"
#include "tablefile/mcslot.h"
#include "support/mctest.h"

namespace {

using mc::test::Bytes;
using mc::test::hex;

static_assert(sizeof(MC_InformationChamp) == 17);
static_assert(offsetof(MC_InformationChamp, lObligatoire) == 0);
static_assert(offsetof(MC_InformationChamp, usLongueurMin) == 4);
static_assert(offsetof(MC_InformationChamp, usLongueurMax) == 6);
static_assert(offsetof(MC_InformationChamp, cType) == 8);
static_assert(offsetof(MC_InformationChamp, lInformation) == 9);
static_assert(offsetof(MC_InformationChamp, usPremiereValeur) == 13);
static_assert(offsetof(MC_InformationChamp, usNbValeurs) == 15);

MC_ChampDictionnaire champ(int32_t obligatoire, uint16_t min, uint16_t max, char type,
                           int32_t information, uint16_t premiere, uint16_t nombre) {
  MC_ChampDictionnaire c{};
  c.lObligatoire = obligatoire;
  c.usLongueurMin = min;
  c.usLongueurMax = max;
  c.cType = static_cast<int8_t>(type);
  c.lInformation = information;
  c.usPremiereValeur = premiere;
  c.usNbValeurs = nombre;
  return c;
}

class Dictionnaire : public ::testing::Test {
 protected:
  void SetUp() override { mc::testing::reset_dictionnaire(); }
  void TearDown() override { mc::testing::reset_dictionnaire(); }

  // Fills the three tables in place, as a load would.
  static void remplir(const std::vector<MC_GroupeDictionnaire>& groupes,
                      const std::vector<MC_ChampDictionnaire>& champs,
                      const std::vector<std::string>& valeurs) {
    std::vector<const char*> textes;
    for (const auto& v : valeurs) {
      textes.push_back(v.c_str());
    }
    mc::testing::installer_dictionnaire(groupes.data(), static_cast<uint32_t>(groupes.size()),
                                        champs.data(), static_cast<uint32_t>(champs.size()),
                                        textes.data(), static_cast<uint32_t>(textes.size()));
  }

  // Three groups; the second starts at field 2, the third at field 10 of twelve fields. Field 11
  // has its first value at index 4.
  static void remplir_exemple() {
    std::vector<MC_ChampDictionnaire> champs(12, champ(0, 0, 0, 'A', 0, 0, 0));
    champs[0] = champ(1, 1, 10, 'N', 7, 0, 2);
    champs[1] = champ(0, 0, 40, 'A', -1, 2, 0);
    champs[2] = champ(1, 8, 8, 'D', 0x01020304, 2, 2);
    champs[10] = champ(1, 2, 2, 'N', 0, 1, 1);
    champs[11] = champ(0, 1, 3, 'L', 0, 4, 3);
    remplir({{0x0100, 0, 2}, {0x0200, 2, 1}, {0xABCD, 10, 2}}, champs,
            {"M", "F", "20260101", "20261231", "AA", "BB", "CC"});
  }
};

TEST_F(Dictionnaire, ListeGroupesGivesCodesInTableOrder) {
  remplir_exemple();
  uint16_t* pusGroupes = nullptr;
  uint16_t usNombre = 0;
  ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  ASSERT_EQ(3, usNombre);
  EXPECT_EQ((std::vector<uint16_t>{0x0100, 0x0200, 0xABCD}),
            std::vector<uint16_t>(pusGroupes, pusGroupes + usNombre));
  MC_Liberer(pusGroupes);
}

TEST_F(Dictionnaire, ListeGroupesAnswersNullDestinationWithMemoryErrorKept) {
  remplir_exemple();
  uint16_t usNombre = 77;
  mc::test::TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerListeGroupes(nullptr, &usNombre));
  EXPECT_EQ(77, usNombre);
  EXPECT_NE(std::string::npos,
            trace.text().find("ERREUR : MC_usDonnerListeGroupes=ERREUR ALLOCATION MEMOIRE  \n"));
}

TEST_F(Dictionnaire, ListeGroupesOfEmptyDictionaryIsEmpty) {
  uint16_t* pusGroupes = nullptr;
  uint16_t usNombre = 5;
  ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  EXPECT_EQ(0, usNombre);
  MC_Liberer(pusGroupes);
}

TEST_F(Dictionnaire, InformationChampPacksSeventeenByteRecords) {
  remplir_exemple();
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  // The second group: its first field is entry 2.
  ASSERT_CODE(0, MC_usDonnerInformationChamp(0x0200, &psInfos, &usNombre));
  ASSERT_EQ(1, usNombre);
  const Bytes octets(reinterpret_cast<const uint8_t*>(psInfos),
                     reinterpret_cast<const uint8_t*>(psInfos) + 17);
  // In the processor's byte order (little-endian here): 1, 8, 8, 'D', 0x01020304, 2, 2.
  EXPECT_EQ(hex("01000000 0800 0800 44 04030201 0200 0200"), octets);
  MC_Liberer(psInfos);

  ASSERT_CODE(0, MC_usDonnerInformationChamp(0xABCD, &psInfos, &usNombre));
  ASSERT_EQ(2, usNombre);
  const Bytes deux(reinterpret_cast<const uint8_t*>(psInfos),
                   reinterpret_cast<const uint8_t*>(psInfos) + 34);
  EXPECT_EQ(hex("01000000 0200 0200 4E 00000000 0100 0100"
                "00000000 0100 0300 4C 00000000 0400 0300"),
            deux);
  MC_Liberer(psInfos);
}

TEST_F(Dictionnaire, InformationChampAbsentGroupLeavesOutputs) {
  remplir_exemple();
  MC_InformationChamp* psInfos = reinterpret_cast<MC_InformationChamp*>(0x1);
  uint16_t usNombre = 99;
  mc::test::TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x0101, &psInfos, &usNombre));
  EXPECT_EQ(reinterpret_cast<MC_InformationChamp*>(0x1), psInfos);
  EXPECT_EQ(99, usNombre);
  EXPECT_NE(std::string::npos,
            trace.text().find("ERREUR : MC_usDonnerInformationChamp=ERREUR GROUPE CHAMP ABSENT \n"));
}

TEST_F(Dictionnaire, InformationChampNullDestinationIsMemoryErrorKept) {
  remplir_exemple();
  uint16_t usNombre = 99;
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerInformationChamp(0x0100, nullptr, &usNombre));
  EXPECT_EQ(99, usNombre);
}

TEST_F(Dictionnaire, QueriesOnUnloadedDictionaryFindNothing) {
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  char* pcValeur = nullptr;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0, &psInfos, &usNombre));
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0, 1, 1, &pcValeur));
  EXPECT_EQ(nullptr, pcValeur);
}

TEST_F(Dictionnaire, ChampValeurFollowsFirstFieldAndFirstValue) {
  remplir_exemple();
  struct Cas {
    uint16_t groupe;
    uint8_t champ;
    uint8_t valeur;
    const char* attendu;
  };
  const Cas cas[] = {
      {0x0100, 1, 1, "M"},        {0x0100, 1, 2, "F"},
      {0x0200, 1, 1, "20260101"},  // first field 2, its first value 2
      {0x0200, 1, 2, "20261231"},
      {0xABCD, 2, 3, "CC"},        // field 10 + 2 - 1 = 11, value 4 + 3 - 1 = 6
      {0xABCD, 1, 1, "F"},         // field 10, value 1
      // Kept: the numbers are not checked against the counts.
      {0x0100, 1, 3, "20260101"},  {0x0100, 3, 1, "20260101"},
  };
  for (const Cas& c : cas) {
    SCOPED_TRACE(std::to_string(c.groupe) + "/" + std::to_string(c.champ) + "/" +
                 std::to_string(c.valeur));
    char* pcValeur = nullptr;
    ASSERT_CODE(0, MC_usDonnerChampValeur(c.groupe, c.champ, c.valeur, &pcValeur));
    EXPECT_STREQ(c.attendu, pcValeur);
    MC_Liberer(pcValeur);
  }
}

TEST_F(Dictionnaire, ChampValeurLastGroupIsFoundAndAbsentIsNot) {
  remplir_exemple();
  char* pcValeur = nullptr;
  // The last entry is compared before the one-past-the-end position stops the search.
  ASSERT_CODE(0, MC_usDonnerChampValeur(0xABCD, 2, 1, &pcValeur));
  EXPECT_STREQ("AA", pcValeur);
  MC_Liberer(pcValeur);

  mc::test::TraceCapture trace({{1, 7, 2}});
  pcValeur = const_cast<char*>("intact");
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0300, 1, 1, &pcValeur));
  EXPECT_STREQ("intact", pcValeur);
  const auto lignes = trace.lines();
  ASSERT_GE(lignes.size(), 4u);
  EXPECT_EQ("{ MC_usDonnerChampValeur", lignes[1]);
  EXPECT_EQ("  ERREUR : usResultat = 0xf805", lignes[2]);
  EXPECT_EQ("  MC_usDonnerChampValeur usResultat = 0xf805", lignes[3]);
}

TEST_F(Dictionnaire, QueriesAnswerTheFirstEntryOfACodeAtAnySize) {
  // Field j has one value, "v<j>". Entry i holds code (i + shift) % 50000 below 65536 (so codes
  // come twice past 50000 entries) and 60000 + i % 3 above; its fields start at i % 97, i % 5 of
  // them. Each size is loaded twice with other codes, as a reload at the same address would be.
  std::vector<MC_ChampDictionnaire> champs;
  std::vector<std::string> valeurs;
  for (uint16_t j = 0; j < 110; ++j) {
    champs.push_back(champ(0, 0, 0, 'A', 0, j, 1));
    valeurs.push_back("v" + std::to_string(j));
  }
  for (const uint32_t taille : {0u, 1u, 1000u, 70000u}) {
    for (const uint32_t decalage : {0u, 7u}) {
      std::vector<MC_GroupeDictionnaire> groupes;
      for (uint32_t i = 0; i < taille; ++i) {
        const uint32_t code = i < 0x10000 ? (i + decalage) % 50000 : 60000 + i % 3;
        groupes.push_back({static_cast<uint16_t>(code), static_cast<uint16_t>(i % 97),
                           static_cast<uint16_t>(i % 5)});
      }
      mc::testing::reset_dictionnaire();
      remplir(groupes, champs, valeurs);
      for (const uint16_t code : {0, 1, 7, 999, 15535, 15536, 49999, 50000, 60000, 60002, 65535}) {
        SCOPED_TRACE(std::to_string(taille) + "/" + std::to_string(decalage) + ": " +
                     std::to_string(code));
        const auto premier = std::find_if(groupes.begin(), groupes.end(),
                                          [code](const auto& g) { return g.usCodeGroupe == code; });
        const auto position = static_cast<size_t>(premier - groupes.begin());
        MC_InformationChamp* psInfos = nullptr;
        uint16_t usNombre = 0xFFFF;
        char* pcValeur = nullptr;
        const uint16_t usInfo = MC_usDonnerInformationChamp(code, &psInfos, &usNombre);
        const uint16_t usValeur = MC_usDonnerChampValeur(code, 1, 1, &pcValeur);
        if (premier == groupes.end()) {
          EXPECT_CODE(MC_ERR_FIN, usInfo);
          EXPECT_CODE(MC_ERR_FIN, usValeur);
          continue;
        }
        // Kept: the field information's 16-bit position never reaches an entry past 65535.
        EXPECT_CODE(position <= 0xFFFF ? 0 : MC_ERR_FIN, usInfo);
        EXPECT_EQ(position <= 0xFFFF ? premier->usNbChamps : 0xFFFF, usNombre);
        EXPECT_CODE(0, usValeur);
        EXPECT_EQ("v" + std::to_string(premier->usPremierChamp), pcValeur);
        MC_Liberer(psInfos);
        MC_Liberer(pcValeur);
      }
    }
  }
}

TEST_F(Dictionnaire, IndexesOutsideTablesAreRefused) {
  // A producer that broke its indexes: the group points past the field table, the field past
  // the value table.
  remplir({{0x0001, 5, 2}, {0x0002, 0, 1}}, {champ(0, 0, 0, 'A', 0, 9, 1)}, {"x"});
  char* pcValeur = nullptr;
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x0001, &psInfos, &usNombre));
  EXPECT_EQ(nullptr, psInfos);
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0001, 1, 1, &pcValeur));
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0002, 1, 1, &pcValeur));
  EXPECT_EQ(nullptr, pcValeur);
}

TEST_F(Dictionnaire, FreeingTwiceGivesZeroThenOne) {
  remplir_exemple();
  EXPECT_CODE(0, mc::usSupprTabGroupe());
  EXPECT_CODE(1, mc::usSupprTabGroupe());
  EXPECT_CODE(0, mc::usSupprTabChamp());
  EXPECT_CODE(1, mc::usSupprTabChamp());
  EXPECT_EQ(nullptr, g_stTabGrp);
  EXPECT_EQ(0u, g_ulNbTabGrp);
  EXPECT_EQ(0u, g_ulNbTabChp);
}

TEST_F(Dictionnaire, FreeingValuesKeepsTheStringsKept) {
  remplir_exemple();
  char** pcTable = g_cTabVal;
  std::vector<char*> chaines(pcTable, pcTable + g_ulNbTabVal);
  const uint32_t ulAvant = mc::testing::nombre_liberations();
  EXPECT_CODE(0, mc::usSupprTabValeur());
  // Only the array went back.
  EXPECT_EQ(ulAvant + 1, mc::testing::nombre_liberations());
  EXPECT_EQ(nullptr, g_cTabVal);
  EXPECT_EQ(0u, g_ulNbTabVal);
  for (char* pc : chaines) {
    MC_Liberer(pc);
  }
}

TEST_F(Dictionnaire, FreeingTracesExitNamesKept) {
  remplir_exemple();
  mc::test::TraceCapture trace({{1, 7, 2}});
  mc::usSupprTabGroupe();
  mc::usSupprTabChamp();
  std::vector<char*> chaines(g_cTabVal, g_cTabVal + g_ulNbTabVal);
  mc::usSupprTabValeur();
  mc::usSupprTabValeur();
  for (char* pc : chaines) {
    MC_Liberer(pc);
  }
  trace.stop();
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ usGTSupprTabGrp", "  usResultat = 0x0000", "  usGTSupprTabGrp", "}",
      "{ usGTSupprTabChp", "  usResultat = 0x0000", "  usSupprTabChamp", "}",
      "{ usGTSupprTabValeur", "  usResultat = 0x0000", "  usSupprTabValeur", "}",
      "{ usGTSupprTabValeur", "  usResultat = 0x0001", "  usSupprTabValeur", "}",
      "### FIN TRACE ###", ""};
  EXPECT_EQ(attendu, trace.lines());
}

// Loaders, on files written with the library's writer.
class Chargement : public Dictionnaire {
 protected:
  void SetUp() override {
    Dictionnaire::SetUp();
    repertoire_ = mc::test::temp_path("tables");
    ASSERT_EQ(0, system(("mkdir -p '" + repertoire_ + "'").c_str()));
  }
  void TearDown() override {
    if (numero_ != 0) {
      MC_usLibererFichierBinaire(numero_, nullptr);
    }
    Dictionnaire::TearDown();
  }
  // Writes `dico` and opens it; the stream then stands on the first table header.
  void ecrire_et_ouvrir(const mc::dev::Dictionnaire& dico, const mc::dev::Options& options) {
    ASSERT_CODE(0, mc::dev::ecrire_table(repertoire_, dico, options));
    EnteteFichierBinaire sEntete;
    ASSERT_CODE(0, MC_usInitialiserFichierBinaire(repertoire_.c_str(), options.nom_fichier.c_str(),
                                                  1, &numero_, &sEntete));
  }
  EnteteTable table_suivante() {
    EnteteTable sTable{};
    EXPECT_CODE(0, MC_usLireEnteteTable(numero_, &sTable));
    return sTable;
  }

  static mc::dev::Dictionnaire exemple() {
    mc::dev::Dictionnaire dico;
    std::string erreur;
    EXPECT_TRUE(mc::dev::lire_source("groupe 0x10\n champ N 1 2 obligatoire info=-5 : 01 02\n"
                                     " champ A 0 0 facultatif\n"
                                     "groupe 0x20\n champ L 3 4 facultatif : abc \"d e\" fgh\n",
                                     dico, erreur))
        << erreur;
    return dico;
  }

  std::string repertoire_;
  uint16_t numero_ = 0;
};

TEST_F(Chargement, LoadsEveryColumnOfEveryRow) {
  ecrire_et_ouvrir(exemple(), {});
  EnteteTable sTable = table_suivante();
  ASSERT_CODE(0,
              mc::usInitTabGroupe(numero_, sTable.ulTailleDonnees, sTable.ulNombreEnregistrements));
  sTable = table_suivante();
  ASSERT_CODE(0,
              mc::usInitTabChamp(numero_, sTable.ulTailleDonnees, sTable.ulNombreEnregistrements));
  sTable = table_suivante();
  ASSERT_CODE(0, mc::usInitTabValeur(numero_, 0, sTable.ulNombreEnregistrements));

  ASSERT_EQ(2u, g_ulNbTabGrp);
  EXPECT_EQ(0x20, g_stTabGrp[1].usCodeGroupe);
  EXPECT_EQ(2, g_stTabGrp[1].usPremierChamp);
  EXPECT_EQ(1, g_stTabGrp[1].usNbChamps);
  ASSERT_EQ(3u, g_ulNbTabChp);
  EXPECT_EQ(1, g_stTabChp[0].lObligatoire);
  EXPECT_EQ(-5, g_stTabChp[0].lInformation);
  EXPECT_EQ('N', g_stTabChp[0].cType);
  EXPECT_EQ(3, g_stTabChp[2].usLongueurMin);
  EXPECT_EQ(4, g_stTabChp[2].usLongueurMax);
  EXPECT_EQ(2, g_stTabChp[2].usPremiereValeur);
  EXPECT_EQ(3, g_stTabChp[2].usNbValeurs);
  ASSERT_EQ(5u, g_ulNbTabVal);
  EXPECT_STREQ("d e", g_cTabVal[3]);

  char* pcValeur = nullptr;
  ASSERT_CODE(0, MC_usDonnerChampValeur(0x20, 1, 3, &pcValeur));
  EXPECT_STREQ("fgh", pcValeur);
  MC_Liberer(pcValeur);
}

TEST_F(Chargement, EmptyTableIsAllocatedWithCountZero) {
  ecrire_et_ouvrir(mc::dev::Dictionnaire{}, {});
  const EnteteTable sTable = table_suivante();
  ASSERT_EQ(0u, uint32_t{sTable.ulNombreEnregistrements});
  EXPECT_CODE(0, mc::usInitTabGroupe(numero_, 0, 0));
  EXPECT_NE(nullptr, g_stTabGrp);
  EXPECT_EQ(0u, g_ulNbTabGrp);
}

TEST_F(Chargement, ShortTableKeepsTableAndCountAndStopsAfterFailingRow) {
  mc::dev::Options options;
  options.tables = {"TCHAMP"};
  options.lignes_manquantes = 2;  // three rows written, five announced
  ecrire_et_ouvrir(exemple(), options);
  const EnteteTable sTable = table_suivante();
  ASSERT_EQ(5u, uint32_t{sTable.ulNombreEnregistrements});
  mc::test::TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_FIN_FICHIER, mc::usInitTabChamp(numero_, 0, sTable.ulNombreEnregistrements));
  trace.stop();
  // The table stays, with its announced count, until it is freed.
  EXPECT_NE(nullptr, g_stTabChp);
  EXPECT_EQ(5u, g_ulNbTabChp);
  EXPECT_EQ(4, g_stTabChp[2].usLongueurMax);
  const std::string texte = trace.text();
  EXPECT_NE(std::string::npos, texte.find("usResultat = 0xf640\n"));
  // Every column of the failing fourth row was read (7 readers), and none of the fifth: three
  // whole rows and one, 28 readers.
  size_t lectures = 0;
  for (const std::string& ligne : trace.lines()) {
    if (ligne.rfind("  { MC_usLire", 0) == 0) {
      ++lectures;
    }
  }
  EXPECT_EQ(28u, lectures);
}

TEST_F(Chargement, ValuesOfFailedLoadAreNullNotGarbage) {
  mc::dev::Options options;
  options.tables = {"TVALEUR"};
  options.lignes_manquantes = 3;
  ecrire_et_ouvrir(exemple(), options);
  const EnteteTable sTable = table_suivante();
  EXPECT_CODE(MC_ERR_FIN_FICHIER, mc::usInitTabValeur(numero_, 0, sTable.ulNombreEnregistrements));
  ASSERT_EQ(8u, g_ulNbTabVal);
  EXPECT_STREQ("fgh", g_cTabVal[4]);
  EXPECT_EQ(nullptr, g_cTabVal[7]);
}

TEST_F(Chargement, StreamYieldingMoreThanTheFileHeldStopsAtEndOfFileCode) {
  // The slot's stream swapped for one that never ends: the rows the file's length allowed
  // when the load began (none here) are read, then the load stops.
  ecrire_et_ouvrir(exemple(), {});
  mc::FichierBinaire* psFichier = mc::g_etatFichiers.fichiers[numero_ - 1].psFichier;
  FILE* pOriginal = psFichier->pFichier;
  psFichier->pFichier = std::fopen("/dev/zero", "rb");
  ASSERT_NE(nullptr, psFichier->pFichier);
  EXPECT_CODE(MC_ERR_FIN_FICHIER, mc::usInitTabGroupe(numero_, 0, 0xFFFFFFFFu));
  std::fclose(psFichier->pFichier);
  psFichier->pFichier = pOriginal;
  EXPECT_EQ(0xFFFFFFFFu, g_ulNbTabGrp);
}

TEST_F(Chargement, AllocationFailureLeavesCountAndPointer) {
  ecrire_et_ouvrir(exemple(), {});
  const EnteteTable sTable = table_suivante();
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_MEMOIRE, mc::usInitTabGroupe(numero_, 0, sTable.ulNombreEnregistrements));
  EXPECT_EQ(nullptr, g_stTabGrp);
  EXPECT_EQ(0u, g_ulNbTabGrp);
}

TEST(SourceDictionnaire, ReportsLineOfSyntaxError) {
  struct Cas {
    const char* texte;
    const char* erreur;
  };
  const Cas cas[] = {
      {"champ A 1 2 obligatoire\n", "line 1: champ before any groupe"},
      {"groupe 1\n\n champ A 1 obligatoire\n", "line 3: champ needs <type> <min> <max> <obligatoire|facultatif>"},
      {"groupe 70000\n", "line 1: groupe needs one code of 16 bits"},
      {"groupe 1\n champ AB 1 2 facultatif\n", "line 2: type must be one character: AB"},
      {"groupe 1\n champ A 1 2 peutetre\n", "line 2: expected obligatoire or facultatif: peutetre"},
      {"groupe 1\n champ A 1 2 facultatif :\n", "line 2: ':' without values"},
      {"groupe 1\n champ A 1 2 facultatif : \"ab\n", "line 2: unterminated quoted value"},
      {"table 1\n", "line 1: unknown keyword: table"},
  };
  for (const Cas& c : cas) {
    SCOPED_TRACE(c.texte);
    mc::dev::Dictionnaire dico;
    std::string erreur;
    EXPECT_FALSE(mc::dev::lire_source(c.texte, dico, erreur));
    EXPECT_EQ(c.erreur, erreur);
  }
}

TEST(SourceDictionnaire, DevelopmentSourceReads) {
  mc::dev::Dictionnaire dico;
  std::string erreur;
  ASSERT_TRUE(mc::dev::lire_source(
      mc::test::read_text(std::string(MC_TEST_SOURCE_DIR) + "/dictionary/dev/dictionnaire.dico"),
      dico, erreur))
      << erreur;
  ASSERT_EQ(3u, dico.groupes.size());
  EXPECT_EQ(0x0300, dico.groupes[2].code);
  ASSERT_EQ(5u, dico.groupes[2].champs.size());
  EXPECT_EQ((std::vector<std::string>{"EN COURS", "RESILIE", "SUSPENDU"}),
            dico.groupes[2].champs[4].valeurs);
  EXPECT_EQ(-1, dico.groupes[2].champs[3].information);
}

}  // namespace

namespace {

TEST_F(Dictionnaire, QueriesTraceGolden) {
  remplir_exemple();
  mc::test::TraceCapture trace({{1, 7, 2}});
  uint16_t* pusGroupes = nullptr;
  uint16_t usNombre = 0;
  EXPECT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  MC_Liberer(pusGroupes);
  MC_InformationChamp* psInfos = nullptr;
  EXPECT_CODE(0, MC_usDonnerInformationChamp(0x0100, &psInfos, &usNombre));
  MC_Liberer(psInfos);
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x0999, &psInfos, &usNombre));
  char* pcValeur = nullptr;
  EXPECT_CODE(0, MC_usDonnerChampValeur(0x0100, 1, 2, &pcValeur));
  MC_Liberer(pcValeur);
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0999, 1, 1, &pcValeur));
  trace.stop();
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/requetes.trace")), trace.text());
}

}  // namespace
