#!/usr/bin/env bash
# valgrind memcheck of the public-interface test programs and the hardening
# tests and of the command-line demo. Left out: death tests (they fork and
# exit on purpose) and NoAllocation, whose counting malloc and operator new
# memcheck replaces with its own. Any memcheck error or leak fails the run.
#
#   scripts/valgrind.sh
#
# Environment: KELVORA_VALGRIND_DIR build directory (default build-valgrind,
# configured RelWithDebInfo with GCC when missing), KELVORA_JOBS.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
dir="${KELVORA_VALGRIND_DIR:-build-valgrind}"
jobs="${KELVORA_JOBS:-2}"

if [ ! -f "$dir/CMakeCache.txt" ]; then
  cmake -S . -B "$dir" --log-level=WARNING -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKELVORA_WERROR=ON -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_SANITIZE=OFF
fi
programs=(kelvora_engine_tests kelvora_interface_tests kelvora_hardening_tests)
cmake --build "$dir" -j "$jobs" --target "${programs[@]}"

memcheck=(valgrind --tool=memcheck --leak-check=full --show-leak-kinds=all
  "--errors-for-leak-kinds=definite,indirect,possible" --error-exitcode=99 --track-origins=yes
  --num-callers=30)
status=0
for p in "${programs[@]}"; do
  exe="$(find "$dir/tests" -maxdepth 1 -name "$p" -type f -executable | head -n 1)"
  [ -n "$exe" ] || continue
  log="$dir/valgrind-$p.log"
  printf -- '-- %s\n' "$p"
  if ! "${memcheck[@]}" --log-file="$log" "$exe" --gtest_brief=1 \
    --gtest_filter='-*Death*:*death*:NoAllocation.*' >/dev/null 2>&1; then
    printf 'memcheck failed for %s (log: %s)\n' "$p" "$log" >&2
    status=1
  fi
  grep -E 'ERROR SUMMARY|definitely lost|indirectly lost|possibly lost|still reachable' "$log" |
    sed 's/^==[0-9]*== /   /'
done

# The demo: KELVORA_DEMO is its command line (program and arguments, split at
# spaces); without it the demo is left out with a note.
if [ -n "${KELVORA_DEMO:-}" ]; then
  read -r -a demo <<<"$KELVORA_DEMO"
  log="$dir/valgrind-demo.log"
  printf -- '-- demo: %s\n' "$KELVORA_DEMO"
  if ! "${memcheck[@]}" --log-file="$log" "${demo[@]}" >/dev/null 2>&1; then
    printf 'memcheck failed for the demo (log: %s)\n' "$log" >&2
    status=1
  fi
  grep -E 'ERROR SUMMARY|definitely lost|indirectly lost|possibly lost|still reachable' "$log" |
    sed 's/^==[0-9]*== /   /'
else
  printf -- '-- demo skipped: set KELVORA_DEMO to its command line\n'
fi
exit "$status"
