#!/usr/bin/env bash
# Builds the documentation as static HTML that works from any folder, into build/site: cookbook, hosts, C reference, a
# page for every operation, and a gallery of the photographs in ../shared/photos or of a drawn one.
#   scripts/docs.sh [PHOTO...]
set -euo pipefail
photos=()
for photo in "$@"; do photos+=("$(realpath "$photo")"); done
cd "$(dirname "$0")/.."
scripts/install.sh build tool docs
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON >/dev/null
cmake --build build/demo --target zel_tool >/dev/null
zel=$PWD/build/demo/zel
pages=build/docs
rm -rf "$pages"
mkdir -p "$pages/gallery"
cp -r docs/. "$pages"
"$zel" docs "$pages/operations"
for header in zel zel_chain; do python3 scripts/docs/reference.py "include/$header.h" >"$pages/$header.md"; done

[ ${#photos[@]} -gt 0 ] || photos=(../shared/photos/*.{png,jpg})
"$zel" sample "$pages/gallery/drawn.png" 2>/dev/null
printf '# Gallery\n\nEvery photograph before and after `auto`, and with what was chosen for it.\n' >"$pages/gallery.md"
for photo in "${photos[@]}" "$pages/gallery/drawn.png"; do
  [ -r "$photo" ] || continue
  name=$(basename "${photo%.*}")
  chosen=$("$zel" "$photo" -o "$pages/gallery/$name-auto.png" --overwrite -v auto 2>&1 | sed -n 's/.*auto chose //p')
  "$zel" compare "$photo" "$pages/gallery/$name-auto.png" -o "$pages/gallery/$name.jpg" --width 480 >/dev/null
  rm -f "$pages/gallery/$name-auto.png"
  printf '\n## %s\n\n`%s`\n\n![%s before and after, a part at full size, histograms](gallery/%s.jpg)\n' \
    "$name" "${chosen:-nothing}" "$name" "$name" >>"$pages/gallery.md"
done
rm -f "$pages/gallery/drawn.png"

sed -i 's|^- Operations: .*|- [Operations](operations/index.md): one page each, with pictures.|' "$pages/index.md"
cat >>"$pages/index.md" <<'END'
- [Gallery](gallery.md): photographs before and after.
- [zel.h](zel.md) and [zel_chain.h](zel_chain.md): every function.
END
mkdocs build --quiet --strict
# Pages opened from a folder may not fetch or start workers: the index comes as a script, and a frame stands for the worker.
npm install --silent --no-save --prefix build/npm iframe-worker >/dev/null
{ cat build/npm/node_modules/iframe-worker/shim/index.js; echo; printf 'var __search = {index: Promise.resolve('
  cat build/site/search/search_index.json; echo ')}'; } >build/site/search/offline.js
# What scrolls must be reachable by keyboard, and a dialog needs a name.
find build/site -name '*.html' -exec sed -i -e 's/<pre><code/& tabindex="0"/g' \
  -e 's/class="md-search" data-md-component="search"/& aria-label="Search"/' \
  -e 's/class="md-search__scrollwrap"/& tabindex="0"/' {} +
echo "Open build/site/index.html"
