#!/usr/bin/env bash
# Our keyed unarchiver against Python's plistlib on the same keyed archive:
# 25,000 records of JSON (each a dictionary with strings, numbers, a nested
# dictionary and an array: 150,518 archived objects, 7.2 MB) written by
# `vantor archive keyed`. Three readers, best of 3 runs each, CPU seconds
# (user + system) of the whole process, start-up included (measured on an
# empty archive and shown); CPU rather than wall clock because the machines
# we share are busy:
#   plistlib   python3: plistlib.load of the archive's property list only
#   resolved   python3: plistlib.load and every UID resolved into objects
#   vantor     `vantor archive read`: property list and full unarchiving
# Target: vantor at least 5x faster than plistlib.
#
# usage: bench/keyed_compare.sh [BUILD_DIR]
set -euo pipefail
build=${1:-build/bench}
vantor="$build/tools/vantor/vantor"
[ -x "$vantor" ] || { echo "no vantor tool in $build" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/dev/shm}/keyed.XXXXXX" 2>/dev/null || mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - > "$work/doc.json" <<'PY'
import json
records = [{"title": "The Collected Works, volume %d" % i, "price": 9.99 + i % 100,
            "year": 1900 + i % 120, "author": {"name": "Author %d" % (i % 500)},
            "tags": ["tag%d" % (i % 7), "shelf"]} for i in range(25000)]
print(json.dumps(records))
PY
"$vantor" archive keyed -o "$work/archive.plist" < "$work/doc.json"
echo '[]' | "$vantor" archive keyed -o "$work/empty.plist"
"$vantor" archive read "$work/archive.plist"

cat > "$work/load_plist.py" <<'PY'
import plistlib, sys
with open(sys.argv[1], "rb") as f:
    plistlib.load(f)
PY
cat > "$work/resolved.py" <<'PY'
import plistlib, sys
with open(sys.argv[1], "rb") as f:
    archive = plistlib.load(f)
objects = archive["$objects"]
done = {}
def resolve(v):
    if not isinstance(v, plistlib.UID):
        return v
    if v.data in done:
        return done[v.data]
    o = objects[v.data]
    if isinstance(o, dict) and "$class" in o:
        name = objects[o["$class"].data]["$classname"]
        if name == "NSArray":
            r = [resolve(x) for x in o["NS.objects"]]
        else:
            r = {resolve(k): resolve(x) for k, x in zip(o["NS.keys"], o["NS.objects"])}
    else:
        r = None if o == "$null" else o
    done[v.data] = r
    return r
resolve(archive["$top"]["root"])
PY

# Best CPU seconds (user + system) of 3 runs of the command.
best_of_3() {
  local best="" s
  for _ in 1 2 3; do
    /usr/bin/time -o "$work/time" -f '%U %S' "$@" > /dev/null
    s=$(awk '{print $1 + $2}' "$work/time")
    if [ -z "$best" ] || [ "$(echo "$s < $best" | bc -l)" = 1 ]; then best=$s; fi
  done
  echo "$best"
}

size=$(stat -c %s "$work/archive.plist")
echo "archive: $size bytes"
printf '%-10s %10s %14s\n' reader seconds "start-up only"
plistlib=$(best_of_3 python3 "$work/load_plist.py" "$work/archive.plist")
resolved=$(best_of_3 python3 "$work/resolved.py" "$work/archive.plist")
ours=$(best_of_3 "$vantor" archive read "$work/archive.plist")
printf '%-10s %10.3f %14.3f\n' plistlib "$plistlib" "$(best_of_3 python3 "$work/load_plist.py" "$work/empty.plist")"
printf '%-10s %10.3f\n' resolved "$resolved"
printf '%-10s %10.3f %14.3f\n' vantor "$ours" "$(best_of_3 "$vantor" archive read "$work/empty.plist")"
printf 'vantor against plistlib: %.1fx; against resolved: %.1fx (target 5x)\n' \
  "$(echo "$plistlib / $ours" | bc -l)" "$(echo "$resolved / $ours" | bc -l)"
