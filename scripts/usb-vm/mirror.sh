# Sourced. debian_mirror prints the URI of the Debian archive this machine's
# apt already uses (deb822 sources first, then the one-line list), so the
# guest is built from the same mirror as the host's packages and no host name
# is written down here.
debian_mirror() {
  local codename
  codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")
  local f
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -r "$f" ] || continue
    # Stanzas are separated by blank lines; the wanted one lists the release
    # itself among its suites (not -security or -updates alone).
    awk -v want="$codename" '
      BEGIN { RS = ""; FS = "\n" }
      {
        uris = ""; suites = ""; types = ""
        for (i = 1; i <= NF; i++) {
          if ($i ~ /^URIs:/)   { uris = $i;   sub(/^URIs:[ \t]*/, "", uris) }
          if ($i ~ /^Suites:/) { suites = $i; sub(/^Suites:[ \t]*/, "", suites) }
          if ($i ~ /^Types:/)  { types = $i }
        }
        n = split(suites, s, /[ \t]+/)
        for (j = 1; j <= n; j++)
          if (s[j] == want && types ~ /(^|[ \t])deb([ \t]|$)/) { split(uris, u, /[ \t]+/); print u[1]; exit }
      }' "$f" | head -n1 | grep . && return 0
  done
  if [ -r /etc/apt/sources.list ]; then
    awk -v want="$codename" '$1 == "deb" {
        i = 2; if ($2 ~ /^\[/) { while ($i !~ /\]$/) i++; i++ }
        if ($(i + 1) == want) { print $i; exit } }' /etc/apt/sources.list | grep . && return 0
  fi
  echo "no Debian $codename archive found in this machine's apt sources" >&2
  return 1
}
