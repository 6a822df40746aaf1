#!/bin/sh
# Serves a 3 MB file from a temporary folder with Python's HTTP server on a
# free loopback port, runs the download example against it and checks that
# the saved copy is identical.
# usage: serve_and_download.sh DOWNLOAD_WITH_PROGRESS
set -eu
program=$1
dir=$(mktemp -d)
trap 'kill "$server" 2>/dev/null || true; rm -rf "$dir"' EXIT
head -c 3145728 /dev/urandom >"$dir/payload.bin"
port=$(/usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
/usr/bin/python3 -m http.server "$port" --bind 127.0.0.1 --directory "$dir" >/dev/null 2>&1 &
server=$!
# The server needs a moment to listen; ask until it answers.
tries=0
until /usr/bin/python3 -c "import socket; socket.create_connection(('127.0.0.1', $port), 1)" 2>/dev/null; do
  tries=$((tries + 1)); [ "$tries" -lt 100 ] || { echo "server did not start" >&2; exit 1; }
  sleep 0.1
done
"$program" "http://127.0.0.1:$port/payload.bin" "$dir/copy.bin"
cmp "$dir/payload.bin" "$dir/copy.bin"
