#!/usr/bin/env bash
# Makes everything that is handed out, from the committed tree: scripts/release.sh [OUTPUT-FOLDER]
# Source archive, Debian packages, Windows archives, npm package, Python wheel, checksums, bill of materials, notes.
# The same commit gives the same bytes. Installs what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(realpath -m "${1:-dist}")
[ ! -e "$out" ] || [ -z "$(ls -A "$out")" ] || { echo "release.sh: $out is not empty" >&2; exit 2; }
mkdir -p "$out"

scripts/install.sh build tool windows gegl release python web
version=$(sed -nE 's/^project\(zel VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
# Settings of the person who releases must not show.
export LC_ALL=C TZ=UTC
umask 022
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
step() { echo "release.sh: $*"; }
# quietly COMMAND...: its output only when it fails.
quietly() { "$@" >"$work/log" 2>&1 || { tail -30 "$work/log" >&2; echo "release.sh: failed: $*" >&2; exit 1; }; }

step "source archive"
git archive --format=tar --prefix="zel-$version/" HEAD | gzip -n9 >"$out/zel-$version-source.tar.gz"
tar -xf "$out/zel-$version-source.tar.gz" -C "$work"
tree=$work/zel-$version

step "Debian packages"
scripts/deb.sh "$out"

for system in windows-x64 windows-x86; do
  step "archive for $system"
  (cd "$tree" && quietly cmake --preset $system -DZEL_TESTS=OFF && quietly cmake --build build/$system &&
    quietly cmake --install build/$system --prefix "$work/$system/zel-$version")
  find "$work/$system" -exec touch -d "@$SOURCE_DATE_EPOCH" {} +
  (cd "$work/$system" && find "zel-$version" | sort | TZ=UTC zip -q -X -9 -@ "$out/zel-$version-$system.zip")
done

step "npm package, page, Python wheel"
# Paths of the build reach debugging information and from there the digests.
export CFLAGS="-g0 -ffile-prefix-map=$tree=." CXXFLAGS="-g0 -ffile-prefix-map=$tree=."
(
  cd "$tree"
  quietly cmake --preset release -DZEL_TESTS=OFF -DZEL_PLUGINS=OFF
  quietly cmake --build build/release
  export ZEL=$tree/build/release/zel ZEL_LIBRARIES=$tree/build/release
  quietly scripts/page.sh
  quietly npm pack --pack-destination "$out" ./build/web/zel
  cp build/web/zel.html "$out/zel-$version-page.html"
  quietly /usr/bin/python3 -m build --wheel --no-isolation --outdir "$out" python
)

step "bill of materials, notes, checksums"
python3 "$tree/scripts/sbom.py" "$version" "$SOURCE_DATE_EPOCH" "$out" >"$work/zel-$version.spdx.json"
mv "$work/zel-$version.spdx.json" "$out"
since=$(git describe --tags --abbrev=0 --match 'v*' HEAD^ 2>/dev/null || true)
{
  echo "# Zel $version"
  echo
  # Subjects are "area: what changed"; each area gets its list, what only people who work on Zel notice comes last.
  git log --no-merges --reverse --format=%s ${since:+"$since.."}HEAD | sed -nE 's/^([^:]+): (.*)/\1\t\2/p' |
    sed -E 's/^(tests?|bench|build|repo|scripts|docs|HACKING|README|packaging|release)\t/~within the project\t/' |
    sort -s -t$'\t' -k1,1 | awk -F'\t' '{sub(/^~/, "", $1)} $1 != area {area = $1; print "\n## " area "\n"} {print "- " $2}'
} >"$out/NOTES.md"
(cd "$out" && sha256sum -- * >"$work/SHA256SUMS" && mv "$work/SHA256SUMS" .)
ls -l "$out"
