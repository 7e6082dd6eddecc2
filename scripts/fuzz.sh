#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for
# SECONDS (default 600), keeping what they learn in fuzz/corpus-run/. Prints
# one line per target: runs, corpus size, and any crash files found.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
shift || true
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(fuzz_csv_read fuzz_answers fuzz_loggerini)

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DHYGROTAB_FUZZ=ON -DHYGROTAB_SANITIZE="address;undefined" -DHYGROTAB_TESTS=OFF \
  -DHYGROTAB_BENCH=OFF >/dev/null
cmake --build build-fuzz --target "${targets[@]}"

export QT_QPA_PLATFORM=offscreen
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for t in "${targets[@]}"; do
  corpus=fuzz/corpus-run/$t
  mkdir -p "$corpus" "fuzz/corpus-run/crashes-$t"
  seeds=()
  case $t in
    fuzz_csv_read) seeds=(tests/data/csv); dict=(-dict=fuzz/csv.dict) ;;
    fuzz_answers) seeds=(fuzz/seeds/answers); dict=() ;;
    fuzz_loggerini) seeds=(fuzz/seeds/loggerini); dict=() ;;
  esac
  log=fuzz/corpus-run/$t.log
  rc=0
  "build-fuzz/bin/$t" "${dict[@]}" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
    -artifact_prefix="fuzz/corpus-run/crashes-$t/" -print_final_stats=1 \
    "$corpus" "${seeds[@]}" >"$log" 2>&1 || rc=$?
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | awk '{print $2}')
  found=$(ls "fuzz/corpus-run/crashes-$t" | wc -l)
  echo "$t: ${seconds} s, ${runs:-?} runs, corpus $(ls "$corpus" | wc -l) inputs, exit $rc, findings $found"
done
