// edit_test.cpp -- adding groups and fields, modifying and extracting fields at the cursor.
#include "zone_fixture.h"

namespace mc::test {
namespace {

using Editing = ZoneTest;

const unsigned char* octets(const char* texte) {
  return reinterpret_cast<const unsigned char*>(texte);
}

// Builds the worked example with the editing calls; the code of the last one.
uint16_t construire_exemple(uint16_t zone) {
  const Bytes data = exemple_donnees_130();
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 1));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("AB"), 2));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("C"), 1));
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 515));
  return MC_usAjouterChamp(zone, data.data(), 130);
}

TEST_F(Editing, BuildsWorkedExampleByteForByteAndWalksItBack) {
  const uint16_t zone = creer(144, true);
  ASSERT_CODE(0, construire_exemple(zone));
  EXPECT_EQ(z(zone).TailleDonnees, 144u);
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(exemple_zone()));
  uint16_t compteur = 0;
  MC_usLireCompteurGroupe(zone, &compteur);
  EXPECT_EQ(compteur, 2);
  MC_usLireCompteurChamp(zone, &compteur);
  EXPECT_EQ(compteur, 3);

  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  ASSERT_CODE(0, MC_usPositionnerDebut(zone));
  struct Champ {
    uint16_t groupe;
    uint32_t offsetGroupe, enteteGroupe, longueurGroupe;
    uint32_t offsetChamp, tailleLongueur, longueur;
  };
  const Champ attendus[] = {{1, 0, 3, 5, 3, 1, 2}, {1, 0, 3, 5, 6, 1, 1}, {515, 8, 4, 132, 12, 2, 130}};
  size_t i = 0;
  uint16_t id = 0;
  while (MC_usAvancerGroupeSuivant(zone, 1, 0, &id) == 0) {
    unsigned char* p = nullptr;
    uint32_t longueur = 0;
    while (MC_usAvancerChampSuivant(zone, 1, nullptr, &p, &longueur) == 0) {
      ASSERT_LT(i, 3u);
      SCOPED_TRACE(i);
      const Champ& a = attendus[i++];
      EXPECT_EQ(id, a.groupe);
      EXPECT_EQ(z(zone).OffsetGroupe, a.offsetGroupe);
      EXPECT_EQ(z(zone).TailleEnteteGroupe, a.enteteGroupe);
      EXPECT_EQ(z(zone).LongueurGroupe, a.longueurGroupe);
      EXPECT_EQ(z(zone).OffsetChamp, a.offsetChamp);
      EXPECT_EQ(z(zone).TailleLongueurChamp, a.tailleLongueur);
      EXPECT_EQ(longueur, a.longueur);
      EXPECT_EQ(p, z(zone).Buffer + a.offsetChamp + a.tailleLongueur);
    }
  }
  EXPECT_EQ(i, 3u);
}

TEST_F(Editing, OneByteShortRefusesLastFieldAndChangesNothing) {
  const uint16_t zone = creer(143, true);
  EXPECT_CODE(MC_ERR_DEPASSEMENT, construire_exemple(zone));
  EXPECT_EQ(z(zone).TailleDonnees, 11u);
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(hex("00 01 05 02 41 42 01 43 02 03 00")));
  EXPECT_EQ(z(zone).IdentifiantGroupe, 515);
  EXPECT_EQ(z(zone).NumeroChamp, 0);
}

TEST_F(Editing, AddTraces) {
  const uint16_t zone = creer(2, true);
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usAjouterGroupe(zone, 7));
  ASSERT_CODE(0, MC_usRedimensionner(zone, 8));
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 7));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("x"), 1));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usAjouterGroupe : identifiant = 7",
      "   cr = 0xF804",
      "}",
      "{ MC_usRedimensionner : taille = 8",
      "  cr = 0x0000",
      "}",
      "{ MC_usAjouterGroupe : identifiant = 7",
      "  { MC_stCoderEnteteGroupe : identifiant = 7, longueur = 0, offset = 0",
      "    { MC_stCoderLongueur : longueur = 0, offset = 2",
      "      nbOctets = 1",
      "    }",
      "    nbOctets = 3",
      "  }",
      "  cr = 0x0000, tailleDonnees = 3",
      "}",
      "{ MC_usAjouterChamp : donnees = 0x<adr>, longueur = 1",
      "  { MC_stCoderLongueur : longueur = 2, offset = 2",
      "    nbOctets = 1",
      "  }",
      "  { MC_stCoderLongueur : longueur = 1, offset = 3",
      "    nbOctets = 1",
      "  }",
      "  cr = 0x0000, tailleDonnees = 5",
      "}",
  };
  EXPECT_EQ(sans_adresses(trace.lines()), attendu);
}

TEST_F(Editing, FieldAfterPositioningAtStartOrOnGroupZeroIsRefused) {
  const uint16_t zone = envelopper(exemple_zone(), 10);
  ASSERT_CODE(0, MC_usPositionnerDebut(zone));
  EXPECT_CODE(MC_ERR_FIN, MC_usAjouterChamp(zone, octets("x"), 1));
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 0));
  // Kept: identifier 0 never takes fields.
  EXPECT_CODE(MC_ERR_FIN, MC_usAjouterChamp(zone, octets("x"), 1));
  EXPECT_EQ(z(zone).TailleDonnees, 147u);
}

TEST_F(Editing, GroupLengthCrossingClassGrowsHeaderAndShiftsBody) {
  const uint16_t zone = creer(300, true);
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 9));
  const Bytes premier(123, 0x5A);  // 124 bytes of field, then one of 1 + 0: 125
  ASSERT_CODE(0, MC_usAjouterChamp(zone, premier.data(), 123));
  ASSERT_CODE(0, MC_usAjouterChamp(zone, nullptr, 0));
  ASSERT_EQ(z(zone).LongueurGroupe, 125u);
  ASSERT_EQ(z(zone).TailleEnteteGroupe, 3u);
  const Bytes avant = donnees(zone);
  ASSERT_CODE(0, MC_usAjouterChamp(zone, octets("WXYZ"), 4));  // 125 + 5 = 130
  EXPECT_EQ(z(zone).LongueurGroupe, 130u);
  EXPECT_EQ(z(zone).TailleEnteteGroupe, 4u);
  EXPECT_EQ(z(zone).TailleDonnees, 134u);
  Bytes attendu = hex("00 09 81 82");
  attendu.insert(attendu.end(), avant.begin() + 3, avant.end());  // the body, shifted by 1
  const Bytes champ = hex("04 57 58 59 5A");
  attendu.insert(attendu.end(), champ.begin(), champ.end());
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(attendu));
  EXPECT_EQ(z(zone).OffsetChamp, 129u);
  EXPECT_EQ(z(zone).NumeroChamp, 3);
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
}

TEST_F(Editing, InsertsFieldBetweenFieldsAndGroupBetweenGroups) {
  const uint16_t zone = envelopper(exemple_zone(), 20);
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, nullptr, nullptr));
  ASSERT_CODE(0, MC_usAjouterChamp(zone, octets("Q"), 1));
  Bytes attendu = exemple_zone();
  attendu[2] = 0x07;
  const Bytes champ = hex("01 51");
  attendu.insert(attendu.begin() + 6, champ.begin(), champ.end());
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(attendu));
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  // After group 1 the remainder (136 bytes) is longer than group 1 (10 bytes): it shifts.
  ASSERT_CODE(0, MC_usRechercherGroupe(zone, 1, 1, 0));
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 0x0405));
  const Bytes groupe = hex("04 05 00");
  attendu.insert(attendu.begin() + 10, groupe.begin(), groupe.end());
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(attendu));
}

TEST_F(Editing, KeptGroupInsertionBeforeShortRemainderOverwritesWithoutShift) {
  // Group 1 (6 bytes) then group 2 (5 bytes): the 5 bytes after group 1 are no more than its
  // whole size, so the new header overwrites them.
  const uint16_t zone = envelopper(hex("00 01 03 02 41 42 00 02 02 01 43"), 3);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 9));
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(hex("00 01 03 02 41 42 00 09 00 01 43 00 00 00")));
  EXPECT_EQ(z(zone).OffsetGroupe, 6u);
}

TEST_F(Editing, ModifyOverwritesAndAppends) {
  const uint16_t zone = envelopper(exemple_zone(), 10);
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, nullptr, nullptr));
  ASSERT_CODE(0, MC_usModifierChamp(zone, octets("z"), 1, 1, 0));  // "Az"
  EXPECT_EQ(donnees(zone)[5], 'z');
  // Growth allowed from the end: appends; neither length class changes.
  ASSERT_CODE(0, MC_usModifierChamp(zone, octets("XY"), 2, 2, 1));
  Bytes attendu = exemple_zone();
  attendu[2] = 0x07;
  attendu[3] = 0x04;
  attendu[5] = 'z';
  const Bytes ajout = hex("58 59");
  attendu.insert(attendu.begin() + 6, ajout.begin(), ajout.end());
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(attendu));
  EXPECT_EQ(z(zone).LongueurChamp, 4u);
  EXPECT_EQ(z(zone).LongueurGroupe, 7u);
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
}

TEST_F(Editing, ModifyRefusalsChangeNothing) {
  const uint16_t zone = envelopper(exemple_zone(), 1);
  EXPECT_CODE(MC_ERR_FIN, MC_usModifierChamp(zone, octets("x"), 0, 1, 1));  // no current field
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, nullptr, nullptr));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usModifierChamp(zone, octets("x"), 3, 1, 1));
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usModifierChamp(zone, octets("x"), 2, 1, 0));
  EXPECT_CODE(0, MC_usModifierChamp(zone, octets("x"), 2, 0, 0));  // nothing to write
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usModifierChamp(zone, octets("xy"), 2, 2, 1));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usModifierChamp : donnees = 0x<adr>, longueur = 1",
      "  ERREUR :  position > longueur du champ (2).",
      "  cr = 0xFFFE",
      "}",
      "{ MC_usModifierChamp : donnees = 0x<adr>, longueur = 1",
      "  ERREUR : Agrandissement non autorise Position + Longueur > ZM[Zone]->LongueurChamp (2).",
      "  cr = 0xFFFE",
      "}",
      "{ MC_usModifierChamp : donnees = 0x<adr>, longueur = 0",
      "  cr = 0x0000",
      "}",
      "{ MC_usModifierChamp : donnees = 0x<adr>, longueur = 2",
      "   cr = 0xF804",
      "}",
  };
  EXPECT_EQ(sans_adresses(trace.lines()), attendu);
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(exemple_zone()));
}

TEST_F(Editing, KeptGrowthAcrossLengthClassMovesOnlyStatedBytes) {
  // Group 1: one field of 126 bytes 0x11 (body 127); group 2: one empty field.
  Bytes zone_octets = hex("00 01 7F 7E");
  zone_octets.insert(zone_octets.end(), 126, 0x11);
  const Bytes g2 = hex("00 02 01 00");
  zone_octets.insert(zone_octets.end(), g2.begin(), g2.end());
  const uint16_t zone = envelopper(zone_octets, 4);
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, nullptr, nullptr));
  // Field 126 -> 128 (length 1 -> 2 bytes), group 127 -> 130 (length 1 -> 2 bytes).
  ASSERT_CODE(0, MC_usModifierChamp(zone, octets("YZ"), 126, 2, 1));
  Bytes attendu = hex("00 01 81 82 81 80");
  attendu.insert(attendu.end(), 124, 0x11);
  // The old data is not carried whole: two bytes of what followed show through.
  const Bytes reste = hex("00 02 59 5A 00 02 01 00");
  attendu.insert(attendu.end(), reste.begin(), reste.end());
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(attendu));
  EXPECT_EQ(z(zone).TailleDonnees, 138u);
  EXPECT_EQ(z(zone).OffsetChamp, 4u);
  EXPECT_EQ(z(zone).TailleEnteteGroupe, 4u);
  EXPECT_EQ(z(zone).TailleLongueurChamp, 2u);
  EXPECT_EQ(z(zone).LongueurChamp, 128u);
  EXPECT_EQ(z(zone).LongueurGroupe, 130u);
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
}

TEST_F(Editing, GrowthAcrossClassRewrittenWholeFromZero) {
  const uint16_t zone = creer(400, true);
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 3));
  ASSERT_CODE(0, MC_usAjouterChamp(zone, octets("abc"), 3));
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 4));
  ASSERT_CODE(0, MC_usAjouterChamp(zone, octets("tail"), 4));
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 3, 1, 1, 0, nullptr, nullptr));
  Bytes nouveau(300);
  for (size_t i = 0; i < nouveau.size(); ++i) {
    nouveau[i] = static_cast<uint8_t>(i * 7);
  }
  ASSERT_CODE(0, MC_usModifierChamp(zone, nouveau.data(), 0, 300, 1));
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(zone));
  unsigned char* p = nullptr;
  uint32_t longueur = 0;
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 3, 1, 1, 0, &p, &longueur));
  EXPECT_EQ(Bytes(p, p + longueur), nouveau);
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 4, 1, 1, 0, &p, &longueur));
  EXPECT_EQ(Bytes(p, p + longueur), bytes_of("tail"));
}

TEST_F(Editing, ExtractGivesAddressInsideField) {
  const uint16_t zone = envelopper(exemple_zone());
  unsigned char* p = nullptr;
  EXPECT_CODE(MC_ERR_FIN, MC_usExtraireChamp(zone, &p, 0, 0));
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 515, 1, 1, 0, nullptr, nullptr));
  EXPECT_CODE(0, MC_usExtraireChamp(zone, &p, 10, 5));
  EXPECT_EQ(p, z(zone).Buffer + 24);
  EXPECT_EQ(*p, 10);
  EXPECT_CODE(0, MC_usExtraireChamp(zone, &p, 130, 0));
  EXPECT_EQ(p, z(zone).Buffer + 144);  // just past the data
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usExtraireChamp(zone, &p, 131, 0));
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usExtraireChamp(zone, &p, 100, 31));
  const std::vector<std::string> attendu = {
      "### DEBUT TRACE ###",
      "{ MC_usExtraireChamp : donnees = 0x<adr>, pos = 131",
      "  ERREUR :  position  > longueur du champ (130).",
      "  cr = 0xFFFE",
      "}",
      "{ MC_usExtraireChamp : donnees = 0x<adr>, pos = 100",
      "  ERREUR :  position + Longueur > longueur du champ (130).",
      "  cr = 0xFFFE",
      "}",
  };
  EXPECT_EQ(sans_adresses(trace.lines()), attendu);
}

TEST_F(Editing, CursorLeftOnFaultyItemRefusesEdits) {
  // A field whose length runs past its group and past the data.
  const uint16_t zone = envelopper(hex("00 01 02 7F 41"), 200);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr));
  ASSERT_CODE(MC_ERR_FIN, MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr));
  unsigned char* p = nullptr;
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usModifierChamp(zone, octets("x"), 0, 1, 0));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usModifierChamp(zone, octets("x"), 127, 1, 1));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usExtraireChamp(zone, &p, 0, 1));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAjouterChamp(zone, octets("x"), 1));
  // A group that runs past the data.
  const uint16_t zone2 = envelopper(hex("00 01 09 00"), 20);
  ASSERT_CODE(MC_ERR_SYNTAXE, MC_usAvancerGroupeSuivant(zone2, 1, 0, nullptr));
  EXPECT_CODE(MC_ERR_SYNTAXE, MC_usAjouterGroupe(zone2, 5));
  EXPECT_EQ(to_hex(donnees(zone)), to_hex(hex("00 01 02 7F 41")));
  EXPECT_EQ(to_hex(donnees(zone2)), to_hex(hex("00 01 09 00")));
}

}  // namespace
}  // namespace mc::test
