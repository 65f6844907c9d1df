// edit_test.cpp -- the worked example built by the editing calls, and their traces (the other
// edits are steps of scenario_test.cpp).
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

}  // namespace
}  // namespace mc::test
