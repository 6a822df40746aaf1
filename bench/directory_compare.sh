#!/usr/bin/env bash
# Directory inspection side by side with find and du on a generated tree of
# 200,000 files and 20 symbolic links in about 2,200 folders (fixed seed),
# made under /tmp and removed afterwards. Both sides start a process per run
# (start-up included) and write to /dev/null; each pair runs alternately,
# ROUNDS times (default 5), after one untimed run of each to warm the page
# cache; the figures are the medians. The script fails when our count, sums
# or listings differ from find's.
#
# usage: bench/directory_compare.sh [BUILD_DIR]   (a `bench` preset build)
#   DIRECTORY_COMPARE_FILES  files in the tree (default 200000)
#   ROUNDS                   timed runs per command (default 5)
set -euo pipefail
build=${1:-build/bench}
vantor="$(cd "$build" && pwd)/tools/vantor/vantor"
[ -x "$vantor" ] || { echo "no vantor tool in $build" >&2; exit 1; }
files=${DIRECTORY_COMPARE_FILES:-200000}
rounds=${ROUNDS:-5}
work=$(mktemp -d /tmp/directory-compare.XXXXXX)
trap 'rm -rf "$work"' EXIT
tree="$work/tree"

python3 - "$tree" "$files" <<'PY'
import os, random, sys
root, count = sys.argv[1], int(sys.argv[2])
rng = random.Random(20261124)
leaves = [os.path.join(root, f"a{a}", f"b{b}", f"c{c}")
          for a in range(10) for b in range(10) for c in range(21)]
for leaf in leaves:
    os.makedirs(leaf, exist_ok=True)
# Every folder of the tree, the root and the intermediate levels included.
folders = sorted({root} | {os.path.dirname(l) for l in leaves} |
                 {os.path.dirname(os.path.dirname(l)) for l in leaves} | set(leaves))
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

# Check the figures first (this also warms the page cache).
find_count=$(find "$tree" ! -type d | wc -l)
find_regular=$(find "$tree" -type f | wc -l)
read -r find_size find_blocks < <(find "$tree" ! -type d -printf '%s %b\n' |
  awk '{ s += $1; b += $2 } END { printf "%d %d\n", s, b }')
our_count=$("$vantor" du --count "$tree" | cut -f1)
our_size=$("$vantor" du --apparent "$tree" | cut -f1)
our_physical=$("$vantor" du "$tree" | cut -f1)
find_visible=$(find "$tree" ! -type d ! -path '*/.*' | wc -l)
our_visible=$("$vantor" du --count --no-hidden "$tree" | cut -f1)
status=0
same_listing() {  # same_listing LABEL FIND-ARGS -- VANTOR-LS-ARGS: same paths, folders first
  local label=$1; shift
  local find_args=() ls_args=()
  while [ "$1" != -- ]; do find_args+=("$1"); shift; done
  shift
  ls_args=("$@")
  find "$tree" -mindepth 1 "${find_args[@]}" -printf '%p\n' | sort >"$work/theirs"
  "$vantor" ls --deep "${ls_args[@]}" "$tree" >"$work/ours.raw"
  sort "$work/ours.raw" >"$work/ours"
  # Each path's folder comes earlier in our output than the path itself.
  local misplaced
  misplaced=$(awk -v root="$tree" '{ seen[$0] = 1; d = $0; sub(/\/[^\/]*$/, "", d)
    if (d != root && !(d in seen)) bad++ } END { print bad + 0 }' "$work/ours.raw")
  if ! cmp -s "$work/theirs" "$work/ours" || [ "$misplaced" != 0 ]; then
    echo "listing differs: $label ($(wc -l <"$work/theirs") vs $(wc -l <"$work/ours"), $misplaced misplaced)" >&2
    status=1
  fi
}
same_listing "all" -- 
same_listing "images left out, PNG kept" ! -name '*.jpg' ! -name '*.gif' -- --except public.image --keep public.png
echo "items: find $find_count (regular $find_regular), vantor $our_count;" \
  "not hidden: find $find_visible, vantor $our_visible;" \
  "logical: find $find_size, vantor $our_size;" \
  "allocated: find $((find_blocks * 512)), vantor $our_physical"
[ "$our_count" = "$find_count" ] || { echo "count differs" >&2; status=1; }
[ "$our_visible" = "$find_visible" ] || { echo "count without hidden items differs" >&2; status=1; }
[ "$our_size" = "$find_size" ] || { echo "logical size differs" >&2; status=1; }
[ "$our_physical" = "$((find_blocks * 512))" ] || { echo "allocated size differs" >&2; status=1; }

# Wall seconds of one run of a shell command line, output thrown away. The
# clock is bash's own: a `date` before and after and an `sh -c` in between
# would add about 10 ms of other processes' start-up to every figure.
seconds() {
  local t0 t1
  t0=$EPOCHREALTIME
  eval "$1" >/dev/null
  t1=$EPOCHREALTIME
  echo "$t1 - $t0" | bc
}
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# compare LABEL THEIRS OURS: both command lines run in the tree's folder,
# alternately, one untimed run each first.
compare() {
  local theirs=() ours=() t o
  cd "$work"
  eval "$2" >/dev/null
  eval "$3" >/dev/null
  for _ in $(seq "$rounds"); do
    theirs+=("$(seconds "$2")")
    ours+=("$(seconds "$3")")
  done
  cd - >/dev/null
  t=$(printf '%s\n' "${theirs[@]}" | median)
  o=$(printf '%s\n' "${ours[@]}" | median)
  printf '%-8s %-32s %7.3f s   %-46s %7.3f s   %5.2fx\n' "$1" "$2" "$t" \
    "vantor ${3#*vantor }" "$o" "$(echo "$t / $o" | bc -l)"
}
export vantor
echo "rounds $rounds, threads $(nproc), load before: $(cut -d' ' -f1-3 /proc/loadavg)"
# What every row below pays before its first system call on the tree.
compare start-up "find --version" "\$vantor --help"
compare count "find tree -type f" "\$vantor du --count tree"
compare sizes "du -s tree" "\$vantor du tree"
compare sizes "find tree -printf '%s %b\n'" "\$vantor du tree"
compare listing "find tree -printf '%p\n'" "\$vantor ls --deep tree"
compare listing "find tree -printf '%p\n'" "\$vantor ls --deep --except public.image --keep public.png tree"
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
exit $status
