#!/usr/bin/env bash
# Builds the library on this machine and runs the demo: `kelvora demo` turns a
# synthetic scene, seen through a synthetic calibration, into depth data.
# Arguments are passed on to `kelvora demo`. Also builds the Python package
# into build/python (README, section Python).
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

scripts/setup.sh

section "configure (build/)"
cmake -S . -B build --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
  -DKELVORA_BUILD_TESTS=ON -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=ON \
  -DKELVORA_BUILD_PYTHON=ON

section "build the command-line tool and the Python package"
cmake --build build -j "$KELVORA_JOBS" --target kelvora_cli kelvora_python

# Outputs go to build/demo unless the arguments name another folder.
out=build/demo
for arg in "$@"; do
  if [[ "$arg" == "--out" || "$arg" == --out=* ]]; then out=""; fi
done
section "kelvora demo"
if [[ -n "$out" ]]; then
  build/tools/kelvora demo --out "$out" "$@"
  note "Demo outputs (images, point cloud, arrays, report, calibration, recording): $KELVORA_ROOT/$out"
else
  build/tools/kelvora demo "$@"
fi
note "Python: export PYTHONPATH=\"$KELVORA_ROOT/build/python\", then /usr/bin/python3 -c \"import kelvora\""
