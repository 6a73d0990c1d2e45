#!/usr/bin/env bash
# Builds the page and the npm package into build/web: page/ (a folder for any web server), zel.html (one file for
# everything), zel/ (the package). Installs what is missing. Look at it with: npm start --prefix web
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install.sh build tool web
export NODE_PATH=/usr/share/nodejs  # where Debian keeps the modules that emscripten needs
mkdir -p build/log build/web/samples

quietly() {
  "$@" >build/log/page.log 2>&1 || { tail -40 build/log/page.log >&2; exit 1; }
}

for preset in page page-vectors; do
  quietly cmake --preset $preset
  quietly cmake --build build/$preset --target zel_engine
done

# The samples are drawn and spoilt by the tool itself.
zel=${ZEL:-}
if [ -z "$zel" ]; then
  zel=build/demo/zel
  quietly cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON
  quietly cmake --build build/demo --target zel_tool
fi
spoil() {
  local name=$1
  shift
  $zel build/web/samples/drawn.png -o build/web/samples/$name.jpg --overwrite --quality 85 "$@"
}
$zel sample build/web/samples/drawn.png --size 1800x1200 --overwrite
spoil indoor temperature temperature=-55 contrast brightness=-6
spoil fog contrast contrast=-45 brightness=28 hue-saturation saturation=-25
spoil faded contrast contrast=-35 brightness=8 hue-saturation saturation=-40 temperature temperature=-38

cd web
stamp=../build/web/installed
if ! cmp -s package-lock.json $stamp || [ ! -d node_modules ]; then
  npm ci --no-audit --no-fund >../build/log/page.log 2>&1 || { tail -20 ../build/log/page.log >&2; exit 1; }
  cp package-lock.json $stamp
fi
npx tsc
node build.js
echo "Open build/web/zel.html, or run: npm start --prefix web"
