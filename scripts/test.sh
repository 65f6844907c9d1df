#!/usr/bin/env bash
# test.sh -- installs what is missing, builds everything and runs the whole test suite, first in
# the normal build, then under AddressSanitizer and UndefinedBehaviorSanitizer, then in a 32-bit
# x86 build that must also write the same table files and traces (MC_SKIP_I386=1 leaves it out).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh test
jobs=$(nproc 2>/dev/null || echo 2)

echo "== normal build"
cmake -S . -B build -G Ninja -DMC_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build -j"$jobs" --output-on-failure --timeout 600

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake -S . -B build-asan -G Ninja -DMC_SANITIZE=ON -DMC_WERROR=ON -DMC_BUILD_BENCH=OFF \
      -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build-asan -j"$jobs"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan -j"$jobs" --output-on-failure --timeout 900

if [[ "${MC_SKIP_I386:-0}" == 1 ]]; then
  echo "== i386 build: left out (MC_SKIP_I386=1)"
else
  echo "== i386 build"
  unset ASAN_OPTIONS UBSAN_OPTIONS
  bash scripts/i386.sh build-i386 build
fi
