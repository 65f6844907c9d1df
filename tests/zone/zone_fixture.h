// zone_fixture.h -- the fixture of the zone tests: a clean zone table, the worked two-group zone,
// and the release of every buffer the library allocated for a test.
#ifndef MC_TESTS_ZONE_ZONE_FIXTURE_H
#define MC_TESTS_ZONE_ZONE_FIXTURE_H

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "runtime/mcmemoir.h"
#include "support/mctest.h"
#include "zone/mczone.h"

namespace mc::test {

// The worked example: group 1 with "AB" and "C", group 515 with one field of 130 bytes (0..129).
inline Bytes exemple_donnees_130() {
  Bytes data(130);
  for (size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<uint8_t>(i);
  }
  return data;
}

inline Bytes exemple_zone() {
  Bytes zone = hex("00 01 05 02 41 42 01 43 02 03 81 84 81 82");
  const Bytes data = exemple_donnees_130();
  zone.insert(zone.end(), data.begin(), data.end());
  return zone;
}

class ZoneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    mc::testing::reset_trace();
    mc::testing::reset_zones();
    mc::testing::reset_memoire();
  }

  void TearDown() override {
    mc::testing::reset_trace();
    for (ZoneMemoire* pZone : mc::ZM) {
      if (pZone != nullptr && externes_.count(pZone->Buffer) == 0) {
        MC_Liberer(pZone->Buffer);
      }
    }
    mc::testing::reset_zones();
    mc::testing::reset_memoire();
  }

  // A new zone made by the library; its buffer is given back after the test.
  uint16_t creer(uint32_t taille, bool structuree) {
    uint16_t usZone = 0xFFFF;
    EXPECT_CODE(0, MC_usCreerZoneMemoire(taille, structuree ? 1 : 0, &usZone));
    return usZone;
  }

  // A structured zone wrapping a copy of the bytes, with `marge` more bytes of room.
  uint16_t envelopper(const Bytes& donnees, uint32_t marge = 0) {
    auto& tampon = tampons_.emplace_back(donnees);
    tampon.resize(donnees.size() + marge);
    externes_.insert(tampon.data());
    uint16_t usZone = 0xFFFF;
    EXPECT_CODE(0, MC_usInitialiserZoneMemoireNonPlein(
                       tampon.data(), static_cast<uint32_t>(tampon.size()),
                       static_cast<uint32_t>(donnees.size()), &usZone, 1));
    return usZone;
  }

  static ZoneMemoire& z(uint16_t usZone) { return *mc::ZM[usZone]; }

  // The zone's data bytes.
  static Bytes donnees(uint16_t usZone) {
    const ZoneMemoire& zone = z(usZone);
    return Bytes(zone.Buffer, zone.Buffer + zone.TailleDonnees);
  }

  // A buffer the test owns, not to be released with the zone.
  void externe(const void* p) { externes_.insert(p); }

 private:
  std::vector<Bytes> tampons_;
  std::set<const void*> externes_;
};

// Trace lines with the addresses printed by "%p" replaced by <adr>.
inline std::vector<std::string> sans_adresses(std::vector<std::string> lines) {
  for (std::string& line : lines) {
    for (size_t pos = line.find("0x0x"); pos != std::string::npos; pos = line.find("0x0x", pos)) {
      size_t end = pos + 4;
      while (end < line.size() && std::isxdigit(static_cast<unsigned char>(line[end]))) {
        ++end;
      }
      line.replace(pos, end - pos, "0x<adr>");
    }
  }
  return lines;
}

}  // namespace mc::test

#endif  // MC_TESTS_ZONE_ZONE_FIXTURE_H
