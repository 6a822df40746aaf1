#!/bin/sh
# The library as a user outside the tree takes it: installed into a fresh
# prefix, a host program builds and runs against it with pkg-config and with
# find_package, each shared and static (the dependencies shared). The static hosts must still know the
# archived class they never name.
# usage: install_test.sh BUILD_DIR [PREFIX]
#   without PREFIX the build is installed into a temporary one; with PREFIX
#   (e.g. /usr, after installing the packages) that installation is used.
set -eu
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
# The shared library exports what the public headers mark, so each must;
# the umbrella header must bring every one.
sh "$here/../../scripts/mark-public-api.sh" --check
sh "$here/../../scripts/umbrella-header.sh" --check
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
if [ $# -ge 2 ]; then
  prefix=$2
else
  prefix=$dir/prefix
  cmake --install "$build" --prefix "$prefix" >"$dir/install.log"
fi
cp "$here/host/host.cpp" "$here/host/CMakeLists.txt" "$dir/"
cd "$dir"
python3 - <<'PY'
import plistlib
uid = plistlib.UID
plistlib.dump({"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": uid(1)},
               "$objects": ["$null", {"$class": uid(3), "UUID": uid(2)},
                            "68753A44-4D6F-1226-9C60-0050E4C00067",
                            {"$classname": "LXUUID", "$classes": ["LXUUID", "NSObject"]}]},
              open("uuid.plist", "wb"), fmt=plistlib.FMT_BINARY)
PY
expected=LXUUID
# Classes in units nothing else in the library refers to.
unnamed_classes="LXTenseString LXFileSystemChange LXJSONRPCMessage LXTrust"
check() {  # check NAME HOST: HOST decodes the archive
  out=$("$2" uuid.plist $unnamed_classes) || { echo "$1: host failed" >&2; exit 1; }
  [ "$out" = "$expected" ] || { echo "$1: printed '$out'" >&2; exit 1; }
  echo "$1: ok"
}
# Libraries the library opens on first use: linked, they would cost every
# host their libraries at start-up. Cairo's headers are still the hosts'.
opened_on_first_use='libcurl|librsvg|libcairo|libfontconfig|libxkbcommon|libglib-2|libgobject-2|libgio-2|libsecret-1'
# and those it binds on first call, where it has the stubs for that.
[ "$(uname -m)" = x86_64 ] && opened_on_first_use="$opened_on_first_use|libssl|libcrypto|libsqlite3|libplist-2|libxml2"
expect_link() {  # expect_link shared|static HOST: HOST needs libvantorcore.so or not
  if readelf -d "$2" | grep -q 'NEEDED.*libvantorcore\.so'; then needs=shared; else needs=static; fi
  [ "$needs" = "$1" ] || { echo "$2 links $needs, expected $1" >&2; exit 1; }
  if readelf -d "$2" | grep -E "NEEDED.*($opened_on_first_use)" >&2; then
    echo "$2 links a library VantorCore opens on first use" >&2; exit 1
  fi
}
libdir=$(find "$prefix" -name vantorcore.pc -path '*/pkgconfig/*' | head -1 | xargs dirname | xargs dirname)
export PKG_CONFIG_PATH="$libdir/pkgconfig"
export CMAKE_PREFIX_PATH="$prefix"
if readelf -d "$libdir/libvantorcore.so" | grep -E "NEEDED.*($opened_on_first_use)" >&2; then
  echo "libvantorcore.so links a library it should open on first use" >&2; exit 1
fi
[ "$(pkg-config --modversion vantorcore)" = "$(grep -o '"[0-9.]*"' "$prefix/include/vantorcore/Version.h" | tr -d '"')" ]

# shellcheck disable=SC2046  # pkg-config prints words meant to split
c++ -std=c++20 host.cpp -o host-pc $(pkg-config --cflags --libs vantorcore)
expect_link shared host-pc
LD_LIBRARY_PATH=$libdir check "pkg-config, shared" ./host-pc

# The static archive with the dependencies as shared libraries.
# shellcheck disable=SC2046
c++ -std=c++20 host.cpp -o host-pc-static $(pkg-config --cflags --libs vantorcore-static)
expect_link static host-pc-static
check "pkg-config, static" ./host-pc-static
# The fully static form lists every dependency, the ones below them included.
for module in $(pkg-config --print-requires-private vantorcore | cut -d' ' -f1); do
  pkg-config --static --libs vantorcore | grep -q -- "$(pkg-config --libs-only-l "$module" | cut -d' ' -f1)" ||
    { echo "pkg-config --static lacks $module" >&2; exit 1; }
done

for kind in shared static; do
  static=OFF
  [ $kind = static ] && static=ON
  cmake -S . -B "build-$kind" -DHOST_STATIC=$static >"$dir/cmake-$kind.log" ||
    { cat "$dir/cmake-$kind.log" >&2; exit 1; }
  cmake --build "build-$kind" >"$dir/build-$kind.log" || { cat "$dir/build-$kind.log" >&2; exit 1; }
  expect_link $kind "build-$kind/host"
  check "find_package, $kind" "build-$kind/host"
done
