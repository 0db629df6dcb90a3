#!/usr/bin/env bash
# Builds the library on this machine and runs the demo: `kelvora demo` turns a
# synthetic scene, seen through a synthetic calibration, into depth data.
# Arguments are passed on to `kelvora demo`.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

scripts/setup.sh

section "configure (build/)"
cmake -S . -B build --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
  -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=ON

if grep -qs 'kelvora_cli' tools/CMakeLists.txt; then
  section "build the command-line tool"
  cmake --build build -j "$KELVORA_JOBS" --target kelvora_cli
  section "kelvora demo"
  exec build/tools/kelvora demo "$@"
fi

note "The command-line tool is not part of the tree yet; the full demo arrives with it."
if compgen -G 'tests/core/*.cpp' >/dev/null; then
  note "Until then, this builds the library and runs the core pipeline's tests."
  section "build"
  cmake --build build -j "$KELVORA_JOBS" --target kelvora kelvora_core_tests
  section "core tests"
  exec build/tests/kelvora_core_tests
fi
note "Until then, this only builds the library."
section "build"
cmake --build build -j "$KELVORA_JOBS" --target kelvora
ls -l build/src/libkelvora.so*
