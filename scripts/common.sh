# shellcheck shell=bash
# Helpers shared by the scripts in this folder. Source it; do not run it.

# shellcheck disable=SC2034 # used by the scripts that source this file
KELVORA_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# Two cores are all a developer machine or CI can count on.
KELVORA_JOBS="${KELVORA_JOBS:-2}"

section() {
  printf '\n==== %s ====\n' "$*"
}

note() {
  printf -- '-- %s\n' "$*"
}

die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# Runs a command as root: directly when we are root, else through sudo.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    die "need root (or sudo) for: $*"
  fi
}

# apt-get without questions, prompts or progress bars.
apt_quiet() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o=Dpkg::Use-Pty=0 "$@"
}

# The one sysroot of cross-built third-party libraries (GoogleTest, kissfft)
# that every armv7 build tree uses. GCC builds it (scripts/build-arm-deps.sh);
# Clang's armv7 builds link the same libstdc++, so its C++ ABI is theirs too.
KELVORA_ARM_SYSROOT_DIR="$KELVORA_ROOT/build-armv7/sysroot"

# Build tree of an armv7 build: COMPILER clang (what phone builds use) or gcc,
# BACKEND neon or scalar (KELVORA_FORCE_SCALAR).
armv7_build_dir() {
  local compiler="$1" backend="$2" dir=build-armv7
  [ "$compiler" = gcc ] && dir+=-gcc
  [ "$backend" = scalar ] && dir+=-scalar
  printf '%s\n' "$dir"
}

# Configures SOURCE into BUILD as an armv7 build (Release, -Werror, tests and
# the instruction-count program). Every mode that shares a tree configures it
# through here, so the cache never flips between two sets of options. A tree
# left by the other compiler is started afresh (its sysroot, if any, stays).
configure_armv7() {
  local compiler="$1" backend="$2" source="$3" build="$4"
  local toolchain="$KELVORA_ROOT/cmake/toolchain-armv7.cmake" scalar=OFF
  [ "$compiler" = clang ] && toolchain="$KELVORA_ROOT/cmake/toolchain-armv7-clang.cmake"
  [ "$backend" = scalar ] && scalar=ON
  if [ -f "$build/CMakeCache.txt" ] &&
    ! grep -qx "CMAKE_TOOLCHAIN_FILE:[A-Z]*=$toolchain" "$build/CMakeCache.txt"; then
    note "$build was configured with another toolchain: configuring it afresh"
    rm -rf "$build/CMakeCache.txt" "$build/CMakeFiles"
  fi
  cmake -S "$source" -B "$build" --log-level=WARNING -DKELVORA_WERROR=ON \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DKELVORA_ARM_SYSROOT="$KELVORA_ARM_SYSROOT_DIR" \
    -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=ON -DKELVORA_BUILD_TOOLS=OFF \
    -DKELVORA_FORCE_SCALAR="$scalar" -DKELVORA_SANITIZE=OFF
}
