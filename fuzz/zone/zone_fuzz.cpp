// zone_fuzz.cpp -- any bytes wrapped as a structured zone: the syntax control, the walks, the
// searches and a few edits stay inside the zone's buffer and end.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mc.h"
#include "zone/mczone.h"

namespace {

// The first input byte chooses the flags and the room left after the data.
struct Reglage {
  uint32_t parcours;
  uint32_t marge;
  uint16_t identifiant;
};

void parcourir(uint16_t zone, const Reglage& r, uint32_t taille) {
  MC_usControlerSyntaxeZoneMemoire(zone);
  MC_usPositionnerDebut(zone);
  uint32_t nbGroupes = 0;
  while (MC_usAvancerGroupeSuivant(zone, 1, r.parcours, nullptr) == MC_CR_OK) {
    if (++nbGroupes > taille) {
      std::abort();  // a walk that does not move forward
    }
    uint32_t nbChamps = 0;
    unsigned char* p = nullptr;
    uint32_t l = 0;
    while (MC_usAvancerChampSuivant(zone, 1, nullptr, &p, &l) == MC_CR_OK) {
      if (++nbChamps > taille) {
        std::abort();
      }
      if (l != 0) {
        volatile unsigned char dernier = p[l - 1];
        (void)dernier;
      }
    }
  }
  MC_usPositionnerFin(zone, r.parcours);
  for (uint16_t occ = 1; occ <= 3; ++occ) {
    MC_usRechercherGroupe(zone, r.identifiant, occ, r.parcours);
    unsigned char* p = nullptr;
    uint32_t l = 0;
    if (MC_usRechercherChamp(zone, r.identifiant, occ, occ, r.parcours, &p, &l) == MC_CR_OK && l != 0) {
      volatile unsigned char dernier = p[l - 1];
      (void)dernier;
    }
  }
  MC_usPositionnerDebut(zone);
  MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
  for (int i = 0; i < 4; ++i) {
    uint16_t id = 0;
    uint16_t occ = 0;
    if (MC_usLireGroupeSuivant(zone, r.parcours, &id, &occ) != MC_CR_OK) {
      break;
    }
  }
}

// The syntax control leaves the same code and cursor with tracing on (the walk that traces each
// step) as with tracing off (one pass over the lengths).
void comparer_controles(uint16_t zone) {
  MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
  const uint16_t crSansTrace = MC_usControlerSyntaxeZoneMemoire(zone);
  const ZoneMemoire sansTrace = *mc::ZM[zone];
  MC_usActiverTrace("/dev/null", "w", 1, 1, 2);
  MC_usActiverTrace("/dev/null", "w", 1, 3, 2);
  MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr);
  const uint16_t crAvecTrace = MC_usControlerSyntaxeZoneMemoire(zone);
  MC_usActiverTrace("/dev/null", "w", 1, 1, 0);
  if (crSansTrace != crAvecTrace || std::memcmp(&sansTrace, mc::ZM[zone], sizeof sansTrace) != 0) {
    std::abort();
  }
}

void editer(uint16_t zone) {
  static const unsigned char octets[300] = {};
  unsigned char* p = nullptr;
  MC_usModifierChamp(zone, octets, 0, 1, 0);
  MC_usModifierChamp(zone, octets, 1, 200, 1);
  MC_usExtraireChamp(zone, &p, 0, 1);
  MC_usAjouterChamp(zone, octets, 130);
  MC_usAvancerChampSuivant(zone, 1, nullptr, nullptr, nullptr);
  MC_usAjouterGroupe(zone, 7);
  MC_usAjouterChamp(zone, octets, 3);
  MC_usControlerSyntaxeZoneMemoire(zone);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 1u << 16) {
    return 0;
  }
  const uint8_t reglage = data[0];
  const Reglage r{reglage & 1u, (reglage & 2u) != 0 ? 300u : 0u,
                  static_cast<uint16_t>((reglage >> 2) % 4)};
  const auto taille = static_cast<uint32_t>(size - 1);
  const uint32_t tailleBuffer = taille + r.marge == 0 ? 1 : taille + r.marge;
  // An exact-size heap buffer, so that the sanitizer sees a read one byte past it.
  auto* tampon = static_cast<unsigned char*>(std::malloc(tailleBuffer));
  if (tampon == nullptr) {
    return 0;
  }
  std::memset(tampon, 0, tailleBuffer);
  if (taille != 0) {
    std::memcpy(tampon, data + 1, taille);
  }
  uint16_t zone = 0;
  if (MC_usInitialiserZoneMemoireNonPlein(tampon, tailleBuffer, taille, &zone, 1) == MC_CR_OK) {
    if ((reglage & 0x80u) != 0) {
      comparer_controles(zone);
    }
    parcourir(zone, r, taille + 2);
    editer(zone);
    MC_usLibererZoneMemoire(zone);
  }
  std::free(tampon);
  return 0;
}
