#!/bin/sh
# `vantor xml`: XPath and CSS queries print matched nodes, values and clear
# errors.
# usage: xml_tool_test.sh VANTOR DOCUMENTS-FOLDER
set -eu
vantor=$1
documents=$2
err=$(mktemp)
trap 'rm -f "$err"' EXIT
expect() {  # expect NAME EXPECTED ACTUAL
  [ "$2" = "$3" ] || { echo "$1: expected [$2], got [$3]" >&2; exit 1; }
}
expect css "$(printf '<a href="/one" lang="en-GB" xml:lang="en-GB">One</a>\n<a href="/five">Five</a>')" \
  "$("$vantor" xml css 'li:first-child a, li:last-child a' "$documents/page.xhtml")"
expect xpath-ns 'K. Osei' \
  "$("$vantor" xml xpath '//item[2]/dc:creator/text()' "$documents/feed.rss" --ns dc=http://purl.org/dc/elements/1.1/)"
expect xpath-number 3 "$("$vantor" xml xpath 'count(//item)' <"$documents/feed.rss")"
expect html '<p class="x">tag soup</p>' "$(printf '<P CLASS=x>tag soup' | "$vantor" xml css 'p.x' - --html)"
expect check '' "$("$vantor" xml check "$documents/drawing.svg")"
expect check-html '' "$(printf '<P>soup' | "$vantor" xml check --html)"
if printf '<a>' | "$vantor" xml check 2>"$err"; then exit 1; fi
grep -q 'Premature end of data' "$err"
if "$vantor" xml check "$documents/drawing.svg" extra 2>/dev/null; then exit 1; fi
if "$vantor" xml css 'a:hover' "$documents/page.xhtml" 2>"$err"; then exit 1; fi
grep -q 'Unsupported pseudo-class' "$err"
if echo '<a>' | "$vantor" xml xpath / 2>"$err"; then exit 1; fi
grep -q 'Premature end of data' "$err"
echo ok
