#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and only
# those that are missing, so a second run costs a dpkg query and nothing more.
# With "usb-vm": also what builds and boots the guest of `make usb-test`.
set -euo pipefail

pkgs=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-serialport-dev libqt6serialport6
  libqt6sql6-sqlite libqt6sql6-psql postgresql
  libqt6opengl6-dev libgl-dev
  libftdi1-dev libgpiod-dev
  libbenchmark-dev libgtest-dev
  libxlsxwriter-dev libreoffice-calc-nogui
  clang libclang-rt-14-dev
  fonts-dejavu-core fonts-ipaexfont-gothic
  python3
  xvfb xauth imagemagick
  valgrind poppler-utils
)
if [ "${1:-}" = usb-vm ]; then
  pkgs+=(qemu-system-x86 qemu-utils debootstrap cpio kmod e2fsprogs)
fi

missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
