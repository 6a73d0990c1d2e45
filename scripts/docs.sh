#!/usr/bin/env bash
# Builds the documentation as static HTML that works from any folder, into build/site: cookbook, hosts, C reference, a
# page for every operation, and a gallery of the photographs in ../shared/photos or of a drawn one.
#   scripts/docs.sh [PHOTO...]
set -euo pipefail
photos=()
for photo in "$@"; do photos+=("$(realpath "$photo")"); done
cd "$(dirname "$0")/.."
scripts/install.sh build tool docs
zel=${ZEL:-}
if [ -z "$zel" ]; then
  zel=$PWD/build/demo/zel
  cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON >/dev/null
  cmake --build build/demo --target zel_tool >/dev/null
fi
pages=build/docs
rm -rf "$pages"
mkdir -p "$pages/gallery"
cp -r docs/. "$pages"
"$zel" docs "$pages/operations"
for header in zel zel_chain; do python3 scripts/docs/reference.py "include/$header.h" >"$pages/$header.md"; done

# What a photograph shows and where it comes from.
described() {
  case $1 in
    astronaut) echo "Portrait in a space suit|NASA, public domain" ;;
    kodak04) echo "Red hat and pale skin|Kodak PhotoCD PCD0992, released for unrestricted use" ;;
    kodak13) echo "Mountain stream|Kodak PhotoCD PCD0992, released for unrestricted use" ;;
    kodak15) echo "Painted face|Kodak PhotoCD PCD0992, released for unrestricted use" ;;
    kodak21) echo "Lighthouse|Kodak PhotoCD PCD0992, released for unrestricted use" ;;
    kodak22) echo "Red barn at a pond|Kodak PhotoCD PCD0992, released for unrestricted use" ;;
    rocket) echo "Launch at night|SpaceX, CC0" ;;
    drawn) echo "Drawn scene|drawn by \`zel sample\`" ;;
    *) echo "$1|" ;;
  esac
}
[ ${#photos[@]} -gt 0 ] || photos=(../shared/photos/*.{png,jpg})
"$zel" sample "$pages/gallery/drawn.png"
printf '# Gallery\n\nPhotographs before and after `auto`, with what was chosen and why.\n' >"$pages/gallery.md"
for photo in "${photos[@]}" "$pages/gallery/drawn.png"; do
  [ -r "$photo" ] || continue
  name=$(basename "${photo%.*}")
  IFS='|' read -r title origin <<<"$(described "$name")"
  # What was chosen, then why.
  mapfile -t chosen < <("$zel" "$photo" -o "$pages/gallery/after.png" --overwrite -v auto 2>&1 |
    sed -nE 's/^zel: .*auto chose (.*)/\1/p; s/^zel:   (.*)/\1/p')
  "$zel" compare "$photo" "$pages/gallery/after.png" -o "$pages/gallery/$name.jpg" --width 480 >/dev/null
  {
    printf '\n## %s\n\n%s`%s`\n\n' "$title" "${origin:+Origin: $origin. }Chosen: " "${chosen[0]}"
    [ ${#chosen[@]} = 1 ] || printf -- '- %s\n' "${chosen[@]:1}"
    printf '\n![%s: before and after, a part enlarged, histograms](gallery/%s.jpg)\n' "$title" "$name"
  } >>"$pages/gallery.md"
done
rm -f "$pages"/gallery/*.png

sed -i 's|^- Operations: .*|- [Operations](operations/index.md): one page each, with pictures.|' "$pages/index.md"
cat >>"$pages/index.md" <<'END'
- [Gallery](gallery.md): photographs before and after.
- [zel.h](zel.md) and [zel_chain.h](zel_chain.md): every function.
END
{
  cat <<'END'
INHERIT: ../mkdocs.yml
nav:
  - Zel: index.md
  - Enhancing photographs: [cookbook.md, gallery.md, gimp.md, cluster.md]
  - Calling the library: [hosts.md, zel.md, zel_chain.md, python.md]
  - How it works: [performance.md, light-correct.md, aged-photo.md, noise-reduction.md, releases.md]
  - Operations:
      - operations/index.md
      - operations/auto.md
END
  "$zel" ops --json | python3 -c 'import itertools, json, sys
for group, operations in itertools.groupby(json.load(sys.stdin)["operations"], key=lambda o: o["group"]):
    print(f"      - {group}: [" + ", ".join("operations/" + o["name"] + ".md" for o in operations) + "]")'
} >build/mkdocs.yml
mkdocs build --quiet --strict -f build/mkdocs.yml
# Pages opened from a folder may not fetch or start workers: the index comes as a script, and a frame stands for the worker.
npm install --silent --no-save --prefix build/npm iframe-worker >/dev/null
{ cat build/npm/node_modules/iframe-worker/shim/index.js; echo; printf 'var __search = {index: Promise.resolve('
  cat build/site/search/search_index.json; echo ')}'; } >build/site/search/offline.js
# What scrolls must be reachable by keyboard, and a dialog needs a name.
find build/site -name '*.html' -exec sed -i \
  -e 's/class="md-search" data-md-component="search"/& aria-label="Search"/' \
  -e 's/class="md-search__scrollwrap"/& tabindex="0"/' {} +
echo "Open build/site/index.html"
