#!/bin/sh
# Marks every public header's `namespace lx` as exported (see
# include/vantorcore/Export.h) and makes it include Export.h; running it again
# changes nothing. With --check it changes nothing and fails, naming the
# headers, when a public header lacks the mark.
# usage: scripts/mark-public-api.sh [--check]
set -eu
cd "$(dirname "$0")/.."
check=false
[ "${1:-}" = --check ] && check=true
unmarked=""
for header in $(find include/vantorcore -name '*.h' ! -name Export.h | sort); do
  opens_lx=$(grep -cE '^namespace (LX_API )?lx( \{|::)' "$header" || true)
  [ "$opens_lx" -gt 0 ] || continue
  if grep -qE '^namespace lx( \{|::)' "$header" || ! grep -q '^#include "vantorcore/Export.h"' "$header"; then
    unmarked="$unmarked $header"
  fi
done
if $check; then
  [ -z "$unmarked" ] && exit 0
  echo "public headers without the export mark (run scripts/mark-public-api.sh):" >&2
  for header in $unmarked; do echo "  $header" >&2; done
  exit 1
fi
for header in $unmarked; do
  if grep -q '^namespace lx::' "$header"; then
    echo "$header: open namespace lx on its own, then the nested one, so it can carry the mark" >&2
    exit 1
  fi
  perl -0pi -e 's/^namespace lx \{/namespace LX_API lx {/mg;
    s/^(#pragma once\n)/$1\n#include "vantorcore\/Export.h"\n/m unless /^#include "vantorcore\/Export.h"/m' "$header"
done
