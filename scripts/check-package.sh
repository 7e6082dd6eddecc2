#!/usr/bin/env bash
# Installs the built .deb into a fresh, minimal Debian 12 root and runs the
# installed programs there: the command-line tool on the emulated logger, and
# the window under Xvfb (a screenshot is left as installed-window.png).
# Needs root, network and an apt source for bookworm (scripts/apt-mirror.sh).
# Usage: scripts/check-package.sh [BUILD_DIR] [ROOT_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
root=${2:-/var/tmp/hygrotab-root}
deb=$(ls "$build"/hygrotab_*.deb | head -1)

command -v debootstrap >/dev/null || apt-get install -y -qq debootstrap
# From the archive this machine's apt uses, so the check runs wherever apt does.
if [ ! -x "$root/bin/bash" ]; then
  mirror=$(scripts/apt-mirror.sh bookworm)
  debootstrap --variant=minbase bookworm "$root" "$mirror"
fi

mounted=()
# A process of the root that is still ending holds its mounts a moment
# longer: detach them then, never leave the host's /dev bound in the root.
cleanup() { for m in "${mounted[@]}"; do umount "$m" 2>/dev/null || umount -l "$m" || true; done; }
trap cleanup EXIT
for m in proc dev dev/pts; do
  mountpoint -q "$root/$m" && continue
  case $m in proc) mount -t proc proc "$root/proc" ;; *) mount --bind "/$m" "$root/$m" ;; esac
  mounted=("$root/$m" "${mounted[@]}")
done
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp "$deb" "$root/tmp/hygrotab.deb"

in_root() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root bash -c "$1"; }
in_root "apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq ./tmp/hygrotab.deb >/dev/null"
echo "== installed: $(in_root 'dpkg-query -W hygrotab')"
echo "== hygrotab-cli --demo status"
in_root "cd /tmp && hygrotab-cli --demo status"
echo "== files"
in_root "ls /usr/bin/hygrotab* /usr/share/applications/hygrotab.desktop /usr/lib/udev/rules.d/60-hygrotab.rules /usr/lib/udev/rules.d/61-hygrotab-download.rules /usr/lib/systemd/system/hygrotab-download@.service /usr/share/man/man1/hygrotab*.1.gz /usr/share/icons/hicolor/scalable/apps/hygrotab.svg"
echo "== the window under Xvfb"
in_root "DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends xvfb xauth imagemagick >/dev/null"
cat >"$root/tmp/window.sh" <<'INNER'
hygrotab --demo --data-dir /tmp/hygrotab-data &
pid=$!
sleep 6
import -window root /tmp/installed-window.png
kill -0 $pid && echo "window running after 6 s"
kill $pid; wait $pid 2>/dev/null || true
INNER
in_root "cd /tmp && xvfb-run -a -s '-screen 0 1280x900x24' bash /tmp/window.sh"
cp "$root/tmp/installed-window.png" .
echo "screenshot: installed-window.png"
