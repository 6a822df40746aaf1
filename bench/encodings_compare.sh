#!/usr/bin/env bash
# Base64, Base32 and Base16 side by side: coreutils (base64, base32,
# basenc --base16) and `vantor encode` on the same 256 MiB of random bytes,
# standard input from a file in memory, standard output to /dev/null; best
# of 3 runs each. Decoding reads the text coreutils wrote (wrapped at 76
# columns), for both. MB/s counts the 256 MiB of binary data both ways.
#
# usage: bench/encodings_compare.sh [BUILD_DIR]   (a `bench` preset build)
set -euo pipefail
build=${1:-build/bench}
vantor="$build/tools/vantor/vantor"
[ -x "$vantor" ] || { echo "no vantor tool in $build (configure with the bench preset)" >&2; exit 1; }
size_mib=${ENCODINGS_COMPARE_MIB:-256}
work=$(mktemp -d "${TMPDIR:-/dev/shm}/encodings.XXXXXX" 2>/dev/null || mktemp -d)
trap 'rm -rf "$work"' EXIT

head -c $((size_mib * 1048576)) /dev/urandom > "$work/bin"
bytes=$((size_mib * 1048576))

# Best wall-clock seconds of 3 runs of: $1 < $2 > /dev/null
best_of_3() {
  local input=$1; shift
  local best="" t0 t1 s
  for _ in 1 2 3; do
    t0=$(date +%s.%N)
    "$@" < "$input" > /dev/null
    t1=$(date +%s.%N)
    s=$(echo "$t1 - $t0" | bc -l)
    if [ -z "$best" ] || [ "$(echo "$s < $best" | bc -l)" = 1 ]; then best=$s; fi
  done
  echo "$best"
}

mbps() { echo "scale=0; $bytes / 1000000 / $1" | bc -l; }

printf '%-8s %-7s %12s %12s %8s\n' codec way "coreutils" "vantor" ratio
row() {
  local codec=$1 way=$2 theirs=$3 ours=$4
  printf '%-8s %-7s %7s MB/s %7s MB/s %7.2fx\n' "$codec" "$way" "$(mbps "$theirs")" "$(mbps "$ours")" \
    "$(echo "$theirs / $ours" | bc -l)"
}

check_same() {  # both tools must decode to the original bytes
  cmp -s "$work/bin" "$1" || { echo "decoded output differs: $1" >&2; exit 1; }
}

# codec name, coreutils command, vantor encoding
for entry in "base64|base64|base64" "base32|base32|base32" "base16|basenc --base16|hex"; do
  IFS='|' read -r codec coreutils ours <<< "$entry"
  $coreutils < "$work/bin" > "$work/$codec.txt"
  $coreutils -d < "$work/$codec.txt" > "$work/check1"; check_same "$work/check1"
  "$vantor" encode "$ours" --decode < "$work/$codec.txt" > "$work/check2"; check_same "$work/check2"
  enc_theirs=$(best_of_3 "$work/bin" $coreutils)
  enc_ours=$(best_of_3 "$work/bin" "$vantor" encode "$ours")
  dec_theirs=$(best_of_3 "$work/$codec.txt" $coreutils -d)
  dec_ours=$(best_of_3 "$work/$codec.txt" "$vantor" encode "$ours" --decode)
  row "$codec" encode "$enc_theirs" "$enc_ours"
  row "$codec" decode "$dec_theirs" "$dec_ours"
  rm -f "$work/$codec.txt" "$work/check1" "$work/check2"
done
echo "(ratio = coreutils time / vantor time; $size_mib MiB input, best of 3)"
