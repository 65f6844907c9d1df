// format_test.cpp -- the format control on hand-made dictionaries: the codes of each check, the
// 16-bit arithmetic of the codes, the exits that keep the group list or the cursor, the trace
// lines, and the development dictionary.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "dictionary/mctab.h"
#include "format_support.h"
#include "runtime/mcmemoir.h"
#include "support/mctest.h"
#include "zone/mczone.h"

namespace {

using mc::test::TraceCapture;
using namespace mc::test::format;

mc::dev::Champ champ(char type, uint16_t min, uint16_t max, int32_t obligatoire = 0,
                     std::vector<std::string> valeurs = {}) {
  mc::dev::Champ c;
  c.type = static_cast<int8_t>(type);
  c.longueur_min = min;
  c.longueur_max = max;
  c.obligatoire = obligatoire;
  c.valeurs = std::move(valeurs);
  return c;
}

class FormatControl : public ::testing::Test {
 protected:
  void SetUp() override { reinitialiser(); }
  void TearDown() override { reinitialiser(); }
  static void reinitialiser() {
    mc::testing::reset_trace();
    mc::testing::reset_dictionnaire();
    mc::testing::reset_zones();
  }

  // Three groups: 0x0010 of three fields (N, A, L), 0x0020 of two (N, D) and 0x0030 of one
  // field with allowed values.
  static Dico exemple() {
    Dico d;
    d.groupes.push_back({0x0010, {champ('N', 1, 4, 1), champ('A', 3, 6, 1), champ('L', 0, 5)}});
    d.groupes.push_back({0x0020, {champ('N', 1, 3, 1), champ('D', 8, 8)}});
    d.groupes.push_back({0x0030, {champ('N', 2, 2, 1, {"01", "02"})}});
    return d;
  }
  static GroupeZone g10() { return {0x0010, {"12", "ABC", "XY"}}; }
  static GroupeZone g20() { return {0x0020, {"7", "20240229"}}; }
  static GroupeZone g30() { return {0x0030, {"02"}}; }
};

struct Cas {
  const char* nom;
  ZoneModele zone;
  uint16_t attendu;
};

TEST_F(FormatControl, CodesNameTheFailingGroupOrField) {
  charger(exemple());
  const auto avec = [](GroupeZone g, size_t k, std::string v) {
    g.champs[k] = std::move(v);
    return g;
  };
  const auto sans_dernier = [](GroupeZone g) {
    g.champs.pop_back();
    return g;
  };
  const auto plus_un = [](GroupeZone g) {
    g.champs.push_back("1");
    return g;
  };
  const Cas cas[] = {
      {"conforming", {g10(), g20(), g30(), g10()}, 0},
      {"first group unknown", {{0x0011, {"1"}}, g10()}, 0xA001},
      {"second group unknown", {g10(), {0x0040, {"1"}}}, 0xA002},
      {"three fields given two", {sans_dernier(g10())}, 0xA801},
      {"three fields given four", {plus_un(g10())}, 0xA801},
      {"third group short", {g10(), g20(), sans_dernier(avec(g20(), 1, "x"))}, 0xA803},
      {"letters in numeric field 2 after 3 fields", {g10(), avec(g20(), 1, "2024022A")}, 0x9005},
      {"letters in numeric field 1", {g10(), avec(g20(), 0, "A")}, 0x9004},
      {"lower case in alphanumeric", {avec(g10(), 1, "ABc")}, 0x9002},
      {"digit in alphabetic", {avec(g10(), 2, "X1")}, 0x9003},
      {"A with two trailing blanks is two long", {avec(g10(), 1, "AB  ")}, 0x9002},
      {"A with trailing blanks within bounds", {avec(g10(), 1, "ABC      ")}, 0},
      {"too long", {avec(g10(), 0, "12345")}, 0x9001},
      {"no maximum", {g10(), {0x0020, {"1", "20240229"}}}, 0},
      {"invalid date", {g10(), avec(g20(), 1, "20230229")}, 0x9005},
      {"date shorter than minimum", {g10(), avec(g20(), 1, "2023022")}, 0x9005},
      {"mandatory empty with minimum", {avec(g10(), 0, "")}, 0x9001},
      {"mandatory blanks only", {avec(g10(), 1, "   ")}, 0x9002},
      {"optional empty", {avec(g10(), 2, "")}, 0},
      {"optional empty date with minimum", {g10(), avec(g20(), 1, "")}, 0},
      {"value 02 allowed", {g10(), g20(), g30()}, 0},
      {"value 03 refused", {g10(), g20(), avec(g30(), 0, "03")}, 0x9006},
      {"value checked in a repeated group", {g30(), g30(), avec(g30(), 0, "00")}, 0x9003},
      {"fourth group unknown after values", {g30(), g30(), g30(), {0x0031, {"1"}}}, 0xA004},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    ASSERT_TRUE(zone.construite());
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
    EXPECT_CODE(c.attendu, code_attendu(exemple(), c.zone));
  }
}

TEST_F(FormatControl, MandatoryMeansIndicatorOneOnly) {
  Dico d;
  d.groupes.push_back({0x0001, {champ('A', 1, 5, 1), champ('A', 1, 5, 2), champ('A', 1, 5, -1),
                                champ('A', 0, 5, 1)}});
  charger(d);
  const Cas cas[] = {
      {"indicator 1", {{0x0001, {"", "B", "C", "D"}}}, 0x9001},
      {"indicator 2", {{0x0001, {"A", "", "C", "D"}}}, 0},
      {"indicator -1", {{0x0001, {"A", "B", "", "D"}}}, 0},
      {"indicator 1, minimum 0", {{0x0001, {"A", "B", "C", ""}}}, 0},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
  }
}

TEST_F(FormatControl, AllowedValuesAreComparedReducedAndIgnoringCase) {
  Dico d;
  d.groupes.push_back({0x0001, {champ('A', 1, 10, 1, {"FR", "EN COURS"}), champ('X', 0, 0, 0, {"ab"}),
                                champ('N', 1, 4, 0, {"7"})}});
  charger(d);
  const Cas cas[] = {
      {"exact", {{0x0001, {"FR", "ab", "7"}}}, 0},
      {"trailing blanks dropped", {{0x0001, {"EN COURS  ", "ab", "7"}}}, 0},
      {"other type compares without case", {{0x0001, {"FR", "AB", "7"}}}, 0},
      {"inner blank kept", {{0x0001, {"ENCOURS", "ab", "7"}}}, 0x9001},
      {"numeric keeps its leading zeros", {{0x0001, {"FR", "ab", "007"}}}, 0x9003},
      {"empty optional skips the values", {{0x0001, {"FR", "", ""}}}, 0},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
  }
}

TEST_F(FormatControl, ZoneFaultsComeFromTheSyntaxControlFirst) {
  charger(exemple());
  const Zone vide(ZoneModele{});
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usControlerFormatZoneMemoire(vide.numero()));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerFormatZoneMemoire(99));
  EXPECT_CODE(MC_ERR_NUMERO, MC_usControlerFormatZoneMemoire(100));
  uint16_t brute = 0;
  ASSERT_CODE(0, MC_usCreerZoneMemoire(16, 0, &brute));
  EXPECT_CODE(MC_ERR_TYPE, MC_usControlerFormatZoneMemoire(brute));
  uint32_t taille = 0;
  unsigned char* buffer = nullptr;
  MC_pucLireBuffer(brute, &taille, &buffer);
  MC_Liberer(buffer);
  MC_usLibererZoneMemoire(brute);

  // A group whose field runs past it: malformed, before any dictionary lookup.
  unsigned char octets[] = {0x00, 0x10, 0x02, 0x05, 0x31};
  uint16_t numero = 0;
  ASSERT_CODE(0, MC_usInitialiserZoneMemoire(octets, sizeof octets, &numero, 1));
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usControlerFormatZoneMemoire(numero));
  EXPECT_EQ(std::string::npos, trace.text().find(" Groupe = "));
  EXPECT_NE(std::string::npos, trace.text().find(" MC_usDonnerListeGroupes= 0xf810\n"));
  MC_usLibererZoneMemoire(numero);
}

TEST_F(FormatControl, EmptyDictionaryMakesTheFirstGroupUnknown) {
  charger(Dico{});
  const Zone zone({g10()});
  EXPECT_CODE(0xA001, MC_usControlerFormatZoneMemoire(zone.numero()));
}

TEST_F(FormatControl, DictionaryGroupWithoutFieldsRefusesEveryZoneCopy) {
  Dico d;
  d.groupes.push_back({0x0005, {}});
  charger(d);
  const Zone zone({{0x0005, {""}}});
  EXPECT_CODE(0xA801, MC_usControlerFormatZoneMemoire(zone.numero()));
}

TEST_F(FormatControl, FieldRankWrapsInSixteenBitsKept) {
  // 100 groups of 300 fields: the rank passes 0x6FFF and the field code leaves 0x9000.
  Dico d;
  d.groupes.push_back({0x0001, std::vector<mc::dev::Champ>(300, champ('N', 0, 0))});
  charger(d);
  ZoneModele modele(100, GroupeZone{0x0001, std::vector<std::string>(300, "1")});
  modele[95].champs[199] = "X";  // rank 95 * 300 + 200 = 28700
  const Zone zone(modele);
  ASSERT_TRUE(zone.construite());
  EXPECT_CODE((0x9000 + 28700) & 0xFFFF, MC_usControlerFormatZoneMemoire(zone.numero()));
  EXPECT_CODE(0x001C, MC_usControlerFormatZoneMemoire(zone.numero()));
}

TEST_F(FormatControl, GroupOrdinalRunsIntoTheFieldCountFamilyKept) {
  Dico d;
  d.groupes.push_back({0x0001, {champ('N', 0, 0)}});
  charger(d);
  ZoneModele modele(0x800, GroupeZone{0x0001, {"1"}});
  modele.back().code = 0x0002;  // group 2048 unknown: 0xA000 + 0x800
  const Zone zone(modele);
  ASSERT_TRUE(zone.construite());
  EXPECT_CODE(0xA800, MC_usControlerFormatZoneMemoire(zone.numero()));
}

TEST_F(FormatControl, CursorReturnsToTheStartAfterSuccessAndFieldErrors) {
  charger(exemple());
  const Cas cas[] = {
      {"conforming", {g10(), g20()}, 0},
      {"field error", {g10(), {0x0020, {"A", "20240229"}}}, 0x9004},
      {"group error", {g10(), {0x0020, {"1"}}}, 0xA802},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    const uint32_t allocations = mc::testing::nombre_allocations();
    const uint32_t liberations = mc::testing::nombre_liberations();
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
    const Curseur apres = curseur(zone.numero());
    EXPECT_EQ(0, apres.groupes);
    EXPECT_EQ(0, apres.champs);
    EXPECT_EQ(0, apres.identifiant);
    // Every block taken during the control was given back.
    EXPECT_EQ(mc::testing::nombre_allocations() - allocations,
              mc::testing::nombre_liberations() - liberations);
  }
}

TEST_F(FormatControl, UnknownGroupKeepsTheListAndTheCursorKept) {
  charger(exemple());
  const Zone zone({g10(), g20(), {0x0099, {"1", "2"}}, g30()});
  TraceCapture trace({{1, 8, 1}});  // the traced control, which takes the list
  const uint32_t allocations = mc::testing::nombre_allocations();
  const uint32_t liberations = mc::testing::nombre_liberations();
  EXPECT_CODE(0xA003, MC_usControlerFormatZoneMemoire(zone.numero()));
  const Curseur apres = curseur(zone.numero());
  EXPECT_EQ(3, apres.groupes);
  EXPECT_EQ(5, apres.champs);
  EXPECT_EQ(0x0099, apres.identifiant);
  // The group list alone stays allocated.
  EXPECT_EQ(1u, (mc::testing::nombre_allocations() - allocations) -
                    (mc::testing::nombre_liberations() - liberations));
}

TEST_F(FormatControl, UnreadableAllowedValueNamesTheGroupKept) {
  charger(exemple());
  // The allowed values of field 1 of group 0x0030 lie past the end of the value table.
  g_stTabChp[5].usPremiereValeur = 40;
  const Zone zone({g10(), g30(), g20()});
  const uint32_t allocations = mc::testing::nombre_allocations();
  const uint32_t liberations = mc::testing::nombre_liberations();
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(0xA002, MC_usControlerFormatZoneMemoire(zone.numero()));
  trace.stop();
  const Curseur apres = curseur(zone.numero());
  EXPECT_EQ(2, apres.groupes);
  EXPECT_EQ(4, apres.champs);
  EXPECT_EQ(0x0030, apres.identifiant);
  EXPECT_EQ(1u, (mc::testing::nombre_allocations() - allocations) -
                    (mc::testing::nombre_liberations() - liberations));
  EXPECT_NE(std::string::npos,
            trace.text().find("ERREUR : ERREUR  groupe inconnu, usResultat= 0xa002\n"));
}

TEST_F(FormatControl, FailedFieldInformationGivesItsCodeAndKeepsTheCursor) {
  charger(exemple());
  // The third group's fields lie past the end of the field table.
  g_stTabGrp[2].usPremierChamp = 50;
  const Zone zone({g10(), g30()});
  const uint32_t allocations = mc::testing::nombre_allocations();
  const uint32_t liberations = mc::testing::nombre_liberations();
  EXPECT_CODE(MC_ERR_FIN, MC_usControlerFormatZoneMemoire(zone.numero()));
  const Curseur apres = curseur(zone.numero());
  EXPECT_EQ(2, apres.groupes);
  EXPECT_EQ(0x0030, apres.identifiant);
  EXPECT_EQ(mc::testing::nombre_allocations() - allocations,
            mc::testing::nombre_liberations() - liberations);
}

TEST_F(FormatControl, AllocationFailuresNeverCrashNorLeak) {
  charger(exemple());
  const Zone zone({g10(), g20(), g30()});
  // Refuse each allocation of the control in turn, with the traces on so that the trace copies
  // are taken too. Only the exits that keep the list may leave one block.
  for (uint32_t reussites = 0; reussites < 40; ++reussites) {
    SCOPED_TRACE(reussites);
    mc::testing::reset_dictionnaire();
    charger(exemple());
    TraceCapture trace({{1, 2, 2}});
    const uint32_t allocations = mc::testing::nombre_allocations();
    const uint32_t liberations = mc::testing::nombre_liberations();
    mc::testing::faire_echouer_allocation(reussites);
    const uint16_t code = MC_usControlerFormatZoneMemoire(zone.numero());
    const uint32_t demandes = mc::testing::nombre_allocations() - allocations;
    // The refused request is counted but gives nothing back.
    const uint32_t refus = demandes > reussites ? 1 : 0;
    const uint32_t restants = demandes - refus - (mc::testing::nombre_liberations() - liberations);
    mc::testing::reset_memoire();
    // A refused list or field information: 0xF801; a refused copy of a value to check: that
    // field's error; a refused copy of an allowed value: the group is named unknown.
    const bool attendu = code == 0 || code == MC_ERR_MEMOIRE || code == 0xA003 ||
                         (code >= 0x9001 && code <= 0x9006);
    EXPECT_TRUE(attendu) << std::hex << code;
    EXPECT_EQ(code == 0xA003 ? 1u : 0u, restants);
  }
}

TEST_F(FormatControl, ValueCopyForTheTraceIsRequestedWithTracingOffToo) {
  charger(exemple());
  const Zone zone({g10(), g20(), g30()});
  const auto demandes = [&zone] {
    const uint32_t avant = mc::memoire_allouee();
    const uint32_t appels = mc::testing::nombre_allocations();
    EXPECT_CODE(0, MC_usControlerFormatZoneMemoire(zone.numero()));
    return std::pair<uint32_t, uint32_t>{mc::memoire_allouee() - avant,
                                         mc::testing::nombre_allocations() - appels};
  };
  const auto sans_trace = demandes();
  std::pair<uint32_t, uint32_t> avec_trace;
  {
    TraceCapture trace({{1, 2, 2}});
    avec_trace = demandes();
  }
  // The group list (3 x 2), the field records (6 x 17), and for each of the six fields its
  // type-check copy and its trace copy (value + zero, 12 + 12); the one field with allowed values
  // adds its reduced copy (3) and the two allowed values (3 + 3). With tracing off the same bytes
  // are accounted without a single allocation.
  EXPECT_EQ(6u + 102u + 24u + 24u + 3u + 6u, avec_trace.first);
  EXPECT_EQ(1u + 3u + 6u + 6u + 1u + 2u, avec_trace.second);
  EXPECT_EQ(std::make_pair(avec_trace.first, 0u), sans_trace);
}

TEST_F(FormatControl, EveryExitClosesItsTraceLevel) {
  charger(exemple());
  const Cas cas[] = {
      {"conforming", {g10(), g20(), g30()}, 0},
      {"unknown group", {g10(), {0x0040, {"1"}}}, 0xA002},
      {"group error", {{0x0010, {"1", "ABC"}}}, 0xA801},
      {"field error", {{0x0010, {"1", "abc", "X"}}}, 0x9002},
      {"value error", {{0x0030, {"07"}}}, 0x9001},
      {"syntax error", {}, MC_ERR_SYNTAXE},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    TraceCapture trace = TraceCapture::all(2);
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
    EXPECT_EQ(0, mc::testing::profondeur_trace());
    const std::string texte = trace.text();
    EXPECT_EQ(0u, texte.find("### DEBUT TRACE ###\n{ MC_usControlerFormatZoneMemoire\n"));
  }
}

TEST_F(FormatControl, TraceOfAConformingZone) {
  Dico d;
  d.groupes.push_back({0x0010, {champ('N', 1, 4, 1), champ('A', 0, 0, 0, {"OUI", "NON"})}});
  charger(d);
  const Zone zone({{0x0010, {"12", "NON "}}});
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(0, MC_usControlerFormatZoneMemoire(zone.numero()));
  trace.stop();
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/format_conforme.trace")),
            mc::test::mask_dates(trace.text()));
}

TEST_F(FormatControl, TraceOfAMissingFieldRepeatsTheLastFieldRead) {
  Dico d;
  d.groupes.push_back({0x0010, {champ('N', 1, 4, 1), champ('A', 0, 0)}});
  charger(d);
  const Zone zone({{0x0010, {"12", "A"}}, {0x0010, {"34"}}});
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(0xA802, MC_usControlerFormatZoneMemoire(zone.numero()));
  trace.stop();
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/format_champ_manquant.trace")),
            mc::test::mask_dates(trace.text()));
}

TEST_F(FormatControl, TraceOfAnUnknownGroupPrintsItsCodeInDecimalKept) {
  Dico d;
  d.groupes.push_back({0x0010, {champ('N', 1, 4, 1)}});
  charger(d);
  const Zone zone({{0x0010, {"12"}}, {0x0123, {"x"}}});
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(0xA002, MC_usControlerFormatZoneMemoire(zone.numero()));
  trace.stop();
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/format_groupe_inconnu.trace")),
            mc::test::mask_dates(trace.text()));
}

TEST_F(FormatControl, TraceOfARefusedValue) {
  Dico d;
  d.groupes.push_back({0x0030, {champ('N', 2, 2, 1, {"01", "02"})}});
  charger(d);
  const Zone zone({{0x0030, {"03"}}});
  TraceCapture trace({{1, 2, 2}});
  EXPECT_CODE(0x9001, MC_usControlerFormatZoneMemoire(zone.numero()));
  trace.stop();
  EXPECT_EQ(mc::test::read_text(mc::test::golden_path("dictionary/format_valeur.trace")),
            mc::test::mask_dates(trace.text()));
}

TEST_F(FormatControl, DevelopmentDictionary) {
  const Dico dico = dictionnaire_dev();
  charger(dico);
  const GroupeZone client{0x0100, {"4711", "DUPONT", "JEAN", "19800229", "M"}};
  const GroupeZone adresse{0x0200, {"12 RUE DES LILAS", "75011", "PARIS", "FR"}};
  const GroupeZone contrat{0x0300, {"00001234", "20240101", "12", "", "EN COURS"}};
  const Cas cas[] = {
      {"conforming", {client, adresse, contrat}, 0},
      {"sex X", {{0x0100, {"4711", "DUPONT", "JEAN", "19800229", "X"}}}, 0x9005},
      {"country DE", {client, {0x0200, {"12 RUE DES LILAS", "75011", "PARIS", "DE"}}}, 0x9009},
      {"period 06", {client, adresse, {0x0300, {"00001234", "20240101", "06", "", ""}}}, 0x900C},
      {"state lower case", {client, adresse, {0x0300, {"00001234", "20240101", "12", "", "resilie"}}},
       0x900E},
      {"address without commune", {client, {0x0200, {"12 RUE DES LILAS", "75011"}}}, 0xA802},
      {"unknown group", {client, {0x0400, {"1"}}}, 0xA002},
  };
  for (const auto& c : cas) {
    SCOPED_TRACE(c.nom);
    const Zone zone(c.zone);
    EXPECT_CODE(c.attendu, MC_usControlerFormatZoneMemoire(zone.numero()));
    EXPECT_CODE(c.attendu, code_attendu(dico, c.zone));
  }
}

}  // namespace
