#!/usr/bin/env bash
# Fails when Doxygen reported a warning that docs/doxygen-allowed-warnings.txt
# does not allow. Run after `make docs` (which writes the warnings file).
#
#   scripts/check-docs.sh [WARNINGS-FILE]   default: build/docs/warnings.txt
#
# Each allowed-list line is an extended regular expression matched against
# a warning with the repository's path stripped ("include/vantorcore/x/Y.h:12:
# warning: ..."); blank lines and lines starting with "#" are comments.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
warnings=${1:-$root/build/docs/warnings.txt}
allowed=$root/docs/doxygen-allowed-warnings.txt

if [ ! -f "$warnings" ]; then
  echo "check-docs: $warnings not found; run 'make docs' first" >&2
  exit 2
fi

patterns=$(mktemp)
trap 'rm -f "$patterns"' EXIT
grep -Ev '^[[:space:]]*(#|$)' "$allowed" >"$patterns" || true

# Doxygen repeats some warnings (once per class that inherits a member);
# each counts once.
unexpected=$(sed "s|^$root/||" "$warnings" | sort -u |
  if [ -s "$patterns" ]; then grep -Evf "$patterns" || true; else cat; fi)

if [ -n "$unexpected" ]; then
  count=$(printf '%s\n' "$unexpected" | wc -l)
  printf '%s\n' "$unexpected"
  echo "check-docs: $count Doxygen warning(s) not in docs/doxygen-allowed-warnings.txt" >&2
  exit 1
fi
echo "check-docs: no unexpected Doxygen warnings"
