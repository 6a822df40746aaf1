#!/usr/bin/env bash
# Round-trip time of an interapplication command between two processes on a
# private session bus: Interapp_bench opens "vbhost://echo?..." 500 times and
# waits for each reply; the host is `vantor interapp serve`, started by the
# bus on the first call (that first round trip includes its start-up).
# Prints the median and the 99th percentile.
#
# usage: bench/interapp_roundtrip.sh [BUILD_DIR]   (needs vantor and bench/Interapp_bench)
set -euo pipefail
build=${1:-build/bench}
vantor="$build/tools/vantor/vantor"
bench="$build/bench/Interapp_bench"
[ -x "$vantor" ] && [ -x "$bench" ] || { echo "no vantor or Interapp_bench in $build" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME="$work" XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config"
export XDG_DATA_DIRS="$work/none" XDG_RUNTIME_DIR="$work/run"
mkdir -m 700 "$work/run"
"$vantor" interapp install --scheme vbhost >/dev/null
"$vantor" interapp install --scheme vbclient >/dev/null
export VANTOR_BENCH_INTERAPP_HOST=vbhost VANTOR_BENCH_INTERAPP_CLIENT=vbclient
export VANTOR_BENCH_INTERAPP_ID=org.vantorcore.Interapp.vbclient
dbus-run-session -- "$bench" 2>/dev/null | grep -E "BM_|Benchmark"
