#!/bin/sh
# `vantor du` and `vantor ls --deep` agree with find on a small tree with
# hidden items, a .hidden list, links, a FIFO and awkward names.
# usage: directory_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
t="$dir/tree:with colon"
mkdir -p "$t/sub/deeper" "$t/.hid/inner" "$t/empty"
printf 12345 >"$t/five"
printf '' >"$t/zero"
head -c 10000 /dev/zero >"$t/sub/ten-thousand"
printf x >"$t/sub/deeper/one"
printf xy >"$t/.dot"
printf abc >"$t/.hid/inner/three"
printf 'listed\n' >"$t/sub/.hidden"
printf 1234 >"$t/sub/listed"
ln -s five "$t/link"
ln -s "$t" "$t/sub/loop"
mkfifo "$t/fifo"

# Sums over find's items that are not folders, optionally without hidden
# ones (a leading dot anywhere in the path, or sub/listed).
find_sum() {  # find_sum FORMAT [visible]
  if [ $# = 2 ]; then
    find "$t" ! -type d ! -path '*/.*' ! -path '*/sub/listed' -printf "$1\n"
  else
    find "$t" ! -type d -printf "$1\n"
  fi | awk '{ s += $1 } END { print s + 0 }'
}
count_all=$(find "$t" ! -type d | wc -l)
count_visible=$(find "$t" ! -type d ! -path '*/.*' ! -path '*/sub/listed' | wc -l)
blocks_all=$(($(find_sum '%b') * 512))
blocks_visible=$(($(find_sum '%b' visible) * 512))

failures=0
# expect STATUS OUTPUT ARGS...: the exit status and the first field of the
# first line.
expect() {
  want_status=$1 want=$2
  shift 2
  set +e
  got=$("$vantor" "$@" 2>/dev/null | head -1 | cut -f1)
  status=$("$vantor" "$@" >/dev/null 2>&1; echo $?)
  set -e
  if [ "$status" != "$want_status" ] || [ "$got" != "$want" ]; then
    echo "vantor $*: got status $status, '$got'; expected $want_status, '$want'" >&2
    failures=$((failures + 1))
  fi
}
# status  first field           arguments
expect 0 "$count_all"          du --count "$t"
expect 0 "$count_all"          du --count --hidden "$t"
expect 0 "$count_visible"      du --count --no-hidden "$t"
expect 0 "$count_all"          du --count --no-hidden --hidden "$t"
expect 0 "$(find_sum %s)"      du --apparent "$t"
expect 0 "$(find_sum %s visible)" du --apparent --no-hidden "$t"
expect 0 "$blocks_all"         du "$t"
expect 0 "$blocks_visible"     du --no-hidden "$t"
expect 0 0                     du --count "$t/empty"
expect 0 1                     du --count "$t/.hid"
expect 0 1                     du --count --no-hidden "$t/.hid"
expect 1 ""                    du "$t/five"
expect 1 ""                    du "$dir/missing"
expect 2 ""                    du --apparent --count "$t"
expect 2 ""                    du --everything "$t"
expect 2 ""                    du

# One line per path, in the order given.
lines=$("$vantor" du --count "$t/sub" "$t/empty" | cut -f2 | tr '\n' '|')
[ "$lines" = "$t/sub|$t/empty|" ] || { echo "du lines: $lines" >&2; failures=$((failures + 1)); }

# ls --deep: find's items, a folder before its contents.
find "$t" -mindepth 1 | sort >"$dir/find"
"$vantor" ls --deep "$t" >"$dir/ls"
sort "$dir/ls" | cmp -s - "$dir/find" || { echo "ls --deep differs from find" >&2; failures=$((failures + 1)); }
[ "$(grep -n "^$t/sub$" "$dir/ls" | cut -d: -f1)" -lt "$(grep -n "^$t/sub/deeper/one$" "$dir/ls" | cut -d: -f1)" ] ||
  { echo "ls --deep lists a file before its folder" >&2; failures=$((failures + 1)); }
"$vantor" ls --deep --no-hidden --no-directories "$t" | sort >"$dir/visible"
find "$t" ! -type d ! -path '*/.*' ! -path '*/sub/listed' | sort | cmp -s - "$dir/visible" ||
  { echo "ls --deep --no-hidden differs from find" >&2; failures=$((failures + 1)); }

[ "$failures" = 0 ] || { echo "$failures failures" >&2; exit 1; }
