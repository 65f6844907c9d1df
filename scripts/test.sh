#!/usr/bin/env bash
# test.sh -- installs what is missing, builds everything and runs the whole test suite, first in
# the normal build, then under AddressSanitizer and UndefinedBehaviorSanitizer, then in a 32-bit
# x86 build that must also write the same table files and traces (MC_SKIP_I386=1 leaves it out).
# The normal build's test programs also run once whole with their tests in a shuffled order
# (MC_SHUFFLE_SEED=n repeats an order). The last line says which builds passed.
set -euo pipefail
cd "$(dirname "$0")/.."

root="$PWD"
passed=()
current=""
summary() {
  local status=$?
  local list="${passed[*]:-none}"
  if [[ $status -eq 0 ]]; then
    echo "== test.sh: passed: ${list// /, }"
  else
    echo "== test.sh: FAILED in: ${current:-set-up}; passed before it: ${list// /, }"
  fi
}
trap summary EXIT

bash scripts/deps.sh test
jobs=$(nproc 2>/dev/null || echo 2)

echo "== normal build"
current="normal"
cmake -S . -B build -G Ninja -DMC_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build -j"$jobs" --output-on-failure --timeout 600
passed+=("normal")

# Each GoogleTest program whole, its tests in one shuffled order: a test that leans on state
# another left behind fails here.
current="normal-shuffled"
seed="${MC_SHUFFLE_SEED:-$((RANDOM % 100000 + 1))}"
echo "== normal build, tests shuffled (seed $seed; MC_SHUFFLE_SEED=$seed repeats this order)"
# The programs CTest knows now (a reused build tree may hold programs of targets since removed).
for include in $(grep -ho '"[^"]*\[1\]_include\.cmake"' build/tests/*/CTestTestfile.cmake | tr -d '"'); do
  program="${include%\[1\]_include.cmake}"
  echo "-- $program"
  (cd "$(dirname "$program")" && MC_TEST_ROOT="$root" timeout 900 \
     "./$(basename "$program")" --gtest_shuffle --gtest_random_seed="$seed" --gtest_brief=1)
done
passed+=("normal-shuffled")

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
current="asan+ubsan"
cmake -S . -B build-asan -G Ninja -DMC_SANITIZE=ON -DMC_WERROR=ON -DMC_BUILD_BENCH=OFF \
      -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build build-asan -j"$jobs"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan -j"$jobs" --output-on-failure --timeout 900
passed+=("asan+ubsan")

if [[ "${MC_SKIP_I386:-0}" == 1 ]]; then
  echo "== i386 build: left out (MC_SKIP_I386=1)"
else
  echo "== i386 build"
  current="i386"
  unset ASAN_OPTIONS UBSAN_OPTIONS
  bash scripts/i386.sh build-i386 build
  passed+=("i386")
fi
