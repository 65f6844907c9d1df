// scenario_test.cpp -- walks, searches and edits of structured zones run from zone/scenarios.cases:
// each step's code and outputs, then the zone's bytes and cursor, and the trace when named.
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

using Scenario = ZoneTest;

TEST_F(Scenario, StepsGiveTheirCodesOutputsBytesAndCursor) {
  for (const Case& c : read_cases("zone/scenarios.cases")) {
    SCOPED_TRACE(c.where + " " + c[0]);
    const Bytes depart = c[1] == "exemple" ? exemple_zone() : hex(c[1]);
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
    EXPECT_EQ(c[4] == "=" ? to_hex(depart) : c[4], donnees_hex(zone));
    EXPECT_EQ(curseur(zone), c[5]);
    if (trace) {
      trace_attendue(*trace, c[6]);
    }
  }
}

}  // namespace
}  // namespace mc::test
