#!/usr/bin/env bash
# Builds and tests the library the ways CI does. Each mode can be run alone:
#
#   scripts/test.sh [MODE]
#
#   all       (default) format, x86, view, package, docs, sanitize, armv7,
#             armv7-count and fuzz
#   format    clang-format --dry-run --Werror on every tracked C/C++ file
#   x86       GCC Release build of everything with -Werror, tests (the Python
#             package's pytest suite among them), install check (a host built
#             against a scratch prefix, CMake and pkg-config; the Python package)
#   view      the viewer page of the x86 build in headless Chromium
#             (tests/view); screenshots in build-x86/view-test
#   package   Debian package of the x86 build (cpack), its contents, then
#             apt-get install of it, a host built and run against /usr, the
#             Python package imported from /usr, removal
#   docs      API reference with Doxygen; any undocumented entity fails
#   sanitize  Clang build with AddressSanitizer + UndefinedBehaviorSanitizer, tests
#   scalar    GCC build forcing the scalar vector backend, tests (not part of
#             "all": every vector kernel is already tested against the scalar
#             backend inside the other builds)
#   armv7     cross build for armv7-a NEON with Clang and lld (the compiler
#             of phone builds), every test layer under qemu-arm
#   armv7-gcc the same with the GCC cross compiler (not part of "all")
#   armv7-count
#             instructions per frame set under qemu-arm (Clang, NEON and
#             scalar, 224x172 and 640x480), checked against the committed
#             threshold; the check itself is tested too
#   fuzz      short libFuzzer run of every fuzz target (skipped without fuzz/)
#   bench     short Google Benchmark run (not part of "all")
#
# Environment: KELVORA_JOBS (default 2), KELVORA_FUZZ_SECONDS (per target,
# default 10), KELVORA_SKIP_SETUP=1 to skip the package check,
# KELVORA_SYSTEM_INSTALL=0 to build and list the Debian package without
# installing it.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

usage() {
  sed -n '2,/^set -euo/p' "${BASH_SOURCE[0]}" | sed '$d' | sed 's/^# \{0,1\}//'
}

timings=()
current_mode=""
current_start=0
print_timings() {
  local status=$?
  if [ "$status" -ne 0 ] && [ -n "$current_mode" ]; then
    timings+=("$(printf '%-11s %4d s  FAILED' "$current_mode" $((SECONDS - current_start)))")
  fi
  if [ "${#timings[@]}" -gt 0 ]; then
    section "timings"
    printf '%s\n' "${timings[@]}"
    printf '%-11s %4d s\n' total "$SECONDS"
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
  timings+=("$(printf '%-11s %4d s' "$1" $((SECONDS - current_start)))")
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

# Builds the host example (examples/) against an installed copy of the
# library in two ways, as a host project would: with CMake's package config and
# with a bare compiler line from pkg-config. Neither may need kissfft (a
# private dependency of the shared library). Extra arguments go to the
# pkg-config compile (an rpath for a non-standard prefix).
build_host_example() {
  local out="$1" prefix_path="$2"
  shift 2
  mkdir -p "$out"

  local flags
  flags="$(pkg-config --cflags --libs kelvora)"
  case "$flags" in
    *kiss*) die "install: kissfft in the host's flags: $flags" ;;
  esac
  note "pkg-config --cflags --libs kelvora: $flags"
  # shellcheck disable=SC2086 # the flags are words
  c++ -std=c++17 -Wall -Werror examples/host_example.cpp $flags "$@" -o "$out/host-pkgconfig"

  # kissfft's package must not be needed to find kelvora's.
  # (Unused when nothing looks for kissfft, which is the point.)
  local cmake_args=(--no-warn-unused-cli -DCMAKE_DISABLE_FIND_PACKAGE_kissfft=ON)
  [ -z "$prefix_path" ] || cmake_args+=(-DCMAKE_PREFIX_PATH="$prefix_path")
  cmake -S examples -B "$out/cmake" --log-level=WARNING "${cmake_args[@]}" >/dev/null
  build "$out/cmake" >/dev/null
  if grep -rqi kiss "$out/cmake/CMakeFiles/kelvora_host_example.dir/flags.make"; then
    die "install: kissfft in the CMake host's compile flags"
  fi
}

# Runs a host program with an empty environment (no LD_LIBRARY_PATH, no PATH):
# the loader must find libkelvora.so on its own.
run_host_example() {
  local exe="$1" calibration="$2"
  local output
  output="$(env -i "$exe" "$calibration")" || die "install: $exe failed"
  case "$output" in
    *"engine 3."*"valid pixels"*) ;;
    *) die "install: unexpected output of $exe: $output" ;;
  esac
}

# Checks an installed command-line tool: its version line, and that a bare
# call prints the usage with the commands and exits 2.
check_installed_tool() {
  local tool="$1"
  local version usage status=0
  version="$(env -i "$tool" --version)"
  case "$version" in
    "kelvora 3."*) ;;
    *) die "install: $tool --version printed '$version'" ;;
  esac
  usage="$(env -i "$tool" 2>&1 >/dev/null)" || status=$?
  [ "$status" -eq 2 ] || die "install: bare $tool exited $status, not 2"
  case "$usage" in
    *demo*process*calib*synth*) ;;
    *) die "install: bare $tool printed no usage: $usage" ;;
  esac
}

# Imports the installed Python package with Debian's interpreter and an
# empty environment (PYTHONPATH aside), checks that it loaded libkelvora.so
# from the installed library folder, and processes a recording with it.
check_python_package() {
  local site="$1" libdir="$2" data="$3"
  local environment=()
  [ -z "$site" ] || environment+=("PYTHONPATH=$site")
  local output
  output="$(env -i "${environment[@]}" /usr/bin/python3 - "$libdir" "$data" <<'EOF'
import sys

import kelvora

libdir, data = sys.argv[1:]
loaded = {line.split()[-1] for line in open("/proc/self/maps") if "libkelvora.so" in line}
assert loaded and all(path.startswith(libdir + "/") for path in loaded), loaded
engine = kelvora.Engine(f"{data}/calibration.bin")
results = [engine.process(*fs) for fs in kelvora.Recording.open(f"{data}/recording.kvrec")]
print(f"Python package {kelvora.__file__}: {len(results)} frame set(s) processed, "
      f"{int(results[-1].valid.sum())} valid pixels, library {sorted(loaded)[0]}")
EOF
  )" || die "install: the Python package${site:+ in $site} failed"
  note "$output"
}

# Installs the x86 build into a scratch prefix, as a host installs into its
# own folder, and builds and runs the host example against it. Outside the
# loader's search path a host needs an rpath; the CMake build tree gets one
# from CMake, the pkg-config build passes it itself.
install_check() {
  local build_dir="$1"
  local check="$KELVORA_ROOT/$build_dir/install-check"
  local prefix="$check/prefix"
  rm -rf "$check"
  cmake --install "$build_dir" --prefix "$prefix" >/dev/null

  local libdir
  libdir="$(dirname "$(find "$prefix" -name 'libkelvora.so' -print -quit)")"
  if [ -z "$libdir" ] || [ "$libdir" = . ]; then
    die "install: no libkelvora.so under $prefix"
  fi
  for f in "$libdir/cmake/kelvora/kelvoraConfig.cmake" \
    "$libdir/cmake/kelvora/kelvoraConfigVersion.cmake" \
    "$libdir/cmake/kelvora/kelvoraTargets.cmake" \
    "$libdir/pkgconfig/kelvora.pc" "$prefix/include/kelvora/IKelvora.hpp" \
    "$prefix/bin/kelvora"; do
    [ -f "$f" ] || die "install: missing $f"
  done
  if grep -rli kiss "$prefix/include" "$libdir/cmake" "$libdir/pkgconfig"; then
    die "install: the files above name kissfft"
  fi

  check_installed_tool "$prefix/bin/kelvora"
  env -i "$prefix/bin/kelvora" synth --out "$check/data" --width 64 --height 48 --frames 1 \
    >/dev/null

  local module
  module="$(find "$prefix" -name '_kelvora*.so' -print -quit)"
  [ -n "$module" ] || die "install: no Python module under $prefix"
  check_python_package "$(dirname "$(dirname "$module")")" "$libdir" "$check/data"

  PKG_CONFIG_PATH="$libdir/pkgconfig" build_host_example "$check/host" "$prefix" \
    -Wl,-rpath,"$libdir"
  run_host_example "$check/host/host-pkgconfig" "$check/data/calibration.bin"
  run_host_example "$check/host/cmake/kelvora_host_example" "$check/data/calibration.bin"
  note "install check passed: $prefix"
}

# Configured for the /usr prefix so that the package gets Debian's multiarch
# library folder; installs for the checks go elsewhere with --prefix. cpack
# builds nothing itself: the modes build what goes into the package first.
configure_x86() {
  configure build-x86 -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON \
    -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=ON -DKELVORA_BUILD_TOOLS=ON \
    -DKELVORA_BUILD_PYTHON=ON -DKELVORA_FORCE_SCALAR=OFF -DKELVORA_SANITIZE=OFF
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

# `kelvora view` on a synthetic recording, driven in headless Chromium through
# Selenium. Debian's python3 on purpose: it has the Debian packages that
# setup.sh installs, whatever python3 comes first on PATH.
mode_view() {
  section "view: build the tool (GCC, Release, -Werror)"
  configure_x86
  build build-x86 --target kelvora_cli
  section "view: the page in headless Chromium"
  rm -rf build-x86/view-test
  /usr/bin/python3 -m pytest -p no:cacheprovider -v tests/view/test_browser.py \
    --kelvora build-x86/tools/kelvora --artefacts build-x86/view-test
  note "screenshots: $(echo build-x86/view-test/*.png)"
}

mode_format() {
  section "format: clang-format --dry-run --Werror"
  if ! git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    die "format: needs git and a checkout (the tracked files are the ones checked)"
  fi
  local files=()
  mapfile -d '' files < <(git ls-files -z -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' '*.inl')
  clang-format --version
  clang-format --dry-run --Werror "${files[@]}"
  note "${#files[@]} files formatted as .clang-format asks"
}

# The Debian package of the x86 build, checked the way a user installs it:
# apt-get install of the file, a host built with a bare compiler line and run
# with an empty environment, then removal. Needs root (or sudo); CI runs on a
# throwaway machine. A kelvora package that is already installed is left
# alone and the installation part skipped.
mode_package() {
  section "package: build (cpack, Debian package)"
  configure_x86
  build build-x86 --target kelvora kelvora_cli kelvora_python
  rm -f build-x86/kelvora_*.deb
  (cd build-x86 && cpack -G DEB >/dev/null)
  local deb
  deb="$(find "$KELVORA_ROOT/build-x86" -maxdepth 1 -name 'kelvora_*.deb' -print -quit)"
  [ -n "$deb" ] || die "package: cpack made no kelvora_*.deb"
  section "package: $(basename "$deb")"
  dpkg-deb --field "$deb" Package Version Architecture Depends Recommends
  dpkg-deb --field "$deb" Recommends | grep -q libjs-three ||
    die "package: does not recommend libjs-three, which kelvora view serves"
  local contents
  contents="$(dpkg-deb --contents "$deb")"
  printf '%s\n' "$contents"
  case "$contents" in
    */dist-packages/kelvora/_kelvora.*) ;;
    *) die "package: no Python module in $(basename "$deb")" ;;
  esac

  if [ "${KELVORA_SYSTEM_INSTALL:-1}" = 0 ]; then
    note "not installed (KELVORA_SYSTEM_INSTALL=0)"
    return 0
  fi
  if dpkg-query -W -f='${Status}' kelvora 2>/dev/null | grep -q 'install ok installed'; then
    note "not installed: a kelvora package is installed already and is left alone"
    return 0
  fi
  section "package: apt-get install, host against /usr, removal"
  apt_quiet install -y "$deb" >/dev/null
  local status=0
  set +e
  (
    set -e
    local check="$KELVORA_ROOT/build-x86/package-check"
    rm -rf "$check"
    mkdir -p "$check"
    check_installed_tool /usr/bin/kelvora
    env -i /usr/bin/kelvora synth --out "$check/data" --width 64 --height 48 --frames 1 >/dev/null
    # Plain compiler line, no paths: the standard prefix is searched already.
    build_host_example "$check/host" ""
    run_host_example "$check/host/host-pkgconfig" "$check/data/calibration.bin"
    run_host_example "$check/host/cmake/kelvora_host_example" "$check/data/calibration.bin"
    check_python_package "" /usr/lib "$check/data"
  )
  status=$?
  set -e
  apt_quiet purge -y kelvora >/dev/null
  [ "$status" -eq 0 ] || die "package: the installed package failed its check"
  if compgen -G "/usr/lib/*/libkelvora.so*" >/dev/null || [ -e /usr/bin/kelvora ] ||
    [ -e /usr/lib/python3/dist-packages/kelvora ]; then
    die "package: files left behind after removal"
  fi
  note "package installed, used by a host and removed: $(basename "$deb")"
}

mode_docs() {
  section "docs: API reference (Doxygen, warnings are errors)"
  rm -rf build-docs
  doxygen docs/Doxyfile
  [ -f build-docs/html/index.html ] || die "docs: no build-docs/html/index.html"
  note "API reference: build-docs/html/index.html"
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

# Cross build for armv7-a NEON with COMPILER (clang or gcc) and every test
# layer under qemu-arm.
armv7_tests() {
  local mode="$1" compiler="$2"
  local dir
  dir="$(armv7_build_dir "$compiler" neon)"
  section "$mode: third-party libraries"
  scripts/build-arm-deps.sh "$KELVORA_ARM_SYSROOT_DIR"
  section "$mode: configure ($compiler, arm-linux-gnueabihf, NEON, -Werror)"
  configure_armv7 "$compiler" neon . "$dir"
  section "$mode: build"
  build "$dir"
  section "$mode: tests under qemu-arm"
  run_ctest "$dir"
}

mode_armv7() {
  armv7_tests armv7 clang
}

mode_armv7-gcc() {
  armv7_tests armv7-gcc gcc
}

# The count and its check, then a test of the check: with the threshold set
# just below what passes the count must fail with the check's own exit status
# 3, and with it set just high enough it must pass. The two re-runs count
# only the checked build and size.
mode_armv7-count() {
  scripts/armv7-count.sh
  local count
  count="$(awk -F'\t' '$1 == "total" { print $3 }' \
    build-armv7-count/counts/clang-neon/224x172/frame.tsv)"
  [[ "$count" =~ ^[0-9]+$ ]] || die "armv7-count: no count to test the check with"
  # The limit is threshold x 1.05: fails below count / 1.05, passes from there.
  local failing=$(((count * 100 - 1) / 105)) passing=$(((count * 100 + 104) / 105))
  section "armv7-count: the check itself (threshold $failing must fail, $passing must pass)"
  local status=0
  KELVORA_ARMV7_COUNT_THRESHOLD="$failing" scripts/armv7-count.sh \
    --builds clang-neon --sizes 224x172 --top 0 >/dev/null 2>&1 || status=$?
  [ "$status" -eq 3 ] || die "armv7-count: threshold $failing gave exit status $status, not 3"
  KELVORA_ARMV7_COUNT_THRESHOLD="$passing" scripts/armv7-count.sh \
    --builds clang-neon --sizes 224x172 --top 0 >/dev/null ||
    die "armv7-count: threshold $passing did not pass"
  note "the check fails 5 % above the threshold and passes at it"
}

mode_fuzz() {
  section "fuzz: smoke run"
  if [ ! -f fuzz/CMakeLists.txt ]; then
    note "skipped: no fuzz targets yet (fuzz/CMakeLists.txt does not exist)"
    return 0
  fi
  # Builds build-fuzz and runs every target for KELVORA_FUZZ_SECONDS (10 s
  # by default here: five targets, under a minute of fuzzing).
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
  all | format | x86 | view | package | docs | sanitize | scalar | armv7 | armv7-gcc | armv7-count | fuzz | bench) ;;
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
  for m in format x86 view package docs sanitize armv7 armv7-count fuzz; do timed "$m"; done
else
  timed "$mode"
fi
section "all requested modes passed: $mode"
