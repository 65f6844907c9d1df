// mctab_test.cpp -- the dictionary tables: the three queries on tables filled in place, the
// loaders on table files written with the library's writer, and the freeing.
#include <functional>
#include <string>
#include <vector>

#include "demarrage.h"

namespace {

using mc::test::Bytes;
using mc::test::hex;
using Dictionnaire = mc::test::Configuration;

// Three groups; the second starts at field 2, the third at field 10 of twelve fields. Field 11
// has its first value at index 4.
void remplir_exemple() {
  std::vector<MC_ChampDictionnaire> champs(12, MC_ChampDictionnaire{0, 0, 0, 'A', 0, 0, 0});
  champs[0] = {1, 1, 10, 'N', 7, 0, 2};
  champs[2] = {1, 8, 8, 'D', 0x01020304, 2, 2};
  champs[10] = {1, 2, 2, 'N', 0, 1, 1};
  champs[11] = {0, 1, 3, 'L', 0, 4, 3};
  const MC_GroupeDictionnaire groupes[] = {{0x0100, 0, 2}, {0x0200, 2, 1}, {0xABCD, 10, 2}};
  const char* const valeurs[] = {"M", "F", "20260101", "20261231", "AA", "BB", "CC"};
  mc::testing::installer_dictionnaire(groupes, 3, champs.data(), 12, valeurs, 7);
}

uint32_t blocs_pris() { return mc::testing::nombre_allocations() - mc::testing::nombre_liberations(); }

TEST_F(Dictionnaire, ListeGroupes) {
  uint16_t* pusGroupes = nullptr;
  uint16_t usNombre = 5;
  ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  EXPECT_EQ(0, usNombre);  // nothing loaded
  MC_Liberer(pusGroupes);
  remplir_exemple();
  ASSERT_CODE(0, MC_usDonnerListeGroupes(&pusGroupes, &usNombre));
  EXPECT_EQ((std::vector<uint16_t>{0x0100, 0x0200, 0xABCD}), std::vector<uint16_t>(pusGroupes, pusGroupes + usNombre));
  MC_Liberer(pusGroupes);
  // Kept: a null destination is the memory error; the list taken is given back.
  const uint32_t ulPris = blocs_pris();
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerListeGroupes(nullptr, &usNombre));
  EXPECT_EQ(3, usNombre);
  EXPECT_EQ(ulPris, blocs_pris());
}

// A refused answer is 0xF801: the output is left as it was, no block stays taken, and the next
// call works.
TEST_F(Dictionnaire, RefusedAnswersOfTheQueries) {
  remplir_exemple();
  void* pvSortie = nullptr;
  uint16_t usNombre = 0;
  const std::function<uint16_t()> requetes[] = {
      [&] { return MC_usDonnerListeGroupes(reinterpret_cast<uint16_t**>(&pvSortie), &usNombre); },
      [&] { return MC_usDonnerInformationChamp(0xABCD, reinterpret_cast<MC_InformationChamp**>(&pvSortie), &usNombre); },
      [&] { return MC_usDonnerChampValeur(0xABCD, 2, 3, reinterpret_cast<char**>(&pvSortie)); }};
  for (const auto& requete : requetes) {
    mc::test::each_allocation_failure([&] {
      pvSortie = reinterpret_cast<void*>(0x1);
      const uint32_t ulPris = blocs_pris() - mc::allocations_refusees();
      const uint16_t usCr = requete();
      if (usCr != MC_CR_OK) {
        EXPECT_EQ(reinterpret_cast<void*>(0x1), pvSortie);  // left as it was
        EXPECT_EQ(ulPris, blocs_pris() - mc::allocations_refusees());
      }
      MC_Liberer(usCr == MC_CR_OK ? pvSortie : nullptr);
      return usCr;
    });
  }
}

TEST_F(Dictionnaire, InformationChampPacksSeventeenByteRecords) {
  remplir_exemple();
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  ASSERT_CODE(0, MC_usDonnerInformationChamp(0xABCD, &psInfos, &usNombre));
  ASSERT_EQ(2, usNombre);
  const auto* pucOctets = reinterpret_cast<const uint8_t*>(psInfos);
  // In the processor's byte order (little-endian here).
  EXPECT_EQ(hex("01000000 0200 0200 4E 00000000 0100 0100 00000000 0100 0300 4C 00000000 0400 0300"),
            Bytes(pucOctets, pucOctets + 34));
  MC_Liberer(psInfos);
  psInfos = reinterpret_cast<MC_InformationChamp*>(0x1);
  usNombre = 99;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x0101, &psInfos, &usNombre));
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerInformationChamp(0x0100, nullptr, &usNombre));  // kept
  EXPECT_EQ(reinterpret_cast<MC_InformationChamp*>(0x1), psInfos);
  EXPECT_EQ(99, usNombre);
}

TEST_F(Dictionnaire, ChampValeurFollowsFirstFieldAndFirstValue) {
  remplir_exemple();
  struct Cas {
    uint16_t groupe;
    uint8_t champ, valeur;
    const char* attendu;
  };
  const Cas cas[] = {
      {0x0100, 1, 1, "M"}, {0x0100, 1, 2, "F"}, {0x0200, 1, 1, "20260101"}, {0x0200, 1, 2, "20261231"},
      {0xABCD, 2, 3, "CC"}, {0xABCD, 1, 1, "F"}, {0xABCD, 2, 1, "AA"},
      // Kept: the numbers are not checked against the counts.
      {0x0100, 1, 3, "20260101"}, {0x0100, 3, 1, "20260101"},
  };
  for (const Cas& c : cas) {
    SCOPED_TRACE(::testing::Message() << c.groupe << "/" << int{c.champ} << "/" << int{c.valeur});
    char* pcValeur = nullptr;
    const uint32_t ulAvant = mc::memoire_allouee();
    ASSERT_CODE(0, MC_usDonnerChampValeur(c.groupe, c.champ, c.valeur, &pcValeur));
    EXPECT_STREQ(c.attendu, pcValeur);
    EXPECT_EQ(strlen(c.attendu) + 1, mc::memoire_allouee() - ulAvant);
    MC_Liberer(pcValeur);
  }
  char* pcValeur = nullptr;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0300, 1, 1, &pcValeur));
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerChampValeur(0x0100, 1, 1, nullptr));
  EXPECT_EQ(nullptr, pcValeur);
}

TEST_F(Dictionnaire, IndexesOutsideTablesAreRefused) {
  // A producer that broke its indexes: the group points past the field table, the field past
  // the value table.
  const MC_GroupeDictionnaire groupes[] = {{0x0001, 5, 2}, {0x0002, 0, 1}};
  const MC_ChampDictionnaire champ{0, 0, 0, 'A', 0, 9, 1};
  const char* const valeur = "x";
  mc::testing::installer_dictionnaire(groupes, 2, &champ, 1, &valeur, 1);
  char* pcValeur = nullptr;
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x0001, &psInfos, &usNombre));
  EXPECT_EQ(nullptr, psInfos);
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0001, 1, 1, &pcValeur));
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerChampValeur(0x0002, 1, 1, &pcValeur));
  EXPECT_EQ(nullptr, pcValeur);
}

TEST_F(Dictionnaire, GroupsPastSixteenBitsKept) {
  // 65537 rows, code i / 2: code 0x8000 only at row 65536, which the field information's 16-bit
  // position never reaches; the format control's group list holds the count's low 16 bits (1).
  std::vector<MC_GroupeDictionnaire> groupes;
  for (uint32_t i = 0; i <= 0x10000; ++i) {
    groupes.push_back({static_cast<uint16_t>(i / 2), 0, 1});
  }
  const MC_ChampDictionnaire champ{0, 0, 0, 'N', 0, 0, 0};
  const char* const valeur = "v";
  mc::testing::installer_dictionnaire(groupes.data(), 0x10001, &champ, 1, &valeur, 1);
  MC_InformationChamp* psInfos = nullptr;
  uint16_t usNombre = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usDonnerInformationChamp(0x8000, &psInfos, &usNombre));
  ASSERT_CODE(0, MC_usDonnerInformationChamp(0x7FFF, &psInfos, &usNombre));
  MC_Liberer(psInfos);
  char* pcValeur = nullptr;
  ASSERT_CODE(0, MC_usDonnerChampValeur(0x8000, 1, 1, &pcValeur));
  MC_Liberer(pcValeur);
  uint16_t usZone = 0;
  unsigned char aucZone[] = {0x00, 0x00, 0x02, 0x01, 0x31, 0x00, 0x01, 0x02, 0x01, 0x31};
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(aucZone, sizeof aucZone, &usZone, 1));
  EXPECT_CODE(0xA002, MC_usControlerFormatZoneMemoire(usZone));
  const mc::test::TraceCapture trace({{1, 8, 1}});
  EXPECT_CODE(0xA002, MC_usControlerFormatZoneMemoire(usZone));
  MC_usLibererZoneMemoire(usZone);
}

TEST_F(Dictionnaire, FreeingAndQueriesTraceGolden) {
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
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerListeGroupes(nullptr, &usNombre));
  EXPECT_CODE(MC_ERR_MEMOIRE, MC_usDonnerInformationChamp(0x0100, nullptr, &usNombre));
  // Freeing: 0 then 1; only the value array goes back, its strings stay (kept).
  std::vector<char*> chaines(g_cTabVal, g_cTabVal + g_ulNbTabVal);
  const uint32_t ulLiberations = mc::testing::nombre_liberations();
  for (uint16_t (*supprimer)() : {mc::usSupprTabGroupe, mc::usSupprTabChamp, mc::usSupprTabValeur}) {
    EXPECT_CODE(0, supprimer());
    EXPECT_CODE(1, supprimer());
  }
  EXPECT_EQ(ulLiberations + 3, mc::testing::nombre_liberations());
  trace.stop();
  for (char* pc : chaines) {
    MC_Liberer(pc);
  }
  EXPECT_TRUE(g_stTabGrp == nullptr && g_stTabChp == nullptr && g_cTabVal == nullptr);
  EXPECT_EQ(0u, g_ulNbTabGrp + g_ulNbTabChp + g_ulNbTabVal);
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/requetes.trace")), trace.text());
}

// Loaders, on files written with the library's writer; the stream then stands on the first
// table header.
class Chargement : public Dictionnaire {
 protected:
  void ouvrir(const mc::dev::Dictionnaire& dico, const mc::dev::Options& options = {}) {
    ecrire_tables(options, dico);
    EnteteFichierBinaire sEntete;
    ASSERT_CODE(0, MC_usInitialiserFichierBinaire(tables_.c_str(), options.nom_fichier.c_str(), 1, &numero_, &sEntete));
  }
  uint32_t lignes() {
    EnteteTable sTable{};
    EXPECT_CODE(0, MC_usLireEnteteTable(numero_, &sTable));
    return sTable.ulNombreEnregistrements;
  }
  static mc::dev::Dictionnaire exemple() {
    return source("groupe 0x10\n champ N 1 2 obligatoire info=-5 : 01 02\n champ A 0 0 facultatif\n"
                  "groupe 0x20\n champ L 3 4 facultatif : abc \"d e\" fgh\n");
  }
  uint16_t numero_ = 0;
};

TEST_F(Chargement, LoadsEveryColumnOfEveryRow) {
  ouvrir(exemple());
  ASSERT_CODE(0, mc::usInitTabGroupe(numero_, 0, lignes()));
  ASSERT_CODE(0, mc::usInitTabChamp(numero_, 0, lignes()));
  ASSERT_CODE(0, mc::usInitTabValeur(numero_, 0, lignes()));
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
}

TEST_F(Chargement, LastTableOfManyRowsLoadsWhole) {
  // A table that ends the file: the rows it may hold are counted from its shortest row.
  std::string texte;
  for (int i = 1; i <= 40; ++i) {
    texte += "groupe " + std::to_string(i) + "\n champ A 0 0 facultatif\n";
  }
  for (const bool bGroupes : {true, false}) {
    mc::dev::Options options;
    options.tables = {bGroupes ? "TGROUPE" : "TCHAMP"};
    ouvrir(source(texte), options);
    const uint32_t ulLignes = lignes();
    ASSERT_EQ(40u, ulLignes);
    EXPECT_CODE(0, (bGroupes ? mc::usInitTabGroupe : mc::usInitTabChamp)(numero_, 0, ulLignes));
    MC_usLibererFichierBinaire(numero_, nullptr);
  }
  EXPECT_EQ(40, g_stTabGrp[39].usCodeGroupe);
  EXPECT_EQ('A', g_stTabChp[39].cType);
}

TEST_F(Chargement, ShortTableKeepsTableAndCountAndStopsAfterFailingRow) {
  mc::dev::Options options;
  options.tables = {"TCHAMP"};
  options.lignes_manquantes = 2;  // three rows written, five announced
  ouvrir(exemple(), options);
  const uint32_t ulLignes = lignes();
  ASSERT_EQ(5u, ulLignes);
  mc::test::TraceCapture trace({{1, 7, 2}});
  EXPECT_CODE(MC_ERR_FIN_FICHIER, mc::usInitTabChamp(numero_, 0, ulLignes));
  trace.stop();
  EXPECT_EQ(5u, g_ulNbTabChp);
  EXPECT_EQ(4, g_stTabChp[2].usLongueurMax);
  EXPECT_NE(std::string::npos, trace.text().find("usResultat = 0xf640\n"));
  // Every column of the failing fourth row was read (7 readers), none of the fifth.
  size_t lectures = 0;
  for (const std::string& ligne : trace.lines()) {
    lectures += ligne.rfind("  { MC_usLire", 0) == 0 ? 1 : 0;
  }
  EXPECT_EQ(28u, lectures);
}

TEST_F(Chargement, ValuesOfFailedLoadAreNullNotGarbage) {
  mc::dev::Options options;
  options.tables = {"TVALEUR"};
  options.lignes_manquantes = 3;
  ouvrir(exemple(), options);
  const uint32_t ulLignes = lignes();
  // The heap block the table will take is left full of 0xFF first.
  void* pAncien = MC_Allouer(ulLignes * sizeof(char*));
  memset(pAncien, 0xFF, ulLignes * sizeof(char*));
  MC_Liberer(pAncien);
  EXPECT_CODE(MC_ERR_FIN_FICHIER, mc::usInitTabValeur(numero_, 0, ulLignes));
  ASSERT_EQ(8u, g_ulNbTabVal);
  EXPECT_STREQ("fgh", g_cTabVal[4]);
  EXPECT_EQ(nullptr, g_cTabVal[7]);
}

TEST_F(Chargement, StreamYieldingMoreThanTheFileHeldStopsAtEndOfFileCode) {
  // The slot's stream swapped for one that never ends: the rows the file's length allowed when
  // the load began (none here) are read, then the load stops.
  ouvrir(exemple());
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
  ouvrir(exemple());
  const uint32_t ulLignes = lignes();
  mc::testing::faire_echouer_allocation(0);
  EXPECT_CODE(MC_ERR_MEMOIRE, mc::usInitTabGroupe(numero_, 0, ulLignes));
  EXPECT_EQ(nullptr, g_stTabGrp);
  EXPECT_EQ(0u, g_ulNbTabGrp);
}

TEST(SourceDictionnaire, ReportsLineOfSyntaxError) {
  for (const auto& c : mc::test::read_cases("dictionary/source_erreurs.cases")) {
    SCOPED_TRACE(c.where);
    mc::dev::Dictionnaire dico;
    std::string erreur;
    EXPECT_FALSE(mc::dev::lire_source(mc::test::unescape(c[0]), dico, erreur));
    EXPECT_EQ(mc::test::unescape(c[1]), erreur);
  }
}

}  // namespace
