#!/usr/bin/env bash
# The command beside others that do the nearest same thing to files: bench/tool.sh ZEL. Medians of five interleaved runs.
set -euo pipefail
zel=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$zel" sample big.jpg --size 6000x4000 --format jpg
"$zel" sample small.jpg --size 4000x3000 --format jpg
mkdir photos out
for i in $(seq 1 "${PHOTOS:-100}"); do ln small.jpg "photos/$i.jpg"; done

# run NAME COMMAND...: appends "NAME processor-seconds megabytes wall-seconds".
run() {
  local name=$1
  shift
  rm -rf out && mkdir out
  /usr/bin/time -f "$name %U %S %M %e" "$@" 2>&1 >/dev/null | tail -1 >>results
}
for _ in 1 2 3 4 5; do
  run one:zel "$zel" big.jpg -o out/zel.jpg contrast contrast=20
  run one:vips-copy env VIPS_CONCURRENCY=1 vips copy big.jpg 'out/vips.jpg[Q=95]'
  run one:mogrify mogrify -path out -brightness-contrast 0x20 big.jpg
  run one:gegl gegl big.jpg -o out/gegl.jpg -- brightness-contrast contrast=1.2
  run one:oiiotool oiiotool big.jpg --contrast:scale=1.2 -o out/oiio.jpg
done
for jobs in 1 "$(nproc)"; do
  run "batch:zel-j$jobs" "$zel" photos/*.jpg -o out/ -j "$jobs" contrast contrast=20
done
run batch:mogrify mogrify -path out -brightness-contrast 0x20 photos/*.jpg
printf '%-18s %18s %14s %14s\n' command "processor s" "peak MB" "wall s"
for name in $(cut -d' ' -f1 results | awk '!seen[$1]++'); do
  grep "^$name " results | awk '{print $2 + $3, $4 / 1000, $5}' | sort -n |
    awk -v name="$name" '{line[NR] = $0} END {split(line[int((NR + 1) / 2)], m); printf "%-18s %18.2f %14.0f %14.2f\n", name, m[1], m[2], m[3]}'
done
