#!/usr/bin/env bash
# check_32bit.sh -- the library's sources and the public header compile for 32-bit x86 without a
# warning. The signature unit is left out: GMP's header is per architecture.
# Usage: check_32bit.sh SOURCE_DIR CXX CC    (exit 77, "skipped", when -m32 is not available)
set -u
src=$1 cxx=$2 cc=$3
cd "$src" || exit 1
if ! echo 'int main(void) { return 0; }' | "$cc" -m32 -x c - -o /dev/null 2>/dev/null; then
  echo "no 32-bit toolchain (g++-multilib): skipped"
  exit 77
fi
status=0
flags=(-m32 -std=c++20 -Wall -Wextra -Wformat=2 -Wshadow -Werror -Iinclude -I.
       -DMC_BUILDING_LIBRARY '-DMC_REPERTOIRE_CONFIG="/usr/local/norba/etc"' -fsyntax-only)
for f in runtime/*.cpp zone/*.cpp tablefile/*.cpp dictionary/*.cpp config/*.cpp checks/*.cpp; do
  [[ "$f" == tablefile/mcsign.cpp ]] && continue
  "$cxx" "${flags[@]}" "$f" || { echo "32-bit: $f"; status=1; }
done
"$cc" -m32 -std=c99 -Wall -Wextra -Wpedantic -Werror -Iinclude '-DMC_TEST_TMP_DIR="/tmp"' \
      -fsyntax-only tests/abi/c99_header.c || { echo "32-bit: tests/abi/c99_header.c"; status=1; }
[[ $status -eq 0 ]] && echo "32-bit x86: library sources and public records compile cleanly"
exit $status
