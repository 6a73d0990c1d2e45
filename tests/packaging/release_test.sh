#!/usr/bin/env bash
# The release made twice, from two folders at two times, is the same to the byte; its packages please lintian, install
# in a clean root, work there and leave nothing behind. Usage: release_test.sh SOURCE_DIR
set -euo pipefail
source_dir=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

git clone -q "$source_dir" "$work/one"
git clone -q "$source_dir" "$work/another-folder"
(cd "$work/one" && scripts/release.sh "$work/dist") || fail "release"
(cd "$work/another-folder" && scripts/release.sh "$work/again") || fail "release from another folder"
diff -r "$work/dist" "$work/again" || fail "two folders give two releases"
(cd "$work/dist" && sha256sum -c --quiet SHA256SUMS) || fail "checksums"
python3 -m json.tool "$work"/dist/*.spdx.json >/dev/null || fail "bill of materials"

lintian --fail-on error --suppress-tags bad-distribution-in-changes-file "$work"/dist/*.deb || fail "lintian"

# A root of its own: packages come in with what they depend on, and go.
cat >"$work/inside.sh" <<'INSIDE'
set -eu
cd /tmp
ls / /usr/bin /usr/lib/*-linux-gnu >/before
apt-get install -y -qq /packages/*.deb >/dev/null
zel sample photo.png --size 256x192
zel photo.png -o better.png light-correct strength=60 vivid strength=20
[ -s better.png ]
GEGL_THREADS=1 gegl photo.png -o gegl.png -- zel:vivid strength=20
[ -s gegl.png ]
printf '%s\n' '#include <zel_chain.h>' 'int main(void) { return ZelChain_Find("vivid") < 0; }' >host.c
cc host.c $(pkg-config --cflags --libs zel-chain) -o host
./host
apt-get purge -y -qq libzel2 libzel-dev zel gegl-zel >/dev/null
[ -z "$(find / -xdev \( -name '*zel*' -o -name 'zel*' \) -not -path '/proc/*' -not -path '/packages/*' -not -path '/tmp/*' \
  -not -path '/var/lib/apt/*' -not -path '/var/log/*' -not -path '/var/cache/*')" ]
echo inside: ok
INSIDE
mmdebstrap --variant=apt --include=gegl,gcc,libc6-dev,pkg-config \
  --customize-hook="mkdir \"\$1/packages\"; cp $work/dist/*.deb \"\$1/packages\"; cp $work/inside.sh \"\$1/inside.sh\"" \
  --customize-hook='chroot "$1" sh /inside.sh' bookworm /dev/null >"$work/root.log" 2>&1 || {
  tail -30 "$work/root.log"
  fail "clean root"
}
grep -q '^inside: ok' "$work/root.log" || fail "clean root said nothing"
echo "release: reproducible, packages sound"
