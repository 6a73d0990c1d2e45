#!/usr/bin/env bash
# What bench/report.py makes of measurements: ratios of medians at the level they belong to, and what is below its bar.
#   report_test.sh SOURCE
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

results() {  # NAME=MILLISECONDS...
  local comma=
  printf '{"benchmarks": ['
  for run in "$@"; do printf '%s{"run_name": "%s", "real_time": 1, "cpu_time": %s}' "$comma" "${run%=*}" "${run#*=}"; comma=,; done
  printf ']}'
}
has() {  # FILE TEXT
  tr -s ' ' <"$folder/$1" | grep -qF -- "$2" || { echo "$1 lacks: $2"; head -50 "$folder/$1"; exit 1; }
}

results zel/sharpen/24MP/8/avx512={9,4,5} zel/sharpen/24MP/8/avx2=10 peer/opencv/sharpen/24MP/8=20 \
  peer/libvips/sharpen/24MP/8/process_time=4 step/memcpy/24MP/8=2.5 >"$folder/wide.json"
results zel/sharpen/24MP/8/sse41=10 peer/opencv/sharpen/24MP/8=30 >"$folder/narrow.json"
python3 "$1/bench/report.py" "$folder/wide.json" "$folder/narrow.json" "$folder/out" >"$folder/all"
has all 'sharpen 5.00 20.00 4.00 2.00 at least 2.5 ok'
has all 'sharpen, libvips 5.00 4.00 0.80 0.40 at least 1 below the bar'
has all 'sharpen 10.00 30.00 3.00 at least 2 ok'
has all 'sharpen 5.00 0.50'
has out/ratios.csv 'sharpen,peer/opencv/sharpen/24MP/8,5.0,20.0,least,2.5,4.0,2.0,'

python3 "$1/bench/report.py" --two "$folder/wide.json" "$folder/narrow.json" >"$folder/two"
has two 'peer/opencv/sharpen/24MP/8 20.000 30.000 1.500 slower'

results zel/vivid/24MP/8/avx2=24 zel/vivid/256/8/avx2=0.131072 >"$folder/small.json"
python3 "$1/bench/report.py" --thumbnails "$folder/small.json" >"$folder/thumbnails"
has thumbnails 'vivid avx2 1.00 2.00 2.00'
