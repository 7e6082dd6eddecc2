#!/usr/bin/env bash
# Runs the core's tests under Valgrind's memcheck and prints, per test, its
# result and memcheck's error and leak summary. Usage:
#   scripts/memcheck.sh [BUILD_DIR] [TEST...]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
shift || true
tests=("$@")
[ ${#tests[@]} -eq 0 ] && tests=(tst_data_formats tst_data_sets tst_csv_export tst_csv_import
  tst_dump_model tst_link_exchange tst_link_connection tst_sim)
command -v valgrind >/dev/null || { echo "valgrind is not installed (apt-get install valgrind)" >&2; exit 1; }
export QT_QPA_PLATFORM=offscreen
out=$(mktemp -d)
status=0
for t in "${tests[@]}"; do
  log=$out/$t.log
  rc=0
  valgrind --tool=memcheck --suppressions=scripts/valgrind.supp --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect --error-exitcode=99 --track-origins=yes \
    "$build/bin/$t" >"$log.out" 2>"$log" || rc=$?
  errors=$(grep -o 'ERROR SUMMARY: [0-9]*' "$log" | tail -1 | awk '{print $3}')
  definite=$(grep -o 'definitely lost: [0-9,]* bytes' "$log" | tail -1 | awk '{print $3}')
  indirect=$(grep -o 'indirectly lost: [0-9,]* bytes' "$log" | tail -1 | awk '{print $3}')
  totals=$(grep -h '^Totals:' "$log.out" | tail -1)
  printf '%-22s exit %-3s errors %-3s definitely lost %-6s indirectly lost %-6s %s\n' \
    "$t" "$rc" "${errors:-?}" "${definite:-0}" "${indirect:-0}" "$totals"
  [ "$rc" -eq 0 ] || { status=1; cp "$log" "/tmp/memcheck-$t.log"; echo "  log: /tmp/memcheck-$t.log"; }
done
rm -rf "$out"
exit $status
