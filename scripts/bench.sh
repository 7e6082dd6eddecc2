#!/usr/bin/env bash
# Every performance figure in one run (`make bench`): the benchmarks in bench/,
# then the window's start-up time and memory under Xvfb, as one table with the
# targets. Usage: scripts/bench.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
export QT_QPA_PLATFORM=offscreen

for b in bench_link bench_data bench_analysis bench_graph bench_window bench_statspanel bench_print bench_archive; do
  exe=$build/bin/$b
  if [ ! -x "$exe" ]; then
    echo "missing $exe (configure with -DHYGROTAB_BENCH=ON and Google Benchmark installed)" >&2
    exit 1
  fi
  # The paced download alone takes as long as its bytes on the wire (~24 s):
  # one repetition of it; five of everything else.
  reps=5
  [ "$b" = bench_link ] && reps=1
  # The archive's loads of 1.5 million records take half a minute a round.
  [ "$b" = bench_archive ] && reps=3
  echo "running $b ..." >&2
  "$exe" --benchmark_repetitions=$reps --benchmark_out="$out/$b.json" \
    --benchmark_out_format=json >/dev/null 2>"$out/$b.err" || { cat "$out/$b.err" >&2; exit 1; }
done

# Start-up: five starts of the window on an empty data folder, each ended once
# it has reported its first paint.
echo "running the window's start-up ..." >&2
cat >"$out/startup.sh" <<'INNER'
#!/usr/bin/env bash
exe=$1 out=$2
for i in 1 2 3 4 5; do
  dir=$(mktemp -d)
  HYGROTAB_STARTUP_REPORT=1 QT_QPA_PLATFORM=xcb "$exe" --data-dir "$dir" 2>"$dir.err" &
  pid=$!
  for _ in $(seq 1 200); do
    grep -q "first paint" "$dir.err" 2>/dev/null && break
    sleep 0.1
  done
  kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null
  grep "first paint" "$dir.err" >>"$out" || echo "no report from start $i" >&2
  rm -rf "$dir" "$dir.err"
done
INNER
xvfb-run -a -s "-screen 0 1280x1024x24" bash "$out/startup.sh" "$PWD/$build/bin/hygrotab" \
  "$out/startup.txt"

python3 scripts/bench_table.py "$out"
