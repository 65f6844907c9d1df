#!/usr/bin/env bash
# deps.sh -- makes sure the Debian packages the build needs are installed.
# Usage: scripts/deps.sh [test]   ("test" adds what the test suite and benchmarks need)
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config binutils libssl-dev libcli11-dev nlohmann-json3-dev)
if [[ "${1:-}" == "test" ]]; then
  packages+=(nettle-dev libgmp-dev libgtest-dev libbenchmark-dev openssl zlib1g-dev gcc-multilib g++-multilib)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "libmc: missing Debian packages: ${missing[*]}" >&2
if [[ $(id -u) -ne 0 ]]; then
  echo "libmc: run as root to install them, or: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq "${missing[@]}"
