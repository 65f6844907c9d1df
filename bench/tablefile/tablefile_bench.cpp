// tablefile_bench.cpp -- the CRC16 of a 64 MiB table file against the bitwise form of the format
// and against zlib's crc32() over the same bytes, and the typed readers, in one run. The closing
// lines print the ratios.
#include <benchmark/benchmark.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "mc.h"
#include "tablefile/mccrc16.h"
#include "tablefile/mccrc.h"

namespace {

constexpr size_t kTaille = 64u * 1024 * 1024;
constexpr size_t kBloc = 64 * 1024;

std::string g_repertoire;
std::vector<uint8_t> g_octets;

std::string chemin(const char* nom) { return g_repertoire + "/" + nom; }

void preparer() {
  char modele[] = "/tmp/mc_bench_tablefile.XXXXXX";
  g_repertoire = mkdtemp(modele);
  g_octets.resize(kTaille);
  std::mt19937_64 gen(20260115);
  for (size_t i = 0; i < kTaille; i += 8) {
    const uint64_t v = gen();
    for (size_t k = 0; k < 8; ++k) g_octets[i + k] = static_cast<uint8_t>(v >> (8 * k));
  }
  FILE* f = fopen(chemin("crc.bin").c_str(), "wb");
  fwrite(g_octets.data(), 1, g_octets.size(), f);
  fclose(f);
}

// The CRC16 one bit at a time, exactly as the format states it.
uint32_t bit_a_bit(uint32_t r, const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i) r = mc::crc16::octet_bit_a_bit(r, p[i]);
  return r;
}

void BM_CRC16_usCalculerCRC16_Fichier(benchmark::State& state) {
  FILE* f = fopen(chemin("crc.bin").c_str(), "rb");
  for (auto _ : state) {
    uint16_t crc = 0;
    if (mc::usCalculerCRC16(f, &crc) != 0) state.SkipWithError("usCalculerCRC16");
    benchmark::DoNotOptimize(crc);
  }
  fclose(f);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

// The bitwise form with the same reads from the same file.
void BM_CRC16_BitABit_Fichier(benchmark::State& state) {
  std::vector<uint8_t> bloc(kBloc);
  FILE* f = fopen(chemin("crc.bin").c_str(), "rb");
  for (auto _ : state) {
    fseek(f, 4, SEEK_SET);
    uint32_t r = 0;
    size_t lus = 0;
    do {
      lus = fread(bloc.data(), 1, bloc.size(), f);
      r = bit_a_bit(r, bloc.data(), lus);
    } while (lus == bloc.size());
    benchmark::DoNotOptimize(r);
  }
  fclose(f);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

// zlib's crc32() with the same reads from the same file.
void BM_Zlib_crc32_Fichier(benchmark::State& state) {
  std::vector<uint8_t> bloc(kBloc);
  FILE* f = fopen(chemin("crc.bin").c_str(), "rb");
  for (auto _ : state) {
    fseek(f, 4, SEEK_SET);
    uLong c = crc32(0L, Z_NULL, 0);
    size_t lus = 0;
    do {
      lus = fread(bloc.data(), 1, bloc.size(), f);
      c = crc32(c, bloc.data(), static_cast<uInt>(lus));
    } while (lus == bloc.size());
    benchmark::DoNotOptimize(c);
  }
  fclose(f);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

// The same three over the bytes in memory: the computation alone.
void BM_CRC16_Tables_Memoire(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(mc::crc16::ajouter(0, g_octets.data() + 4, kTaille - 4));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

void BM_CRC16_BitABit_Memoire(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(bit_a_bit(0, g_octets.data() + 4, kTaille - 4));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

void BM_Zlib_crc32_Memoire(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(crc32(0L, g_octets.data() + 4, static_cast<uInt>(kTaille - 4)));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kTaille - 4));
}

// Typed readers: 1 Mi unsigned shorts and 1 Mi unsigned longs from a table.
void BM_LireValeurs(benchmark::State& state) {
  constexpr uint32_t kNombre = 1u << 20;
  {
    EnteteFichierBinaire e = {};
    snprintf(e.szNomFichier, sizeof e.szNomFichier, "%s", "valeurs.tbx");
    snprintf(e.szCommentaire, sizeof e.szCommentaire, "%s", "bench");
    uint16_t num = 0;
    MC_usCreerFichierBinaire(g_repertoire.c_str(), "valeurs.tbx", 0, &e, &num);
    EnteteTable t = {};
    snprintf(t.szNomTable, sizeof t.szNomTable, "%-10s", "V");
    MC_usEcrireEnteteTable(num, &t);
    for (uint32_t i = 0; i < kNombre; ++i) {
      MC_usEcrireUnsignedShort(num, static_cast<uint16_t>(i));
      MC_usEcrireUnsignedLong(num, i);
    }
    MC_usLibererFichierBinaire(num, nullptr);
  }
  EnteteFichierBinaire e;
  uint16_t num = 0;
  MC_usInitialiserFichierBinaire(g_repertoire.c_str(), "valeurs.tbx", 0, &num, &e);
  for (auto _ : state) {
    EnteteTable t;
    MC_usPositionnerOffset(num, 0, SEEK_SET);
    MC_usRechercherTable(num, "V", &t);
    uint32_t somme = 0;
    for (uint32_t i = 0; i < kNombre; ++i) {
      uint16_t s = 0;
      uint32_t l = 0;
      MC_usLireUnsignedShort(num, &s);
      MC_usLireUnsignedLong(num, &l);
      somme += s + l;
    }
    benchmark::DoNotOptimize(somme);
  }
  MC_usLibererFichierBinaire(num, nullptr);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2 * kNombre);
}

BENCHMARK(BM_CRC16_usCalculerCRC16_Fichier)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CRC16_BitABit_Fichier)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Zlib_crc32_Fichier)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CRC16_Tables_Memoire)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CRC16_BitABit_Memoire)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_Zlib_crc32_Memoire)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_LireValeurs)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's real time per iteration to print the ratios at the end.
class Rapport : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        temps[run.benchmark_name()] = run.GetAdjustedRealTime();
        cpu[run.benchmark_name()] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> temps;
  std::map<std::string, double> cpu;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  preparer();
  Rapport rapport;
  benchmark::RunSpecifiedBenchmarks(&rapport);
  const auto ratio = [](const std::map<std::string, double>& t, const char* a, const char* b) {
    const auto ia = t.find(a);
    const auto ib = t.find(b);
    if (ia == t.end() || ib == t.end()) return -1.0;
    return ib->second / ia->second;
  };
  const char* kFichier = "BM_CRC16_usCalculerCRC16_Fichier/min_time:1.000";
  const char* kBitsFichier = "BM_CRC16_BitABit_Fichier/iterations:3";
  const char* kZlibFichier = "BM_Zlib_crc32_Fichier/min_time:1.000";
  const char* kTables = "BM_CRC16_Tables_Memoire/min_time:1.000";
  const char* kBits = "BM_CRC16_BitABit_Memoire/iterations:3";
  const char* kZlib = "BM_Zlib_crc32_Memoire/min_time:1.000";
  printf("\nRatios (real time, then CPU time):\n");
  printf("usCalculerCRC16 over the 64 MiB file:\n");
  printf("  speed / bitwise form (same reads)   = %6.2fx %6.2fx  (wanted >= 10x)\n",
         ratio(rapport.temps, kFichier, kBitsFichier), ratio(rapport.cpu, kFichier, kBitsFichier));
  printf("  speed / zlib crc32() (same reads)   = %5.1f%% %5.1f%%  (wanted >= 40%%)\n",
         100 * ratio(rapport.temps, kFichier, kZlibFichier), 100 * ratio(rapport.cpu, kFichier, kZlibFichier));
  printf("  speed / zlib crc32() over memory    = %5.1f%% %5.1f%%\n", 100 * ratio(rapport.temps, kFichier, kZlib),
         100 * ratio(rapport.cpu, kFichier, kZlib));
  printf("computation alone, over memory:\n");
  printf("  slicing tables / bitwise form       = %6.2fx %6.2fx\n", ratio(rapport.temps, kTables, kBits),
         ratio(rapport.cpu, kTables, kBits));
  printf("  slicing tables / zlib crc32()       = %5.1f%% %5.1f%%\n", 100 * ratio(rapport.temps, kTables, kZlib),
         100 * ratio(rapport.cpu, kTables, kZlib));
  remove(chemin("crc.bin").c_str());
  remove(chemin("valeurs.tbx").c_str());
  rmdir(g_repertoire.c_str());
  benchmark::Shutdown();
  return 0;
}
