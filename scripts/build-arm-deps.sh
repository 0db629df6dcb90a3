#!/usr/bin/env bash
# Cross-builds the third-party libraries the armv7 builds link (GoogleTest and
# single-precision kissfft) into a sysroot, from Debian's own sources: the
# GoogleTest source package in /usr/src and kissfft's Debian source package.
# Nothing third-party is kept in the repository.
#
# The GCC cross compiler builds them, and one sysroot serves the GCC and the
# Clang armv7 builds alike: Clang compiles against the same libstdc++ headers
# and links the same libstdc++, so GoogleTest's C++ interface has one ABI.
# (kissfft is plain C.)
#
#   scripts/build-arm-deps.sh [SYSROOT]      (default: build-armv7/sysroot)
#
# Skips a library whose package config is already in the sysroot. To fetch
# kissfft's sources it adds, when apt has none yet, the apt source list
# /etc/apt/sources.list.d/kelvora-deb-src.sources (deb-src entries), which
# stays on the machine.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

sysroot="${1:-$KELVORA_ROOT/build-armv7/sysroot}"
mkdir -p "$sysroot"
sysroot="$(cd "$sysroot" && pwd)"
work="$(dirname "$sysroot")/deps-build"
toolchain="$KELVORA_ROOT/cmake/toolchain-armv7.cmake"

# The cross compiler has no lib/<triple> layout of its own in the sysroot,
# so everything is installed into plain include/, lib/ and bin/.
install_dirs=(
  -DCMAKE_INSTALL_PREFIX="$sysroot"
  -DCMAKE_INSTALL_INCLUDEDIR=include
  -DCMAKE_INSTALL_LIBDIR=lib
  -DCMAKE_INSTALL_BINDIR=bin
)

# Builds and installs one CMake project; its (third-party, warning-rich) output
# goes to a log that is shown only when something fails.
cross_cmake() {
  local src="$1" bin="$2"
  shift 2
  local log="$bin.log"
  mkdir -p "$bin"
  if ! {
    cmake -S "$src" -B "$bin" -Wno-dev \
      -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DKELVORA_ARM_SYSROOT="$sysroot" \
      -DCMAKE_BUILD_TYPE=Release "${install_dirs[@]}" "$@" &&
      cmake --build "$bin" -j "$KELVORA_JOBS" &&
      cmake --install "$bin"
  } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    die "cross build of $src failed (full log: $log)"
  fi
}

if [ -f "$sysroot/lib/cmake/GTest/GTestConfig.cmake" ]; then
  note "GoogleTest for armv7 already in $sysroot"
else
  [ -f /usr/src/googletest/CMakeLists.txt ] || die "/usr/src/googletest missing (package googletest)"
  note "cross-building GoogleTest into $sysroot"
  cross_cmake /usr/src/googletest "$work/googletest" -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON
fi

# True when some apt source already offers source packages.
have_deb_src() {
  grep -Eqs '^[[:space:]]*(deb-src[[:space:]]|Types:.*deb-src)' \
    /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources
}

# Adds deb-src entries mirroring the machine's Debian binary sources, so
# `apt-get source` finds the same versions the -dev packages came from. The
# entry is a change to the machine's apt set-up that outlives this run; it is
# announced, and kept so that later runs need not add it again.
enable_deb_src() {
  local entry=/etc/apt/sources.list.d/kelvora-deb-src.sources
  local base=/etc/apt/sources.list.d/debian.sources
  note "adding the apt source list $entry (deb-src entries, for 'apt-get source kissfft');"
  note "it stays after this run (later runs reuse it); delete the file to undo"
  if [ -f "$base" ]; then
    sed -E 's/^Types:.*/Types: deb-src/' "$base" | as_root tee "$entry" >/dev/null
  else
    local codename
    codename="$(. /etc/os-release && echo "$VERSION_CODENAME")"
    printf 'Types: deb-src\nURIs: http://deb.debian.org/debian\nSuites: %s\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' \
      "$codename" | as_root tee "$entry" >/dev/null
  fi
  apt_quiet update
}

if [ -f "$sysroot/lib/cmake/kissfft/kissfft-config.cmake" ]; then
  note "kissfft for armv7 already in $sysroot"
else
  note "cross-building kissfft (float, shared) into $sysroot"
  if have_deb_src; then
    note "apt already offers source packages; no apt source list added"
  else
    enable_deb_src
  fi
  src_dir="$work/kissfft-source"
  rm -rf "$src_dir"
  mkdir -p "$src_dir"
  # apt drops to the _apt user for downloads; let it write here.
  chmod 0777 "$src_dir"
  (cd "$src_dir" && apt_quiet source kissfft >/dev/null 2>&1) ||
    (cd "$src_dir" && apt_quiet source kissfft) ||
    die "apt-get source kissfft failed"
  kissfft_src="$(find "$src_dir" -mindepth 1 -maxdepth 1 -type d -name 'kissfft-*' | head -n 1)"
  [ -n "$kissfft_src" ] || die "no kissfft source tree under $src_dir"
  cross_cmake "$kissfft_src" "$work/kissfft" \
    -DKISSFFT_DATATYPE=float -DKISSFFT_STATIC=OFF -DKISSFFT_OPENMP=OFF \
    -DKISSFFT_TEST=OFF -DKISSFFT_TOOLS=OFF -DKISSFFT_PKGCONFIG=OFF
fi
