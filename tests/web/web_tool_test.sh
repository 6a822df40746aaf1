#!/bin/sh
# `vantor fetch` and `vantor rostrel` against a local server, and `vantor
# reachability` following a route added and removed in a network namespace
# of its own (skipped where user namespaces are refused).
# usage: web_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
server=
cleanup() {
  [ -n "$server" ] && kill "$server" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
cd "$dir"
mkdir www
head -c 2000000 /dev/urandom >www/blob
. "$(dirname "$0")/../../scripts/serve-folder.sh"
serve_folder www

expect() {  # expect FILE TEXT: FILE contains TEXT
  grep -qF -- "$2" "$1" || { echo "$1 lacks: $2" >&2; cat "$1" >&2; exit 1; }
}

"$vantor" fetch "http://127.0.0.1:$port/blob" -o out 2>err
cmp www/blob out
expect err "200 no error"
echo "old" >out
"$vantor" fetch "http://127.0.0.1:$port/blob" --header "X-Test: 1" -o out 2>err
cmp www/blob out  # replaced
"$vantor" fetch "http://127.0.0.1:$port/missing" >body 2>err  # a status is not a failure
expect err "404 not found"
expect body "File not found"

for case in "ftp://127.0.0.1/x|-1002" "file:///etc/passwd|-1002" "not a url|-1000" \
            "http://127.0.0.1:1/|-1004"; do
  url=${case%|*}
  code=${case#*|}
  if "$vantor" fetch "$url" >out 2>err; then
    echo "fetch $url succeeded" >&2
    exit 1
  fi
  expect err "error $code"
done
if "$vantor" fetch >out 2>err; then exit 1; fi
expect err "a URL is needed"

# The announcement request against the same server: a static answer, so
# the second run finds the identifier already shown.
mkdir -p www/updates
echo '{"URL":"https://a.example/n","ID":"42","action":"open"}' >www/updates/rostrel.php
export XDG_CONFIG_HOME="$dir/config"
"$vantor" rostrel --base "http://127.0.0.1:$port/" --param "k=v w" >out
expect out "query: http://127.0.0.1:$port/updates/rostrel.php?app="
expect out "ID: 42"
expect out "action: open"
status=0
"$vantor" rostrel --base "http://127.0.0.1:$port" >out || status=$?
[ "$status" = 2 ] || { echo "a second rostrel run exited $status" >&2; exit 1; }
expect out "error: 100 (LXErrorDomain)"

if ! unshare -rn true 2>/dev/null; then
  echo "user namespaces are refused here: reachability is not tested" >&2
  exit 0
fi
unshare -rn sh -eu -c '
  vantor=$1
  ip link set lo up
  if "$vantor" reachability >out; then exit 1; fi
  grep -qx offline out
  "$vantor" reachability 127.0.0.1 >out
  grep -qx reachable out
  "$vantor" reachability --watch --count 2 >watch.out 2>watch.err &
  watcher=$!
  for _ in $(seq 100); do grep -q watching watch.err && break; sleep 0.05; done
  ip route add default dev lo
  for _ in $(seq 100); do grep -q online watch.out && break; sleep 0.05; done
  "$vantor" reachability >out
  grep -qx online out
  ip route del default dev lo
  wait $watcher
  printf "online\noffline\n" | cmp - watch.out
' sh "$vantor"
