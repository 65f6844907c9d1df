#!/usr/bin/env bash
# i386.sh -- builds the whole project for 32-bit x86 and runs the whole suite there, then checks
# that both builds write the same table files and traces.
#
# The i386 libraries the build needs come from Debian's archive into a private sysroot under the
# build tree: apt-get runs with its own source list, lists and cache, `apt-get download` fetches
# the packages and `dpkg -x` unpacks them, so the machine's own package set is never touched.
# The 32-bit C library comes from gcc-multilib (scripts/deps.sh); GoogleTest is built with -m32
# from /usr/src/googletest. The sysroot and GoogleTest stay in the build tree for the next run.
# An unreachable archive is a failure, not a skip (scripts/test.sh honours MC_SKIP_I386=1).
#
# Usage: scripts/i386.sh [I386_BUILD_DIR [X86_64_BUILD_DIR]]    (default build-i386 and build)
#        MC_I386_BENCH=1 also fetches the benchmark libraries and builds bench/ for i386.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(realpath -m "${1:-build-i386}")
build64=$(realpath -m "${2:-build}")
jobs=$(nproc 2>/dev/null || echo 2)
deps=$build/i386
sysroot=$deps/sysroot
gtest=$deps/googletest
packages=(libnettle8 libhogweed6 nettle-dev libgmp10 libgmp-dev libssl3 libssl-dev)
bench=OFF
if [[ "${MC_I386_BENCH:-0}" == 1 ]]; then
  packages+=(libbenchmark1debian libbenchmark-dev zlib1g zlib1g-dev)
  bench=ON
fi

# Debian's archive as the machine's own sources name it, and its release.
archive_uri() {
  local uri
  uri=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources \
          2>/dev/null | grep -v '^[[:space:]]*#' | grep -oE 'https?://[^ ]+' | grep -E '/debian/?$' |
        head -n 1 || true)
  echo "${uri:-http://deb.debian.org/debian}"
}

make_sysroot() {
  local suite apt uri
  suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  [[ -n "$suite" ]] || { echo "i386: no release name in /etc/os-release" >&2; exit 1; }
  uri=$(archive_uri)
  apt=$deps/apt
  rm -rf "$apt" "$sysroot"
  mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial" "$apt/parts" "$apt/debs" "$sysroot"
  # Only the main and updates suites: the security suite is left out on purpose, one of its i386
  # indices has been served with a wrong size.
  printf 'deb [arch=i386] %s %s main\n' "$uri" "$suite" "$uri" "$suite-updates" >"$apt/sources.list"
  local opts=(-q -o "Dir::Etc::SourceList=$apt/sources.list" -o "Dir::Etc::SourceParts=$apt/parts"
              -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache=$apt/cache"
              -o "APT::Architectures::=i386" -o "APT::Sandbox::User=root" -o "Debug::NoLocking=1")
  echo "i386: fetching ${packages[*]} from $uri ($suite)"
  if ! apt-get "${opts[@]}" --error-on=any update >"$apt/update.log" 2>&1; then
    cat "$apt/update.log" >&2
    echo "i386: Debian's archive cannot be reached; set MC_SKIP_I386=1 on a machine without it" >&2
    exit 1
  fi
  (cd "$apt/debs" && apt-get "${opts[@]}" download "${packages[@]/%/:i386}")
  for deb in "$apt"/debs/*.deb; do
    dpkg -x "$deb" "$sysroot"
  done
  printf '%s\n' "${packages[@]}" >"$sysroot/.packages"
}

make_googletest() {
  rm -rf "$gtest" "$deps/googletest-build"
  cmake -S /usr/src/googletest -B "$deps/googletest-build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_FLAGS='-m32 -D_FILE_OFFSET_BITS=64' \
        -DCMAKE_CXX_FLAGS='-m32 -D_FILE_OFFSET_BITS=64' -DBUILD_GMOCK=OFF -DINSTALL_GTEST=ON \
        -DCMAKE_INSTALL_PREFIX="$gtest" >/dev/null
  cmake --build "$deps/googletest-build" -j"$jobs"
  cmake --install "$deps/googletest-build" >/dev/null
  rm -rf "$deps/googletest-build"
}

start=$SECONDS
if [[ "$(cat "$sysroot/.packages" 2>/dev/null)" != "$(printf '%s\n' "${packages[@]}")" ]]; then
  make_sysroot
fi
[[ -f "$gtest/lib/cmake/GTest/GTestConfig.cmake" ]] || make_googletest
echo "i386: sysroot and GoogleTest ready ($((SECONDS - start)) s)"

libdir=$sysroot/usr/lib/i386-linux-gnu
flags="-m32 -isystem $sysroot/usr/include/i386-linux-gnu"
export LD_LIBRARY_PATH=$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
PKG_CONFIG_LIBDIR=$libdir/pkgconfig:$sysroot/usr/share/pkgconfig PKG_CONFIG_SYSROOT_DIR=$sysroot \
  cmake -S . -B "$build" -G Ninja -DMC_WERROR=ON -DMC_BUILD_BENCH=$bench \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
        -DCMAKE_PREFIX_PATH="$sysroot/usr" -DCMAKE_LIBRARY_PATH="$libdir" \
        -DGTest_DIR="$gtest/lib/cmake/GTest" -DOPENSSL_ROOT_DIR="$sysroot/usr" \
        -Dbenchmark_DIR="$libdir/cmake/benchmark" >/dev/null
cmake --build "$build" -j"$jobs"
if ! readelf -h "$build/libmc.so" | grep -q 'Machine:.*80386'; then
  echo "i386: $build/libmc.so is not a 32-bit x86 library" >&2
  exit 1
fi
ctest --test-dir "$build" -j"$jobs" --output-on-failure --timeout 600

# The same calls write the same bytes on both builds (sizes of records holding pointers masked).
cmake --build "$build64" --target mc_same_bytes
rm -rf "$build/same_bytes"
mkdir -p "$build/same_bytes/64" "$build/same_bytes/32"
"$build64/tests/abi/mc_same_bytes" "$build/same_bytes/64"
"$build/tests/abi/mc_same_bytes" "$build/same_bytes/32"
if ! diff -r "$build/same_bytes/64" "$build/same_bytes/32"; then
  echo "i386: the two builds wrote different files (above)" >&2
  exit 1
fi
echo "i386: $(ls "$build/same_bytes/32" | wc -l) files identical on both builds ($((SECONDS - start)) s in all)"
