// zone_fixture.h -- the one fixture of the zone tests: a clean zone table, trace and allocation
// counters, the worked two-group zone, the cursor as one line, and the release of every buffer
// the library allocated for a test.
#ifndef MC_TESTS_ZONE_ZONE_FIXTURE_H
#define MC_TESTS_ZONE_ZONE_FIXTURE_H

#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/mcmemoir.h"
#include "support/mctest.h"
#include "zone/mczone.h"

namespace mc::test {

// The worked example: group 1 with "AB" and "C", group 515 with one field of 130 bytes (0..129).
inline Bytes exemple_zone() {
  Bytes zone = hex("00 01 05 02 41 42 01 43 02 03 81 84 81 82");
  for (int i = 0; i < 130; ++i) {
    zone.push_back(static_cast<uint8_t>(i));
  }
  return zone;
}

inline const unsigned char* octets(const char* texte) {
  return reinterpret_cast<const unsigned char*>(texte);
}

class ZoneTest : public ::testing::Test {
 protected:
  void SetUp() override { reinitialiser(); }
  void TearDown() override { vider(); }
  // Gives back the buffers the library allocated, then resets the table, trace and counters.
  void vider() {
    for (ZoneMemoire* pZone : mc::ZM) {
      if (pZone != nullptr && externes_.count(pZone->Buffer) == 0) {
        MC_Liberer(pZone->Buffer);
      }
    }
    reinitialiser();
  }
  static void reinitialiser() {
    mc::testing::reset_trace();
    mc::testing::reset_zones();
    mc::testing::reset_memoire();
  }

  // A new zone made by the library; its buffer is given back after the test.
  uint16_t creer(uint32_t taille, bool structuree) {
    uint16_t usZone = 0xFFFF;
    EXPECT_CODE(0, MC_usCreerZoneMemoire(taille, structuree ? 1 : 0, &usZone));
    return usZone;
  }

  // A structured zone wrapping an exact-size heap copy of the bytes (so that the sanitizer sees
  // a read past it), with `marge` more bytes of room.
  uint16_t envelopper(const Bytes& donnees, uint32_t marge = 0) {
    const size_t taille = donnees.size() + marge == 0 ? 1 : donnees.size() + marge;
    tampons_.emplace_back(new unsigned char[taille]());
    std::copy(donnees.begin(), donnees.end(), tampons_.back().get());
    externe(tampons_.back().get());
    uint16_t usZone = 0xFFFF;
    EXPECT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(tampons_.back().get(),
                                                       static_cast<uint32_t>(taille),
                                                       static_cast<uint32_t>(donnees.size()), &usZone, 1));
    return usZone;
  }

  static ZoneMemoire& z(uint16_t usZone) { return *mc::ZM[usZone]; }
  static Bytes donnees(uint16_t usZone) {
    return Bytes(z(usZone).Buffer, z(usZone).Buffer + z(usZone).TailleDonnees);
  }
  static std::string donnees_hex(uint16_t usZone) { return to_hex(donnees(usZone)); }

  // The cursor: "g<offset>+<header>:<length> id<identifier> c<offset>+<length size>:<length>
  // n<field number> cg<group counter> cc<field counter>".
  static std::string curseur(uint16_t usZone) {
    const ZoneMemoire& c = z(usZone);
    std::ostringstream os;
    os << "g" << c.OffsetGroupe << "+" << c.TailleEnteteGroupe << ":" << c.LongueurGroupe << " id"
       << c.IdentifiantGroupe << " c" << c.OffsetChamp << "+" << c.TailleLongueurChamp << ":"
       << c.LongueurChamp << " n" << c.NumeroChamp << " cg" << c.CompteurGroupe << " cc" << c.CompteurChamp;
    return os.str();
  }

  // A buffer the test owns, not to be released with the zone.
  void externe(const void* p) { externes_.insert(p); }

 private:
  std::vector<std::unique_ptr<unsigned char[]>> tampons_;
  std::set<const void*> externes_;
};

// The trace so far, addresses printed by "%p" shown as 0x<adr>, one '\n' after each line.
inline std::string texte(const TraceCapture& trace) {
  std::string out;
  for (std::string ligne : trace.lines()) {
    for (size_t pos = ligne.find("0x0x"); pos != std::string::npos; pos = ligne.find("0x0x", pos)) {
      size_t fin = pos + 4;
      while (fin < ligne.size() && std::isxdigit(static_cast<unsigned char>(ligne[fin]))) {
        ++fin;
      }
      ligne.replace(pos, fin - pos, "0x<adr>");
    }
    out += ligne + "\n";
  }
  return out;
}

// A named block of zone/traces.golden.
inline std::string bloc(const std::string& nom) {
  for (const auto& [n, t] : read_blocks("zone/traces.golden")) {
    if (n == nom) {
      return t;
    }
  }
  ADD_FAILURE() << "no block " << nom;
  return {};
}

// The trace so far against a named block of zone/traces.golden.
inline void trace_attendue(const TraceCapture& trace, const std::string& nom) {
  EXPECT_EQ(texte(trace), bloc(nom)) << nom;
}

}  // namespace mc::test

#endif  // MC_TESTS_ZONE_ZONE_FIXTURE_H
