// naviga_test.cpp -- the cursor: advances, end tests, searches and counters.
#include "zone_fixture.h"

namespace mc::test {
namespace {

class Cursor : public ZoneTest {
 protected:
  void SetUp() override {
    ZoneTest::SetUp();
    zone_ = envelopper(exemple_zone());
    base_ = z(zone_).Buffer;
  }

  struct Groupe {
    uint32_t offset, entete, longueur;
    uint16_t id;
  };
  Groupe groupe() const {
    return {z(zone_).OffsetGroupe, z(zone_).TailleEnteteGroupe, z(zone_).LongueurGroupe,
            z(zone_).IdentifiantGroupe};
  }
  bool fin(uint16_t (*test)(uint16_t, uint32_t*)) const { return fin(test, zone_); }
  static bool fin(uint16_t (*test)(uint16_t, uint32_t*), uint16_t zone) {
    uint32_t ul = 7;
    EXPECT_CODE(0, test(zone, &ul));
    return ul != 0;
  }

  uint16_t zone_ = 0;
  unsigned char* base_ = nullptr;
};

// The offsets and sizes of each step of this walk are checked by the editing walk and by the
// trace of positioning at the end; here, what the calls hand out and where an end leaves them.
TEST_F(Cursor, WalkHandsOutIdentifiersAndFieldsAndStopsInPlace) {
  uint16_t id = 0;
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, &id));
  EXPECT_EQ(id, 1);
  EXPECT_EQ(z(zone_).OffsetChamp, 3u);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, &id));
  EXPECT_EQ(id, 515);
  EXPECT_TRUE(fin(MC_usFinZone));
  EXPECT_FALSE(fin(MC_usFinGroupe));
  id = 0;
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone_, 1, 0, &id));
  EXPECT_EQ(id, 0);
  EXPECT_EQ(groupe().offset, 8u);
  uint16_t numero = 0;
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  ASSERT_CODE(0, MC_usAvancerChampSuivant(zone_, 1, &numero, &donnees, &longueur));
  EXPECT_EQ(numero, 1);
  EXPECT_EQ(longueur, 130u);
  EXPECT_EQ(donnees, base_ + 14);
  EXPECT_TRUE(fin(MC_usFinGroupe));
  EXPECT_TRUE(fin(MC_usFinDonnees));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone_, 1, &numero, &donnees, &longueur));
  EXPECT_EQ(z(zone_).OffsetChamp, 12u);
}

TEST_F(Cursor, FieldCountAdvancesNestedLikeRepeatedCalls) {
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, nullptr));
  uint16_t numero = 0;
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  TraceCapture trace({{1, 3, 2}});
  ASSERT_CODE(0, MC_usAvancerChampSuivant(zone_, 2, &numero, &donnees, &longueur));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usAvancerChampSuivant",
      "  { MC_usAvancerChampSuivant",
      "    { MC_stDecoderLongueur : offset = 3",
      "      MC_stDecoderLongueur",
      "    }",
      "    offsetChamp  = 3, longueurChamp  = 2, tailleLongueurChamp = 1",
      "  }",
      "  { MC_stDecoderLongueur : offset = 6",
      "    MC_stDecoderLongueur",
      "  }",
      "  offsetChamp  = 6, longueurChamp  = 1, tailleLongueurChamp = 1",
      "}",
  };
  EXPECT_EQ(trace.lines(), attendu);
  EXPECT_EQ(numero, 2);
  EXPECT_EQ(longueur, 1u);
  EXPECT_EQ(donnees, base_ + 7);
  EXPECT_EQ(*donnees, 'C');

  MC_usPositionnerDebut(zone_);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 0, 0, nullptr));  // 0 acts as 1
  ASSERT_CODE(0, MC_usAvancerChampSuivant(zone_, 0, &numero, &donnees, &longueur));
  EXPECT_EQ(numero, 1);
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone_, 3, &numero, &donnees, &longueur));
  EXPECT_EQ(z(zone_).NumeroChamp, 2);
}

TEST_F(Cursor, GroupCountAndFieldWalkCounters) {
  struct Case {
    uint32_t parcours;
    uint16_t compteurChamp;
  };
  for (const Case c : {Case{1, 2}, Case{0, 0}}) {
    SCOPED_TRACE(c.parcours);
    ASSERT_CODE(0, MC_usPositionnerDebut(zone_));
    uint16_t id = 0;
    ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 2, c.parcours, &id));
    EXPECT_EQ(id, 515);
    uint16_t compteur = 0;
    EXPECT_CODE(0, MC_usLireCompteurGroupe(zone_, &compteur));
    EXPECT_EQ(compteur, 2);
    EXPECT_CODE(0, MC_usLireCompteurChamp(zone_, &compteur));
    EXPECT_EQ(compteur, c.compteurChamp);
    EXPECT_EQ(z(zone_).NumeroChamp, 0);
  }
  // A failing level ends the levels above it.
  ASSERT_CODE(0, MC_usPositionnerDebut(zone_));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone_, 5, 0, nullptr));
  uint16_t compteur = 0;
  MC_usLireCompteurGroupe(zone_, &compteur);
  EXPECT_EQ(compteur, 2);
  // Only positioning at the start clears the counters.
  ASSERT_CODE(0, MC_usPositionnerDebut(zone_));
  MC_usLireCompteurGroupe(zone_, &compteur);
  EXPECT_EQ(compteur, 0);
}

TEST_F(Cursor, SearchesByIdentifierAndOccurrence) {
  struct Case {
    uint16_t id, occurrence;
    uint16_t cr;
  };
  const Case cases[] = {{1, 1, 0},
                        {515, 1, 0},
                        {1, 2, MC_ERR_OCCURRENCE},
                        {515, 3, MC_ERR_OCCURRENCE},
                        {7, 1, MC_ERR_FIN},
                        {7, 2, MC_ERR_FIN},
                        {1, 0, MC_ERR_ARGUMENT}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.id << " occurrence " << c.occurrence);
    EXPECT_CODE(c.cr, MC_usRechercherGroupe(zone_, c.id, c.occurrence, 0));
    if (c.cr == 0) {
      EXPECT_EQ(groupe().id, c.id);
    }
  }
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  EXPECT_CODE(0, MC_usRechercherChamp(zone_, 515, 1, 1, 0, &donnees, &longueur));
  EXPECT_EQ(longueur, 130u);
  EXPECT_EQ(donnees, base_ + 14);
  EXPECT_CODE(0, MC_usRechercherChamp(zone_, 1, 1, 2, 0, &donnees, &longueur));
  EXPECT_EQ(donnees, base_ + 7);
  EXPECT_EQ(longueur, 1u);
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherChamp(zone_, 515, 1, 2, 0, &donnees, &longueur));
  EXPECT_CODE(MC_ERR_OCCURRENCE, MC_usRechercherChamp(zone_, 515, 2, 1, 0, &donnees, &longueur));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherChamp(zone_, 515, 0, 1, 0, &donnees, &longueur));
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usRechercherChamp(zone_, 515, 1, 0, 0, &donnees, &longueur));
}

TEST_F(Cursor, SearchFieldTrace) {
  unsigned char* donnees = nullptr;
  uint32_t longueur = 0;
  TraceCapture trace({{1, 3, 1}});  // level 1: deep lines hidden
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherChamp(zone_, 7, 1, 1, 0, &donnees, &longueur));
  std::vector<std::string> lignes = trace.lines();
  ASSERT_GE(lignes.size(), 4u);
  EXPECT_EQ(lignes[1], "{ MC_usRechercherChamp: identifiant = 7, occurrenceGroupe = 1, numero = 1");
  EXPECT_EQ(lignes[2], "  { MC_usRechercherGroupe");
  EXPECT_EQ(lignes[lignes.size() - 2], "   cr = 0xF805");
  TraceCapture trace2({{1, 3, 1}});
  EXPECT_CODE(0, MC_usRechercherChamp(zone_, 1, 1, 1, 0, &donnees, &longueur));
  lignes = sans_adresses(trace2.lines());
  EXPECT_EQ(lignes[lignes.size() - 2], "  cr = 0x0000, donnees = 0x<adr>, longueur = 2");
}

TEST_F(Cursor, KeptSearchStartsAfterCurrentGroupAndFindsIdentifierZeroAtOnce) {
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherGroupeSuivant(zone_, 1, 1, 0));
  ASSERT_CODE(0, MC_usPositionnerDebut(zone_));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, nullptr));
  EXPECT_CODE(0, MC_usRechercherGroupeSuivant(zone_, 515, 1, 0));
  EXPECT_EQ(groupe().offset, 8u);
  EXPECT_CODE(0, MC_usRechercherGroupe(zone_, 0, 1, 0));
  EXPECT_EQ(groupe().offset, 0u);
  EXPECT_EQ(groupe().entete, 0u);
  EXPECT_EQ(z(zone_).CompteurGroupe, 0);
}

TEST_F(Cursor, KeptReadNextGroupFromStartGivesOccurrenceZero) {
  uint16_t id = 0;
  uint16_t occurrence = 99;
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zone_, 0, &id, &occurrence));
  EXPECT_EQ(id, 1);
  EXPECT_EQ(occurrence, 0);
  EXPECT_EQ(groupe().entete, 0u);  // still at the start
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone_, 1, 0, nullptr));
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zone_, 0, &id, &occurrence));
  EXPECT_EQ(id, 515);
  EXPECT_EQ(occurrence, 1);
  EXPECT_EQ(groupe().offset, 8u);
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_FIN, MC_usLireGroupeSuivant(zone_, 0, &id, &occurrence));
  const std::vector<std::string> attendu = {"### DEBUT TRACE ###", "{ MC_usLireGroupeSuivant",
                                            "  ERREUR :  Fin des donnees atteinte.",
                                            "   cr = 0xF805", "}"};
  EXPECT_EQ(trace.lines(), attendu);
}

TEST_F(Cursor, ReadNextGroupCountsOccurrences) {
  // Groups 1, 2, 1, 1, each with one empty field.
  const uint16_t zone = envelopper(hex("00 01 01 00 00 02 01 00 00 01 01 00 00 01 01 00"));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  struct Attendu {
    uint16_t id, occurrence;
    uint32_t offset;
  };
  for (const Attendu a : {Attendu{2, 1, 4}, Attendu{1, 2, 8}, Attendu{1, 3, 12}}) {
    uint16_t id = 0;
    uint16_t occurrence = 0;
    ASSERT_CODE(0, MC_usLireGroupeSuivant(zone, 1, &id, &occurrence));
    EXPECT_EQ(id, a.id);
    EXPECT_EQ(occurrence, a.occurrence);
    EXPECT_EQ(z(zone).OffsetGroupe, a.offset);
  }
}

TEST_F(Cursor, ReadNextGroupOfIdentifierZeroEndsAtStartWithOccurrenceZero) {
  // Identifier 0 is found at once without moving: the occurrence count runs round to 0.
  const uint16_t zone = envelopper(hex("00 01 01 00 00 00 01 00"));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  uint16_t id = 9;
  uint16_t occurrence = 9;
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zone, 0, &id, &occurrence));
  EXPECT_EQ(id, 0);
  EXPECT_EQ(occurrence, 0);
  EXPECT_EQ(z(zone).TailleEnteteGroupe, 0u);
  EXPECT_EQ(z(zone).CompteurGroupe, 0);
}

TEST_F(Cursor, ReadNextGroupOfIdentifierZeroTracesEverySearchOfTheRoundTrip) {
  // Each occurrence from 1 to 65535 is searched from the start, found at once, and traced; the
  // occurrence 0 that the count runs round to is refused before any line.
  const uint16_t zone = envelopper(hex("00 01 01 00 00 00 01 00"));
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  std::vector<std::string> lignes;
  uint16_t occurrence = 9;
  {
    TraceCapture trace({{1, 3, 2}});
    EXPECT_CODE(0, MC_usLireGroupeSuivant(zone, 0, nullptr, &occurrence));
    lignes = trace.lines();
  }
  EXPECT_EQ(occurrence, 0);
  const std::vector<std::string> debut = {
      "### DEBUT TRACE ###",     "{ MC_usLireGroupeSuivant",
      "  { MC_stDecoderLongueur : offset = 6", "    MC_stDecoderLongueur",
      "  }",                     "  { MC_usPositionnerDebut",
      "  }",                     "  { MC_usRechercherGroupe",
      "  }",                     "  { MC_usPositionnerDebut",
      "  }",
  };
  ASSERT_EQ(lignes.size(), 7u + 4u * 65535u + 2u);
  EXPECT_EQ(std::vector<std::string>(lignes.begin(), lignes.begin() + 11), debut);
  const std::vector<std::string> fin = {"  { MC_usRechercherGroupe", "  }",
                                        "  { MC_usPositionnerDebut", "  }", "  ", "}"};
  EXPECT_EQ(std::vector<std::string>(lignes.end() - 6, lignes.end()), fin);
  EXPECT_EQ(std::count(lignes.begin(), lignes.end(), "  { MC_usRechercherGroupe"), 65535);

  // From the start the loop does not run: no search at all.
  const uint16_t zero = envelopper(hex("00 00 01 00"));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usLireGroupeSuivant(zero, 0, nullptr, &occurrence));
  EXPECT_EQ(occurrence, 0);
  lignes = trace.lines();
  EXPECT_EQ(std::count(lignes.begin(), lignes.end(), "  { MC_usRechercherGroupe"), 0);
}

TEST_F(Cursor, KeptPositionToEndTraceEndsWithEmptyExitLine) {
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usPositionnerFin(zone_, 0));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usPositionnerFin",
      "}",
      "{ MC_usAvancergroupeSuivant",
      "  { MC_stDecoderLongueur : offset = 2",
      "    MC_stDecoderLongueur",
      "  }",
      "  offsetGroupe = 0, longueurGroupe = 5, tailleEnteteGroupe  = 3",
      "  offsetChamp = 3, longueurChamp = 0, tailleLongueurChamp  = 0",
      "}",
      "{ MC_usAvancergroupeSuivant",
      "  { MC_stDecoderLongueur : offset = 10",
      "    MC_stDecoderLongueur",
      "  }",
      "  offsetGroupe = 8, longueurGroupe = 132, tailleEnteteGroupe  = 4",
      "  offsetChamp = 12, longueurChamp = 0, tailleLongueurChamp  = 0",
      "}",
      "{ MC_usAvancergroupeSuivant",
      "  ERREUR :  Fin de la zone atteinte.",
      "  MC_usAvancergroupeSuivant",
      "}",
      "{ MC_usAvancerChampSuivant",
      "  { MC_stDecoderLongueur : offset = 12",
      "    MC_stDecoderLongueur",
      "  }",
      "  offsetChamp  = 12, longueurChamp  = 130, tailleLongueurChamp = 2",
      "}",
      "",
      "}",
  };
  EXPECT_EQ(trace.lines(), attendu);
  EXPECT_EQ(groupe().id, 515);
  EXPECT_EQ(z(zone_).NumeroChamp, 1);
  EXPECT_EQ(z(zone_).OffsetChamp, 12u);
}

TEST_F(Cursor, KeptPositionToEndStopsEarlyOnlyOnEmptyLastGroup) {
  // Group 1 with "AB", then group 2 with an empty body is not well formed but walkable.
  const uint16_t zone = envelopper(hex("00 01 03 02 41 42 00 02 00"));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(0, MC_usPositionnerFin(zone, 1));
  for (const std::string& ligne : trace.lines()) {
    EXPECT_EQ(ligne.find("Fin de la zone atteinte"), std::string::npos) << ligne;
  }
  EXPECT_EQ(z(zone).IdentifiantGroupe, 2);
  EXPECT_EQ(z(zone).CompteurChamp, 1);  // the field of group 1, walked with the flag
  EXPECT_EQ(z(zone).NumeroChamp, 0);
}

TEST_F(Cursor, EmptyStructuredZone) {
  const uint16_t zone = creer(8, true);
  EXPECT_TRUE(fin(MC_usFinZone, zone));
  EXPECT_TRUE(fin(MC_usFinDonnees, zone));
  EXPECT_TRUE(fin(MC_usFinGroupe, zone));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerGroupeSuivant(zone, 1, 1, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr));
  EXPECT_CODE(MC_ERR_FIN, MC_usRechercherGroupe(zone, 1, 1, 0));
  EXPECT_CODE(MC_ERR_FIN, MC_usLireGroupeSuivant(zone, 0, nullptr, nullptr));
  EXPECT_CODE(0, MC_usPositionnerFin(zone, 1));
}

TEST_F(Cursor, ErrorsAfterTheMoveLeaveCursorOnFaultyItem) {
  {
    SCOPED_TRACE("group past the data");
    const uint16_t zone = envelopper(hex("00 01 05 02 41"));
    TraceCapture trace({{1, 3, 2}});
    EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
    const std::vector<std::string> lignes = trace.lines();
    ASSERT_EQ(lignes.size(), 8u);
    EXPECT_EQ(lignes[5], "  ERREUR :  La taille du groupe (5) d\xe9passe la taille des donn\xe9" "es.");
    EXPECT_EQ(z(zone).OffsetGroupe, 0u);
    EXPECT_EQ(z(zone).LongueurGroupe, 5u);
    EXPECT_EQ(z(zone).IdentifiantGroupe, 1);
    EXPECT_EQ(z(zone).CompteurGroupe, 1);
    EXPECT_TRUE(fin(MC_usFinZone, zone));
  }
  {
    SCOPED_TRACE("field past its group");
    const uint16_t zone = envelopper(hex("00 01 02 05 41 00 02 01 00"));
    ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
    unsigned char* donnees = nullptr;
    EXPECT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, nullptr, &donnees, nullptr));
    EXPECT_EQ(donnees, nullptr);
    EXPECT_EQ(z(zone).OffsetChamp, 3u);
    EXPECT_EQ(z(zone).LongueurChamp, 5u);
    EXPECT_EQ(z(zone).NumeroChamp, 1);
    EXPECT_EQ(z(zone).CompteurChamp, 1);
  }
  {
    SCOPED_TRACE("undecodable header: no move");
    const uint16_t zone = envelopper(hex("00 01 01 00 00 02"));
    ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
    EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
    EXPECT_EQ(z(zone).OffsetGroupe, 0u);
    EXPECT_EQ(z(zone).CompteurGroupe, 1);
  }
}

}  // namespace
}  // namespace mc::test
