// format_bench.cpp -- checks per second of the format control of a zone of 100 groups of 5
// fields, against the syntax control of the same zone, for dictionaries of 10 to 10,000 groups;
// then the heap over many checks.
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

constexpr uint16_t kNbGroupes = 100;
constexpr uint16_t kPremierCode = 0x0100;
constexpr int64_t kTailles[] = {10, 100, 1000, 10000};

// The zone's groups spread over the whole dictionary, so that a search by position walks it.
uint16_t code_du_groupe(uint16_t usGroupe, uint32_t ulTaille) {
  return static_cast<uint16_t>(kPremierCode + usGroupe * ulTaille / kNbGroupes);
}

// ulTaille groups of the same five fields: a number, a name, a first name, a date and a code
// with four allowed values.
void charger_dictionnaire(uint32_t ulTaille) {
  static const char* const kValeurs[] = {"01", "02", "03", "12"};
  // obligatoire, min, max, type, information, first value, values
  static const MC_ChampDictionnaire kChamps[] = {{1, 1, 10, 'N', 0, 0, 0},
                                                 {1, 1, 40, 'A', 0, 0, 0},
                                                 {0, 0, 20, 'L', 0, 0, 0},
                                                 {0, 8, 8, 'D', 0, 0, 0},
                                                 {1, 2, 2, 'N', 0, 0, 4}};
  std::vector<MC_GroupeDictionnaire> groupes(ulTaille);
  for (uint32_t g = 0; g < ulTaille; ++g) {
    groupes[g] = {static_cast<uint16_t>(kPremierCode + g), 0, 5};
  }
  mc::testing::reset_dictionnaire();
  mc::testing::installer_dictionnaire(groupes.data(), ulTaille, kChamps, 5, kValeurs, 4);
}

// The zone, checked once so that the control gives 0.
uint16_t creer_zone(uint32_t ulTaille) {
  static const char* const kChamps[] = {"4711", "DUPONT ET FILS", "JEAN", "19800229", "12"};
  uint16_t usZone = 0;
  if (MC_usCreerZoneMemoire(8192, 1, &usZone) != MC_CR_OK) {
    std::abort();
  }
  for (uint16_t g = 0; g < kNbGroupes; ++g) {
    MC_usAjouterGroupe(usZone, code_du_groupe(g, ulTaille));
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

void liberer_zone(uint16_t usZone) {
  uint32_t ulTaille = 0;
  unsigned char* pucBuffer = nullptr;
  MC_pucLireBuffer(usZone, &ulTaille, &pucBuffer);
  MC_Liberer(pucBuffer);
  MC_usLibererZoneMemoire(usZone);
}

template <uint16_t (*kControle)(uint16_t)>
void controler(benchmark::State& state) {
  const auto ulTaille = static_cast<uint32_t>(state.range(0));
  charger_dictionnaire(ulTaille);
  const uint16_t usZone = creer_zone(ulTaille);
  for (auto _ : state) {
    benchmark::DoNotOptimize(kControle(usZone));
  }
  state.SetItemsProcessed(state.iterations());
  liberer_zone(usZone);
}

void BM_ControleSyntaxe(benchmark::State& state) { controler<MC_usControlerSyntaxeZoneMemoire>(state); }
void BM_ControleFormat(benchmark::State& state) { controler<MC_usControlerFormatZoneMemoire>(state); }
void tailles(benchmark::internal::Benchmark* b) {
  for (const int64_t n : kTailles) {
    b->Arg(n);
  }
}
BENCHMARK(BM_ControleSyntaxe)->Apply(tailles);
BENCHMARK(BM_ControleFormat)->Apply(tailles);

// Keeps each benchmark's CPU time per iteration (the cores are shared) for the table.
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

// The table of the run, and how far the format control's rate moves with the dictionary's size.
void imprimer_tableau(const Rapporteur& rapporteur) {
  std::printf("\n| dictionary groups | format checks/s | syntax checks/s | format / syntax CPU |\n"
              "|---|---|---|---|\n");
  double dMin = 0;
  double dMax = 0;
  for (const int64_t n : kTailles) {
    const std::string suffixe = "/" + std::to_string(n);
    const double format = rapporteur.temps("BM_ControleFormat" + suffixe);
    const double syntaxe = rapporteur.temps("BM_ControleSyntaxe" + suffixe);
    if (format <= 0 || syntaxe <= 0) {
      continue;
    }
    std::printf("| %lld | %.0f | %.0f | %.2f |\n", static_cast<long long>(n), 1e9 / format,
                1e9 / syntaxe, format / syntaxe);
    dMin = dMin == 0 || format < dMin ? format : dMin;
    dMax = format > dMax ? format : dMax;
  }
  if (dMin > 0) {
    std::printf("format checks/s, fastest / slowest dictionary: %.2f\n", dMax / dMin);
  }
}

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

  Rapporteur rapporteur;
  benchmark::RunSpecifiedBenchmarks(&rapporteur);
  imprimer_tableau(rapporteur);

  if (ulNbControles != 0) {
    charger_dictionnaire(1000);
    const uint16_t usZone = creer_zone(1000);
    const struct mallinfo2 avant = mallinfo2();
    const uint32_t ulAllocations = mc::testing::nombre_allocations();
    const uint32_t ulLiberations = mc::testing::nombre_liberations();
    for (unsigned long ul = 0; ul < ulNbControles; ++ul) {
      if (MC_usControlerFormatZoneMemoire(usZone) != MC_CR_OK) {
        std::abort();
      }
    }
    const struct mallinfo2 apres = mallinfo2();
    const uint32_t ulDemandes = mc::testing::nombre_allocations() - ulAllocations;
    const uint32_t ulRendus = mc::testing::nombre_liberations() - ulLiberations;
    std::printf("after %lu checks: heap in use %zu -> %zu bytes, allocations %u, "
                "blocks not given back %u\n",
                ulNbControles, avant.uordblks, apres.uordblks, static_cast<unsigned>(ulDemandes),
                static_cast<unsigned>(ulDemandes - ulRendus));
    liberer_zone(usZone);
  }
  benchmark::Shutdown();
  return 0;
}
