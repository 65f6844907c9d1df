// naviga_test.cpp -- the cursor: advances, end tests, searches and counters.
#include <algorithm>
#include <tuple>

#include "zone_fixture.h"

namespace mc::test {
namespace {

using Cursor = ZoneTest;

// End of zone, of data, of group, as "ZDG" letters.
std::string fins(uint16_t zone) {
  std::string s;
  using Test = uint16_t (*)(uint16_t, uint32_t*);
  for (auto [test, lettre] : {std::pair<Test, char>{MC_usFinZone, 'Z'}, {MC_usFinDonnees, 'D'}, {MC_usFinGroupe, 'G'}}) {
    uint32_t ul = 7;
    EXPECT_CODE(0, test(zone, &ul));
    s += ul != 0 ? lettre : '-';
  }
  return s;
}

TEST_F(Cursor, WalkHandsOutIdentifiersAndFieldsAndStopsInPlace) {
  const uint16_t zone = envelopper(exemple_zone());
  unsigned char* const base = z(zone).Buffer;
  uint16_t id = 0;
  EXPECT_EQ(fins(zone), "--G");
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, &id));
  EXPECT_EQ(id, 1);
  EXPECT_EQ(fins(zone), "---");
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 0, 0, &id));  // 0 acts as 1
  EXPECT_EQ(id, 515);
  EXPECT_EQ(fins(zone), "Z--");
  id = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone, 1, 0, &id));
  EXPECT_EQ(id, 0);
  uint16_t numero = 0;
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  ASSERT_CODE(0, MC_usAvancerChampSuivant(zone, 1, &numero, &donnees, &longueur));
  EXPECT_EQ(numero, 1);
  EXPECT_EQ(longueur, 130u);
  EXPECT_EQ(donnees, base + 14);
  EXPECT_EQ(fins(zone), "ZDG");
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, &numero, &donnees, &longueur));
  EXPECT_EQ(curseur(zone), "g8+4:132 id515 c12+2:130 n1 cg2 cc1");
  // Several fields by one call: nested like repeated calls; a failing level ends the rest.
  MC_usPositionnerDebut(zone);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  EXPECT_CODE(0, MC_usAvancerChampSuivant(zone, 2, &numero, &donnees, &longueur));
  EXPECT_EQ(numero, 2);
  EXPECT_EQ(donnees, base + 7);
  MC_usPositionnerDebut(zone);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 3, &numero, &donnees, &longueur));
  EXPECT_EQ(curseur(zone), "g0+3:5 id1 c6+1:1 n2 cg1 cc2");
  MC_usPositionnerDebut(zone);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  TraceCapture trace({{1, 3, 2}});
  ASSERT_CODE(0, MC_usAvancerChampSuivant(zone, 2, nullptr, nullptr, nullptr));
  ASSERT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr));
  trace_attendue(trace, "champs_par_deux");
}

TEST_F(Cursor, GroupAdvancesCountTheFieldsTheyWalk) {
  const uint16_t zone = envelopper(exemple_zone());
  uint16_t compteur = 0;
  // With and without tracing, one group at a time or two at once; the flag walks the fields.
  for (const bool trace : {false, true}) {
    for (const uint16_t nombre : {uint16_t{1}, uint16_t{2}}) {
      for (const uint32_t parcours : {0u, 1u, 2u}) {
        SCOPED_TRACE(::testing::Message() << trace << nombre << parcours);
        std::unique_ptr<TraceCapture> capture(trace ? new TraceCapture({{1, 3, 2}}) : nullptr);
        ASSERT_CODE(0, MC_usPositionnerDebut(zone));
        for (int i = 0; i < 2 / nombre; ++i) {
          ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, nombre, parcours, nullptr));
        }
        EXPECT_EQ(curseur(zone), parcours != 0 ? "g8+4:132 id515 c12+0:0 n0 cg2 cc2"
                                               : "g8+4:132 id515 c12+0:0 n0 cg2 cc0");
        EXPECT_CODE(0, MC_usLireCompteurChamp(zone, &compteur));
        EXPECT_EQ(compteur, parcours != 0 ? 2 : 0);
      }
    }
  }
  ASSERT_CODE(0, MC_usPositionnerDebut(zone));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone, 5, 0, nullptr));
  EXPECT_CODE(0, MC_usLireCompteurGroupe(zone, &compteur));
  EXPECT_EQ(compteur, 2);
}

TEST_F(Cursor, SearchesByIdentifierAndOccurrence) {
  const uint16_t zone = envelopper(exemple_zone());
  for (const Case& c : read_cases("zone/recherches.cases")) {
    SCOPED_TRACE(c.where);
    MC_usPositionnerDebut(zone);
    const auto id = static_cast<uint16_t>(number(c[1]));
    const auto occurrence = static_cast<uint16_t>(number(c[2]));
    unsigned char* donnees = nullptr;
    uint32_t longueur = 0;
    EXPECT_CODE(number(c[4]), c[0] == "G" ? MC_usRechercherGroupe(zone, id, occurrence, 0)
                                          : MC_usRechercherChamp(zone, id, occurrence,
                                                                 static_cast<uint16_t>(number(c[3])), 0,
                                                                 &donnees, &longueur));
    EXPECT_EQ(curseur(zone), c[5]);
    if (c.fields.size() > 6) {
      EXPECT_EQ(longueur, number(c[6]));
      EXPECT_EQ(donnees, z(zone).Buffer + z(zone).OffsetChamp + z(zone).TailleLongueurChamp);
    }
  }
  // Kept: a search starts after the current group.
  ASSERT_CODE(0, MC_usRechercherGroupe(zone, 1, 1, 0));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherGroupeSuivant(zone, 1, 1, 0));
  ASSERT_CODE(0, MC_usRechercherGroupe(zone, 1, 1, 0));
  EXPECT_CODE(0, MC_usRechercherGroupeSuivant(zone, 515, 1, 1));
  EXPECT_EQ(curseur(zone), "g8+4:132 id515 c12+0:0 n0 cg2 cc2");
  TraceCapture trace({{1, 3, 1}});
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherChamp(zone, 7, 1, 1, 0, &donnees, &longueur));
  EXPECT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, &donnees, &longueur));
  trace_attendue(trace, "rechercher_champ");
}

TEST_F(Cursor, KeptReadNextGroupGivesOccurrenceFromTheStart) {
  // Groups 1, 2, 1, 1, each with one empty field.
  const uint16_t zone = envelopper(hex("00 01 01 00 00 02 01 00 00 01 01 00 00 01 01 00"));
  uint16_t id = 0;
  uint16_t occurrence = 99;
  // Kept: from the start the cursor stays there and the occurrence is 0.
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zone, 0, &id, &occurrence));
  EXPECT_EQ(id, 1);
  EXPECT_EQ(occurrence, 0);
  EXPECT_EQ(curseur(zone), "g0+0:0 id0 c0+0:0 n0 cg0 cc0");
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  for (const auto& [identifiant, occ, offset] : {std::tuple{2, 1, 4u}, {1, 2, 8u}, {1, 3, 12u}}) {
    ASSERT_CODE(0, MC_usLireGroupeSuivant(zone, 1, &id, &occurrence));
    EXPECT_EQ(id, identifiant);
    EXPECT_EQ(occurrence, occ);
    EXPECT_EQ(z(zone).OffsetGroupe, offset);
  }
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_FIN, MC_usLireGroupeSuivant(zone, 0, &id, &occurrence));
  trace_attendue(trace, "lire_groupe_fin");
}

TEST_F(Cursor, KeptReadNextGroupOfIdentifierZeroRunsTheOccurrenceRound) {
  // Identifier 0 is found at once without moving: each occurrence from 1 to 65535 is searched
  // from the start and traced; the count runs round to 0, which is refused before any line.
  const uint16_t zone = envelopper(hex("00 01 01 00 00 00 01 00"));
  for (const bool trace : {false, true}) {
    ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
    std::unique_ptr<TraceCapture> capture(trace ? new TraceCapture({{1, 3, 2}}) : nullptr);
    uint16_t id = 9;
    uint16_t occurrence = 9;
    EXPECT_CODE(0, MC_usLireGroupeSuivant(zone, 0, &id, &occurrence));
    EXPECT_EQ(id, 0);
    EXPECT_EQ(occurrence, 0);
    EXPECT_EQ(curseur(zone), "g0+0:0 id0 c0+0:0 n0 cg0 cc0");
    if (trace) {
      const std::vector<std::string> lignes = capture->lines();
      ASSERT_EQ(lignes.size(), 7u + 4u * 65535u + 2u);
      EXPECT_EQ(std::count(lignes.begin(), lignes.end(), "  { MC_usRechercherGroupe"), 65535);
      std::string bouts;
      for (size_t i : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, size_t{4}, size_t{5}, size_t{6},
                       size_t{7}, size_t{8}, lignes.size() - 2, lignes.size() - 1}) {
        bouts += lignes[i] + "\n";
      }
      EXPECT_EQ(bouts, bloc("lire_groupe_zero"));
    }
  }
  // From the start the loop does not run: no search at all.
  const uint16_t zero = envelopper(hex("00 00 01 00"));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zero, 0, nullptr, nullptr));
  EXPECT_EQ(texte(trace).find("MC_usRechercherGroupe"), std::string::npos);
}

TEST_F(Cursor, KeptPositionToEnd) {
  const uint16_t zone = envelopper(exemple_zone());
  {
    TraceCapture trace({{1, 3, 2}});
    EXPECT_CODE(0, MC_usPositionnerFin(zone, 0));
    trace_attendue(trace, "positionner_fin");
  }
  EXPECT_EQ(curseur(zone), "g8+4:132 id515 c12+2:130 n1 cg2 cc1");
  // Kept: only an empty last group stops the group walk early, before the end-of-zone report.
  const uint16_t vide = envelopper(hex("00 01 03 02 41 42 00 02 00"));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usPositionnerFin(vide, 1));
  EXPECT_EQ(texte(trace).find("Fin de la zone atteinte"), std::string::npos);
  EXPECT_EQ(curseur(vide), "g6+3:0 id2 c9+0:0 n0 cg2 cc1");
}

TEST_F(Cursor, EmptyStructuredZone) {
  const uint16_t zone = creer(8, true);
  EXPECT_EQ(fins(zone), "ZDG");
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone, 1, 1, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherGroupe(zone, 1, 1, 0));
  EXPECT_CODE(MC_ERR_FIN, MC_usLireGroupeSuivant(zone, 0, nullptr, nullptr));
  EXPECT_CODE(0, MC_usPositionnerFin(zone, 1));
}

TEST_F(Cursor, ErrorsAfterTheMoveLeaveCursorOnFaultyItem) {
  const uint16_t groupe = envelopper(hex("00 01 05 02 41"));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAvancerGroupeSuivant(groupe, 1, 0, nullptr));
  trace_attendue(trace, "groupe_deborde");
  trace.stop();
  EXPECT_EQ(curseur(groupe), "g0+3:5 id1 c3+0:0 n0 cg1 cc0");
  EXPECT_EQ(fins(groupe), "Z--");
  const uint16_t champ = envelopper(hex("00 01 02 05 41 00 02 01 00"));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(champ, 1, 0, nullptr));
  unsigned char* donnees = nullptr;
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(champ, 1, nullptr, &donnees, nullptr));
  EXPECT_EQ(donnees, nullptr);
  EXPECT_EQ(curseur(champ), "g0+3:2 id1 c3+1:5 n1 cg1 cc1");
  // An undecodable header: no move.
  const uint16_t entete = envelopper(hex("00 01 01 00 00 02"));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(entete, 1, 0, nullptr));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAvancerGroupeSuivant(entete, 1, 0, nullptr));
  EXPECT_EQ(curseur(entete), "g0+3:1 id1 c3+0:0 n0 cg1 cc0");
}

}  // namespace
}  // namespace mc::test
