#!/usr/bin/env bash
# Builds the guest the USB checks boot, or finds it built: Debian's own kernel
# package (unpacked, not installed), a small initramfs that mounts the root,
# and a minimal debootstrap root with udev and the runtime libraries of the
# programs. Kept under $HYGROTAB_USB_VM_CACHE (default
# /var/cache/hygrotab-usb-vm), in a folder named by a hash of the files that
# build it, so a change to any of them builds a new guest and later runs on
# the same machine reuse it. Prints that folder. Needs root (debootstrap).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
cache=${HYGROTAB_USB_VM_CACHE:-/var/cache/hygrotab-usb-vm}

# What the programs need at run time in the guest, besides the base system.
guest_packages=(
  udev kmod usbutils
  libqt6core6 libqt6gui6 libqt6widgets6 libqt6printsupport6 libqt6serialport6 qt6-qpa-plugins
  libqt6sql6 libqt6sql6-sqlite
  libftdi1-2 libgpiod2 libusb-1.0-0 libxlsxwriter4
  fonts-dejavu-core
)
# Modules the guest loads: the first group by the initramfs to reach its
# root, the rest by udev or the guest's init; their dependencies come along.
boot_modules=(virtio_pci virtio_blk ext4 crc32c_generic)
guest_modules=(9p 9pnet_virtio xhci_pci xhci_hcd usbserial ftdi_sio)

key=$( { cat "$here/build-image.sh" "$here/../apt-mirror.sh" "$here/initramfs-init" "$here/guest-init"; } |
       sha256sum | cut -c1-16)
dir="$cache/$key"
if [ -f "$dir/ready" ]; then
  echo "$dir"
  exit 0
fi

[ "$(id -u)" -eq 0 ] || { echo "build-image.sh: building the guest needs root (debootstrap)" >&2; exit 1; }
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$("$here/../apt-mirror.sh" "$codename")

mkdir -p "$cache"
work=$(mktemp -d "$cache/build.XXXXXX")
trap 'rm -rf "$work"' EXIT
start=$(date +%s)
log="$work/build.log"
echo "usb-vm: building the guest in $dir (Debian $codename from the system's mirror)" >&2

# -- the kernel: the package linux-image-amd64 points at, unpacked
( cd "$work"
  kpkg=$(apt-cache depends linux-image-amd64 | awk '/Depends: linux-image-[0-9]/ { print $2; exit }')
  [ -n "$kpkg" ] || { echo "usb-vm: apt knows no linux-image-amd64 (run apt-get update)" >&2; exit 1; }
  apt-get download -q "$kpkg" busybox-static >>"$log" 2>&1
  dpkg-deb -x linux-image-*.deb kernel
  dpkg-deb -x busybox-static_*.deb busybox )
kver=$(ls "$work/kernel/lib/modules")
depmod -b "$work/kernel" "$kver"

# The named modules and everything they depend on, in loading order.
module_closure() {
  local dep="$work/kernel/lib/modules/$kver/modules.dep"
  local m
  for m in "$@"; do
    m=${m//-/_}
    awk -v m="$m" -F': *' '{
        n = $1; sub(/.*\//, "", n); sub(/\.ko$/, "", n); gsub(/-/, "_", n)
        if (n == m) {
          k = split($2, d, " ")
          for (i = k; i >= 1; i--) print d[i]
          print $1
        }
      }' "$dep"
  done | awk '!seen[$0]++'
}

# -- the root: minimal Debian with udev and the programs' libraries
root="$work/root"
debootstrap --variant=minbase --include="$(IFS=,; echo "${guest_packages[*]}")" \
  "$codename" "$root" "$mirror" >>"$log" 2>&1 || {
  echo "usb-vm: debootstrap failed; the end of its log:" >&2
  tail -n 20 "$log" >&2
  exit 1
}
rm -rf "$root"/var/cache/apt/archives/*.deb "$root"/var/lib/apt/lists/*
mkdir -p "$root/lib/modules/$kver"
cp "$work/kernel/lib/modules/$kver"/modules.{builtin,builtin.modinfo,order} "$root/lib/modules/$kver/"
for f in $(module_closure "${boot_modules[@]}" "${guest_modules[@]}"); do
  mkdir -p "$root/lib/modules/$kver/$(dirname "$f")"
  cp "$work/kernel/lib/modules/$kver/$f" "$root/lib/modules/$kver/$f"
done
depmod -b "$root" "$kver"
install -m 0755 "$here/guest-init" "$root/sbin/hygrotab-guest-init"
echo hygrotab-usb > "$root/etc/hostname"
mkdir -p "$root/mnt/rig" "$root/mnt/bin" "$root/mnt/results"
# No root's password prompts, no getty: the guest only runs the checks.
size_mb=$(( $(du -sm "$root" | cut -f1) + 256 ))
mkfs.ext4 -q -F -L hygroroot -d "$root" "$work/root.img" "${size_mb}M" >>"$log" 2>&1

# -- the initramfs: busybox and the modules that reach the root
ird="$work/initramfs"
mkdir -p "$ird"/{bin,dev,proc,sys,newroot,modules}
cp "$work/busybox/bin/busybox" "$ird/bin/busybox"
for f in $(module_closure "${boot_modules[@]}"); do
  cp "$work/kernel/lib/modules/$kver/$f" "$ird/modules/"
  basename "$f" >> "$ird/modules/order"
done
install -m 0755 "$here/initramfs-init" "$ird/init"
( cd "$ird" && find . | cpio -o -H newc --quiet | gzip -1 ) > "$work/initrd.img"

mkdir -p "$dir.new"
mv "$work/kernel/boot/vmlinuz-$kver" "$dir.new/vmlinuz"
mv "$work/initrd.img" "$work/root.img" "$dir.new/"
echo "$kver" > "$dir.new/kernel-version"
rm -rf "$dir"
mv "$dir.new" "$dir"
touch "$dir/ready"
# Guests built from older versions of these scripts are of no further use.
find "$cache" -mindepth 1 -maxdepth 1 -type d ! -name "$key" -exec rm -rf {} +
echo "usb-vm: guest built in $(( $(date +%s) - start )) s" >&2
echo "$dir"
