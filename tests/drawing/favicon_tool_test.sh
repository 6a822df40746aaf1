#!/bin/sh
# `vantor favicon` against a real local web server (python3 -m http.server)
# serving a page, a linked PNG and a /favicon.ico, in a temporary folder.
# usage: favicon_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
server=
cleanup() {
  [ -n "$server" ] && kill "$server" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
export XDG_CACHE_HOME="$dir/cache"
expect() {  # expect FILE TEXT: FILE contains TEXT
  grep -qF -- "$2" "$1" || { echo "$1 lacks: $2" >&2; cat "$1" >&2; exit 1; }
}
refuse() {  # refuse TEXT COMMAND...: the command fails and says TEXT
  if "$@" >"$dir/out" 2>"$dir/err"; then echo "accepted: $*" >&2; exit 1; fi
  expect "$dir/err" "$1"
}

mkdir -p "$dir/www/site" "$dir/www/bare"
"$vantor" draw pie --progress 0.25 --size 64x64 -o "$dir/www/site/icon.png" >/dev/null
printf '<html><head><link rel="icon" href="icon.png" sizes="64x64"></head></html>' \
  >"$dir/www/site/index.html"
cp "$dir/www/site/icon.png" "$dir/www/favicon.ico"  # a PNG under the ICO name
printf '<html><head><title>no links</title></head></html>' >"$dir/www/bare/index.html"

. "$(dirname "$0")/../../scripts/serve-folder.sh"
serve_folder "$dir/www"

cd "$dir"
"$vantor" favicon "http://127.0.0.1:$port/site/" --size 48 -o linked.png >out
expect out "linked.png: 48 x 48"
od -An -tx1 -N24 linked.png | tr -d ' \n' >head
expect head 89504e470d0a1a0a
expect head 0000003000000030
ls "$XDG_CACHE_HOME/vantorcore/favicons/http_127.0.0.1_$port.icon" >/dev/null
# One site, one cache entry: forget it so the page without links is read.
rm -rf "$XDG_CACHE_HOME"
"$vantor" favicon "http://127.0.0.1:$port/bare/" >out  # default size and file
expect out "favicon.png: 32 x 32"
rm -rf "$XDG_CACHE_HOME" "$dir/www/favicon.ico"
refuse "No icon could be loaded for http://127.0.0.1:$port/bare/" \
  "$vantor" favicon "http://127.0.0.1:$port/bare/"

refuse "bad value '0' for --size" "$vantor" favicon "http://127.0.0.1:$port/" --size 0
refuse "bad value '2049' for --size" "$vantor" favicon "http://127.0.0.1:$port/" --size 2049
refuse "which URL?" "$vantor" favicon
kill "$server"; wait "$server" 2>/dev/null || true; server=
rm -rf "$XDG_CACHE_HOME"
refuse "Could not connect to the server" "$vantor" favicon "http://127.0.0.1:$port/" -o gone.png
[ ! -e gone.png ] || { echo "wrote a file without an icon" >&2; exit 1; }
echo ok
