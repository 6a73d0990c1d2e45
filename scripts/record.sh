#!/usr/bin/env bash
# Writes down what is compared later: the ordinals of new functions, what every function and every operation gives, and
# the binary interface. Look at the difference: lines of an old function change for a reason or not at all.
set -euo pipefail
cd "$(dirname "$0")/.."
export XDG_CONFIG_HOME=$PWD/build/no-settings ZEL=$PWD/build/release/zel

# New names get the ordinals after the last one.
def=packaging/zel.def
last=$(sed -n 's/.*@//p' $def | sort -n | tail -1)
for name in $(sed -nE 's/^ZEL_API .*ZEL_CALL ([A-Za-z0-9_]+)\(.*/\1/p' include/zel.h); do
  grep -q " $name " $def || printf '    %-43s @%d\n' "$name" $((++last)) >>$def
done

cmake --preset release >/dev/null
cmake --build build/release
build/release/golden --rewrite tests/golden/digests.txt
python3 tests/tool/examples_test.py --rewrite
tests/packaging/abi_test.sh "$PWD" --rewrite
git --no-pager diff --stat -- $def tests packaging
