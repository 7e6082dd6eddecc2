#!/usr/bin/env bash
# make usb-test: the logger through the kernel's real FTDI driver. Boots a
# small Debian guest under QEMU (software emulation), plugs QEMU's emulated
# FT232 bridges into it with hygrotab-sim behind them on this machine's
# pseudo-terminals, and runs scripts/usb-vm/guest-tests.sh there. Fails, and
# says why, whenever the guest cannot be built or booted: it never passes
# without having run its checks.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
start=$(date +%s)
bash scripts/install-deps.sh usb-vm

if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHYGROTAB_WERROR=ON
fi
cmake --build "$BUILD" -j "$(nproc)" --target hygrotab hygrotab-cli hygrotab-sim

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
if ! image=$($SUDO bash scripts/usb-vm/build-image.sh); then
  echo "usb-test: FAILED: the guest could not be built (see above)"
  exit 1
fi
echo "usb-test: guest ready after $(( $(date +%s) - start )) s: $image"

results="$BUILD/usb-test"
rm -rf "$results"
mkdir -p "$results"
rc=0
$SUDO python3 scripts/usb-vm/vmctl.py --image "$image" --bin "$BUILD/bin" --src . \
  --results "$results" --figures "$results/figures.json" || rc=$?

# The same status read and download on this machine's pseudo-terminal, for
# the ratios: what the real driver (and the emulated machine) costs.
state=tests/data/sim/download_15000.json
baseline() {
  local fifo="$results/sim.out" pty
  "$BUILD/bin/hygrotab-sim" --state "$state" >"$fifo" 2>/dev/null &
  local sim=$!
  for _ in $(seq 50); do pty=$(head -n1 "$fifo" 2>/dev/null); [ -n "$pty" ] && break; sleep 0.1; done
  local t0 t1 t2
  t0=$(date +%s.%N)
  "$BUILD/bin/hygrotab-cli" --port "$pty" status >/dev/null 2>&1 || true
  t1=$(date +%s.%N)
  # Kept in an archive of its own, as the guest's download is in its own.
  mkdir -p "$results/host-data"
  "$BUILD/bin/hygrotab-cli" --port "$pty" --data-dir "$results/host-data" download \
    --csv "$results/host.csv" >/dev/null 2>&1 || true
  t2=$(date +%s.%N)
  kill "$sim" 2>/dev/null
  wait "$sim" 2>/dev/null || true
  awk -v a="$t0" -v b="$t1" -v c="$t2" 'BEGIN { printf "%.2f %.2f\n", b - a, c - b }'
}
if [ -f "$results/figures.json" ]; then
  read -r host_status host_download < <(baseline)
  python3 - "$results/figures.json" "$host_status" "$host_download" <<'PY'
import json, sys
f = json.load(open(sys.argv[1]))
host = {"status": float(sys.argv[2]), "download_15000": float(sys.argv[3])}
for what, h in host.items():
    g = f.get(f"guest_{what}_seconds")
    line = f"usb-test: {what}: {h:.2f} s on the host's pseudo-terminal"
    if g:
        line += f", {float(g):.2f} s through the guest's ftdi_sio: ratio {float(g) / h:.2f}"
    print(line)
PY
fi
echo "usb-test: $(( $(date +%s) - start )) s in all"
exit $rc
