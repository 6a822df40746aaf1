#!/bin/sh
# Serves a 3 MB file from a temporary folder with Python's HTTP server on a
# free loopback port, runs the download example against it and checks that
# the saved copy is identical.
# usage: serve_and_download.sh DOWNLOAD_WITH_PROGRESS
set -eu
program=$1
dir=$(mktemp -d)
server=
trap 'kill "$server" 2>/dev/null || true; rm -rf "$dir"' EXIT
head -c 3145728 /dev/urandom >"$dir/payload.bin"
. "$(dirname "$0")/../scripts/serve-folder.sh"
serve_folder "$dir"
"$program" "http://127.0.0.1:$port/payload.bin" "$dir/copy.bin"
cmp "$dir/payload.bin" "$dir/copy.bin"
