#!/usr/bin/env bash
# Runs every cell of the fault matrix (each logger operation under each line
# fault, against hygrotab-sim on a pseudo-terminal) and writes the table into
# docs/reliability.md between its markers. The cells mostly wait on the
# program's time-outs, so they run in parallel processes.
#
#   scripts/fault-matrix.sh [BUILD_DIR] [PROCESSES]
#
# BUILD_DIR defaults to ./build (tst_fault_matrix and hygrotab-sim must be
# built there); PROCESSES defaults to 6. Exit status 0 when every cell is ok.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
procs=${2:-6}
bin=$build/bin/tst_fault_matrix
doc=$root/docs/reliability.md
for exe in "$bin" "$build/bin/hygrotab-sim"; do
  [[ -x $exe ]] || { echo "fault-matrix: $exe is not built" >&2; exit 2; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=offscreen HYGROTAB_FAULT_MATRIX=full HYGROTAB_BIN_DIR=$build/bin

mapfile -t tags < <("$bin" -datatags | sed -n 's/^TestFaultMatrix cell //p')
(( ${#tags[@]} > 0 )) || { echo "fault-matrix: no cells listed" >&2; exit 2; }

start=$(date +%s.%N)
pids=()
for ((p = 0; p < procs; p++)); do
  args=()
  for ((i = p; i < ${#tags[@]}; i += procs)); do args+=("cell:${tags[i]}"); done
  (( ${#args[@]} > 0 )) || continue
  HYGROTAB_FAULT_TABLE=$work/rows.$p "$bin" "${args[@]}" >"$work/log.$p" 2>&1 &
  pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid" || true; done
elapsed=$(echo "$(date +%s.%N) - $start" | bc)

# Every listed cell must have left a row; one that did not crashed or hung.
: >"$work/rows"
for f in "$work"/rows.*; do [[ -e $f ]] && cat "$f" >>"$work/rows"; done
for i in "${!tags[@]}"; do
  n=$((i + 1))
  if ! awk -F'\t' -v n="$n" '$1 == n { found = 1 } END { exit !found }' "$work/rows"; then
    printf '%s\t%s\t%s\t(no result)\t\t?\t?\t-\tFAIL\tthe test process crashed or hung\n' \
      "$n" "${tags[i]%%/*}" "${tags[i]#*/}" >>"$work/rows"
  fi
done
sort -t$'\t' -k1,1n -o "$work/rows" "$work/rows"

cells=$(wc -l <"$work/rows")
okcells=$(awk -F'\t' '$9 == "ok"' "$work/rows" | wc -l)

{
  echo '<!-- fault-matrix:begin (written by scripts/fault-matrix.sh; do not edit by hand) -->'
  echo '## Fault matrix'
  echo
  echo "$cells cells, $okcells ok, $((cells - okcells)) FAIL; the run took $(printf '%.0f' "$elapsed") s in $procs processes."
  echo
  echo 'Each cell starts `hygrotab-sim` on a pseudo-terminal, connects the headless session through'
  echo 'the real serial port code, puts known records into the data sets the operation does not'
  echo 'own, arms the fault on the emulator, presses the button the way the window does and waits'
  echo 'until the program is idle again. "Time" is from the button to the end of the operation'
  echo '(its completion or its giving up). Messages show a carriage return as ↵; the logger clock'
  echo 'read back after setting the clock is shown as #. Faults:'
  echo
  echo '- *N refusals*: the next N frames are answered with the refusal byte.'
  echo '- *silence*: no frame is answered any more.'
  echo '- *late answer*: the next answer arrives 900 ms late (after the first time-out).'
  echo '- *garbage around*: junk bytes before and after every answer.'
  echo '- *truncated answer*: the next answer loses its last 3 bytes, the terminator among them.'
  echo '- *flood without end*: the next answer is replaced by 120 bytes without a terminator.'
  echo '- *stalled stream*: the point stream stops after 50 of 144 points.'
  echo '- *unplug idle / in exchange / in download*: the logger is pulled out while the program is'
  echo '  idle (before the button), when the first frame of the operation arrives, or after 50'
  echo '  points of the stream.'
  echo
  echo 'Rerun: `scripts/fault-matrix.sh BUILD_DIR`.'
  echo
  echo '| # | operation | fault | what the user is told | title | port after | held data kept | time (s) | result |'
  echo '|---|---|---|---|---|---|---|---|---|'
  awk -F'\t' '{
    gsub(/\|/, "\\|", $4)
    result = $9
    if ($10 != "") result = result " (" $10 ")"
    printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", $1, $2, $3, $4, $5, $6, $7, $8, result
  }' "$work/rows"
  echo '<!-- fault-matrix:end -->'
} >"$work/section"

mkdir -p "$(dirname "$doc")"
if [[ -f $doc ]] && grep -q '<!-- fault-matrix:begin' "$doc"; then
  awk -v section="$work/section" '
    /<!-- fault-matrix:begin/ { while ((getline line < section) > 0) print line; skip = 1; next }
    /<!-- fault-matrix:end/ { skip = 0; next }
    !skip { print }' "$doc" >"$work/doc"
  cp "$work/doc" "$doc"
else
  { [[ -f $doc ]] && cat "$doc" && echo || echo $'# Reliability\n'; cat "$work/section"; } >"$work/doc"
  cp "$work/doc" "$doc"
fi

echo "fault-matrix: $cells cells, $okcells ok, $(printf '%.0f' "$elapsed") s; table in $doc"
for f in "$work"/log.*; do grep -E '^FAIL!' -A1 "$f" || true; done
(( okcells == cells ))
