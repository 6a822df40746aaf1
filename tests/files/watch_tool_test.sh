#!/bin/sh
# `vantor watch`: changes print as they come, the state file is saved on
# exit, and a second run with it is told what changed while none ran.
# usage: watch_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$dir"' EXIT
pid=0
export XDG_STATE_HOME="$dir/state-home"
mkdir -p "$dir/tree/kept" "$dir/tree/edited"
echo x > "$dir/tree/edited/f"
expect() {  # expect FILE TEXT: FILE contains TEXT
  grep -qF -- "$2" "$1" || { echo "$1 lacks: $2" >&2; cat "$1" >&2; exit 1; }
}
wait_for() {  # wait_for FILE TEXT: up to 10 s
  for _ in $(seq 100); do grep -qF -- "$2" "$1" 2>/dev/null && return 0; sleep 0.1; done
  expect "$1" "$2"
}

"$vantor" watch "$dir/tree" --state "$dir/state" --latency 0 >"$dir/first" &
pid=$!
# Ready once a change in the root shows.
for _ in $(seq 100); do
  touch "$dir/tree/probe"
  grep -qF -- " - $dir/tree" "$dir/first" && break
  sleep 0.1
done
mkdir -p "$dir/tree/new/deeper"
wait_for "$dir/first" " - $dir/tree/new/deeper"
kill -INT "$pid"
wait "$pid"
[ -s "$dir/state" ] || { echo "no state saved" >&2; exit 1; }

echo changed > "$dir/tree/edited/f"
"$vantor" watch "$dir/tree" --state "$dir/state" --latency 0 --count 2 >"$dir/second"
expect "$dir/second" " - $dir/tree/edited"
expect "$dir/second" " HistoryDone $dir/tree"
if grep -qF "$dir/tree/kept" "$dir/second"; then
  echo "an unchanged folder was reported" >&2; exit 1
fi

if "$vantor" watch "$dir/tree" --since nonsense 2>"$dir/err"; then
  echo "a bad identifier was accepted" >&2; exit 1
fi
echo "not an archive" > "$dir/bad-state"
if "$vantor" watch "$dir/tree" --state "$dir/bad-state" 2>"$dir/err"; then
  echo "a bad state file was accepted" >&2; exit 1
fi
expect "$dir/err" "not a saved watcher"
