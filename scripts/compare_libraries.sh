#!/usr/bin/env bash
# Times two builds of the library against each other on one machine, for rows of the
# benchmark binary in build-bench/ (see docs/performance.md):
#
#   scripts/compare_libraries.sh OLD.so NEW.so FILTER [ROUNDS]
#
# OLD.so and NEW.so are copies of build-bench/src/libolvm.so.3.* from two revisions. The
# two libraries run alternately, one repetition each, ROUNDS times (default 5), so that a
# slow spell of a shared machine falls on both; each row prints the least and the median
# ns per object of each library. Only the olvm rows differ between the two.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 3 ] || { sed -n 2,10p "$0"; exit 2; }
old=$1 new=$2 filter=$3 rounds=${4:-5}
dirs=$(mktemp -d)
trap 'rm -rf "$dirs"' EXIT
mkdir "$dirs/old" "$dirs/new"
cp "$old" "$dirs/old/libolvm.so.3"
cp "$new" "$dirs/new/libolvm.so.3"

for round in $(seq "$rounds"); do
  for side in old new; do
    # The binary finds its library through RUNPATH, which LD_LIBRARY_PATH overrides.
    LD_LIBRARY_PATH="$dirs/$side" build-bench/bench/olvm_bench --benchmark_filter="$filter" \
      --benchmark_min_time=0.2 --benchmark_out="$dirs/$side.$round.json" --benchmark_out_format=json >/dev/null 2>&1
  done
done
# Each run read as the report reads it (scripts/performance_report.py).
python3 - "$dirs" <<'PY'
import collections, glob, os, statistics, sys
sys.path.insert(0, "scripts")
from performance_report import load_rows
times = collections.defaultdict(list)
for side in ("old", "new"):
    for path in glob.glob(os.path.join(sys.argv[1], side + ".*.json")):
        for name, row in load_rows(path)[1].items():
            if "objects" in row:
                times[name, side].append(row["cpu_ns"] / row["objects"])
for name, side in sorted(times, key=lambda k: (k[0], k[1] != "old")):
    t = times[name, side]
    print(f"{name:60s} {side}  least {min(t):9.2f}  median {statistics.median(t):9.2f}")
PY
