#!/usr/bin/env python3
"""Doxygen input filter for the public headers.

The headers open with a `//` paragraph that describes the file, and some
declarations carry a `//` comment right above them rather than `///`.
Doxygen reads only the latter kind, so this filter, run on each header as
Doxygen reads it, turns
  - the opening `//` paragraph into the documentation of the class the
    header is named after when that class has no comment of its own, else
    into the file's documentation, and
  - a `//` block directly above a declaration (no blank line between, at
    namespace or class-member indentation) into a `///` block.
Runs of indented comment lines (the input => output tables and code
sketches) are shown as they are written, in a code block; indented lines
that continue a list item stay part of it.
Angle-bracket placeholders in prose ("<domain> error <code>") are not
HTML: outside code spans and blocks they are escaped.
Markdown pages get the placeholder escaping only.
Every line keeps its number, so warnings point at the real header lines.
Comments inside function bodies (deeper indentation), section rules
("// ----") and comments followed by a blank line are left alone.
"""
import os
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
        # A list item's continuation stays in the item. Doxygen reads double
        # quotes in comments as strings, and an escaped quote can hide the
        # closing command inside one: such a table stays prose.
        if LIST_ITEM.match(lines[start - 1]) or any('\\"' in l for l in lines[start:i]):
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


def undocumented_class_named_like(lines, path):
    """The header's own class (the one the file is named after), when its
    declaration has no comment of its own: the opening paragraph describes
    it, so it becomes the class's documentation."""
    name = os.path.basename(path)[:-2]
    declaration = re.compile(r"^(class|struct) " + re.escape(name) + r"\b(?!.*;\s*$)")
    for k, line in enumerate(lines):
        if declaration.match(line):
            above = lines[k - 1].strip() if k else ""
            return None if above.startswith("//") else name
    return None


def filter_lines(lines, path):
    out = list(lines)
    i = 0
    # The file's opening paragraph, up to the first line that is not a comment.
    if lines and PLAIN.match(lines[0]) and not RULE.match(lines[0]):
        end = 0
        while end < len(lines) and PLAIN.match(lines[end]):
            out[end] = re.sub(r"^//", "///", lines[end], count=1)
            end += 1
        own_class = undocumented_class_named_like(lines, path)
        marker = f" @class lx::{own_class}" if own_class else " @file"
        out[end - 1] = out[end - 1].rstrip("\n") + marker + "\n"
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


PLACEHOLDER = re.compile(r"<(/?[A-Za-z][\w./ -]*)>")


def escape_markdown_placeholders(lines):
    """The same escaping for a Markdown page ("<build>/locale"), outside
    code spans and fenced blocks; autolinks (<https://...>) have a colon and
    are left alone."""
    out = []
    fenced = False
    in_span = False  # code spans may wrap onto the next line of a paragraph
    for line in lines:
        fence = line.lstrip().startswith("```")
        if fence:
            fenced = not fenced
        if fenced or fence:
            out.append(line)
            continue
        if not line.strip():
            in_span = False
        parts = line.split("`")
        for k in range(len(parts)):
            if not in_span:
                parts[k] = PLACEHOLDER.sub(r"&lt;\1&gt;", parts[k])
            if k < len(parts) - 1:
                in_span = not in_span
        out.append("`".join(parts))
    return out


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as f:
        lines = f.readlines()
    if sys.argv[1].endswith(".md"):
        sys.stdout.write("".join(escape_markdown_placeholders(lines)))
    else:
        sys.stdout.write("".join(filter_lines(lines, sys.argv[1])))


if __name__ == "__main__":
    main()
