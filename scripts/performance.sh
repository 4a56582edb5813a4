#!/usr/bin/env bash
# Regenerates docs/performance.md's results and plots from one run on this machine:
# builds the benchmarks in Release, runs them with JSON output (several repetitions, the
# report takes the median), and renders the tables and one plot per kernel family.
#
#   scripts/performance.sh [extra benchmark flags, e.g. --benchmark_filter=elementwise]
#
# Needs Google Benchmark, Eigen 3.4 and gnuplot (Debian: libbenchmark-dev, libeigen3-dev,
# gnuplot-nox). Run it on an otherwise idle machine: the timings are of one core.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build-bench
repetitions=${OLVM_BENCH_REPETITIONS:-3}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOLVM_BUILD_BENCHMARKS=ON \
  -DOLVM_BUILD_TESTS=OFF -DOLVM_BUILD_EXAMPLES=OFF -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
cmake --build "$build" --target olvm_bench -j "${OLVM_BENCH_JOBS:-2}"

# Repetitions run interleaved in random order, so that a slow spell of the machine does
# not fall on one row's repetitions only.
"$build/bench/olvm_bench" --benchmark_repetitions="$repetitions" \
  --benchmark_enable_random_interleaving=true \
  --benchmark_out="$build/performance.json" --benchmark_out_format=json "$@"

python3 scripts/performance_report.py --json "$build/performance.json" \
  --compile-commands "$build/compile_commands.json" --doc docs/performance.md
cp "$build/performance.json" docs/performance.json
echo "docs/performance.md, its plots and docs/performance.json regenerated"
