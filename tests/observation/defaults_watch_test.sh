#!/bin/sh
# Two processes write one suite at once while `vantor defaults watch` runs in
# a third: every key must reach the file and the watcher.
# usage: defaults_watch_test.sh VANTOR
set -eu
vantor=$1
home=$(mktemp -d)
trap 'kill "$watcher" 2>/dev/null || true; rm -rf "$home"' EXIT
export XDG_CONFIG_HOME="$home"
perWriter=20
total=$((2 * perWriter))

"$vantor" defaults watch --count "$total" shared >"$home/watch.out" 2>"$home/watch.err" &
watcher=$!
tries=0
until grep -q '^vantor defaults: watching ' "$home/watch.err"; do
  tries=$((tries + 1))
  [ "$tries" -lt 1000 ] || { echo "the watcher never got ready" >&2; exit 1; }
  sleep 0.01
done

write_keys() {
  i=0
  while [ "$i" -lt "$perWriter" ]; do
    "$vantor" defaults write shared "$1-k$i" "$i"
    i=$((i + 1))
  done
}
write_keys w1 &
first=$!
write_keys w2 &
second=$!
wait "$first"
wait "$second"

# The watcher exits by itself once it has printed every change.
tries=0
while kill -0 "$watcher" 2>/dev/null; do
  tries=$((tries + 1))
  [ "$tries" -lt 2000 ] || { echo "the watcher saw $(wc -l <"$home/watch.out") of $total changes" >&2; exit 1; }
  sleep 0.01
done

stored=$("$vantor" defaults read shared | grep -o '"w[12]-k[0-9]*"' | sort -u | wc -l)
watched=$(grep -c '^w[12]-k[0-9]* = ' "$home/watch.out")
if [ "$stored" -ne "$total" ] || [ "$watched" -ne "$total" ]; then
  echo "stored $stored and watched $watched of $total keys" >&2
  exit 1
fi
echo "stored and watched all $total keys"
