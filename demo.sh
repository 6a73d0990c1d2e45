#!/usr/bin/env bash
# Enhances a photograph, or a drawn one, into demo/: ./demo.sh [PHOTO]
# Installs what is missing and builds the tool first.
set -euo pipefail
photo=${1:-}
if [ -n "$photo" ]; then
  [ -r "$photo" ] && [ ! -d "$photo" ] || { echo "demo.sh: $photo cannot be read" >&2; exit 2; }
  photo=$(realpath "$photo")
fi
cd "$(dirname "$0")"

scripts/install.sh build tool
mkdir -p build
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON >build/demo.log 2>&1 &&
  cmake --build build/demo --target zel_tool >>build/demo.log 2>&1 ||
  { tail -30 build/demo.log >&2; exit 1; }
zel=build/demo/zel

mkdir -p demo
if [ -z "$photo" ]; then
  photo=demo/sample.png
  $zel sample $photo --overwrite
fi
$zel "$photo" -o demo/enhanced.png --overwrite \
  light-correct strength=70 smart-contrast strength=40 vivid strength=20
$zel compare "$photo" demo/enhanced.png -o demo/before-after.png --overwrite
$zel sheet "$photo" -o demo/operations.png --overwrite
echo "Look at
  demo/enhanced.png      the photograph, enhanced
  demo/before-after.png  beside the original, with histograms
  demo/operations.png    what every operation does to it"
