// edit_test.cpp -- editing across length classes and the worked example built by the editing
// calls (the other edits are steps of scenario_test.cpp).
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

}  // namespace
}  // namespace mc::test
