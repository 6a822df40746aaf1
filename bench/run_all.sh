#!/usr/bin/env bash
# Runs every benchmark program of a build folder, then every side-by-side
# script (bench/*_compare.sh), printing their figures.
set -euo pipefail
build=${1:-build/bench}
here=$(cd "$(dirname "$0")" && pwd)
for program in "$build"/bench/*_bench; do
  [ -x "$program" ] || continue
  echo "== $(basename "$program")"
  "$program" --benchmark_min_time=0.2
done
for script in "$here"/*_compare.sh; do
  [ -f "$script" ] || continue
  echo "== $(basename "$script")"
  bash "$script" "$build"
done
