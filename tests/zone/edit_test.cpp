// edit_test.cpp -- adding groups and fields, modifying and extracting fields at the cursor.
#include "zone_fixture.h"

namespace mc::test {
namespace {

using Editing = ZoneTest;

// Builds the worked example with the editing calls; the code of the last one.
uint16_t construire_exemple(uint16_t zone) {
  const Bytes exemple = exemple_zone();
  const Bytes data(exemple.begin() + 14, exemple.end());
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 1));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("AB"), 2));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("C"), 1));
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 515));
  return MC_usAjouterChamp(zone, data.data(), 130);
}

TEST_F(Editing, BuildsWorkedExampleByteForByte) {
  const uint16_t zone = creer(144, true);
  ASSERT_CODE(0, construire_exemple(zone));
  EXPECT_EQ(donnees_hex(zone), to_hex(exemple_zone()));
  EXPECT_EQ(curseur(zone), "g8+4:132 id515 c12+2:130 n1 cg2 cc3");
  // One byte short: the last field is refused and nothing changes.
  const uint16_t court = creer(143, true);
  EXPECT_CODE(MC_ERR_DEPASSEMENT, construire_exemple(court));
  EXPECT_EQ(donnees_hex(court), "00 01 05 02 41 42 01 43 02 03 00");
  EXPECT_EQ(curseur(court), "g8+3:0 id515 c11+0:0 n0 cg2 cc2");
}

TEST_F(Editing, AddTraces) {
  const uint16_t zone = creer(2, true);
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usAjouterGroupe(zone, 7));
  ASSERT_CODE(0, MC_usRedimensionner(zone, 8));
  EXPECT_CODE(0, MC_usAjouterGroupe(zone, 7));
  EXPECT_CODE(0, MC_usAjouterChamp(zone, octets("x"), 1));
  trace_attendue(trace, "ajouts");
}

TEST_F(Editing, FieldAfterPositioningAtStartOrOnGroupZeroIsRefused) {
  const uint16_t zone = envelopper(exemple_zone(), 10);
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
  const Bytes avant = donnees(zone);
  ASSERT_CODE(0, MC_usAjouterChamp(zone, octets("WXYZ"), 4));  // 125 + 5 = 130
  Bytes attendu = hex("00 09 81 82");
  attendu.insert(attendu.end(), avant.begin() + 3, avant.end());  // the body, shifted by 1
  const Bytes champ = hex("04 57 58 59 5A");
  attendu.insert(attendu.end(), champ.begin(), champ.end());
  EXPECT_EQ(donnees_hex(zone), to_hex(attendu));
  EXPECT_EQ(curseur(zone), "g0+4:130 id9 c129+1:4 n3 cg1 cc3");
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
  EXPECT_EQ(donnees_hex(zone), to_hex(attendu));
  // After group 1 the remainder (136 bytes) is longer than group 1 (10 bytes): it shifts.
  ASSERT_CODE(0, MC_usRechercherGroupe(zone, 1, 1, 0));
  ASSERT_CODE(0, MC_usAjouterGroupe(zone, 0x0405));
  const Bytes groupe = hex("04 05 00");
  attendu.insert(attendu.begin() + 10, groupe.begin(), groupe.end());
  EXPECT_EQ(donnees_hex(zone), to_hex(attendu));
  // Kept: a remainder no longer than the previous group's whole size is overwritten, not shifted.
  const uint16_t court = envelopper(hex("00 01 03 02 41 42 00 02 02 01 43"), 3);
  ASSERT_CODE(0, MC_usAvancerGroupeSuivant(court, 1, 0, nullptr));
  ASSERT_CODE(0, MC_usAjouterGroupe(court, 9));
  EXPECT_EQ(donnees_hex(court), "00 01 03 02 41 42 00 09 00 01 43 00 00 00");
}

TEST_F(Editing, ModifyOverwritesAppendsAndRefuses) {
  const uint16_t zone = envelopper(exemple_zone(), 2);
  EXPECT_CODE(MC_ERR_FIN, MC_usModifierChamp(zone, octets("x"), 0, 1, 1));  // no current field
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 1, 1, 1, 0, nullptr, nullptr));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usModifierChamp(zone, octets("x"), 3, 1, 1));
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usModifierChamp(zone, octets("x"), 2, 1, 0));
  EXPECT_CODE(0, MC_usModifierChamp(zone, octets("x"), 2, 0, 0));  // nothing to write
  EXPECT_CODE(MC_ERR_DEPASSEMENT, MC_usModifierChamp(zone, octets("xyz"), 2, 3, 1));
  trace_attendue(trace, "modifier_refus");
  trace.stop();
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usModifierChamp(zone, nullptr, 0, 1, 0));
  EXPECT_EQ(donnees_hex(zone), to_hex(exemple_zone()));
  ASSERT_CODE(0, MC_usModifierChamp(zone, octets("z"), 1, 1, 0));  // "Az"
  // Growth allowed from the end: appends; neither length class changes.
  ASSERT_CODE(0, MC_usModifierChamp(zone, octets("XY"), 2, 2, 1));
  Bytes attendu = exemple_zone();
  attendu[2] = 0x07;
  attendu[3] = 0x04;
  attendu[5] = 'z';
  const Bytes ajout = hex("58 59");
  attendu.insert(attendu.begin() + 6, ajout.begin(), ajout.end());
  EXPECT_EQ(donnees_hex(zone), to_hex(attendu));
  EXPECT_EQ(curseur(zone), "g0+3:7 id1 c3+1:4 n1 cg1 cc1");
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
  EXPECT_EQ(donnees_hex(zone), to_hex(attendu));
  EXPECT_EQ(curseur(zone), "g0+4:130 id1 c4+2:128 n1 cg1 cc1");
  // Rewritten whole from 0 across a class, the fields read back.
  Bytes nouveau(300);
  for (size_t i = 0; i < nouveau.size(); ++i) {
    nouveau[i] = static_cast<uint8_t>(i * 7);
  }
  const uint16_t grand = creer(400, true);
  for (const char* texte : {"abc", "tail"}) {
    ASSERT_CODE(0, MC_usAjouterGroupe(grand, static_cast<uint16_t>(std::strlen(texte))));
    ASSERT_CODE(0, MC_usAjouterChamp(grand, octets(texte), static_cast<uint32_t>(std::strlen(texte))));
  }
  ASSERT_CODE(0, MC_usRechercherChamp(grand, 3, 1, 1, 0, nullptr, nullptr));
  ASSERT_CODE(0, MC_usModifierChamp(grand, nouveau.data(), 0, 300, 1));
  EXPECT_CODE(0, MC_usControlerSyntaxeZoneMemoire(grand));
  unsigned char* p = nullptr;
  uint32_t longueur = 0;
  ASSERT_CODE(0, MC_usRechercherChamp(grand, 3, 1, 1, 0, &p, &longueur));
  EXPECT_EQ(Bytes(p, p + longueur), nouveau);
  ASSERT_CODE(0, MC_usRechercherChamp(grand, 4, 1, 1, 0, &p, &longueur));
  EXPECT_EQ(Bytes(p, p + longueur), bytes_of("tail"));
}

TEST_F(Editing, ExtractGivesAddressInsideField) {
  const uint16_t zone = envelopper(exemple_zone());
  unsigned char* p = nullptr;
  EXPECT_CODE(MC_ERR_FIN, MC_usExtraireChamp(zone, &p, 0, 0));
  ASSERT_CODE(0, MC_usRechercherChamp(zone, 515, 1, 1, 0, nullptr, nullptr));
  EXPECT_CODE(0, MC_usExtraireChamp(zone, &p, 10, 5));
  EXPECT_EQ(p, z(zone).Buffer + 24);
  EXPECT_CODE(0, MC_usExtraireChamp(zone, &p, 130, 0));
  EXPECT_EQ(p, z(zone).Buffer + 144);  // just past the data
  EXPECT_CODE(MC_ERR_ARGUMENT, MC_usExtraireChamp(zone, nullptr, 0, 0));
  TraceCapture trace({{1, 3, 2}});
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usExtraireChamp(zone, &p, 131, 0));
  EXPECT_CODE(MC_ERR_CHAMP_POSITION, MC_usExtraireChamp(zone, &p, 100, 31));
  trace_attendue(trace, "extraire_refus");
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
  EXPECT_EQ(donnees_hex(zone), "00 01 02 7F 41");
  EXPECT_EQ(donnees_hex(zone2), "00 01 09 00");
}

}  // namespace
}  // namespace mc::test
