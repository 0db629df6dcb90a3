#!/usr/bin/env bash
# Builds the libFuzzer targets (Clang, ASan+UBSan) and runs each for a while.
#
#   scripts/fuzz.sh [SECONDS_PER_TARGET [TARGET...]]
#
# SECONDS_PER_TARGET defaults to KELVORA_FUZZ_SECONDS or 20 (the CI smoke run:
# five targets, under two minutes). TARGETs are names without the
# kelvora_fuzz_ prefix (get_kelvora, block_reader, block_custom_fields,
# packed_array, engine); default all.
# Environment: KELVORA_FUZZ_JOBS parallel workers per target (default 1),
# KELVORA_FUZZ_DIR build directory (default build-fuzz). New inputs
# accumulate in $KELVORA_FUZZ_DIR/corpus-run/<target>/, crash reproducers in
# $KELVORA_FUZZ_DIR/artifacts/; the executions reached are printed per target.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

seconds="${1:-${KELVORA_FUZZ_SECONDS:-20}}"
shift || true
dir="${KELVORA_FUZZ_DIR:-build-fuzz}"
workers="${KELVORA_FUZZ_JOBS:-1}"

section "fuzz: configure and build ($dir)"
cmake -S . -B "$dir" --log-level=WARNING -DKELVORA_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DKELVORA_BUILD_FUZZERS=ON -DKELVORA_SANITIZE=ON -DKELVORA_BUILD_TESTS=OFF \
  -DKELVORA_BUILD_BENCHMARKS=OFF -DKELVORA_BUILD_TOOLS=OFF -DKELVORA_FORCE_SCALAR=OFF
cmake --build "$dir" -j "$KELVORA_JOBS"

targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
  while IFS= read -r exe; do targets+=("$(basename "$exe" | sed 's/^kelvora_fuzz_//')"); done < <(
    find "$dir/fuzz" -maxdepth 1 -type f -executable -name 'kelvora_fuzz_*' | sort)
fi
[ "${#targets[@]}" -gt 0 ] || die "no fuzz targets in $dir/fuzz"

export ASAN_OPTIONS="detect_leaks=1:allocator_may_return_null=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
mkdir -p "$dir/artifacts"
total=0
for name in "${targets[@]}"; do
  exe="$dir/fuzz/kelvora_fuzz_$name"
  [ -x "$exe" ] || die "no fuzz target $exe"
  run="$dir/corpus-run/kelvora_fuzz_$name"
  mkdir -p "$run"
  log="$dir/kelvora_fuzz_$name.log"
  note "$name: ${seconds} s, $workers worker(s)"
  # stdout is closed (-close_fd_mask=1): the legacy reader reports its
  # conversion there on every input.
  args=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -close_fd_mask=1
    -dict=fuzz/kelvora.dict -artifact_prefix="$dir/artifacts/${name}-" -print_final_stats=1)
  if [ "$workers" -gt 1 ]; then
    args+=(-fork="$workers" -ignore_crashes=0)
  fi
  if ! "$exe" "${args[@]}" "$run" "$dir/fuzz/corpus/kelvora_fuzz_$name" >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    die "fuzz target $name failed (log: $log)"
  fi
  if grep -qE 'ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error:' "$log"; then
    tail -n 60 "$log" >&2
    die "fuzz target $name reported a problem (log: $log)"
  fi
  # -fork mode prints one "stat::number_of_executed_units" per worker run;
  # a single process prints it once.
  execs="$(grep -E '^stat::number_of_executed_units:|^#[0-9]+.*(DONE|pulse|NEW|REDUCE)' "$log" |
    sed -nE 's/^stat::number_of_executed_units: *([0-9]+)/\1/p' | awk '{s+=$1} END {print s+0}')"
  if [ "$execs" -eq 0 ]; then
    execs="$(grep -oE '^#[0-9]+' "$log" | tail -n 1 | tr -d '#')"
  fi
  total=$((total + ${execs:-0}))
  printf '%-22s %12s executions\n' "$name" "${execs:-0}"
done
printf '%-22s %12s executions\n' total "$total"
