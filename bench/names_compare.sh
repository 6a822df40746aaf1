#!/usr/bin/env bash
# Sorting 1,000,000 file names (../shared/bench/inputs/gen_names.py) from the
# command line: GNU `sort -V` beside `vantor sort --version` and
# `vantor sort --natural`. Best of 3, names per second.
#
# usage: bench/names_compare.sh [BUILD_DIR]   (a `bench` preset build)
set -euo pipefail
build=${1:-build/bench}
here=$(cd "$(dirname "$0")" && pwd)
vantor="$build/tools/vantor/vantor"
[ -x "$vantor" ] || { echo "no vantor tool in $build" >&2; exit 1; }
count=${NAMES_COMPARE_COUNT:-1000000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 "$here/../../shared/bench/inputs/gen_names.py" "$count" > "$work/names.txt"

best_of_3() {
  local best="" t0 t1 s
  for _ in 1 2 3; do
    t0=$(date +%s.%N)
    "$@" < "$work/names.txt" > /dev/null
    t1=$(date +%s.%N)
    s=$(echo "$t1 - $t0" | bc -l)
    if [ -z "$best" ] || [ "$(echo "$s < $best" | bc -l)" = 1 ]; then best=$s; fi
  done
  echo "$best"
}

for entry in "sort -V|sort -V" "vantor sort --version|$vantor sort --version" \
            "vantor sort --natural|$vantor sort --natural"; do
  IFS='|' read -r name command <<< "$entry"
  s=$(best_of_3 $command)
  printf '%-24s %9.0f names/s  (%.2f s)\n' "$name" "$(echo "$count / $s" | bc -l)" "$s"
done
