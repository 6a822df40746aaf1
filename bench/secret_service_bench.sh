#!/bin/sh
# Runs the secure item store benchmark with a real Secret Service: a private
# session bus and a gnome-keyring unlocked with a throwaway password.
# usage: bench/secret_service_bench.sh build/bench/bench/SecureItemStore_bench [ARGS...]
set -eu
if [ -z "${VANTOR_BENCH_IN_SESSION:-}" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  mkdir -p "$work/runtime" && chmod 700 "$work/runtime"
  HOME="$work" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/runtime" \
    VANTOR_BENCH_IN_SESSION=1 dbus-run-session -- sh "$0" "$@"
  exit $?
fi
printf PASSWORD | gnome-keyring-daemon --unlock --components=secrets >/dev/null
for i in $(seq 1 100); do
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.NameHasOwner org.freedesktop.secrets 2>/dev/null | grep -q true && break
  sleep 0.1
done
"$@"
