#!/usr/bin/env bash
# Builds the Debian packages of the committed tree: scripts/deb.sh OUTPUT-FOLDER
# The same commit gives the same bytes, wherever it lies and whenever it is built.
set -euo pipefail
[ $# = 1 ] || { sed -n '2,3s/^# //p' "$0" >&2; exit 2; }
mkdir -p "$1"
out=$(realpath "$1")
cd "$(dirname "$0")/.."

scripts/install.sh build tool gegl release
version=$(sed -nE 's/^project\(zel VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/zel-$version"
git archive HEAD | tar -x -C "$work/zel-$version"
cd "$work/zel-$version"
cp -r packaging/debian debian
{
  echo "zel ($version) unstable; urgency=medium"
  echo
  echo "  * Release $version."
  echo
  echo " -- The Zel authors <zel@packages.invalid>  $(date -u -R -d "@$SOURCE_DATE_EPOCH")"
} >debian/changelog
dpkg-buildpackage -b -us -uc -ui >"$out/deb.log" 2>&1 || { tail -30 "$out/deb.log" >&2; exit 1; }
mv "$work"/*.deb "$out"
rm "$out/deb.log"
