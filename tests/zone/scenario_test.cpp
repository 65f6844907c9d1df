// scenario_test.cpp -- the cursor and the edits: walks, searches and edits of structured zones run
// from zone/scenarios.cases (each step's code and outputs, then the zone's bytes and cursor, and
// the trace when named), and the occurrence round of identifier 0.
#include <algorithm>
#include <sstream>

#include "zone_fixture.h"

namespace mc::test {
namespace {

// One step "OP args": its code and outputs as one text, "F805 id0 n1 l130 @14" (hex code; @ is
// the handed-out address as an offset in the buffer, - for none).
std::string pas(uint16_t zone, const std::string& texte) {
  std::istringstream in(texte);
  std::string op;
  in >> op;
  std::vector<uint32_t> a;
  for (std::string mot; in >> mot;) {
    a.push_back(static_cast<uint32_t>(number(mot)));
  }
  a.resize(4, 0);
  auto u16 = [&](size_t i) { return static_cast<uint16_t>(a[i]); };
  uint16_t id = 0;
  uint16_t n = 0;
  uint32_t l = 0;
  unsigned char* p = nullptr;
  uint16_t cr = 0;
  std::ostringstream os;
  const Bytes octets(a[1] + 1, static_cast<uint8_t>(a[0]));  // a[1] bytes of value a[0]
  if (op == "G") {  // count parcours
    cr = MC_usAvancerGroupeSuivant(zone, u16(0), a[1], &id);
    os << " id" << id;
  } else if (op == "C") {  // count
    cr = MC_usAvancerChampSuivant(zone, u16(0), &n, &p, &l);
    os << " n" << n << " l" << l;
  } else if (op == "D") {
    cr = MC_usPositionnerDebut(zone);
  } else if (op == "F") {  // parcours
    cr = MC_usPositionnerFin(zone, a[0]);
  } else if (op == "E") {  // the end tests of zone, data and group: + or -
    os << " ";
    for (auto test : {MC_usFinZone, MC_usFinDonnees, MC_usFinGroupe}) {
      test(zone, &l);
      os << (l != 0 ? "+" : "-");
    }
  } else if (op == "RG") {  // id occurrence parcours
    cr = MC_usRechercherGroupe(zone, u16(0), u16(1), a[2]);
  } else if (op == "RS") {  // id occurrence parcours
    cr = MC_usRechercherGroupeSuivant(zone, u16(0), u16(1), a[2]);
  } else if (op == "RC") {  // id occurrence number
    cr = MC_usRechercherChamp(zone, u16(0), u16(1), u16(2), 0, &p, &l);
    os << " l" << l;
  } else if (op == "L") {  // parcours
    n = 99;
    cr = MC_usLireGroupeSuivant(zone, a[0], &id, &n);
    os << " id" << id << " occ" << n;
  } else if (op == "AG") {  // id
    cr = MC_usAjouterGroupe(zone, u16(0));
  } else if (op == "AC") {  // byte count
    cr = MC_usAjouterChamp(zone, octets.data(), a[1]);
  } else if (op == "M") {  // byte count position growth
    cr = MC_usModifierChamp(zone, octets.data(), a[2], a[1], a[3]);
  } else if (op == "X") {  // position length
    cr = MC_usExtraireChamp(zone, &p, a[0], a[1]);
  } else if (op == "S") {
    cr = MC_usControlerSyntaxeZoneMemoire(zone);
  } else {
    ADD_FAILURE() << "unknown step " << op;
  }
  std::ostringstream out;
  out << std::hex << std::uppercase << cr << os.str();
  if (op == "C" || op == "RC" || op == "X") {
    out << " @" << std::dec;
    p == nullptr ? out << "-" : out << p - mc::ZM[zone]->Buffer;
  }
  return out.str();
}

// Hex bytes where "5A*123" stands for 123 bytes 0x5A.
Bytes octets_hex(const std::string& texte) {
  std::istringstream in(texte);
  std::string tout;
  for (std::string mot; in >> mot;) {
    const size_t etoile = mot.find('*');
    for (int64_t i = 0; i < (etoile == std::string::npos ? 1 : number(mot.substr(etoile + 1))); ++i) {
      tout += mot.substr(0, 2);
    }
  }
  return hex(tout);
}

using Scenario = ZoneTest;

TEST_F(Scenario, StepsGiveTheirCodesOutputsBytesAndCursor) {
  for (const Case& c : read_cases("zone/scenarios.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    const Bytes depart = c[1] == "exemple" ? exemple_zone() : octets_hex(c[1]);
    const uint16_t zone = envelopper(depart, static_cast<uint32_t>(number(c[2])));
    std::unique_ptr<TraceCapture> trace(c[6] == "-" ? nullptr : new TraceCapture({{1, 3, 2}}));
    std::istringstream etapes(c[3]);
    for (std::string etape; std::getline(etapes, etape, ';');) {
      const size_t fleche = etape.find("->");
      ASSERT_NE(fleche, std::string::npos) << etape;
      std::istringstream attendu(etape.substr(fleche + 2));
      std::string mot;
      std::string texte;
      while (attendu >> mot) {
        texte += (texte.empty() ? "" : " ") + mot;
      }
      EXPECT_EQ(pas(zone, etape.substr(0, fleche)), texte) << etape;
    }
    EXPECT_EQ(to_hex(c[4] == "=" ? depart : octets_hex(c[4])), donnees_hex(zone));
    EXPECT_EQ(curseur(zone), c[5]);
    if (trace) {
      trace_attendue(*trace, c[6]);
    }
    MC_usLibererZoneMemoire(zone);
  }
}

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
