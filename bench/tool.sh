#!/usr/bin/env bash
# The command beside others that do the nearest same thing to files: bench/tool.sh ZEL. Medians of interleaved runs.
# All read and write JPEG of quality 90 without subsampling, the only one that all of them write; the last column is
# what was found in the results. Only the rows called 420 have half the colour resolution.
set -euo pipefail
zel=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cores=$(nproc)
"$zel" sample big.ppm --size 6000x4000
"$zel" sample small.ppm --size 4000x3000
vips copy big.ppm 'big.jpg[Q=90,subsample-mode=off]'
vips copy big.ppm 'big420.jpg[Q=90,subsample-mode=on]'
vips copy small.ppm 'small.jpg[Q=90,subsample-mode=off]'
mkdir photos out
photos=${PHOTOS:-100}
for i in $(seq 1 "$photos"); do ln small.jpg "photos/$i.jpg"; done
export VIPS_CONCURRENCY=1

# run NAME COMMAND...: appends "NAME processor-seconds megabytes wall-seconds quality subsampling".
run() {
  local name=$1
  shift
  rm -rf out && mkdir out
  /usr/bin/time -f "$name %U %S %M %e" "$@" 2>&1 >/dev/null | tail -1 | tr '\n' ' ' >>results
  # Chroma has a sample for every pixel or for every other one each way.
  identify -format '%Q,%[jpeg:sampling-factor]\n' "$(find out -name '*.jpg' | head -1)" |
    sed 's/1x1,1x1,1x1/4:4:4/; s/2x2,1x1,1x1/4:2:0/; s/,/ /' >>results
}
gegl_one() { gegl "$1" -- brightness-contrast contrast=1.2 jpg-save path="out/${1##*/}" quality=90 optimize=false progressive=false; }
export -f gegl_one

for _ in 1 2 3 4 5; do
  run one:zel "$zel" big.jpg -o out/zel.jpg contrast contrast=20
  run one:vips-copy vips copy big.jpg 'out/vips.jpg[Q=90,subsample-mode=off]'
  run one:zel-420 "$zel" big420.jpg -o out/zel.jpg contrast contrast=20
  run one:vips-copy-420 vips copy big420.jpg 'out/vips.jpg[Q=90,subsample-mode=on]'
  run one:mogrify mogrify -path out -brightness-contrast 0x20 big.jpg
  run one:gegl bash -c 'gegl_one big.jpg'
  run one:oiiotool oiiotool big.jpg --contrast:scale=1.2 --compression jpeg:90 --attrib jpeg:subsampling 4:4:4 -o out/oiio.jpg
done
for _ in 1 2 3; do
  run batch:zel-one-core taskset -c 0 "$zel" photos/*.jpg -o out/ -j "$cores" contrast contrast=20
  run batch:zel-j1 "$zel" photos/*.jpg -o out/ -j 1 contrast contrast=20
  run "batch:zel-j$cores" "$zel" photos/*.jpg -o out/ -j "$cores" contrast contrast=20
done
# The others get all processors too: those that take one photograph at a time run side by side.
run batch:mogrify env MAGICK_THREAD_LIMIT=1 xargs -a <(ls photos/*.jpg) -n 10 -P "$cores" mogrify -path out -brightness-contrast 0x20
run batch:gegl xargs -a <(ls photos/*.jpg) -I@ -P "$cores" bash -c 'gegl_one @'
run batch:oiiotool oiiotool --frames "1-$photos" 'photos/%d.jpg' --contrast:scale=1.2 --compression jpeg:90 \
  --attrib jpeg:subsampling 4:4:4 -o 'out/%d.jpg'
printf '%-20s %12s %10s %10s %12s\n' command "processor s" "peak MB" "wall s" "wrote"
for name in $(cut -d' ' -f1 results | awk '!seen[$1]++'); do
  grep "^$name " results | awk '{print $2 + $3, $4 / 1000, $5, $6, $7}' | sort -n |
    awk -v name="$name" '{line[NR] = $0} END {split(line[int((NR + 1) / 2)], m)
      printf "%-20s %12.2f %10.0f %10.2f %8s %s\n", name, m[1], m[2], m[3], m[4], m[5]}'
done
