#!/usr/bin/env bash
# JSON-RPC reading side by side, on one shared LSP-style stream (made once
# per build folder and kept): the vscode-jsonrpc reader under node, our
# LXJSONRPCFileHandleListener over a pipe with a delegate that counts (b1) and
# one that reads and walks every message's params or result (b2, the fair
# comparison: the peer parses every body), our message parser alone (a)
# when bench/JSONRPCMessage_bench is built, and the simdjson framing ceiling.
# Each reader prints a "BEST <name>: <MB/s> MB/s, <msgs/s> msgs/s" line (best
# of 3); the ratios at the end are computed from those lines.
#
# usage: bench/jsonrpc_compare.sh [BUILD_DIR]   (a `bench` preset build)
#   JSONRPC_COMPARE_MESSAGES  stream size in messages (default 200000)
#   VANTOR_SHARED_DIR         folder holding bench/jsonrpc (default ../shared)
set -euo pipefail
build=${1:-build/bench}
here=$(cd "$(dirname "$0")" && pwd)
shared=${VANTOR_SHARED_DIR:-$(cd "$here/../.." && pwd)/shared}
peer_src="$shared/bench/jsonrpc"
messages=${JSONRPC_COMPARE_MESSAGES:-200000}
listener_bench="$build/bench/JSONRPCListener_bench"
message_bench="$build/bench/JSONRPCMessage_bench"
[ -x "$listener_bench" ] || { echo "no JSONRPCListener_bench in $build (configure with the bench preset)" >&2; exit 1; }
[ -d "$peer_src" ] || { echo "no shared benchmark folder at $peer_src" >&2; exit 1; }

# Everything we make lives under the build folder; the shared folder is only read.
work="$build/jsonrpc"
mkdir -p "$work/peer"
stream="$work/stream-$messages.bin"
if [ ! -s "$stream" ]; then
  echo "generating $stream ($messages messages)"
  python3 "$peer_src/gen_stream.py" "$stream" "$messages" > /dev/null
fi

# "BEST name: 467.7 MB/s, 193788 msgs/s, ..." => "467.7 193788"
best_of() { sed -n 's|^BEST [^:]*: \([0-9.]*\) MB/s, \([0-9.]*\) msgs/s.*|\1 \2|p' | tail -1; }
ratio() { printf "%.2f" "$(echo "$1 / $2" | bc -l)"; }

declare -A mbps msgs
record() {  # record NAME OUTPUT
  local figures
  figures=$(printf '%s\n' "$2" | best_of)
  [ -n "$figures" ] || return 0
  read -r mbps[$1] msgs[$1] <<< "$figures"
}

echo "== vscode-jsonrpc (node)"
cp "$peer_src/package.json" "$peer_src/peer_vscode_jsonrpc.js" "$work/peer/"
if ! command -v node > /dev/null || ! command -v npm > /dev/null; then
  echo "node or npm is not installed: no peer figure"
elif [ ! -d "$work/peer/node_modules/vscode-jsonrpc" ] &&
     ! (cd "$work/peer" && npm install --no-audit --no-fund --loglevel=error > npm-install.log 2>&1); then
  echo "npm install failed (no network?), see $work/peer/npm-install.log: no peer figure"
else
  out=$(node "$work/peer/peer_vscode_jsonrpc.js" "$stream" 3 "$messages") || echo "the peer failed"
  printf '%s\n' "$out"
  record peer "$out"
fi

echo "== simdjson framing ceiling (C++)"
ceiling="$work/framing_limit"
if [ ! -x "$ceiling" ] &&
   ! g++ -std=c++20 -O2 -o "$ceiling" "$peer_src/framing_limit.cpp" -lsimdjson 2> "$work/framing_limit.log"; then
  echo "cannot build framing_limit, see $work/framing_limit.log: no ceiling figure"
else
  out=$("$ceiling" simdjson "$stream" 3) || echo "framing_limit failed"
  printf '%s\n' "$out"
  record ceiling "$out"
fi

echo "== vantor LXJSONRPCFileHandleListener, delegate counts (b1)"
out=$("$listener_bench" "$stream" 3)
printf '%s\n' "$out"
record listener "$out"

echo "== vantor LXJSONRPCFileHandleListener, delegate reads every member (b2)"
out=$("$listener_bench" --read-members "$stream" 3)
printf '%s\n' "$out"
record listener_members "$out"

if [ -x "$message_bench" ]; then
  # A Google Benchmark program holding both (a) and an in-memory simdjson
  # ceiling: the best of 3 repetitions of each, as "BEST" lines.
  echo "== vantor LXJSONRPCMessage (a), in memory"
  out=$(VANTOR_JSONRPC_STREAM="$stream" "$message_bench" --benchmark_repetitions=3 \
          --benchmark_format=json 2> /dev/null | python3 -c '
import json, sys
best = {}
for b in json.load(sys.stdin)["benchmarks"]:
    if b.get("run_type") == "iteration":
        figures = (b["bytes_per_second"] / 1e6, b["items_per_second"])
        best[b["run_name"]] = max(best.get(b["run_name"], figures), figures)
for name, (mb, items) in best.items():
    print("BEST %s: %.1f MB/s, %.0f msgs/s" % (name, mb, items))
')
  printf '%s\n' "$out"
  record message "$(printf '%s\n' "$out" | grep '^BEST messageWithData:' || true)"
  record memory_ceiling "$(printf '%s\n' "$out" | grep '^BEST Framing+simdjsonDOM:' || true)"
fi

echo "== summary ($messages messages, $(du -mL "$stream" | cut -f1) MiB, best of 3 each)"
for name in peer ceiling listener listener_members message memory_ceiling; do
  if [ -n "${mbps[$name]:-}" ]; then
    printf '  %-15s %10s MB/s %12s msgs/s\n' "$name" "${mbps[$name]}" "${msgs[$name]}"
  fi
done
if [ -n "${mbps[peer]:-}" ]; then
  echo "  ours (b1) / vscode-jsonrpc: $(ratio "${mbps[listener]}" "${mbps[peer]}")x (target >= 8x)"
  echo "  ours (b2) / vscode-jsonrpc: $(ratio "${mbps[listener_members]}" "${mbps[peer]}")x (target >= 5x)"
else
  echo "  ours (b): ${mbps[listener]} MB/s (no peer figure to compare with)"
fi
# (a) against the ceiling measured beside it in memory, else the file reader's.
ceiling_for_a=${mbps[memory_ceiling]:-${mbps[ceiling]:-}}
if [ -n "${mbps[message]:-}" ] && [ -n "$ceiling_for_a" ]; then
  echo "  (a) / simdjson ceiling:    $(ratio "${mbps[message]}" "$ceiling_for_a") (target >= 0.7)"
fi
