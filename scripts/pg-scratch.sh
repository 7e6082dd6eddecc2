#!/usr/bin/env bash
# A PostgreSQL server of its own, for the archive's tests and benchmarks:
# initdb into DIR/pg, the server listening on a Unix socket in that folder
# only (no TCP), trust authentication, durability traded for speed. Run as
# root, the server runs as the unprivileged user "nobody" (PostgreSQL refuses
# root), and DIR is made passable for it.
#
#   pg-scratch.sh start DIR   starts it; prints the libpq connection string
#   pg-scratch.sh stop DIR    stops it and removes DIR/pg
set -euo pipefail
cmd=${1:-} dir=${2:-}
if [ -z "$cmd" ] || [ -z "$dir" ]; then
  echo "usage: $0 start|stop DIR" >&2
  exit 2
fi
bin=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n1)
if [ -z "$bin" ] || [ ! -x "$bin/initdb" ]; then
  echo "pg-scratch: PostgreSQL's server programs are not installed (Debian: postgresql)" >&2
  exit 1
fi
pg="$dir/pg"
as_server() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u nobody -- "$@"; else "$@"; fi
}

case $cmd in
  start)
    mkdir -p "$pg"
    if [ "$(id -u)" -eq 0 ]; then
      # The server's user must reach its folder and the socket beside it.
      chmod 0711 "$dir"
      chown nobody "$pg"
    fi
    chmod 0700 "$pg"
    as_server "$bin/initdb" -D "$pg/data" -U hygrotab --auth=trust --no-locale -E UTF8 \
      >"$pg/initdb.log" 2>&1 || { cat "$pg/initdb.log" >&2; exit 1; }
    as_server "$bin/pg_ctl" -D "$pg/data" -l "$pg/server.log" -w -t 60 \
      -o "-k $pg -c listen_addresses= -F -c synchronous_commit=off -c full_page_writes=off" \
      start >/dev/null || { cat "$pg/server.log" >&2; exit 1; }
    echo "host=$pg port=5432 user=hygrotab dbname=postgres"
    ;;
  stop)
    [ -d "$pg/data" ] && as_server "$bin/pg_ctl" -D "$pg/data" -m fast -w stop >/dev/null 2>&1 || true
    rm -rf "$pg"
    ;;
  *)
    echo "usage: $0 start|stop DIR" >&2
    exit 2
    ;;
esac
