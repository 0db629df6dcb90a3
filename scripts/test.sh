#!/usr/bin/env bash
# Builds and tests the library the ways CI does. Each mode can be run alone:
#
#   scripts/test.sh [MODE]
#
#   all       (default) x86, sanitize, armv7 and fuzz, in that order
#   x86       GCC Release build of everything with -Werror, tests, install check
#   sanitize  Clang build with AddressSanitizer + UndefinedBehaviorSanitizer, tests
#   scalar    GCC build forcing the scalar vector backend, tests (not part of
#             "all": every vector kernel is already tested against the scalar
#             backend inside the other builds)
#   armv7     cross build for armv7-a NEON, tests under qemu-arm
#   fuzz      short libFuzzer run of every fuzz target (skipped without fuzz/)
#   bench     short Google Benchmark run (not part of "all")
#
# Environment: KELVORA_JOBS (default 2), KELVORA_FUZZ_SECONDS (per target,
# default 10), KELVORA_SKIP_SETUP=1 to skip the package check.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

usage() {
  sed -n '2,15p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
}

timings=()
current_mode=""
current_start=0
print_timings() {
  local status=$?
  if [ "$status" -ne 0 ] && [ -n "$current_mode" ]; then
    timings+=("$(printf '%-9s %4d s  FAILED' "$current_mode" $((SECONDS - current_start)))")
  fi
  if [ "${#timings[@]}" -gt 0 ]; then
    section "timings"
    printf '%s\n' "${timings[@]}"
    printf '%-9s %4d s\n' total "$SECONDS"
  fi
  if [ "$status" -ne 0 ]; then
    printf '\nFAILED (exit %d)\n' "$status" >&2
  fi
}
trap print_timings EXIT

# Runs one mode (or the set-up) and records how long it took.
timed() {
  current_mode="$1"
  current_start=$SECONDS
  "mode_$1"
  timings+=("$(printf '%-9s %4d s' "$1" $((SECONDS - current_start)))")
  current_mode=""
}

configure() {
  local dir="$1"
  shift
  cmake -S . -B "$dir" --log-level=WARNING -DKELVORA_WERROR=ON "$@"
}

build() {
  cmake --build "$1" -j "$KELVORA_JOBS" "${@:2}"
}

# ctest's closing summary line is what CI reads; a tree with no test programs
# yet prints "No tests were found!!!" and is not a failure.
run_ctest() {
  local dir="$1"
  shift
  ctest --test-dir "$dir" --output-on-failure --no-tests=ignore -j "$KELVORA_JOBS" "$@"
}

# Installs the x86 build into a scratch prefix and checks that a consumer finds
# it both through CMake's package config and through pkg-config.
install_check() {
  local build_dir="$1"
  local prefix="$KELVORA_ROOT/$build_dir/install-check/prefix"
  local consumer="$KELVORA_ROOT/$build_dir/install-check/consumer"
  rm -rf "$build_dir/install-check"
  cmake --install "$build_dir" --prefix "$prefix" >/dev/null

  local libdir
  libdir="$(dirname "$(find "$prefix" -name 'libkelvora.so' -print -quit)")"
  if [ -z "$libdir" ] || [ "$libdir" = . ]; then
    die "install: no libkelvora.so under $prefix"
  fi
  for f in "$libdir/cmake/kelvora/kelvoraConfig.cmake" \
    "$libdir/cmake/kelvora/kelvoraConfigVersion.cmake" \
    "$libdir/cmake/kelvora/kelvoraTargets.cmake" \
    "$libdir/pkgconfig/kelvora.pc"; do
    [ -f "$f" ] || die "install: missing $f"
  done
  [ -d "$prefix/include" ] || die "install: missing $prefix/include"

  # The host example is the consumer: it must build from the installed
  # headers and package alone.
  cmake -S examples -B "$consumer/build" --log-level=WARNING \
    -DCMAKE_PREFIX_PATH="$(cd "$prefix" && pwd)" >/dev/null
  build "$consumer/build" >/dev/null
  [ -x "$consumer/build/kelvora_host_example" ] || die "install: example did not build"
  # ...and run on a calibration the command-line tool writes.
  if [ -x "$build_dir/tools/kelvora" ]; then
    "$build_dir/tools/kelvora" synth --out "$consumer/data" --width 64 --height 48 --frames 1 \
      >/dev/null
    LD_LIBRARY_PATH="$libdir" "$consumer/build/kelvora_host_example" \
      "$consumer/data/calibration.bin"
  fi

  PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --exists --print-errors kelvora
  note "install check passed: $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --libs kelvora)"
}

configure_x86() {
  configure build-x86 -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=ON -DKELVORA_BUILD_TOOLS=ON \
    -DKELVORA_FORCE_SCALAR=OFF -DKELVORA_SANITIZE=OFF
}

mode_x86() {
  section "x86: configure (GCC, Release, -Werror)"
  configure_x86
  section "x86: build"
  build build-x86
  section "x86: tests"
  run_ctest build-x86
  section "x86: install check"
  install_check build-x86
}

mode_sanitize() {
  section "sanitize: configure (Clang, ASan+UBSan, -Werror)"
  # -O1 keeps the sanitized tests quick while assertions stay on.
  configure build-sanitize -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_C_FLAGS_DEBUG="-O1 -g" -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" \
    -DKELVORA_SANITIZE=ON -DKELVORA_BUILD_TESTS=ON \
    -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=ON -DKELVORA_FORCE_SCALAR=OFF
  section "sanitize: build"
  build build-sanitize
  section "sanitize: tests"
  ASAN_OPTIONS="detect_leaks=1:check_initialization_order=1:strict_init_order=1" \
    UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
    run_ctest build-sanitize
}

mode_scalar() {
  section "scalar: configure (GCC, Release, KELVORA_FORCE_SCALAR, -Werror)"
  configure build-scalar -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DKELVORA_FORCE_SCALAR=ON -DKELVORA_BUILD_TESTS=ON \
    -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=OFF -DKELVORA_SANITIZE=OFF
  section "scalar: build"
  build build-scalar
  section "scalar: tests"
  run_ctest build-scalar
}

mode_armv7() {
  local sysroot="$KELVORA_ROOT/build-armv7/sysroot"
  section "armv7: third-party libraries"
  scripts/build-arm-deps.sh "$sysroot"
  section "armv7: configure (arm-linux-gnueabihf, NEON, -Werror)"
  configure build-armv7 -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$KELVORA_ROOT/cmake/toolchain-armv7.cmake" \
    -DKELVORA_ARM_SYSROOT="$sysroot" \
    -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=OFF \
    -DKELVORA_FORCE_SCALAR=OFF -DKELVORA_SANITIZE=OFF
  section "armv7: build"
  build build-armv7
  section "armv7: tests under qemu-arm"
  run_ctest build-armv7
}

mode_fuzz() {
  section "fuzz: smoke run"
  if [ ! -f fuzz/CMakeLists.txt ]; then
    note "skipped: no fuzz targets yet (fuzz/CMakeLists.txt does not exist)"
    return 0
  fi
  # Builds build-fuzz and runs every target for KELVORA_FUZZ_SECONDS (10 s
  # by default here: seven targets, about a minute of fuzzing).
  KELVORA_FUZZ_SECONDS="${KELVORA_FUZZ_SECONDS:-10}" scripts/fuzz.sh
}

mode_bench() {
  section "bench: configure and build (GCC, Release)"
  configure_x86
  if [ ! -d build-x86/bench/CMakeFiles/kelvora_bench.dir ]; then
    note "skipped: no benchmark sources yet (bench/*.cpp)"
    return 0
  fi
  build build-x86 --target kelvora_bench
  section "bench: short run"
  build-x86/bench/kelvora_bench --benchmark_min_time=0.05
}

mode="${1:-all}"
case "$mode" in
  -h | --help | help)
    usage
    exit 0
    ;;
  all | x86 | sanitize | scalar | armv7 | fuzz | bench) ;;
  *)
    usage >&2
    die "unknown mode: $mode"
    ;;
esac

mode_setup() {
  section "setup: Debian packages"
  scripts/setup.sh
}

if [ "${KELVORA_SKIP_SETUP:-0}" != 1 ]; then
  timed setup
fi

if [ "$mode" = all ]; then
  for m in x86 sanitize armv7 fuzz; do timed "$m"; done
else
  timed "$mode"
fi
section "all requested modes passed: $mode"
