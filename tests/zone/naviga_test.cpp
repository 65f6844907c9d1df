// naviga_test.cpp -- the cursor (the other walks and searches are steps of scenario_test.cpp).
#include <algorithm>

#include "zone_fixture.h"

namespace mc::test {
namespace {

using Cursor = ZoneTest;

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

}  // namespace
}  // namespace mc::test
