#!/bin/sh
# `vantor archive`: dump tells keyed and state-restoration archives apart by
# content and refuses other property lists; keyed writes what read gives back.
# usage: archive_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
python3 - <<'PY'
import plistlib
def write(name, value):
    open(name, "wb").write(plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
write("restoration.plist", {"r": {"v": {"title": "A1", "window": "B2"}},
                            "o": {"A1": "Notes",
                                  "B2": {"i": "B2", "t": "c", "c": "Window",
                                         "oc": ["Window", "Object"],
                                         "v": {"self": "B2"}}}})
write("keyed.plist", {"$archiver": "NSKeyedArchiver", "$version": 100000,
                      "$top": {"root": plistlib.UID(1)}, "$objects": ["$null", "nul\0inside"]})
write("other.plist", {"r": "not a dictionary", "o": {}})
PY
expect() {  # expect FILE TEXT: FILE contains TEXT
  grep -qF -- "$2" "$1" || { echo "$1 lacks: $2" >&2; cat "$1" >&2; exit 1; }
}
"$vantor" archive dump restoration.plist >out
expect out '"title" : "Notes"'
expect out '"ref" : "B2"'
"$vantor" archive dump keyed.plist >out
expect out '"root" : "nul\u0000inside"'
if "$vantor" archive dump other.plist >out 2>err; then
  echo "a plain property list was dumped" >&2; exit 1
fi
expect err 'neither a keyed nor a state-restoration archive'
printf '{"name":"Grüße","sizes":[1,2.5],"none":null}' | "$vantor" archive keyed -o made.plist
"$vantor" archive read made.plist >out
expect out 'NSDictionary of 3 members'
