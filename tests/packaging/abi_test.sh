#!/usr/bin/env bash
# Compares the binary interface with its stored description. Usage: abi_test.sh SOURCE_DIR [--rewrite]
# Rewrite the description only together with a new major version, or when functions are added.
set -euo pipefail
source_dir=$1
stored=$source_dir/packaging/libzel.abi
build_dir=$source_dir/build/abi
cmake -S "$source_dir" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ \
  -DZEL_EXAMPLES=OFF >/dev/null
cmake --build "$build_dir" --target zel >/dev/null
describe() {
  abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs "$build_dir/libzel.so" |
    sed "s|path='$source_dir/|path='|"
}
if [ "${2:-}" = --rewrite ]; then
  describe >"$stored"
  exit
fi
describe >"$build_dir/libzel.abi"
abidiff "$stored" "$build_dir/libzel.abi" && echo "binary interface: unchanged"
