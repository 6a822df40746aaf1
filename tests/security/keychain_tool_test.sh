#!/bin/sh
# `vantor keychain` on both backends: the embedded store in a fresh data
# folder, and Secret Service on a private bus with a real gnome-keyring.
# Passwords go in on standard input only.
set -eu
vantor="$1"
if [ -z "${VANTOR_SECRET_SERVICE_SESSION:-}" ]; then
  exec sh "$(dirname "$0")/../../scripts/with-secret-service.sh" sh "$0" "$vantor"
fi

failures=0
expect() { # description expected actual
  if [ "$2" != "$3" ]; then echo "FAIL $1: expected '$2', got '$3'"; failures=$((failures + 1)); fi
}

for backend in embedded secret-service; do
  k() { "$vantor" keychain "$@" --backend "$backend" 2>/dev/null; }
  printf 'first\n' | k set --service mail --account ann
  printf 'sëcond' | k set --service mail --account ann
  expect "$backend generic get" "sëcond" "$(k get --service mail --account ann)"
  printf 'web' | k set --server example.org --port 443 --protocol https --account ann
  expect "$backend internet get, any port" "web" "$(k get --server example.org --account ann)"
  expect "$backend internet get, other port" "" "$(k get --server example.org --port 80 --account ann || true)"
  k remove --service mail --account ann
  expect "$backend removed" "" "$(k get --service mail --account ann || true)"
  k remove --server example.org --protocol https --account ann
  if k get --server example.org --account ann >/dev/null; then
    echo "FAIL $backend internet item still there"; failures=$((failures + 1))
  fi
  if printf '\377\376' | k set --service mail --account bad; then
    echo "FAIL $backend accepted a password that is not UTF-8"; failures=$((failures + 1))
  fi
done
# The embedded store keeps its files to the owner.
expect "database mode" "600" "$(stat -c %a "$XDG_DATA_HOME/vantorcore/Keychain.sqlite")"
expect "key mode" "600" "$(stat -c %a "$XDG_DATA_HOME/vantorcore/Keychain.key")"
# Without --backend, the session bus's Secret Service is chosen and logged.
"$vantor" keychain get --service none 2>&1 | grep -q "Secure item store: secret-service" ||
  { echo "FAIL default backend"; failures=$((failures + 1)); }
VANTOR_SECURE_ITEM_STORE=embedded "$vantor" keychain get --service none 2>&1 |
  grep -q "Secure item store: embedded" || { echo "FAIL environment override"; failures=$((failures + 1)); }

[ "$failures" -eq 0 ] && echo "vantor keychain works on both backends"
exit "$failures"
