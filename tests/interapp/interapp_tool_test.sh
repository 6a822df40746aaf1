#!/bin/sh
# Two real processes exchanging interapplication commands: on a private
# session bus, `vantor interapp call` opens a host URL, the bus starts the
# installed host, and the host's reply comes back to the caller's scheme.
# Also the failures: unknown command, cancel, a host quitting before it
# replies, a scheme nobody handles, and no bus at all.
# usage: interapp_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
# The bus reads service files when it starts, so the XDG folders come first.
export HOME="$dir" XDG_DATA_HOME="$dir/data" XDG_CONFIG_HOME="$dir/config"
export XDG_CACHE_HOME="$dir/cache" XDG_DATA_DIRS="$dir/none" XDG_RUNTIME_DIR="$dir/run"
mkdir -m 700 "$dir/run"
"$vantor" interapp install --scheme vhost >/dev/null
"$vantor" interapp install --scheme vclient >/dev/null

expect() {  # expect NAME EXPECTED ACTUAL
  [ "$2" = "$3" ] || { echo "$1: expected [$2], got [$3]" >&2; exit 1; }
}

cat >"$dir/session.sh" <<SESSION
set -eu
call() { "$vantor" interapp call --scheme vclient --timeout 20 "\$@"; }
echo "echo:\$(call 'vhost://echo?text=hi%20there&x-success=vclient%3A%2F%2Fok%3Ft%3D%2520')"
echo "sum:\$(call 'vhost://sum?a=2&b=40&x-success=vclient://sum')"
echo "fail:\$(call 'vhost://fail?name=size&reason=50%25%20off&x-error=vclient://failed')"
echo "unknown:\$(call 'vhost://nosuch?x-error=vclient://err%3Fkeep%3D1')"
echo "cancel:\$(call 'vhost://slow?seconds=0.1&x-cancel=vclient://cancelled')"
if "$vantor" interapp call --scheme vclient --timeout 1 'vhost://quit?x-success=vclient://ok' 2>"$dir/quit.err"; then
  echo "quit:replied"
else
  echo "quit:\$(cat "$dir/quit.err")"
fi
if "$vantor" open 'vnone://x' 2>"$dir/none.err"; then echo "none:opened"; else echo "none:\$(cat "$dir/none.err")"; fi
SESSION
dbus-run-session -- sh "$dir/session.sh" >"$dir/out" 2>"$dir/bus.err" || { cat "$dir/bus.err" >&2; exit 1; }
line() { grep "^$1:" "$dir/out" | cut -d: -f2-; }
expect echo 'vclient://ok?t=%20&text=hi%20there' "$(line echo)"
expect sum 'vclient://sum?sum=42' "$(line sum)"
expect fail 'vclient://failed?errorCode=2&errorMessage=Invalid%20Argument:%20%E2%80%9Csize%E2%80%9D%20(50%25%20off)' "$(line fail)"
expect unknown 'vclient://err?keep=1&errorCode=2&errorMessage=Invalid%20Argument:%20%E2%80%9Cnosuch%E2%80%9D%20(no%20such%20command)' "$(line unknown)"
expect cancel 'vclient://cancelled' "$(line cancel)"
expect quit 'vantor interapp: no reply within 1 seconds' "$(line quit)"
expect none 'vantor open: No application is registered for URLs of the scheme “vnone”.' "$(line none)"

# No bus: a clear error at once, never a wait.
if DBUS_SESSION_BUS_ADDRESS="unix:path=$dir/no-bus" "$vantor" open vhost://echo 2>"$dir/err"; then
  echo "open without a bus succeeded" >&2; exit 1
fi
grep -q "There is no session bus" "$dir/err" || { cat "$dir/err" >&2; exit 1; }
if DBUS_SESSION_BUS_ADDRESS="unix:path=$dir/no-bus" "$vantor" interapp serve --scheme vhost 2>"$dir/err"; then
  echo "serve without a bus succeeded" >&2; exit 1
fi
grep -q "There is no session bus" "$dir/err" || { cat "$dir/err" >&2; exit 1; }

"$vantor" interapp uninstall --scheme vhost
[ ! -e "$XDG_DATA_HOME/applications/org.vantorcore.Interapp.vhost.desktop" ]
! grep -q vhost "$XDG_CONFIG_HOME/mimeapps.list"
grep -q vclient "$XDG_CONFIG_HOME/mimeapps.list"
echo ok
