#!/usr/bin/env bash
# Soak test: many engines created, processing and destroyed, with the
# resident set compared before and after. Not part of CI (minutes long).
#
#   scripts/soak.sh [ROUNDS]
#
# Three engines per round (default 2000 rounds). Environment:
# KELVORA_SOAK_DIR build directory (default build), KELVORA_JOBS.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
dir="${KELVORA_SOAK_DIR:-build}"
if [ ! -f "$dir/CMakeCache.txt" ]; then
  cmake -S . -B "$dir" --log-level=WARNING -DCMAKE_BUILD_TYPE=Release -DKELVORA_WERROR=ON \
    -DKELVORA_BUILD_BENCHMARKS=OFF
fi
cmake --build "$dir" -j "${KELVORA_JOBS:-2}" --target kelvora_hardening_tests
KELVORA_SOAK_ROUNDS="${1:-2000}" "$dir/tests/kelvora_hardening_tests" \
  --gtest_also_run_disabled_tests --gtest_filter='Soak.*'
