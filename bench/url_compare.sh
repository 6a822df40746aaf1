#!/usr/bin/env bash
# URL loading side by side with curl, against one local server
# (URLLoading_bench --serve, the tests' HTTP server):
#   1. a 1 GiB download: LXURLTask (to a file) vs `curl -o /dev/null` and
#      `curl -o FILE` (the like-for-like peer: both write the body to disk);
#   2. 10,000 small requests over kept-alive connections: the shared
#      URLSession (all tasks at once, six connections per host) vs
#      `curl --parallel --parallel-max 6` over the same URLs.
# Each figure is the best of 3 runs.
#
# usage: bench/url_compare.sh [BUILD_DIR]   (a build with VANTOR_BUILD_BENCH=ON)
set -euo pipefail
build=${1:-build/bench}
bench="$build/bench/URLLoading_bench"
[ -x "$bench" ] || { echo "no URLLoading_bench in $build (configure with -DVANTOR_BUILD_BENCH=ON)" >&2; exit 1; }
command -v curl >/dev/null || { echo "curl is needed" >&2; exit 1; }

work=$(mktemp -d)
exec 3> >("$bench" --serve >"$work/server.out")
server_pid=$!
trap 'exec 3>&-; wait "$server_pid" 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do grep -q '^port ' "$work/server.out" 2>/dev/null && break; sleep 0.05; done
port=$(sed -n 's/^port //p' "$work/server.out")
[ -n "$port" ] || { echo "the server did not start" >&2; exit 1; }
base="http://127.0.0.1:$port"
gib=$((1 << 30))
best() { sort -g | tail -1; }
ratio() { printf "%.2f" "$(echo "$1 / $2" | bc -l)"; }

echo "== 1 GiB download"
curl_null=$(for _ in 1 2 3; do
  curl -s -o /dev/null -w '%{speed_download}\n' "$base/bytes/$gib"; done | best)
curl_file=$(for _ in 1 2 3; do
  curl -s -o "$work/curl.bin" -w '%{speed_download}\n' "$base/bytes/$gib"; rm -f "$work/curl.bin"; done | best)
ours=$(for _ in 1 2 3; do
  TMPDIR="$work" URL_BENCH_BASE="$base" "$bench" --benchmark_filter=Download --benchmark_format=csv 2>/dev/null |
    awk -F, '/BM_Download/ { printf "%f\n", $6 }'; done | best)  # bytes_per_second
printf "curl -o /dev/null   %8.1f MB/s\n" "$(echo "$curl_null / 1000000" | bc -l)"
printf "curl -o FILE        %8.1f MB/s\n" "$(echo "$curl_file / 1000000" | bc -l)"
printf "LXURLTask download  %8.1f MB/s   (%s of curl -o /dev/null, %s of curl -o FILE)\n" \
  "$(echo "$ours / 1000000" | bc -l)" "$(ratio "$ours" "$curl_null")" "$(ratio "$ours" "$curl_file")"

echo "== 10,000 small requests, kept alive"
for _ in $(seq 10000); do echo "url = \"$base/small\""; echo "output = /dev/null"; done >"$work/urls.cfg"
curl_rps=$(for _ in 1 2 3; do
  start=$(date +%s.%N)
  curl -s --parallel --parallel-max 6 -K "$work/urls.cfg" 2>/dev/null
  end=$(date +%s.%N)
  echo "10000 / ($end - $start)" | bc -l; done | best)
ours_rps=$(URL_BENCH_BASE="$base" "$bench" --benchmark_filter=SmallRequests --benchmark_format=csv 2>/dev/null |
  awk -F, '/BM_KeptAlive/ { printf "%f\n", $7 }' | best)  # items_per_second, over 3 rounds
printf "curl --parallel     %8.0f requests/s\n" "$curl_rps"
printf "URLSession          %8.0f requests/s   (%s of curl)\n" "$ours_rps" "$(ratio "$ours_rps" "$curl_rps")"
