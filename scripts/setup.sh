#!/usr/bin/env bash
# Installs the Debian packages that building and testing need. Does nothing on
# a machine that already has them all.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(
  cmake g++ clang clang-tidy clang-format libclang-rt-14-dev
  libkissfft-dev googletest libgtest-dev libbenchmark-dev libcli11-dev libpng-dev
  g++-arm-linux-gnueabihf lld qemu-user
  dpkg-dev file valgrind pkg-config doxygen
  # kelvora view: its HTTP server, JSON, and the three.js it serves
  libcpp-httplib-dev nlohmann-json3-dev libjs-three
  # the viewer's tests: headless Chromium driven from Debian's python3
  chromium chromium-driver python3-selenium python3-pytest python3-numpy
  # the Python package
  pybind11-dev python3-dev
)

missing=()
for pkg in "${packages[@]}"; do
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  if [ "$status" != "install ok installed" ]; then
    missing+=("$pkg")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

note "installing: ${missing[*]}"
apt_quiet update
apt_quiet install -y --no-install-recommends "${missing[@]}" >/dev/null
