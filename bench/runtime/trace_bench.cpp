// trace_bench.cpp -- what a trace call costs while tracing is off, against a bare pointer test.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "runtime/mctrace.h"

namespace {

// Reference: the loop with one test of a pointer that the optimiser cannot fold away.
void BM_PointerTest(benchmark::State& state) {
  uint32_t value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(mc::g_fichierTrace);
    if (mc::g_fichierTrace != nullptr) {
      ++value;
    }
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_PointerTest);

// The library's trace call in a hot path, tracing off.
void BM_TraceOff(benchmark::State& state) {
  uint32_t value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(mc::g_fichierTrace);
    MC_TRACE(mc::kModule, mc::kTrcZone, MC_TRACE_DETAIL, "valeur = %u", static_cast<unsigned>(value));
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_TraceOff);

// A client calling the exported function directly, tracing off.
void BM_ExportedTraceOff(benchmark::State& state) {
  uint32_t value = 0;
  for (auto _ : state) {
    MC_TraceEcrire(1, 3, MC_TRACE_DETAIL, "valeur = %u", static_cast<unsigned>(value));
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_ExportedTraceOff);

}  // namespace

BENCHMARK_MAIN();
