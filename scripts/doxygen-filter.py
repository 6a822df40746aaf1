#!/usr/bin/env python3
"""Doxygen input filter for the public headers.

The headers open with a `//` paragraph that describes the file, and some
declarations carry a `//` comment right above them rather than `///`.
Doxygen reads only the latter kind, so this filter, run on each header as
Doxygen reads it, turns
  - the opening `//` paragraph into the file's documentation, and
  - a `//` block directly above a declaration (no blank line between, at
    namespace or class-member indentation) into a `///` block.
Runs of indented comment lines (the input => output tables and code
sketches) are shown as they are written, in a code block; indented lines
that continue a list item stay part of it.
Angle-bracket placeholders in prose ("<domain> error <code>") are not
HTML: outside code spans and blocks they are escaped.
Every line keeps its number, so warnings point at the real header lines.
Comments inside function bodies (deeper indentation), section rules
("// ----") and comments followed by a blank line are left alone.
"""
import re
import sys

PLAIN = re.compile(r"^( {0,2})//(?![/!])(.*)$")
RULE = re.compile(r"^\s*//\s*(-{3,}|={3,})")


def is_declaration(line: str) -> bool:
    text = line.strip()
    return bool(text) and not text.startswith(("#", "//", "}", "namespace", "public:",
                                               "private:", "protected:"))


DOC = re.compile(r"^(\s*///)(.*)$")
LIST_ITEM = re.compile(r"^\s*///\s*(\d+\.|[-*])\s")


def keep_tables_verbatim(lines):
    """Wraps each run of `///` lines indented by 3+ spaces in a code block,
    opening it at the end of the line before and closing it on the last.
    (`@verbatim` would do, but Doxygen 1.9 loses track of a second verbatim
    block after a blank comment line.)"""
    out = list(lines)
    indented = [bool(m) and m.group(2).startswith("   ") and bool(m.group(2).strip())
                for m in (DOC.match(line) for line in lines)]
    i = 0
    while i < len(lines):
        if not indented[i] or i == 0 or not DOC.match(lines[i - 1]):
            i += 1
            continue
        start = i
        while i < len(lines) and indented[i]:
            i += 1
        if LIST_ITEM.match(lines[start - 1]):
            continue
        out[start - 1] = out[start - 1].rstrip("\n") + " @code{.unparsed}\n"
        out[i - 1] = out[i - 1].rstrip("\n") + " @endcode\n"
    return out


def escape_placeholders(lines):
    """Escapes "<" and ">" in the prose of `///` lines, leaving code spans
    (`...`) and code blocks alone."""
    out = []
    in_code = False
    for line in lines:
        m = DOC.match(line)
        if not m or in_code:
            out.append(line)
        else:
            parts = m.group(2).split("`")
            for k in range(0, len(parts), 2):
                parts[k] = parts[k].replace("<", "&lt;").replace(">", "&gt;")
            out.append(m.group(1) + "`".join(parts) + "\n")
        if "@code{" in line:
            in_code = True
        if "@endcode" in line:
            in_code = False
    return out


def filter_lines(lines):
    out = list(lines)
    i = 0
    # The file's opening paragraph, up to the first line that is not a comment.
    if lines and PLAIN.match(lines[0]) and not RULE.match(lines[0]):
        end = 0
        while end < len(lines) and PLAIN.match(lines[end]):
            out[end] = re.sub(r"^//", "///", lines[end], count=1)
            end += 1
        out[end - 1] = out[end - 1].rstrip("\n") + " @file\n"
        i = end
    while i < len(lines):
        if not PLAIN.match(lines[i]) or RULE.match(lines[i]):
            i += 1
            continue
        start = i
        while i < len(lines) and PLAIN.match(lines[i]) and not RULE.match(lines[i]):
            i += 1
        if i < len(lines) and is_declaration(lines[i]):
            for k in range(start, i):
                out[k] = re.sub(r"//", "///", lines[k], count=1)
    return escape_placeholders(keep_tables_verbatim(out))


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as f:
        lines = f.readlines()
    sys.stdout.write("".join(filter_lines(lines)))


if __name__ == "__main__":
    main()
