#!/usr/bin/env bash
# XML parsing and CSS queries side by side with their usual peers:
#   parse  a 50 MB XML document: XML_bench (LXXMLDocument::documentWithData,
#          file already in memory) against `xmllint --noout` (whole process,
#          best of 5). Target: within 10%, the same parser.
#   css    queries per second on a 1 MB HTML page: XML_bench against
#          python3-lxml with cssselect, both `doc.cssselect(selector)` per
#          query (selector translated each time, as most code calls it) and a
#          precompiled `CSSSelector`. Target: at least 2x lxml.
# Every figure is CPU time (user + system), not wall-clock time, because the
# machines we share are busy. The documents are generated under a temporary
# folder and removed after.
#
# usage: bench/xml_compare.sh [BUILD_DIR]     (needs BUILD_DIR/bench/XML_bench)
set -euo pipefail
build=${1:-build/bench}
bench="$build/bench/XML_bench"
[ -x "$bench" ] || { echo "no $bench (configure with VANTOR_BUILD_BENCH=ON)" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$work" <<'PY'
import random, sys
random.seed(7)
work = sys.argv[1]
words = ["harbour", "ferry", "tide", "berth", "crane", "pilot", "quay", "dock"]
with open(f"{work}/big.xml", "w") as out:
    out.write('<?xml version="1.0" encoding="UTF-8"?>\n<catalogue xmlns="urn:bench">\n')
    size, i = 0, 0
    while size < 50 * 1024 * 1024:
        line = (f'  <item id="i{i}" kind="{words[i % 8]}"><title>{" ".join(random.choices(words, k=6))}'
                f'</title><price currency="EUR">{i % 997}.{i % 100:02d}</price>'
                f'<note><![CDATA[<{words[i % 5]}> & more]]></note></item>\n')
        out.write(line); size += len(line); i += 1
    out.write("</catalogue>\n")
with open(f"{work}/page.html", "w") as out:
    out.write("<!DOCTYPE html><html><head><title>bench</title></head><body>\n")
    size, section = 0, 0
    while size < 1024 * 1024:
        parts = [f'<div id="section-{section}" class="section"><h2>Section {section}</h2>']
        for e in range(8):
            scheme = "https" if e % 3 else "http"
            parts.append(f'<div class="entry e{e}"><a href="{scheme}://x.example/{section}/{e}">link</a>'
                         f'<p class="{"aside" if e % 4 == 0 else "body"}">{" ".join(random.choices(words, k=12))}</p>'
                         f'<ul>{"".join(f"<li><span class=tag>{w}</span></li>" for w in random.sample(words, 4))}</ul></div>')
        parts.append('<table><tr><td>a</td><td>b</td></tr><tr><td>c</td><td>d</td></tr></table></div>\n')
        chunk = "".join(parts)
        out.write(chunk); size += len(chunk); section += 1
    out.write("</body></html>\n")
PY
echo "documents: big.xml $(du -m "$work/big.xml" | cut -f1) MB, page.html $(du -k "$work/page.html" | cut -f1) KB"

echo "== parse (50 MB)"
python3 - "$work/big.xml" <<'PY'
import os, subprocess, sys
def cpu_seconds():
    process = subprocess.Popen(["xmllint", "--noout", sys.argv[1]])
    _, status, usage = os.wait4(process.pid, 0)
    assert status == 0
    return usage.ru_utime + usage.ru_stime
print(f"xmllint --noout: {min(cpu_seconds() for _ in range(5)) * 1000:.0f} ms CPU (best of 5)")
PY
VANTOR_BENCH_XML="$work/big.xml" "$bench" --benchmark_filter=BM_ParseXMLFile \
  --benchmark_repetitions=5 2>/dev/null | grep -E "BM_" | grep -v -E "mean|median|stddev|cv" |
  awk '{ print $4 }' | sort -n | head -1 | sed 's/^/LXXMLDocument: /; s/$/ ms CPU (best of 5)/'


echo "== css (1 MB page)"
VANTOR_BENCH_HTML="$work/page.html" "$bench" --benchmark_filter=BM_CSSQuery 2>/dev/null | grep BM_
# Debian's lxml belongs to the system Python, whatever python3 is first in PATH.
/usr/bin/python3 - "$work/page.html" <<'PY'
import sys, time
import lxml.html
from lxml.cssselect import CSSSelector
doc = lxml.html.parse(sys.argv[1]).getroot()
selectors = ["div.entry > a[href^='https']", "li:nth-child(2n+1) span.tag",
             "#section-7 p:not(.aside)", "table tr:first-child td"]
def rate(call):
    n, start = 0, time.process_time()
    while time.process_time() - start < 1.0:
        call(); n += 1
    return n / (time.process_time() - start)
for s in selectors:
    compiled = CSSSelector(s)
    print(f"lxml {s!r}: {len(compiled(doc))} matches, per-call {rate(lambda: doc.cssselect(s)):.0f}/s, "
          f"precompiled {rate(lambda: compiled(doc)):.0f}/s")
PY
