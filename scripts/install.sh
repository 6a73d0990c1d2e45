#!/usr/bin/env bash
# Installs the Debian packages of the named groups, those that are missing. Quick and offline when none is.
#   scripts/install.sh build tool      what ./demo.sh needs
set -euo pipefail

packages() {
  case $1 in
    build) echo cmake ninja-build g++ pkg-config ;;
    tool) echo libvips-dev libcli11-dev nlohmann-json3-dev fonts-dejavu-core shared-mime-info ;;
    test) echo libgtest-dev clang clang-format python3 ffmpeg opencolorio-tools ;;
    windows) echo g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine64 llvm-14 ;;
    csharp) echo mono-mcs mono-runtime libmono-corlib4.5-cil ;;
    shells) echo zsh fish ;;
    fuzz) echo libclang-rt-14-dev ;;
    platforms) echo g++-12-multilib lld libc6-dev-arm64-cross libstdc++-12-dev-arm64-cross qemu-user emscripten nodejs valgrind ;;
    web) echo emscripten nodejs; command -v npm >/dev/null || echo npm ;;
    browsers) echo chromium firefox-esr ;;
    coverage) echo llvm-14 ;;
    packaging) echo dpkg-dev file abigail-tools binutils ;;
    bench) echo libbenchmark-dev libopencv-dev libopencolorio-dev libvips-dev libgegl-dev ffmpeg gnuplot-nox python3 ;;
    cycles) echo clang llvm-19 ;;
    python) echo python3-cffi python3-numpy python3-setuptools python3-wheel python3-build python3-venv python3-dev python3-distributed python3-boto3 mypy python3-pil python3-opencv python3-skimage python3-imageio python3-matplotlib python3-pytest python3-psutil ;;
    gegl) echo gegl libgegl-dev nlohmann-json3-dev python3-pil ;;
    gimp) echo gimp libgimp2.0-dev xvfb xdotool imagemagick openbox ;;
    release) echo debhelper dpkg-dev libgimp2.0-dev lintian mmdebstrap zip ;;
    tools) echo libvips-tools imagemagick gegl openimageio-tools time ;;
    docs) echo mkdocs mkdocs-material man-db chromium nodejs python3; command -v npm >/dev/null || echo npm ;;
    *) return 1 ;;
  esac
}

if [ $# = 0 ]; then
  sed -n '2,3s/^# //p' "$0" >&2
  exit 2
fi

missing=()
for group in "$@"; do
  wanted=$(packages "$group") || { echo "install.sh: unknown group $group" >&2; exit 2; }
  for package in $wanted; do
    state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
  done
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing ${missing[*]}"
root=()
if [ "$(id -u)" != 0 ]; then
  command -v sudo >/dev/null || { echo "install.sh: as root, run: apt-get install ${missing[*]}" >&2; exit 1; }
  root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${root[@]}" apt-get update -qq
"${root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
