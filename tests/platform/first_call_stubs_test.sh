#!/bin/sh
# scripts/first-call-stubs.sh on objects that call none, one or a data symbol
# of a group's library: stubs for exactly the functions called, assembled;
# a data symbol stops the build with its name.
# usage: first_call_stubs_test.sh SCRIPT LIBRARY_FILE (a shared library
# defining the function xmlCheckVersion and the variable xmlFree: libxml2)
set -eu
script=$1
library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cc=${CC:-cc}
status=0

run() {  # run NAME C-SOURCE EXPECTED-EXIT PATTERN
  printf '%s\n' "$2" > "$work/$1.c"
  "$cc" -c "$work/$1.c" -o "$work/$1.o"
  if sh "$script" "$work/$1.S" "xml=libxml2.so.2:$library" -- "$work/$1.o" > "$work/$1.out" 2>&1; then
    got=0
  else
    got=1
  fi
  if [ "$got" != "$3" ] || ! grep -q -e "$4" "$work/$1.out" "$work/$1.S" 2>/dev/null; then
    echo "$1: exit $got, expected $3 and '$4'" >&2
    cat "$work/$1.out" >&2
    status=1
  elif [ "$got" = 0 ] && ! "$cc" -c "$work/$1.S" -o "$work/$1.stubs.o"; then
    echo "$1: the stubs do not assemble" >&2
    status=1
  else
    echo "$1: ok"
  fi
}

run none 'int f(void) { return 0; }' 0 '^\.Lgroup_xml:'
run one 'extern void xmlCheckVersion(int); void f(void) { xmlCheckVersion(1); }' 0 '^xmlCheckVersion:'
run data 'extern void (*xmlFree)(void*); void f(void) { xmlFree(0); }' 1 'data symbols.*xmlFree'
# A stub for a function the objects never call would be dead weight.
if grep -q '^xmlCheckVersion:' "$work/none.S"; then
  echo "none: a stub for an uncalled function" >&2
  status=1
fi
exit $status
