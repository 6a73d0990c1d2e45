#!/usr/bin/env bash
# Measures Zel beside what a host would link instead, on one thread; prints medians and ratios and leaves them in
# bench-results/ as CSV and as a picture. Installs what is missing.
#   ./bench.sh            the compared operations (some minutes)
#   ./bench.sh --all      every export, size, depth and kernel level too
#   ./bench.sh REGEX      only benchmarks whose names match
set -euo pipefail
cd "$(dirname "$0")"

scripts/install.sh build bench
cmake --preset release -DZEL_TESTS=OFF -DZEL_TOOL=OFF -DZEL_BENCH=ON -B build/bench >/dev/null
cmake --build build/bench --target zel_bench

case ${1:-} in
  --all) filter=. ;;
  '') filter='peer/.*24MP|step/|zel/.*/24MP/8/avx|zel/(blur|unsharp).*/24MP/16/avx|zel/.*-lut.*/1MP/8/avx' ;;
  *) filter=$1 ;;
esac
mkdir -p bench-results
# Repetitions of different benchmarks take turns, so that a busy minute of the machine hits all alike.
(cd bench-results && ../build/bench/zel_bench --benchmark_filter="$filter" --benchmark_repetitions=5 \
  --benchmark_min_time=0.05 --benchmark_enable_random_interleaving=true \
  --benchmark_out=results.json --benchmark_out_format=json >log.txt 2>&1) || { tail bench-results/log.txt; exit 1; }
python3 bench/report.py bench-results/results.json bench-results
echo "bench-results/ratios.csv, medians.csv and ratios.png"
