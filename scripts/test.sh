#!/usr/bin/env bash
# Everything CI runs: a warnings-as-errors build with every test, then the same
# tests under AddressSanitizer and UndefinedBehaviorSanitizer, then the real
# USB path in a QEMU guest (scripts/usb-test.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

jobs=$(nproc)
export QT_QPA_PLATFORM=offscreen

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHYGROTAB_WERROR=ON
cmake --build build -j "$jobs"
(cd build && ctest --output-on-failure -j "$jobs")

# LeakSanitizer has no use for Qt's deliberate at-exit allocations; the other
# address errors still stop the run.
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DHYGROTAB_WERROR=ON \
  -DHYGROTAB_SANITIZE="address;undefined" -DHYGROTAB_BENCH=OFF
cmake --build build-asan -j "$jobs"
(cd build-asan && ctest --output-on-failure -j "$jobs")

# The programs of the first build, through the kernel's FTDI driver.
unset ASAN_OPTIONS UBSAN_OPTIONS
BUILD=build bash scripts/usb-test.sh
