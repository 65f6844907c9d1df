// zone_bench.cpp -- the syntax control and a full walk of a 1 MiB zone of 10-byte fields in
// 5-field groups, each against a minimal loop that decodes the same lengths over the same bytes
// in the same run; and the cost per field of building zones of 1k, 10k and 100k fields.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>

#include "mc.h"
#include "zone/mczone.h"

namespace {

constexpr uint32_t kTailleZone = 1u << 20;
constexpr uint32_t kChampsParGroupe = 5;
constexpr uint32_t kTailleChamp = 10;

// Builds groups of 5 fields of 10 bytes until the next group would not fit; the field count.
uint32_t construire(uint16_t zone, uint32_t ulNbChampsMax) {
  unsigned char donnees[kTailleChamp];
  std::memset(donnees, 'x', sizeof donnees);
  const uint32_t ulTailleGroupe =
      MC_stCalculerTailleGroupe2(kChampsParGroupe * MC_stCalculerTailleChamp(kTailleChamp));
  uint32_t ulNbChamps = 0;
  const ZoneMemoire& z = *mc::ZM[zone];
  while (ulNbChamps + kChampsParGroupe <= ulNbChampsMax &&
         z.TailleDonnees + ulTailleGroupe <= z.TailleBuffer) {
    MC_usAjouterGroupe(zone, static_cast<uint16_t>(1 + ulNbChamps % 7));
    for (uint32_t i = 0; i < kChampsParGroupe; ++i) {
      MC_usAjouterChamp(zone, donnees, kTailleChamp);
    }
    ulNbChamps += kChampsParGroupe;
  }
  return ulNbChamps;
}

// The reference: the same lengths decoded over the same bytes, with no cursor, check or trace.
inline uint32_t lire_longueur(const unsigned char* p, uint32_t& pos) {
  const uint32_t b = p[pos++];
  if (b <= 0x80) {
    return b;
  }
  uint32_t v = 0;
  for (uint32_t n = b & 0x7F; n != 0; --n) {
    v = (v << 8) | p[pos++];
  }
  return v;
}

uint64_t boucle_minimale(const unsigned char* p, uint32_t taille) {
  uint64_t somme = 0;
  uint32_t pos = 0;
  while (pos < taille) {
    pos += 2;
    const uint32_t lg = lire_longueur(p, pos);
    const uint32_t fin = pos + lg;
    while (pos < fin) {
      const uint32_t lc = lire_longueur(p, pos);
      somme += lc;
      pos += lc;
    }
  }
  return somme;
}

struct Zone1Mo {
  uint16_t zone = 0;
  uint32_t nbChamps = 0;
  Zone1Mo() {
    MC_usCreerZoneMemoire(kTailleZone, 1, &zone);
    nbChamps = construire(zone, UINT32_MAX);
  }
  ~Zone1Mo() {
    uint32_t taille = 0;
    unsigned char* buffer = nullptr;
    MC_pucLireBuffer(zone, &taille, &buffer);
    MC_Liberer(buffer);
    MC_usLibererZoneMemoire(zone);
  }
};

uint64_t parcourir(uint16_t zone) {
  uint64_t somme = 0;
  MC_usPositionnerDebut(zone);
  while (MC_usAvancerGroupeSuivant(zone, 1, 0, nullptr) == MC_CR_OK) {
    unsigned char* p = nullptr;
    uint32_t l = 0;
    while (MC_usAvancerChampSuivant(zone, 1, nullptr, &p, &l) == MC_CR_OK) {
      somme += l;
    }
  }
  return somme;
}

// Runs the reference and the measured operation in turn, reports the operation's time and the
// ratio of the two totals.
template <typename Operation>
void mesurer_contre_reference(benchmark::State& state, const Zone1Mo& z, Operation operation) {
  const ZoneMemoire& d = *mc::ZM[z.zone];
  double secondesReference = 0;
  double secondesOperation = 0;
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(boucle_minimale(d.Buffer, d.TailleDonnees));
    const auto t1 = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(operation());
    const auto t2 = std::chrono::steady_clock::now();
    secondesReference += std::chrono::duration<double>(t1 - t0).count();
    const double secondes = std::chrono::duration<double>(t2 - t1).count();
    secondesOperation += secondes;
    state.SetIterationTime(secondes);
  }
  state.counters["ratio"] = secondesOperation / secondesReference;
  state.counters["ns_reference"] = 1e9 * secondesReference / static_cast<double>(state.iterations());
  state.counters["champs"] = z.nbChamps;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * d.TailleDonnees);
}

void BM_ControleSyntaxe(benchmark::State& state) {
  const Zone1Mo z;
  if (MC_usControlerSyntaxeZoneMemoire(z.zone) != MC_CR_OK) {
    state.SkipWithError("zone not well formed");
    return;
  }
  mesurer_contre_reference(state, z, [&] { return MC_usControlerSyntaxeZoneMemoire(z.zone); });
}
BENCHMARK(BM_ControleSyntaxe)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_ParcoursComplet(benchmark::State& state) {
  const Zone1Mo z;
  mesurer_contre_reference(state, z, [&] { return parcourir(z.zone); });
}
BENCHMARK(BM_ParcoursComplet)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_Construction(benchmark::State& state) {
  const auto ulNbChamps = static_cast<uint32_t>(state.range(0));
  const uint32_t ulTaille = ulNbChamps / kChampsParGroupe *
                            MC_stCalculerTailleGroupe2(kChampsParGroupe * MC_stCalculerTailleChamp(kTailleChamp));
  double secondes = 0;
  for (auto _ : state) {
    uint16_t zone = 0;
    MC_usCreerZoneMemoire(ulTaille, 1, &zone);
    const auto t0 = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(construire(zone, ulNbChamps));
    const auto t1 = std::chrono::steady_clock::now();
    const double s = std::chrono::duration<double>(t1 - t0).count();
    secondes += s;
    state.SetIterationTime(s);
    uint32_t taille = 0;
    unsigned char* buffer = nullptr;
    MC_pucLireBuffer(zone, &taille, &buffer);
    MC_Liberer(buffer);
    MC_usLibererZoneMemoire(zone);
  }
  // Linear building keeps this flat from 1k to 100k fields.
  state.counters["ns_par_champ"] =
      1e9 * secondes / (static_cast<double>(ulNbChamps) * static_cast<double>(state.iterations()));
}
BENCHMARK(BM_Construction)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
