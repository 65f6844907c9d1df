#!/bin/sh
# fuzz.sh [seconds [target ...]] -- builds the libFuzzer tree (build-fuzz, clang, ASan + UBSan) and runs every
# fuzz target for the given time (default 600 s) over a copy of its seed corpus, one after the
# other (or only the targets named), then prints one line per target: executions, coverage and whether it found anything.
# Findings stay in build-fuzz/findings/<target>/ (crash-*, leak-*, oom-*, timeout-*).
set -u
cd "$(dirname "$0")/.."
seconds=${1:-600}
[ $# -gt 0 ] && shift
only=" $* "
build=build-fuzz

if [ ! -f "$build/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DMC_BUILD_FUZZERS=ON \
    -DMC_BUILD_TESTS=OFF -DMC_BUILD_BENCH=OFF || exit 1
fi
nice cmake --build "$build" || exit 1

# Each target works in a scratch directory of its own; one that crashes leaves it here.
mkdir -p "$build/tmp"
TMPDIR="$PWD/$build/tmp"
export TMPDIR
summary=""
while read -r name binary corpus; do
  [ -n "$name" ] || continue
  [ "$only" = "  " ] || case "$only" in *" $name "*) ;; *) continue ;; esac
  work="$build/corpora/$name"
  findings="$build/findings/$name"
  log="$build/logs/$name.log"
  mkdir -p "$work" "$findings" "$build/logs"
  cp -R "$corpus"/. "$work"/
  echo "== $name ($seconds s)"
  # -malloc_limit_mb: a crafted input must not make the library ask for more than it could hold.
  nice "$binary" -max_total_time="$seconds" -malloc_limit_mb=64 -timeout=10 \
    -artifact_prefix="$findings/" -print_final_stats=1 "$work" >"$log" 2>&1
  rc=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  if [ "$rc" -eq 0 ]; then result="no finding"; else result="FINDING (exit $rc, see $log)"; fi
  summary="$summary$(printf '%-28s executions %-10s cov %-6s %s' "$name" "${runs:-?}" "${cov:-?}" "$result")
"
done <"$build/fuzz/targets.txt"
printf '\n%s' "$summary"
