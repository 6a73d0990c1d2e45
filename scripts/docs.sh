#!/usr/bin/env bash
# Builds the documentation as static HTML, with a page for every operation, into build/site.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install.sh build tool docs
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON >/dev/null
cmake --build build/demo --target zel_tool >/dev/null
rm -rf build/docs
mkdir -p build/docs
cp -r docs/. build/docs
build/demo/zel docs build/docs/operations
sed -i 's|^- Operations: .*|- [Operations](operations/index.md): one page each, with pictures.|' build/docs/index.md
mkdocs build --quiet --strict
echo "Open build/site/index.html"
