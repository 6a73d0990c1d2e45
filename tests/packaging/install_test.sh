#!/usr/bin/env bash
# Installs a build into an empty prefix and builds the examples against it in the three ways that hosts use.
# Usage: install_test.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source_dir=$1
build_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/moved

fail() { echo "FAILED: $*"; exit 1; }

cmake --install "$build_dir" --prefix "$work/prefix" >"$work/install.log" || { cat "$work/install.log"; fail "install"; }
mv "$work/prefix" "$prefix"  # an installed tree may be moved
lib=$(dirname "$(find "$prefix" -name libzel.so)")

check_hosts() {
  LD_LIBRARY_PATH=$lib "$2" | grep -q '^expected refusal: source and destination differ' || fail "$1: C++ host"
  "$3" "$lib/libzel.so" | grep -q '^result 0: 0 0 0 84 171 255 255 255' || fail "$1: C host"
}

cmake -S "$source_dir/examples" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log" &&
  cmake --build "$work/cmake" >>"$work/cmake.log" || { cat "$work/cmake.log"; fail "CMake package"; }
check_hosts "CMake package" "$work/cmake/zel_host_cpp" "$work/cmake/zel_host"

export PKG_CONFIG_PATH=$lib/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++17 "$source_dir/examples/host.cpp" $(pkg-config --cflags --libs zel) -o "$work/host_pc"
cc -std=c99 "$source_dir/examples/host.c" -I"$prefix/include" -ldl -o "$work/host_c"
check_hosts "pkg-config and cc" "$work/host_pc" "$work/host_c"

# Hosts in C alone: the shared libraries, and the archives with what they need.
for library in zel::chain zel::chain_static; do
  cmake -S "$source_dir/tests/packaging/embed" -B "$work/$library" -DHOW=package -DLIBRARY=$library \
    -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log" && cmake --build "$work/$library" >>"$work/cmake.log" ||
    { cat "$work/cmake.log"; fail "CMake package from C: $library"; }
done
# shellcheck disable=SC2046
cc -std=c99 "$source_dir/tests/packaging/embed/host.c" $(pkg-config --cflags --libs zel-chain) -o "$work/host_shared"
# shellcheck disable=SC2046
cc -std=c99 "$source_dir/tests/packaging/embed/host.c" $(pkg-config --static --cflags zel-chain) -Wl,-Bstatic \
  $(pkg-config --static --libs zel-chain | sed 's/-lstdc++ -lm//g') -Wl,-Bdynamic -lstdc++ -lm -o "$work/host_static"
for host in "$work/zel::chain/host" "$work/zel::chain_static/host" "$work/host_shared" "$work/host_static"; do
  LD_LIBRARY_PATH=$lib "$host" | grep -qx '2, 1, 0, 2: result 0, first pixel 3 35 68' || fail "$host"
done
readelf -d "$work/zel::chain_static/host" "$work/host_static" | grep -q libzel && fail "a static host needs libzel"

# The tool comes with its manual page and completion, and finds the library beside it.
if [ -e "$build_dir/zel" ]; then
  [[ $("$prefix/bin/zel" ops) = *smart-contrast* ]] || fail "the installed tool does not run"
  for file in share/man/man1/zel.1 share/bash-completion/completions/zel \
    share/zsh/vendor-completions/_zel share/fish/vendor_completions.d/zel.fish; do
    [ -s "$prefix/$file" ] || fail "$file is missing"
  done
fi

soname=$(objdump -p "$lib/libzel.so" | awk '/SONAME/ { print $2 }')
[ "$soname" = libzel.so.2 ] || fail "SONAME is $soname"

echo "install and hosts: ok"
