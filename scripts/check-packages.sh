#!/bin/sh
# Installs the Debian packages `make package` built, as a user would with apt,
# checks them, then purges them: a host program builds and runs against the
# installed library with pkg-config and with CMake (shared and static), an
# example builds with pkg-config, and `vantor demo` runs from /usr/bin.
# usage (as root): scripts/check-packages.sh [BUILD_DIR]   (default build/default)
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/default}
runtime=$(ls "$build"/packages/libvantorcore[0-9]*.deb)
dev=$(ls "$build"/packages/libvantorcore-dev_*.deb)
tool=$(ls "$build"/packages/vantor_*.deb)
packages=""
for deb in "$runtime" "$dev" "$tool"; do
  packages="$packages $(dpkg-deb -f "$deb" Package)"
done
dir=$(mktemp -d)
cleanup() {
  # shellcheck disable=SC2086  # one word per package
  DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq $packages >/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "./$runtime" "./$dev" "./$tool" >/dev/null

sh tests/install/install_test.sh "$build" /usr
# shellcheck disable=SC2046  # pkg-config prints words meant to split
c++ -std=c++20 examples/paths_and_text.cpp -o "$dir/paths_and_text" \
  $(pkg-config --cflags --libs vantorcore)
"$dir/paths_and_text" >/dev/null
[ "$(command -v vantor)" = /usr/bin/vantor ]
/usr/bin/vantor demo >"$dir/demo.txt"
echo "packages ok:$packages"
