// format_bench.cpp -- checks per second of the format control of a zone of 100 groups of 5
// fields, against the syntax control of the same zone; then the heap over many checks.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "mc.h"
#include "dictionary/mctab.h"
#include "runtime/mcmemoir.h"

namespace {

constexpr uint16_t kNbCodes = 10;
constexpr uint16_t kNbGroupes = 100;

// Ten groups of the same five fields: a number, a name, a first name, a date and a code with
// four allowed values.
void charger_dictionnaire() {
  static const char* const kValeurs[] = {"01", "02", "03", "12"};
  // obligatoire, min, max, type, information, first value, values
  static const MC_ChampDictionnaire kChamps[] = {{1, 1, 10, 'N', 0, 0, 0},
                                                 {1, 1, 40, 'A', 0, 0, 0},
                                                 {0, 0, 20, 'L', 0, 0, 0},
                                                 {0, 8, 8, 'D', 0, 0, 0},
                                                 {1, 2, 2, 'N', 0, 0, 4}};
  MC_GroupeDictionnaire groupes[kNbCodes];
  MC_ChampDictionnaire champs[kNbCodes * 5];
  for (uint16_t g = 0; g < kNbCodes; ++g) {
    groupes[g] = {static_cast<uint16_t>(0x0100 + g), static_cast<uint16_t>(g * 5), 5};
    std::memcpy(champs + g * 5, kChamps, sizeof kChamps);
  }
  mc::testing::installer_dictionnaire(groupes, kNbCodes, champs, kNbCodes * 5, kValeurs, 4);
}

uint16_t creer_zone() {
  static const char* const kChamps[] = {"4711", "DUPONT ET FILS", "JEAN", "19800229", "12"};
  uint16_t usZone = 0;
  if (MC_usCreerZoneMemoire(8192, 1, &usZone) != MC_CR_OK) {
    std::abort();
  }
  for (uint16_t g = 0; g < kNbGroupes; ++g) {
    MC_usAjouterGroupe(usZone, static_cast<uint16_t>(0x0100 + g % kNbCodes));
    for (const char* pcChamp : kChamps) {
      MC_usAjouterChamp(usZone, reinterpret_cast<const unsigned char*>(pcChamp),
                        static_cast<uint32_t>(std::strlen(pcChamp)));
    }
  }
  if (MC_usControlerFormatZoneMemoire(usZone) != MC_CR_OK) {
    std::abort();
  }
  return usZone;
}

uint16_t g_usZone = 0;

void BM_ControleSyntaxe(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(MC_usControlerSyntaxeZoneMemoire(g_usZone));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ControleSyntaxe);

void BM_ControleFormat(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(MC_usControlerFormatZoneMemoire(g_usZone));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ControleFormat);

// Keeps each benchmark's CPU time per iteration (the cores are shared) for the ratio.
class Rapporteur : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        temps_[run.benchmark_name()] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  double temps(const std::string& nom) const {
    const auto it = temps_.find(nom);
    return it == temps_.end() ? 0.0 : it->second;
  }

 private:
  std::map<std::string, double> temps_;
};

}  // namespace

int main(int argc, char** argv) {
  // --heap-checks=N: the number of checks of the heap run (one million by default).
  unsigned long ulNbControles = 1000000;
  std::vector<char*> args;
  for (int i = 0; i < argc; ++i) {
    if (std::strncmp(argv[i], "--heap-checks=", 14) == 0) {
      ulNbControles = std::strtoul(argv[i] + 14, nullptr, 10);
    } else {
      args.push_back(argv[i]);
    }
  }
  int nb = static_cast<int>(args.size());
  benchmark::Initialize(&nb, args.data());
  charger_dictionnaire();
  g_usZone = creer_zone();

  Rapporteur rapporteur;
  benchmark::RunSpecifiedBenchmarks(&rapporteur);
  const double syntaxe = rapporteur.temps("BM_ControleSyntaxe");
  const double format = rapporteur.temps("BM_ControleFormat");
  if (syntaxe > 0 && format > 0) {
    std::printf("format control: %.0f checks/s; syntax control: %.0f checks/s; "
                "format / syntax CPU time ratio: %.2f\n",
                1e9 / format, 1e9 / syntaxe, format / syntaxe);
  }

  if (ulNbControles != 0) {
    const struct mallinfo2 avant = mallinfo2();
    const uint32_t ulAllocations = mc::testing::nombre_allocations();
    const uint32_t ulLiberations = mc::testing::nombre_liberations();
    for (unsigned long ul = 0; ul < ulNbControles; ++ul) {
      if (MC_usControlerFormatZoneMemoire(g_usZone) != MC_CR_OK) {
        std::abort();
      }
    }
    const struct mallinfo2 apres = mallinfo2();
    const uint32_t ulBlocs = (mc::testing::nombre_allocations() - ulAllocations) -
                             (mc::testing::nombre_liberations() - ulLiberations);
    std::printf("after %lu checks: heap in use %zu -> %zu bytes, blocks not given back: %u\n",
                ulNbControles, avant.uordblks, apres.uordblks, static_cast<unsigned>(ulBlocs));
  }
  benchmark::Shutdown();
  return 0;
}
