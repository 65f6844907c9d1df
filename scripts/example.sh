#!/usr/bin/env bash
# example.sh -- installs what is missing, builds libmc.so and runs the example client.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
build=build-example

# The example runs on its own configuration directory inside the build tree, so that it needs no
# root and leaves /usr/local/norba/etc alone.
cmake -S . -B "$build" -G Ninja -DMC_BUILD_TESTS=OFF -DMC_BUILD_BENCH=OFF \
      -DMC_CONFIG_DIR="$PWD/$build/dev/etc" >/dev/null
cmake --build "$build" -j"$jobs" --target mc_exemple mc_dev_dictionary
mkdir -p "$build/run"
cd "$build/run"
exec ../examples/mc_exemple
