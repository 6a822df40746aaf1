#!/usr/bin/env bash
# URL loading side by side with curl, against one local server
# (URLLoading_bench --serve, the tests' HTTP server):
#   1. a 1 GiB body: curl to /dev/null, to a file on disk ($TMPDIR) and to a
#      file on tmpfs (/dev/shm), against LXURLTask downloading to a file on
#      disk and on tmpfs and sending (the body kept in memory);
#   2. 10,000 small requests over kept-alive connections: the shared
#      URLSession (all tasks at once, six connections per host) vs
#      `curl --parallel --parallel-max 6` over the same URLs (curl timed from
#      process start to exit, so its figure carries its own start-up; ours
#      from the first task made to the last handler run, since the bench
#      process spends a large share of a second loading the whole library's
#      dependencies before it starts).
# The runs alternate (A B A B...) for ROUNDS rounds (default 5); each figure
# is the median, with the median CPU time (user + system) of the client
# process beside it, which a loaded machine disturbs less than the wall clock.
#
# usage: [ROUNDS=N] bench/url_compare.sh [BUILD_DIR]   (a build with VANTOR_BUILD_BENCH=ON)
set -euo pipefail
build=${1:-build/bench}
rounds=${ROUNDS:-5}
bench="$build/bench/URLLoading_bench"
[ -x "$bench" ] || { echo "no URLLoading_bench in $build (configure with -DVANTOR_BUILD_BENCH=ON)" >&2; exit 1; }
command -v curl >/dev/null || { echo "curl is needed" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "/usr/bin/time is needed (package time)" >&2; exit 1; }

work=$(mktemp -d)
shm=$(mktemp -d -p /dev/shm)
exec 3> >("$bench" --serve >"$work/server.out")
server_pid=$!
trap 'exec 3>&-; wait "$server_pid" 2>/dev/null; rm -rf "$work" "$shm"' EXIT
for _ in $(seq 100); do grep -q '^port ' "$work/server.out" 2>/dev/null && break; sleep 0.05; done
port=$(sed -n 's/^port //p' "$work/server.out")
[ -n "$port" ] || { echo "the server did not start" >&2; exit 1; }
base="http://127.0.0.1:$port"
gib=$((1 << 30))

median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }
ratio() { printf "%.2f" "$(echo "$1 / $2" | bc -l)"; }
# timed NAME CMD...: runs CMD (which prints one figure), appends the figure
# to NAME.figure and the process's CPU seconds to NAME.cpu.
timed() {
  local name=$1; shift
  /usr/bin/time -f '%U %S' -o "$work/time" "$@" >>"$work/$name.figure"
  awk '{ print $1 + $2 }' "$work/time" >>"$work/$name.cpu"
}
ours() {  # ours FILTER COLUMN: one benchmark's figure from its CSV line
  URL_BENCH_BASE="$base" "$bench" --benchmark_filter="$1" --benchmark_format=csv 2>/dev/null |
    awk -F, -v column="$2" 'NR > 1 && $1 ~ /^"?BM_/ { printf "%f\n", $column }'
}
curl_to() { curl -s -o "$1" -w '%{speed_download}\n' "$base/bytes/$gib"; [ "$1" = /dev/null ] || rm -f "$1"; }
export -f ours curl_to
export bench base gib

echo "== 1 GiB body ($rounds rounds, load before: $(cut -d' ' -f1-3 /proc/loadavg))"
for _ in $(seq "$rounds"); do
  timed curl_null bash -c 'curl_to /dev/null'
  timed ours_memory bash -c 'ours BM_Send 6'
  timed curl_disk bash -c "curl_to '$work/curl.bin'"
  timed ours_disk env TMPDIR="$work" bash -c 'ours BM_Download 6'
  timed curl_tmpfs bash -c "curl_to '$shm/curl.bin'"
  timed ours_tmpfs env TMPDIR="$shm" bash -c 'ours BM_Download 6'
done
mb() { printf "%7.1f" "$(echo "$(median <"$work/$1.figure") / 1000000" | bc -l)"; }
cpu() { printf "%5.2f" "$(median <"$work/$1.cpu")"; }
row() {  # row NAME LABEL PEER
  printf "%-30s %s MB/s  %s s CPU" "$2" "$(mb "$1")" "$(cpu "$1")"
  [ -n "${3:-}" ] && printf "   %s of %s" "$(ratio "$(median <"$work/$1.figure")" "$(median <"$work/$3.figure")")" "$3"
  [ "$1" != curl_null ] && printf ", %s of curl_null" "$(ratio "$(median <"$work/$1.figure")" "$(median <"$work/curl_null.figure")")"
  echo
}
row curl_null "curl -o /dev/null"
row ours_memory "LXURLTask send (in memory)"
row curl_disk "curl -o FILE (disk)"
row ours_disk "LXURLTask download (disk)" curl_disk
row curl_tmpfs "curl -o FILE (tmpfs)"
row ours_tmpfs "LXURLTask download (tmpfs)" curl_tmpfs

echo "== 10,000 small requests, kept alive ($rounds rounds, load before: $(cut -d' ' -f1-3 /proc/loadavg))"
for _ in $(seq 10000); do echo "url = \"$base/small\""; echo "output = /dev/null"; done >"$work/urls.cfg"
per_second() {  # runs "$@" and prints 10,000 over its wall-clock time
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  echo "10000 / ($end - $start)" | bc -l
}
export -f per_second
for _ in $(seq "$rounds"); do
  timed startup bash -c 'ours NONE 7; echo 0'
  timed curl_small bash -c "per_second curl -s --parallel --parallel-max 6 -K '$work/urls.cfg'"
  timed ours_small bash -c 'ours BM_KeptAlive 7'
done
printf "%-30s %7.0f requests/s  %s s CPU\n" "curl --parallel --parallel-max 6" \
  "$(median <"$work/curl_small.figure")" "$(cpu curl_small)"
echo "(CPU: the whole client process, start-up included; the bench process alone: $(cpu startup) s)"
printf "%-30s %7.0f requests/s  %s s CPU   %s of curl\n" "URLSession (shared session)" \
  "$(median <"$work/ours_small.figure")" "$(cpu ours_small)" \
  "$(ratio "$(median <"$work/ours_small.figure")" "$(median <"$work/curl_small.figure")")"
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
