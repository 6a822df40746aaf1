#!/bin/sh
# `vantor draw`, `vantor key` and `vantor font` as a shell user meets them.
# usage: drawing_tool_test.sh VANTOR
set -eu
vantor=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"
expect() {  # expect FILE TEXT: FILE contains TEXT
  grep -qF -- "$2" "$1" || { echo "$1 lacks: $2" >&2; cat "$1" >&2; exit 1; }
}
refuse() {  # refuse TEXT COMMAND...: the command fails and says TEXT
  if "$@" >out 2>err; then echo "accepted: $*" >&2; exit 1; fi
  expect err "$1"
}

for shape in roundrect capsule bubble spinner pie gradient; do
  "$vantor" draw "$shape" --size 40x30 --scale 2 -o "$shape.png"
  # PNG signature, then the IHDR width and height: 80 x 60 pixels.
  od -An -tx1 -N24 "$shape.png" | tr -d ' \n' >head
  expect head 89504e470d0a1a0a
  expect head 000000500000003c
done
"$vantor" draw pie --progress 0.5 -o pie.svg
expect pie.svg "<svg"
"$vantor" draw gradient --radial --to '#00000080' -o g.pdf
head -c 4 g.pdf >head && expect head "%PDF"
refuse "unknown shape 'star'" "$vantor" draw star -o x.png
refuse "use .png, .svg or .pdf" "$vantor" draw pie -o x.gif
refuse "Invalid drawing size" "$vantor" draw pie --size 0x10 -o x.png
refuse "bad value" "$vantor" draw pie --color red -o x.png
refuse "-o FILE is required" "$vantor" draw pie

"$vantor" key parse '<Control><Shift>k' >out
expect out "display: Ctrl+Shift+K"
expect out "symbols: ⌃⇧K"
expect out "xkb: k"
test "$("$vantor" key format '⌥⌘←')" = "Alt+Super+Left"
test "$("$vantor" key format 'ctrl++')" = "Ctrl++"
refuse "Unknown key 'Foo' in 'Ctrl+Foo'" "$vantor" key parse 'Ctrl+Foo'
refuse "Unclosed '<'" "$vantor" key format '<Control'

"$vantor" font "DejaVu Sans Mono" --bold --size 9 >out
expect out "family: DejaVu Sans Mono"
expect out "found: yes"
expect out "DejaVuSansMono-Bold.ttf"
expect out "pitch: fixed"
"$vantor" font "No Such Family 1234" >out
expect out "found: no, nearest match"
refuse "bad value" "$vantor" font Sans --size -1

# Cairo, fontconfig and xkbcommon are opened on first use. One at a time,
# each is shadowed by an empty file the loader refuses: the commands that
# need it (Cairo needs fontconfig too) fail the way they fail for other
# reasons (a drawing with the loader's message and no file left behind), and
# the others still work.
mkdir missing
while IFS='|' read -r library outcome command file text; do
  rm -f missing/* x.png x.svg
  : >"missing/$library"
  # shellcheck disable=SC2086  # the command's words are meant to split
  if LD_LIBRARY_PATH=$PWD/missing "$vantor" $command >out 2>err; then result=ok; else result=fails; fi
  [ "$result" = "$outcome" ] || { echo "without $library: $command $result" >&2; cat err >&2; exit 1; }
  expect "$file" "$text"
  if [ "$outcome" = fails ] && { [ -e x.png ] || [ -e x.svg ]; }; then
    echo "without $library: $command left a file" >&2; exit 1
  fi
done <<'ROWS'
libcairo.so.2|fails|draw pie -o x.png|err|Cannot write x.png:
libcairo.so.2|fails|draw pie -o x.svg|err|libcairo.so.2: file too short
libcairo.so.2|ok|font DejaVu|out|family: DejaVu Sans
libcairo.so.2|ok|key format ctrl+k|out|Ctrl+K
libfontconfig.so.1|fails|font DejaVu|err|no font is installed
libfontconfig.so.1|fails|draw spinner -o x.png|err|libfontconfig.so.1: file too short
libfontconfig.so.1|ok|key format ctrl+k|out|Ctrl+K
libxkbcommon.so.0|fails|key format ctrl+k|err|Unknown key 'k' in 'ctrl+k'
libxkbcommon.so.0|fails|key parse <Control>k|err|Unknown key 'k'
libxkbcommon.so.0|ok|font DejaVu|out|file: /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
libxkbcommon.so.0|ok|draw pie -o x.svg|x.svg|<svg
ROWS
