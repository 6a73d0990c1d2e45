#!/usr/bin/env bash
# Measures Zel beside what a host would link instead, on one thread; prints medians of processor time and ratios and
# leaves them in bench-results/ as CSV and as a picture. Installs what is missing.
#   ./bench.sh                    the compared operations (some minutes)
#   ./bench.sh --all              every export, size, depth and kernel level too
#   ./bench.sh REGEX              only benchmarks whose names match
#   ./bench.sh --compare COMMIT [REGEX]   this tree and an older commit in turns, and what changed
#   ./bench.sh --tool             the command from file to file: processor time and peak memory beside other commands
#   ./bench.sh --wasm [REGEX]     native code, node and Chromium in turns
#   ./bench.sh --cycles           cycles of inner loops on ARM and x86, computed
#   ./bench.sh --thumbnails       what small pictures cost
#   ./bench.sh --instructions [REGEX]     instructions a pixel, by perf or by valgrind (which knows no AVX-512)
set -euo pipefail
cd "$(dirname "$0")"

if [ "${1:-}" = --tool ]; then
  scripts/install.sh build tool tools
  cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEL_TOOL=ON >/dev/null
  cmake --build build/demo --target zel_tool >/dev/null
  exec bench/tool.sh build/demo/zel
fi

if [ "${1:-}" = --wasm ]; then
  scripts/install.sh build bench web browsers || echo "no browsers"
  exec bench/wasm.sh "${2:-.}"
fi

if [ "${1:-}" = --cycles ]; then
  scripts/install.sh build platforms cycles
  exec bench/cycles.py
fi

build() {  # SOURCE BUILD
  cmake --preset release -DZEL_TESTS=OFF -DZEL_TOOL=OFF -DZEL_BENCH=ON -S "$1" -B "$2" >/dev/null
  cmake --build "$2" --target zel_bench
}

# Repetitions of different benchmarks take turns, so that a busy minute of the machine hits all alike.
measure() {  # PROGRAM RESULTS FILTER REPETITIONS
  (cd bench-results && "$1" --benchmark_filter="$3" --benchmark_repetitions="$4" --benchmark_min_time=0.05 \
    --benchmark_enable_random_interleaving=true --benchmark_out="$2" --benchmark_out_format=json >log.txt 2>&1) ||
    { tail bench-results/log.txt; exit 1; }
}

# Instructions of one call: those of three calls less those of two.
instructions() {  # FILTER
  local counter=(valgrind --tool=callgrind --callgrind-out-file=/dev/null) name pixels n count
  if perf stat -x, -e instructions:u true 2>&1 | grep -q '^[0-9]'; then counter=(perf stat -x, -e instructions:u); fi
  "$program" --benchmark_list_tests --benchmark_filter="$1" | while read -r name; do
    for n in 1 2; do
      count[n]=$("${counter[@]}" "$program" --iterations=$n --benchmark_filter="^$name(/|\$)" 2>&1 |
        sed -nE 's/.*Collected : ([0-9]+)$/\1/p; s/^([0-9]+),.*instructions.*/\1/p')
    done
    case $name in */512/*) pixels=262144 ;; */256/*) pixels=65536 ;; */1MP/*) pixels=1000800 ;; *) pixels=24000000 ;; esac
    awk -v name="$name" -v a="${count[1]}" -v b="${count[2]}" -v p=$pixels 'BEGIN {printf "%-48s %9.2f\n", name, (b - a) / p}'
  done
}

scripts/install.sh build bench
build . build/bench
program=$PWD/build/bench/zel_bench
mkdir -p bench-results

case ${1:-} in
  --compare)
    old=$(git rev-parse --short "$2")
    [ -d "build/compare/$old" ] || git worktree add -f --detach "build/compare/$old" "$old" >/dev/null
    build "build/compare/$old" "$PWD/build/compare/$old/build"
    filter=${3:-zel/.*/(24MP|256)/8/(base|sse41|avx2|avx512)}
    for turn in 1 2 3; do
      measure "$PWD/build/compare/$old/build/zel_bench" "old-$turn.json" "$filter" 1
      measure "$program" "new-$turn.json" "$filter" 1
    done
    python3 bench/report.py --two bench-results/old-[123].json bench-results/new-[123].json
    exit ;;
  --thumbnails)
    measure "$program" thumbnails.json 'zel/.*/(24MP|256)/8/(sse41|avx2|avx512)' 3
    python3 bench/report.py --thumbnails bench-results/thumbnails.json
    exit ;;
  --instructions)
    instructions "${2:-zel/.*/512/8/(sse41|avx2)}"
    exit ;;
  --all) filter=. ;;
  '') filter='peer/.*24MP|step/|zel/.*/24MP/8/avx|zel/(blur|unsharp).*/24MP/16/avx|zel/.*-lut.*/1MP/8/avx' ;;
  *) filter=$1 ;;
esac
measure "$program" results.json "$filter" 5
rm -f bench-results/narrow.json
if [ "${1:---all}" = --all ]; then
  # The same peers without registers of more than 128 bits, beside our kernels for such processors.
  export OPENCV_CPU_DISABLE=AVX,FP16,AVX2,FMA3,AVX512_SKX
  measure "$program" narrow.json 'peer/open.*24MP|zel/(blur-.*|sharpen|unsharp|hue-saturation)/24MP/.*/sse41|mask/24MP/8/sse41' 5
fi
python3 bench/report.py bench-results/results.json bench-results/narrow.json bench-results
echo "bench-results/ratios.csv, medians.csv and ratios.png"
