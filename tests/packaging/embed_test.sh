#!/usr/bin/env bash
# Takes the sources into a project in another folder, by add_subdirectory and by FetchContent from an archive, builds a
# host in C that links the shared and the static libraries, runs it and installs it alone. Usage: embed_test.sh SOURCE_DIR
set -euo pipefail
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$source_dir/tests/packaging/embed" "$work/source"
fail() { echo "FAILED: $*"; exit 1; }

# One build serves both libraries.
configure() {
  cmake -S "$work/source" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_SOURCE="$3" \
    -DHOW="$1" -DLIBRARY="$2" >"$work/log" 2>&1 || { cat "$work/log"; fail "$1: configure"; }
}
host() {
  configure "$@"
  cmake --build "$work/build" --target host >"$work/log" 2>&1 || { tail -40 "$work/log"; fail "$1: $2"; }
  "$work/build/host" | grep -qx '2, 1, 0, 2: result 0, first pixel 3 35 68' || fail "$1: $2: $("$work/build/host")"
}
installs_alone() {
  cmake --install "$work/build" --prefix "$work/prefix" >"$work/log" || { cat "$work/log"; fail "install"; }
  [ "$(cd "$work/prefix" && find . -type f)" = ./bin/host ] || fail "installed: $(cd "$work/prefix" && find . -type f)"
  rm -r "$work/prefix" "$work/build"
}
host subdirectory zel::chain "$source_dir"
host subdirectory zel::chain_static "$source_dir"
installs_alone
# As from a release: the archive is unpacked into the host's own build folder.
tar -czf "$work/zel.tar.gz" -C "$source_dir" --exclude=./build --exclude=./.git --exclude=node_modules .
host fetch zel::chain_static "file://$work/zel.tar.gz"
[ -e "$work/build/_deps/zel-src/include/zel_chain.h" ] || fail "fetch: the sources were not unpacked"
installs_alone
echo "embedding: ok"
