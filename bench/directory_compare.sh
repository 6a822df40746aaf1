#!/usr/bin/env bash
# Directory inspection side by side with find and du on a generated tree of
# 200,000 files and 20 symbolic links in about 2,200 folders (fixed seed),
# made under /tmp and removed afterwards. Median of 3 warm runs each; the
# script fails when our count or sums differ from find's.
#
# usage: bench/directory_compare.sh [BUILD_DIR]   (a `bench` preset build)
set -euo pipefail
build=${1:-build/bench}
vantor="$(cd "$build" && pwd)/tools/vantor/vantor"
[ -x "$vantor" ] || { echo "no vantor tool in $build" >&2; exit 1; }
files=${DIRECTORY_COMPARE_FILES:-200000}
work=$(mktemp -d /tmp/directory-compare.XXXXXX)
trap 'rm -rf "$work"' EXIT
tree="$work/tree"

python3 - "$tree" "$files" <<'PY'
import os, random, sys
root, count = sys.argv[1], int(sys.argv[2])
rng = random.Random(20261124)
folders = [root]
for a in range(10):
    for b in range(10):
        for c in range(21):
            folders.append(os.path.join(root, f"a{a}", f"b{b}", f"c{c}"))
for folder in folders:
    os.makedirs(folder, exist_ok=True)
folders = sorted({os.path.dirname(f) for f in folders} | set(folders))
extensions = ["txt", "png", "jpg", "c", "h", "json", "", "md", "gif", "html"]
made = []
for i in range(count):
    ext = rng.choice(extensions)
    name = (f".f{i}" if rng.random() < 0.02 else f"f{i}") + (f".{ext}" if ext else "")
    path = os.path.join(rng.choice(folders), name)
    with open(path, "wb") as f:
        f.write(b"x" * int(rng.expovariate(1 / 3000)))
    made.append(path)
for i in range(20):
    target = rng.choice(made)
    os.symlink(target, os.path.join(os.path.dirname(rng.choice(made)), f"link{i}"))
PY

# Median wall time of three runs of a command, output thrown away.
median_of_3() {
  local times=() t0 t1
  for _ in 1 2 3; do
    t0=$(date +%s.%N)
    "$@" > /dev/null
    t1=$(date +%s.%N)
    times+=("$(echo "$t1 - $t0" | bc -l)")
  done
  printf '%s\n' "${times[@]}" | sort -g | sed -n 2p
}

# Warm the caches once, and check the figures before timing anything.
find_count=$(find "$tree" ! -type d | wc -l)
find_regular=$(find "$tree" -type f | wc -l)
read -r find_size find_blocks < <(find "$tree" ! -type d -printf '%s %b\n' |
  awk '{ s += $1; b += $2 } END { printf "%d %d\n", s, b }')
our_count=$("$vantor" du --count "$tree" | cut -f1)
our_size=$("$vantor" du --apparent "$tree" | cut -f1)
our_physical=$("$vantor" du "$tree" | cut -f1)
find_listed=$(find "$tree" -mindepth 1 | wc -l)
our_listed=$("$vantor" ls --deep "$tree" | wc -l)
echo "items: find $find_count (regular $find_regular), vantor $our_count;" \
  "logical: find $find_size, vantor $our_size; allocated: find $((find_blocks * 512)), vantor $our_physical;" \
  "listed: find $find_listed, vantor $our_listed"
status=0
[ "$our_count" = "$find_count" ] || { echo "count differs" >&2; status=1; }
[ "$our_size" = "$find_size" ] || { echo "logical size differs" >&2; status=1; }
[ "$our_physical" = "$((find_blocks * 512))" ] || { echo "allocated size differs" >&2; status=1; }
[ "$our_listed" = "$find_listed" ] || { echo "listing differs" >&2; status=1; }

# compare LABEL THEIRS OURS: both commands run in the tree's folder.
compare() {
  local theirs ours
  theirs=$(cd "$work" && median_of_3 sh -c "$2")
  ours=$(cd "$work" && median_of_3 sh -c "$3")
  printf '%-8s %-30s %7.3f s   %-26s %7.3f s   %5.2fx\n' "$1" "$2" "$theirs" "vantor ${3#*vantor }" "$ours" \
    "$(echo "$theirs / $ours" | bc -l)"
}
export vantor
compare count "find tree -type f" "\$vantor du --count tree"
compare sizes "du -s tree" "\$vantor du tree"
compare sizes "find tree -printf '%s %b\n'" "\$vantor du tree"
compare listing "find tree -printf '%p\n'" "\$vantor ls --deep tree"
exit $status
