#!/bin/sh
# Prints the address of the archive this system's apt takes SUITE from
# (default: this system's own release), for the tools that fetch from where
# apt does (debootstrap). apt itself reads its sources, so every form it
# accepts counts: one-line entries in sources.list and sources.list.d/*.list,
# deb822 stanzas in sources.list.d/*.sources, entries switched off, options,
# and mirror lists (mirror+file:, whose first mirror is taken). APT_CONFIG
# points apt at another configuration, as it does for apt itself.
# Usage: scripts/apt-mirror.sh [SUITE]
set -eu

suite=${1:-}
if [ -z "$suite" ] && [ -r /etc/os-release ]; then
  suite=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
fi
if [ -z "$suite" ]; then
  echo "apt-mirror.sh: this system names no release; give the suite (bookworm, for one)" >&2
  exit 2
fi
command -v apt-get >/dev/null || { echo "apt-mirror.sh: apt-get is not installed" >&2; exit 1; }

targets=$(apt-get indextargets --no-release-info --format '$(TARGET_OF) $(RELEASE) $(REPO_URI)')
mirror=$(printf '%s\n' "$targets" | while read -r type release uri; do
  [ "$type" = deb ] && [ "$release" = "$suite" ] || continue
  case $uri in
    mirror+file:*)
      list=${uri#mirror+file:}
      list=${list%/}
      [ -r "$list" ] || continue
      uri=$(sed -e 's/#.*//' "$list" | awk 'NF { print $1; exit }')
      ;;
  esac
  case $uri in
    http://* | https://* | ftp://* | file:/*) printf '%s\n' "${uri%/}"; break ;;
  esac
done)

if [ -z "$mirror" ]; then
  echo "apt-mirror.sh: none of apt's sources offers the suite $suite" >&2
  exit 1
fi
printf '%s\n' "$mirror"
