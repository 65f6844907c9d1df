#!/usr/bin/env bash
# install_test.sh BUILD_DIR WORK_DIR -- installs the build into a temporary prefix, moves it, then
# builds a C client with pkg-config and a CMake client with find_package(mc 1.0) against it, and
# runs both and the installed mctool.
set -euo pipefail
build=$1
work=$2
rm -rf "$work" && mkdir -p "$work/client"
cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"   # the kit must not depend on the prefix it was installed into
prefix=$work/prefix
libdir=$(dirname "$(find "$prefix" -name 'libmc.so' | head -1)")
for f in include/mc.h bin/mctool share/man/man1/mctool.1 share/mc/norba.ini share/mc/dictionnaire.dico; do
  test -f "$prefix/$f" || { echo "missing $f"; exit 1; }
done

cat > "$work/client/client.c" <<'C'
#include <mc.h>
#include <stdio.h>
int main(void) {
  printf("%u %d %d\n", (unsigned)MC_stCalculerTailleLongueur(255), (int)MC_bEstNumerique("0123"),
         (int)MC_bEstNumerique(NULL));
  return MC_ERR_CONTROLE == 0xF630u && MC_TRC_TABLES == 7u ? 0 : 1;
}
C
cat > "$work/client/CMakeLists.txt" <<'C'
cmake_minimum_required(VERSION 3.16)
project(client C)
find_package(mc 1.0 REQUIRED)
add_executable(client client.c)
target_link_libraries(client PRIVATE mc::mc)
C
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# CC and CFLAGS: the build's compiler and flags; the CMake client takes them from the environment.
${CC:-cc} -std=c99 -Wall -Werror ${CFLAGS:-} "$work/client/client.c" $(pkg-config --cflags --libs mc) -o "$work/pc_client"
cmake -S "$work/client" -B "$work/client/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/client/build" >/dev/null
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
test "$("$work/pc_client")" = "3 1 0"
test "$("$work/client/build/client")" = "3 1 0"
"$prefix/bin/mctool" dict compile "$prefix/share/mc/dictionnaire.dico" -o "$work"
"$prefix/bin/mctool" tbx info "$work/tablebin.tbx" | grep -q "the CRC matches"
"$prefix/bin/mctool" key gen "$work/k.key"
test "$(stat -c %a "$work/k.key")" = 600
echo "install test passed"
