#!/usr/bin/env bash
# Runs the whole test suite several times in a row while the machine is kept
# busy, the way CI's parallel runs load it, and stops at the first failure.
#   scripts/soak.sh [BUILD_DIR] [RUNS] [LOAD_PROCESSES]
set -euo pipefail
build=${1:-build}
runs=${2:-5}
load=${3:-$(nproc)}
export QT_QPA_PLATFORM=offscreen

pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done; }
trap cleanup EXIT
for _ in $(seq "$load"); do
  (while :; do :; done) &
  pids+=($!)
done

for i in $(seq "$runs"); do
  start=$(date +%s)
  if ! (cd "$build" && ctest -j "$(nproc)" --output-on-failure >"/tmp/soak-run-$i.log" 2>&1); then
    echo "run $i of $runs: FAILED (log: /tmp/soak-run-$i.log)"
    grep -E 'Failed|FAIL!' "/tmp/soak-run-$i.log" | head -20
    exit 1
  fi
  echo "run $i of $runs: passed in $(( $(date +%s) - start )) s, with $load busy processes"
done
