#!/bin/sh
# scripts/apt-mirror.sh on apt sources of every form (tests/data/apt), read by
# apt itself through APT_CONFIG; and scripts/check-package.sh names no host.
# Usage: apt_mirror_test.sh SOURCE_DIR
set -u
src=${1:?source folder}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$src/tests/data/apt/etc" "$work/etc"
cp "$src/tests/data/apt/mirrors.list" "$work/mirrors.list"
sed -i "s|@DIR@|$work|" "$work/etc/sources.list.d/debian.sources"
mkdir -p "$work/lists"
cat >"$work/apt.conf" <<CONF
Dir::Etc "$work/etc";
Dir::State::lists "$work/lists";
CONF
export APT_CONFIG="$work/apt.conf"

failed=0
expect() {  # SUITE STATUS OUTPUT
  out=$("$src/scripts/apt-mirror.sh" "$1" 2>"$work/err")
  status=$?
  if [ "$status" != "$2" ] || [ "$out" != "$3" ]; then
    echo "FAIL: suite $1: status $status, '$out' (want $2, '$3'); stderr: $(cat "$work/err")"
    failed=1
  else
    echo "ok: suite $1: '$out'"
  fi
}
expect bookworm 0 http://one-line.example.org/debian
expect bookworm-security 0 http://one-line.example.org/debian-security
expect trixie 0 http://deb822.example.org/debian
expect trixie-updates 0 http://deb822.example.org/debian
expect sid 0 https://first-mirror.example.org/debian
expect bullseye 1 ""
grep -q "bullseye" "$work/err" || { echo "FAIL: the refusal does not name the suite"; failed=1; }

# The package check takes its mirror from there and names none itself.
if grep -nE '[a-z]+://' "$src/scripts/check-package.sh"; then
  echo "FAIL: scripts/check-package.sh names an address"
  failed=1
fi
grep -q 'apt-mirror.sh' "$src/scripts/check-package.sh" ||
  { echo "FAIL: scripts/check-package.sh does not ask apt-mirror.sh"; failed=1; }
exit $failed
