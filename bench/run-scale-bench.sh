#!/usr/bin/env bash
# Runs scale_bench on both engines in one run: an SQLite company file, and a
# company in a throwaway PostgreSQL 15 cluster reached over a Unix socket
# (scripts/with-postgres.sh starts it and removes it afterwards):
#
#   bench/run-scale-bench.sh [BENCHMARK-FLAG...]
#
# e.g. bench/run-scale-bench.sh --benchmark_filter=accounts:5000 --benchmark_repetitions=5
# The program is build/bin/scale_bench under the checkout, or $SCALE_BENCH.
# Without PostgreSQL 15 installed, the SQLite cases run alone.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
program=${SCALE_BENCH:-$root/build/bin/scale_bench}
if [ ! -x "$program" ]; then
  echo "run-scale-bench: $program is not built (cmake --build build --target scale_bench)" >&2
  exit 2
fi

status=0
"$root/scripts/with-postgres.sh" "$program" --engine=both "$@" || status=$?
if [ "$status" -eq 77 ]; then
  echo "run-scale-bench: no PostgreSQL 15 here: the SQLite cases alone" >&2
  exec "$program" --engine=sqlite "$@"
fi
exit "$status"
