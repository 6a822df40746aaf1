#!/bin/sh
# Runs COMMAND with a real Secret Service of its own: a private session bus,
# fresh home, data and runtime folders, and a gnome-keyring unlocked with a
# throwaway password, so the user's own keyring is never touched.
# usage: scripts/with-secret-service.sh COMMAND [ARGS...]
set -eu
if [ -z "${VANTOR_SECRET_SERVICE_SESSION:-}" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  mkdir -p "$work/runtime" "$work/data"
  chmod 700 "$work/runtime"
  status=0
  HOME="$work" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/runtime" \
    VANTOR_SECRET_SERVICE_SESSION=1 dbus-run-session -- sh "$0" "$@" || status=$?
  exit "$status"
fi
printf PASSWORD | gnome-keyring-daemon --unlock --components=secrets >/dev/null
for i in $(seq 1 100); do
  gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.NameHasOwner org.freedesktop.secrets 2>/dev/null | grep -q true && break
  sleep 0.1
done
exec "$@"
