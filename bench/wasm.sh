#!/usr/bin/env bash
# The calls of turns.cpp in native code, in node and in Chromium, in turns; see turns.mjs.
#   bench/wasm.sh [REGEX]
set -euo pipefail
cd "$(dirname "$0")/.."
export NODE_PATH=/usr/share/nodejs  # where Debian keeps the modules that emscripten needs
cmake --preset release -DZEL_TESTS=OFF -DZEL_TOOL=OFF -DZEL_PLUGINS=OFF -DZEL_BENCH=ON -B build/bench >/dev/null
cmake --preset page-vectors -DZEL_WEB=OFF -DZEL_BENCH=ON -B build/bench-web >/dev/null
for folder in bench bench-web; do cmake --build build/$folder --target zel_turns >/dev/null; done
node bench/turns.mjs build/bench/zel_turns build/bench-web/zel_turns.wasm "$@"
