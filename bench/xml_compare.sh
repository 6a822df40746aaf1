#!/usr/bin/env bash
# XML parsing and CSS queries side by side with their usual peers, in
# alternating rounds (A B A B ...), medians reported:
#   parse  a 50 MB XML document, whole processes on both sides:
#          `vantor xml check FILE` against `xmllint --noout FILE`, each
#          reading the file itself (page cache warmed first), building the
#          whole tree and freeing it; start-up is measured on a tiny file
#          and shown too. Target: within 10%, the same parser.
#   css    queries per second on a 1 MB HTML page: XML_bench against
#          python3-lxml with cssselect, both `doc.cssselect(selector)` per
#          query (selector translated each time, as most code calls it) and a
#          precompiled `CSSSelector`. Target: at least 2x the faster of the two.
# Every figure is CPU time (user + system), not wall-clock time, because the
# machines we share are busy; the load average is printed with the figures.
# The documents are generated under a temporary folder and removed after.
#
# usage: bench/xml_compare.sh [BUILD_DIR] [ROUNDS]
#        (needs BUILD_DIR/bench/XML_bench and BUILD_DIR/tools/vantor/vantor)
set -euo pipefail
build=${1:-build/bench}
rounds=${2:-5}
bench="$build/bench/XML_bench"
vantor="$build/tools/vantor/vantor"
for program in "$bench" "$vantor"; do
  [ -x "$program" ] || { echo "no $program (configure with VANTOR_BUILD_BENCH=ON)" >&2; exit 1; }
done
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
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"

echo "== parse (50 MB), whole processes, $rounds rounds, median CPU time"
printf '<r/>' >"$work/tiny.xml"
python3 - "$work" "$vantor" "$rounds" <<'PY'
import os, statistics, subprocess, sys
work, vantor, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])
def cpu_seconds(command):
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    assert status == 0, command
    return usage.ru_utime + usage.ru_stime
sides = {"xmllint --noout": ["xmllint", "--noout"], "vantor xml check": [vantor, "xml", "check"]}
for command in sides.values():
    cpu_seconds(command + [f"{work}/big.xml"])  # page cache and binaries warm
times = {name: {"big": [], "tiny": []} for name in sides}
for _ in range(rounds):
    for name, command in sides.items():
        for document in ("big", "tiny"):
            times[name][document].append(cpu_seconds(command + [f"{work}/{document}.xml"]))
for name in sides:
    big, tiny = times[name]["big"], times[name]["tiny"]
    print(f"{name:17} {statistics.median(big) * 1000:6.0f} ms CPU (median; rounds "
          f"{' '.join(f'{t * 1000:.0f}' for t in big)}), start-up on a tiny file "
          f"{statistics.median(tiny) * 1000:.1f} ms")
medians = {name: statistics.median(times[name]["big"]) for name in sides}
print(f"vantor / xmllint: {medians['vantor xml check'] / medians['xmllint --noout']:.2f}")
PY
VANTOR_BENCH_XML="$work/big.xml" "$bench" --benchmark_filter=BM_ParseXMLFile \
  --benchmark_repetitions="$rounds" 2>/dev/null | grep -E "BM_.*_median" |
  awk '{ print "in-process (bytes already in memory, no start-up): " $4 " ms CPU (median)" }'

echo "== css (1 MB page), $rounds rounds, median queries per CPU second"
python3 - "$work/page.html" "$bench" "$rounds" <<'PY'
import json, os, statistics, subprocess, sys
page, bench, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3])
# Debian's lxml belongs to the system Python, whatever python3 is first in PATH.
lxml_script = r"""
import json, sys, time
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
rows = []
for s in selectors:
    compiled = CSSSelector(s)
    rows.append([s, len(compiled(doc)), rate(lambda: doc.cssselect(s)), rate(lambda: compiled(doc))])
print(json.dumps(rows))
"""
ours, theirs = {}, {}
for _ in range(rounds):
    run = subprocess.run([bench, "--benchmark_filter=BM_CSS", "--benchmark_format=json"],
                         env={**os.environ, "VANTOR_BENCH_HTML": page},
                         capture_output=True, text=True, check=True)
    for b in json.loads(run.stdout)["benchmarks"]:
        entry = ours.setdefault(b["name"], {"label": b.get("label", ""), "cpu_us": []})
        entry["cpu_us"].append(b["cpu_time"])  # per query, microseconds
    lxml = subprocess.run(["/usr/bin/python3", "-c", lxml_script, page],
                          capture_output=True, text=True, check=True)
    for s, matches, per_call, precompiled in json.loads(lxml.stdout):
        entry = theirs.setdefault(s, {"matches": matches, "per_call": [], "precompiled": []})
        entry["per_call"].append(per_call)
        entry["precompiled"].append(precompiled)
for i, (s, entry) in enumerate(theirs.items()):
    rate = 1e6 / statistics.median(ours[f"BM_CSSQuery/{i}"]["cpu_us"])
    per_call, precompiled = statistics.median(entry["per_call"]), statistics.median(entry["precompiled"])
    print(f"{s!r:32} {entry['matches']:5} matches: LXXMLDocument {rate:6.0f}/s, lxml per-call "
          f"{per_call:4.0f}/s, precompiled {precompiled:4.0f}/s: {rate / max(per_call, precompiled):.1f}x")
first = ours["BM_CSSFirstQuery"]
print(f"first query on a fresh document (it indexes the elements), {first['label']!r}: "
      f"{statistics.median(first['cpu_us']):.0f} us CPU")
PY
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
