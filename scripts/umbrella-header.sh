#!/bin/sh
# Writes include/vantorcore/vantorcore.h, the one include that brings every
# public header, area by area in the order CMakeLists.txt builds them. With
# --check it writes nothing and fails when the file is not what it would write,
# so a new header cannot be left out of it.
# usage: scripts/umbrella-header.sh [--check]
set -eu
cd "$(dirname "$0")/.."
umbrella=include/vantorcore/vantorcore.h
generate() {
  echo "// Everything of VantorCore in one include (written by scripts/umbrella-header.sh)."
  echo "#pragma once"
  for area in $(sed -n 's/^vantor_area(\([a-z]*\).*/\1/p' CMakeLists.txt); do
    echo
    (cd include && find "vantorcore/$area" -name '*.h' | LC_ALL=C sort) |
      sed 's/.*/#include "&"/'
  done
}
if [ "${1:-}" = --check ]; then
  generate | cmp -s - "$umbrella" && exit 0
  echo "$umbrella lists other headers than include/vantorcore holds (run scripts/umbrella-header.sh)" >&2
  exit 1
fi
generate >"$umbrella"
