#!/usr/bin/env bash
# example.sh -- installs what is missing, builds libmc.so, runs the example client, then tours
# mctool: the dictionary compiled, shown and verified, the example's two zones decoded and checked.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
build=build-example

# The example runs on its own configuration directory inside the build tree, so that it needs no
# root and leaves /usr/local/norba/etc alone.
cmake -S . -B "$build" -G Ninja -DMC_BUILD_TESTS=OFF -DMC_BUILD_BENCH=OFF \
      -DMC_CONFIG_DIR="$PWD/$build/dev/etc" >/dev/null
cmake --build "$build" -j"$jobs" --target mc_exemple mc_dev_dictionary mctool
mkdir -p "$build/run"
(cd "$build/run" && ../examples/mc_exemple)

tour=$build/tour
mkdir -p "$tour"
mctool=$build/tools/mctool
step() { printf '\n$ %s\n' "$*"; "$@" || printf '(exit status %d)\n' "$?"; }
# The example client's two zones, as hex text: the conforming one, and the faulty one whose
# periodicity (group 3, field 3) holds 06.
sed -n 2p tests/tools/zones.txt > "$tour/conforme.hex"
sed -n 4p tests/tools/zones.txt > "$tour/fautive.hex"
echo
echo "==== mctool"
step "$mctool" dict compile dictionary/dev/dictionnaire.dico -o "$tour"
step "$mctool" dict show "$tour/tablebin.tbx" --group 0x0300
step "$mctool" tbx info "$tour/tablebin.tbx"
step "$mctool" tbx verify "$tour/tablebin.tbx"
step "$mctool" zone decode --hex "$tour/conforme.hex"
step "$mctool" zone check --hex "$tour/conforme.hex"
step "$mctool" zone check --hex "$tour/fautive.hex" 2>&1
step "$mctool" code 0x900C
