#!/usr/bin/env bash
# Instructions one frame set executes on armv7, counted under qemu-arm with our
# plugin (bench/armv7/qemu-insn-count.c). The program of bench/armv7 runs k and
# k + m frame sets of the rendered 224x172 or 640x480 scene through the engine;
# the difference over m is one frame set without the set-up. Prints the
# totals, the stages, the instruction classes and the top functions, then
# checks the Clang NEON count at 224x172 against bench/armv7/insn-threshold.txt.
#
#   scripts/armv7-count.sh [--builds "LIST"] [--sizes "LIST"] [--against REV] [--top N]
#
#   --builds   any of clang-neon clang-scalar gcc-neon gcc-scalar
#              (default: clang-neon clang-scalar)
#   --sizes    WIDTHxHEIGHT list (default: 224x172 640x480)
#   --against  also counts the same builds made from git revision REV (exported
#              with git archive under build-armv7-count/), side by side
#   --top      functions listed per build and size (default 10)
#
# Counts are exact for the binaries that ran, and the same on every run and
# machine load; they are not times (see docs/PERFORMANCE.md for an estimate).
#
# Environment: KELVORA_ARMV7_COUNT_THRESHOLD replaces the committed threshold;
# KELVORA_COUNT_FRAMES is "k k+m" (default "1 3").
# Exit status 3: the count is more than 5 % above the threshold; 1: any other
# failure.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$KELVORA_ROOT"

builds="clang-neon clang-scalar"
sizes="224x172 640x480"
against=""
top=10
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || die "$1 needs a value (see the head of $0)"
  case "$1" in
    --builds) builds="$2" ;;
    --sizes) sizes="$2" ;;
    --against) against="$2" ;;
    --top) top="$2" ;;
    *) die "unknown argument: $1 (see the head of $0)" ;;
  esac
  shift 2
done
read -r frames_k frames_km <<<"${KELVORA_COUNT_FRAMES:-1 3}"
[ "$frames_km" -gt "$frames_k" ] || die "KELVORA_COUNT_FRAMES: k + m must exceed k"
frames_m=$((frames_km - frames_k))

threshold_file=bench/armv7/insn-threshold.txt
threshold_build=clang-neon
threshold_size=224x172
allowed_rise_pct=5

work="$KELVORA_ROOT/build-armv7-count"
plugin="$work/libinsncount.so"
mkdir -p "$work"

section "armv7 count: set-up"
note "machine: $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg)"
note "$(qemu-arm --version | head -n 1); k = $frames_k, k + m = $frames_km frame sets"
# The plugin runs inside the host's qemu: built by the host's C compiler.
if [ ! -f "$plugin" ] || [ bench/armv7/qemu-insn-count.c -nt "$plugin" ]; then
  cc -O2 -shared -fPIC -fvisibility=hidden -Wall -Wextra -Werror \
    -o "$plugin" bench/armv7/qemu-insn-count.c
fi
scripts/build-arm-deps.sh "$KELVORA_ARM_SYSROOT_DIR"

# Source tree of a revision to compare with. A revision from before the count
# program gets today's bench/armv7 laid over it.
export_revision() {
  local rev="$1" dest="$2"
  rm -rf "$dest"
  mkdir -p "$dest"
  git archive "$rev" | tar -x -C "$dest"
  if [ ! -f "$dest/bench/armv7/CMakeLists.txt" ]; then
    cp -r bench/armv7 "$dest/bench/"
    printf '\nadd_subdirectory(armv7)\n' >>"$dest/bench/CMakeLists.txt"
  fi
}

# Builds the count program of one build; prints its path.
build_program() {
  local name="$1" source="$2" tree="$3"
  local compiler="${name%-*}" backend="${name#*-}"
  case "$compiler/$backend" in
    clang/neon | clang/scalar | gcc/neon | gcc/scalar) ;;
    *) die "unknown build: $name" ;;
  esac
  configure_armv7 "$compiler" "$backend" "$source" "$tree" >&2 || return 1
  build "$tree" --target kelvora_frame_set_count >&2 || return 1
  printf '%s\n' "$tree/bench/armv7/kelvora_frame_set_count"
}

build() {
  cmake --build "$1" -j "$KELVORA_JOBS" "${@:2}"
}

labels=()
declare -A program
rev_short=""
if [ -n "$against" ]; then
  rev_short="$(git rev-parse --short=10 "$against^{commit}")" || die "unknown revision: $against"
  export_revision "$rev_short" "$work/rev-$rev_short/source"
fi
for name in $builds; do
  compiler="${name%-*}"
  backend="${name#*-}"
  section "armv7 count: build $name"
  # A failed build must stop the count: the substitution's shell does not
  # inherit errexit, and an old program would be counted instead.
  program[$name]="$(build_program "$name" "$KELVORA_ROOT" "$(armv7_build_dir "$compiler" "$backend")")" ||
    die "build of $name failed"
  labels+=("$name")
  if [ -n "$rev_short" ]; then
    section "armv7 count: build $name of $rev_short"
    program[$name@$rev_short]="$(build_program "$name" "$work/rev-$rev_short/source" \
      "$work/rev-$rev_short/$name")" ||
      die "build of $name of $rev_short failed"
    labels+=("$name@$rev_short")
  fi
done

# Runs one program under the plugin; the counts go to OUT.txt, its own
# report line to OUT.out.
count_run() {
  local exe="$1" size="$2" n="$3" out="$4"
  qemu-arm -L /usr/arm-linux-gnueabihf -plugin "$plugin,out=$out.txt" \
    "$exe" "${size%x*}" "${size#*x}" "$n" >"$out.out"
}

# Per frame set: (counts with k + m) - (counts with k), over m, for the
# total, the classes and every symbol (demangled, namespaces and argument
# lists dropped). Symbol "?" is code outside the program's own symbols: the
# C and maths libraries, kissfft, the loader.
per_frame_set() {
  local dir="$1"
  awk -v m="$frames_m" '
    { key = $1 "\t" $2; value = ($1 == "total") ? $2 : $3; if ($1 == "total") key = "total\t-" }
    FNR == NR { before[key] = value; next }
    { after[key] = value }
    END {
      for (k in before) if (!(k in after)) after[k] = 0
      for (k in after) printf "%s\t%.0f\n", k, (after[k] - before[k]) / m
    }' "$dir/k.txt" "$dir/km.txt" >"$dir/raw.tsv"
  # Demangle the symbol names alone, then shorten them.
  awk -F'\t' '$1 == "symbol"' "$dir/raw.tsv" >"$dir/symbols.tsv"
  cut -f2 "$dir/symbols.tsv" | c++filt |
    sed -E 's/\(anonymous namespace\):://g; s/\(.*//;
            s/^(void|int|bool|float|unsigned int|unsigned long long) //;
            s/^[A-Za-z_:]+ ([A-Za-z_])/\1/;
            s/kelvora:://g; s/simd::([a-z0-9]+)::Tag/\1/g; s/simd:://g; s/^$/?/' >"$dir/names.txt"
  {
    awk -F'\t' '$1 != "symbol"' "$dir/raw.tsv"
    paste <(cut -f1 "$dir/symbols.tsv") "$dir/names.txt" <(cut -f3 "$dir/symbols.tsv")
  } | awk -F'\t' '{ sum[$1 "\t" $2] += $3 } END { for (k in sum) printf "%s\t%.0f\n", k, sum[k] }' \
    >"$dir/frame.tsv"
}

for size in $sizes; do
  [[ "$size" =~ ^[0-9]+x[0-9]+$ ]] || die "size $size is not WIDTHxHEIGHT"
  for label in "${labels[@]}"; do
    section "armv7 count: $label at $size"
    dir="$work/counts/$label/$size"
    mkdir -p "$dir"
    # The two runs are independent: one per core.
    count_run "${program[$label]}" "$size" "$frames_k" "$dir/k" &
    first=$!
    count_run "${program[$label]}" "$size" "$frames_km" "$dir/km" &
    second=$!
    wait "$first" || die "$label at $size with $frames_k frame sets failed"
    wait "$second" || die "$label at $size with $frames_km frame sets failed"
    cat "$dir/km.out"
    per_frame_set "$dir"
  done
done

# The stage a function belongs to, by its (shortened) name.
stage_of='
function stage(name) {
  if (name == "?") return "outside the program (libc, libm, kissfft)"
  if (name ~ /[Uu]nscramble/) return "unscrambling"
  if (name ~ /[Ss]trayLight|kiss_fft/) return "stray light"
  if (name ~ /[Cc]alcPixel|[Aa]tan|[Ww]iggl|NormalisedAmplitude|Phase/) return "calcPixel"
  if (name ~ /[Cc]alc2Freq|TwoFrequency/) return "two-frequency unwrapping"
  if (name ~ /[Ff]ilter2Freq/) return "filter2Freq"
  if (name ~ /adaptive_noise|AdaptiveNoise|FastExp/) return "adaptive noise filter"
  if (name ~ /[Mm]edian|[Mm]ultipath|[Mm]pi|NoiseFloor/) return "multipath (measures, medians, flags)"
  if (name ~ /FinishImage/) return "combine sweep (flags, points, checks)"
  if (name ~ /[Ff]lying|flagNoise|validateImage/) return "noise, flying pixels, validation"
  if (name ~ /[Pp]oint_?[Cc]loud|pointcloud|[Cc]artesian/) return "point cloud"
  if (name ~ /[Aa]utoExposure|zyn_select|greaterNanLast|introselect/) return "auto exposure"
  return "other (engine, drivers, copies)"
}'

value_of() {
  awk -F'\t' -v a="$2" -v b="$3" '$1 == a && $2 == b { print $3; exit }' "$1/frame.tsv"
}

# One row per label and size: total, per pixel, output hash.
section "instructions per frame set (k = $frames_k, k + m = $frames_km)"
printf '%-9s %-26s %14s %10s  %s\n' size build instructions "per pixel" "outputs (hash)"
for size in $sizes; do
  pixels=$((${size%x*} * ${size#*x}))
  for label in "${labels[@]}"; do
    dir="$work/counts/$label/$size"
    total="$(value_of "$dir" total -)"
    hash="$(sed -n 's/.*outputs \([0-9a-f]*\).*/\1/p' "$dir/km.out")"
    awk -v s="$size" -v l="$label" -v t="$total" -v p="$pixels" -v h="$hash" \
      'BEGIN { printf "%-9s %-26s %14.0f %10.1f  %s\n", s, l, t, t / p, h }'
  done
done

for size in $sizes; do
  section "stages at $size: instructions per frame set (share)"
  {
    for label in "${labels[@]}"; do
      awk -F'\t' -v OFS='\t' -v l="$label" "$stage_of"'
        $1 == "total" { total = $3 }
        $1 == "symbol" { s[stage($2)] += $3 }
        END { for (k in s) print l, k, s[k], 100 * s[k] / total }' \
        "$work/counts/$label/$size/frame.tsv"
    done
  } | awk -F'\t' -v labels="${labels[*]}" '
    BEGIN { n = split(labels, order, " ") }
    { v[$2 SUBSEP $1] = sprintf("%11.0f %5.1f%%", $3, $4); first[$2] += (order[1] == $1) ? $3 : 0; seen[$2] = 1 }
    END {
      printf "%-40s", "stage"; for (i = 1; i <= n; ++i) printf " %19s", order[i]; printf "\n"
      # Stages in the order of the first build'"'"'s counts, largest first.
      m = 0; for (k in seen) key[++m] = k
      for (i = 1; i <= m; ++i) for (j = i + 1; j <= m; ++j)
        if (first[key[j]] > first[key[i]]) { t = key[i]; key[i] = key[j]; key[j] = t }
      for (i = 1; i <= m; ++i) {
        printf "%-40s", key[i]
        for (j = 1; j <= n; ++j) { c = v[key[i] SUBSEP order[j]]; printf " %19s", c == "" ? "-" : c }
        printf "\n"
      }
    }'
done

for size in $sizes; do
  section "instruction classes at $size: per frame set (share)"
  {
    for label in "${labels[@]}"; do
      awk -F'\t' -v OFS='\t' -v l="$label" '
        $1 == "total" { total = $3 } $1 == "class" { c[$2] = $3 }
        END { for (k in c) print l, k, c[k], 100 * c[k] / total }' \
        "$work/counts/$label/$size/frame.tsv"
    done
  } | awk -F'\t' -v labels="${labels[*]}" '
    BEGIN { n = split(labels, order, " ") }
    { v[$2 SUBSEP $1] = sprintf("%11.0f %5.1f%%", $3, $4); seen[$2] = 1 }
    END {
      printf "%-16s", "class"; for (i = 1; i <= n; ++i) printf " %19s", order[i]; printf "\n"
      split("neon_q neon_d vfp_s vdiv vsqrt simd_load_store vmov_core_simd load_store branch integer", cls, " ")
      for (i = 1; i <= 10; ++i) {
        printf "%-16s", cls[i]
        for (j = 1; j <= n; ++j) { c = v[cls[i] SUBSEP order[j]]; printf " %19s", c == "" ? "-" : c }
        printf "\n"
      }
    }'
done

# awk rather than head takes the first lines: head would stop reading, and
# sort, killed by SIGPIPE, would fail the pipeline.
for size in $sizes; do
  [ "$top" -gt 0 ] || break
  for label in "${labels[@]}"; do
    section "top $top functions, $label at $size: per frame set (share)"
    total="$(value_of "$work/counts/$label/$size" total -)"
    awk -F'\t' '$1 == "symbol" { print $3 "\t" $2 }' "$work/counts/$label/$size/frame.tsv" |
      sort -t$'\t' -k1,1 -g -r | awk -v n="$top" 'NR <= n' |
      awk -F'\t' -v total="$total" \
        '{ printf "%12.0f %5.1f%%  %s\n", $1, 100 * $1 / total, substr($2, 1, 110) }'
  done
done

# The committed threshold, or the one the environment gives.
threshold="${KELVORA_ARMV7_COUNT_THRESHOLD:-}"
if [ -z "$threshold" ]; then
  threshold="$(awk -v b="$threshold_build" -v s="$threshold_size" \
    '$1 == b && $2 == s { print $3 }' "$threshold_file")"
  [ -n "$threshold" ] || die "no $threshold_build $threshold_size line in $threshold_file"
fi
[[ "$threshold" =~ ^[0-9]+$ ]] || die "threshold '$threshold' is not a whole number"
section "armv7 count: check"
case " $builds " in *" $threshold_build "*) ;; *) note "no check: $threshold_build was not counted" && exit 0 ;; esac
case " $sizes " in *" $threshold_size "*) ;; *) note "no check: $threshold_size was not counted" && exit 0 ;; esac
count="$(value_of "$work/counts/$threshold_build/$threshold_size" total -)"
# Over the limit when count * 100 > threshold * (100 + allowed rise).
if awk -v c="$count" -v t="$threshold" -v r="$allowed_rise_pct" 'BEGIN { exit !(c * 100 > t * (100 + r)) }'; then
  awk -v c="$count" -v t="$threshold" -v r="$allowed_rise_pct" -v b="$threshold_build" -v s="$threshold_size" \
    'BEGIN { printf "error: %s at %s: %.0f instructions per frame set, %.2f %% above the threshold %.0f (allowed: %d %%)\n", b, s, c, 100 * (c / t - 1), t, r }' >&2
  exit 3
fi
awk -v c="$count" -v t="$threshold" -v r="$allowed_rise_pct" -v b="$threshold_build" -v s="$threshold_size" \
  'BEGIN { printf "-- %s at %s: %.0f instructions per frame set, %+.2f %% against the threshold %.0f (allowed: +%d %%)\n", b, s, c, 100 * (c / t - 1), t, r }'
