#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the benchmarks need.
# Idempotent and non-interactive: packages already present are skipped, so a
# warm machine pays only for one dpkg query.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libicu-dev libssl-dev zlib1g-dev libsqlite3-dev libsimdjson-dev libplist-dev
  libplist-utils python3
  libboost-url1.81-dev libboost1.81-dev libcurl4-openssl-dev libxml2-dev
  gettext shared-mime-info libsecret-1-dev
  nlohmann-json3-dev
  libfontconfig-dev libspdlog-dev
  libcairo2-dev libxkbcommon-dev fonts-dejavu-core
  dbus gnome-keyring libsecret-tools libglib2.0-bin openssl
  libglib2.0-dev python3-lxml python3-cssselect
  doxygen graphviz
  iproute2 curl
  librsvg2-dev
  dpkg-dev file
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
