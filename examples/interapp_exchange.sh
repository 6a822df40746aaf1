#!/bin/sh
# Runs the x-callback example on a private session bus: the schemes are
# installed into temporary XDG folders first, because the bus reads its
# service files when it starts.
# usage: interapp_exchange.sh INTERAPP_EXCHANGE
set -eu
program=$(realpath "$1")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export HOME="$dir" XDG_DATA_HOME="$dir/data" XDG_CONFIG_HOME="$dir/config"
export XDG_CACHE_HOME="$dir/cache" XDG_DATA_DIRS="$dir/none" XDG_RUNTIME_DIR="$dir/run"
mkdir -m 700 "$dir/run"
"$program" install
dbus-run-session -- "$program"
