#!/bin/bash
# The checks through the kernel's ftdi_sio driver, run inside the guest. The
# host (vmctl.py) plugs QEMU's emulated FT232 bridges in and out on request
# and serves hygrotab-sim behind them; every check's outcome goes back to it.
set -u
BIN=/mnt/bin
SRC=/mnt/src
OUT=/mnt/results
CLI=$BIN/hygrotab-cli
STATE=tests/data/sim/download_15000.json  # the host's sims run in the checkout
LOGGER=HYGLOG01
SECOND=HYGLOG02
OTHER=OTHER001
export QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=/tmp/xdg
mkdir -p -m 700 /tmp/xdg

exec 9<>/dev/ttyS1
stty -F /dev/ttyS1 raw -echo 115200

# One request to the host; true when it answered "ok".
host() {
  printf '%s\n' "$*" >&9
  REPLY_LINE=
  IFS= read -r -t 120 REPLY_LINE <&9
  REPLY_LINE=${REPLY_LINE%$'\r'}
  [[ $REPLY_LINE == ok* ]]
}
pass() { host result ok "$1" "${2:-}"; }
fail() { host result fail "$1" "${2:-}"; echo "FAIL $1: ${2:-}"; }
check() { # NAME DETAIL CONDITION...
  local name=$1 detail=$2
  shift 2
  if "$@"; then pass "$name" "$detail"; else fail "$name" "$detail"; fi
}
now() { date +%s.%N; }
since() { awk -v a="$1" -v b="$(now)" 'BEGIN { printf "%.2f", b - a }'; }
le() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a <= b) }'; }

# The tty of the bridge with this USB serial, once udev has named it.
tty_of() {
  local serial=$1 i link
  for ((i = 0; i < 200; i++)); do
    link=$(ls /dev/serial/by-id/ 2>/dev/null | grep -m1 "_${serial}-if00")
    if [ -n "$link" ] && [ -e "/dev/serial/by-id/$link" ]; then
      basename "$(readlink -f "/dev/serial/by-id/$link")"
      return 0
    fi
    sleep 0.1
  done
  return 1
}
# The USB interface (e.g. 3-1:1.0) a tty hangs on: stays the same while the
# driver is detached and re-attached, unlike the tty's name.
iface_of() { basename "$(dirname "$(readlink -f "/sys/class/tty/$1/device")")"; }

# Reads the tty until it has been quiet for two seconds (at most a minute).
drain() {
  stty -F "/dev/$1" raw -echo 57600 2>/dev/null
  local i n
  for ((i = 0; i < 30; i++)); do
    n=$(timeout 2 cat "/dev/$1" 2>/dev/null | wc -c)
    [ "$n" -eq 0 ] && return 0
  done
  return 1
}
plug() { # NAME PORT SERIAL sim ARGS... | NAME PORT SERIAL null
  host add "$@" || { echo "host refused add $*: $REPLY_LINE"; return 1; }
  tty_of "$3" >/dev/null && udevadm settle
}
unplug_all() { for n in logger second other; do host del "$n" >/dev/null; done; udevadm settle; }

# Kernel tty events while a command runs, for counting removes and adds.
watch_start() {
  udevadm monitor --kernel --subsystem-match=tty >/tmp/uevents 2>&1 &
  MON=$!
  sleep 0.5
}
watch_stop() {
  sleep 1
  udevadm settle
  kill "$MON" 2>/dev/null
  wait "$MON" 2>/dev/null
}
events() { grep -c " $2 .*/$1/ttyUSB" /tmp/uevents; } # IFACE ACTION

host hello "$(cut -d' ' -f1 /proc/uptime)"
host plan 16

# ---- the logger alone on the bus
plug logger 1 "$LOGGER" sim --state "$STATE"
t=$(tty_of "$LOGGER")
iface=$(iface_of "$t")

watch_start
start=$(now)
"$CLI" --port "/dev/$t" status >/tmp/status.out 2>/tmp/status.err
rc=$?
took=$(since "$start")
watch_stop
cp /tmp/status.out /tmp/status.err /tmp/uevents "$OUT/" 2>/dev/null
host figure guest_status_seconds "$took"
check status "exit $rc in $took s" \
  bash -c "[ $rc -eq 0 ] && grep -q QM720-XC /tmp/status.out"
removes=$(events "$iface" remove)
adds=$(events "$iface" add)
host figure tty_removes_per_connect "$removes"
host figure tty_adds_per_connect "$adds"
check tty-removed-at-most-once-per-connect "$removes removes, $adds adds" \
  bash -c "[ $removes -le 1 ] && [ $removes -eq $adds ]"
mm=$(udevadm info -q property -n "/dev/$t" | grep '^ID_MM_DEVICE_IGNORE=')
check modem-manager-leaves-the-port-alone "$mm" [ "$mm" = ID_MM_DEVICE_IGNORE=1 ]
lat=$(cat "/sys/bus/usb-serial/devices/$t/latency_timer" 2>/dev/null)
check latency-timer-is-1 "latency_timer $lat" [ "$lat" = 1 ]

# A refused pin request, then no answer: the message tells a sleeping logger
# from a missing one.
host ctl logger silence all
"$CLI" --port "/dev/$t" status >/dev/null 2>/tmp/silent.err
rc=$?
host ctl logger silence 0
cp /tmp/silent.err "$OUT/"
check refused-pins-are-named "exit $rc: $(tr '\n' ' ' </tmp/silent.err | cut -c1-160)" \
  bash -c "[ $rc -ne 0 ] && grep -q 'could not be woken through the bridge' /tmp/silent.err"

# Pulled out in the middle of a 15000-point download.
t=$(tty_of "$LOGGER")
rm -f /tmp/cut.csv
"$CLI" --port "/dev/$t" download --csv /tmp/cut.csv >/dev/null 2>/tmp/cut.err &
pid=$!
for ((i = 0; i < 600; i++)); do
  grep -q '(3000/15000)' /tmp/cut.err 2>/dev/null && break
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
streaming=$(grep -c '/15000)' /tmp/cut.err)
host unplug logger
start=$(now)
for ((i = 0; i < 100; i++)); do kill -0 "$pid" 2>/dev/null || break; sleep 0.05; done
took=$(since "$start")
kill -0 "$pid" 2>/dev/null && kill "$pid"
wait "$pid"
rc=$?
cp /tmp/cut.err "$OUT/"
last=$(grep -v '/15000)' /tmp/cut.err | tail -n1)
host figure pull_out_message_seconds "$took"
check pull-out-ends-the-download-within-2s "after $took s, exit $rc: $last" \
  bash -c "[ $streaming -gt 0 ] && [ $rc -ne 0 ] && [ -n '$last' ] && awk 'BEGIN { exit !($took <= 2) }'"
check pull-out-leaves-no-partial-csv "" bash -c '! [ -e /tmp/cut.csv ]'

host replug logger
t=$(tty_of "$LOGGER")
# While it was out, the emulated chip kept what the logger sent: it arrives
# now, at USB speed and then at the logger's pace, until the stream of the cut
# download is over. A real logger's bytes would have gone nowhere; a user
# plugging back in later would find the line quiet. Wait for that.
drain "$t"
start=$(now)
"$CLI" --port "/dev/$t" download --csv /tmp/full.csv >/dev/null 2>/tmp/full.err
rc=$?
took=$(since "$start")
cp /tmp/full.err "$OUT/"
check log-downloadable-after-plugging-back "exit $rc in $took s" \
  bash -c "[ $rc -eq 0 ] && grep -q '^15000 points downloaded' /tmp/full.err && [ -s /tmp/full.csv ]"

# The same download with nothing left over from the pull-out: the figure.
start=$(now)
"$CLI" --port "/dev/$t" download --csv /tmp/again.csv >/dev/null 2>/tmp/again.err
rc=$?
took=$(since "$start")
[ $rc -eq 0 ] && host figure guest_download_15000_seconds "$took"

# The window, offscreen, through the same pull-out: it lets go of the port,
# keeps running, and takes the bridge back when it returns.
holds_port() { ls -l "/proc/$1/fd" 2>/dev/null | grep -q '/dev/ttyUSB'; }
wait_for() { # SECONDS CONDITION...
  local until=$(($(date +%s) + $1))
  shift
  while ! "$@"; do
    [ "$(date +%s)" -ge "$until" ] && return 1
    sleep 0.1
  done
}
window_run() { # DATA-DIR
  t=$(tty_of "$LOGGER")
  "$BIN/hygrotab" --port "/dev/$t" --data-dir "$1" >"$1/window.out" 2>&1 &
  WPID=$!
  wait_for 60 holds_port "$WPID"
}
mkdir -p /tmp/w1
if window_run /tmp/w1; then
  host unplug logger
  start=$(now)
  wait_for 10 bash -c "! ls -l /proc/$WPID/fd | grep -q /dev/ttyUSB"
  let_go=$(since "$start")
  alive=$(kill -0 "$WPID" 2>/dev/null && echo yes || echo no)
  host replug logger
  start=$(now)
  wait_for 30 holds_port "$WPID"
  back=$(since "$start")
  ok=no
  le "$let_go" 3 && [ "$alive" = yes ] && holds_port "$WPID" && ok=yes
  check window-plug-back-reconnects "let go after $let_go s (running: $alive), port back after $back s" \
    [ $ok = yes ]
  [ $ok = yes ] || dmesg | tail -n 40 >"$OUT/window-dmesg"
  kill "$WPID"
  wait "$WPID" 2>/dev/null
else
  fail window-plug-back-reconnects "the window never opened the port"
fi
cp /tmp/w1/window.out "$OUT/window.out" 2>/dev/null

unplug_all

# ---- two bridges: the search with a silent one before and after the logger,
# and the other one never torn down by a connect.
for order in other-first logger-first; do
  if [ $order = other-first ]; then
    plug other 1 "$OTHER" null && plug logger 2 "$LOGGER" sim --state "$STATE"
  else
    plug logger 1 "$LOGGER" sim --state "$STATE" && plug other 2 "$OTHER" null
  fi
  "$CLI" status >/tmp/search.out 2>/tmp/search.err
  rc=$?
  cp /tmp/search.err "$OUT/search-$order.err"
  check "search-finds-the-logger-$order" "exit $rc" \
    bash -c "[ $rc -eq 0 ] && grep -q QM720-XC /tmp/search.out"

  t=$(tty_of "$LOGGER")
  o=$(tty_of "$OTHER")
  oiface=$(iface_of "$o")
  # A program using the other adapter: it would lose its port with the tty.
  cat "/dev/$o" >/dev/null 2>&1 &
  holder=$!
  sleep 0.3
  watch_start
  "$CLI" --port "/dev/$t" status >/dev/null 2>/tmp/both.err
  rc=$?
  watch_stop
  cp /tmp/uevents "$OUT/uevents-$order"
  oremoves=$(events "$oiface" remove)
  alive=$(kill -0 "$holder" 2>/dev/null && echo yes || echo no)
  kill "$holder" 2>/dev/null
  wait "$holder" 2>/dev/null
  check "other-adapter-untouched-$order" "exit $rc, other tty removed $oremoves times, its user running: $alive" \
    bash -c "[ $rc -eq 0 ] && [ $oremoves -eq 0 ] && [ $alive = yes ]"
  unplug_all
done

# ---- watch: two loggers plugged in one after the other, the first pulled
# out half way through its download and plugged back; both logs end up whole
# in the archive, once each.
mkdir -p /tmp/watch
archive=/tmp/watch/archive.sqlite
"$CLI" --data-dir /tmp/watch --archive "$archive" watch >/tmp/watch.out 2>/tmp/watch.err &
wpid=$!
# The line the watch prints for a logger, once it has come.
watch_line() { # PATTERN
  local i
  for ((i = 0; i < 1200; i++)); do
    grep -q "$1" /tmp/watch.out 2>/dev/null && return 0
    kill -0 "$wpid" 2>/dev/null || return 1
    sleep 0.1
  done
  return 1
}
plug logger 1 "$LOGGER" sim --state "$STATE"
for ((i = 0; i < 900; i++)); do
  grep -q '(3000/15000)' /tmp/watch.err 2>/dev/null && break
  sleep 0.1
done
host unplug logger
watch_line 'the download did not complete'
cut_said=$?
plug second 2 "$SECOND" sim --state tests/data/sim/two_segments.json
watch_line 'SEG2 (bridge HYGLOG02): 200 points, log'
second_read=$?
host replug logger
watch_line 'FULL (bridge HYGLOG01): 15000 points, log'
first_read=$?
kill -TERM "$wpid"
wait "$wpid"
wrc=$?
"$CLI" --archive "$archive" archive list >/tmp/watch.list 2>&1
cp /tmp/watch.out /tmp/watch.err /tmp/watch.list "$OUT/" 2>/dev/null
check watch-survives-a-pull-out "cut said: $cut_said, second read: $second_read, first read after plugging back: $first_read, exit $wrc" \
  bash -c "[ $cut_said -eq 0 ] && [ $second_read -eq 0 ] && [ $first_read -eq 0 ] && [ $wrc -eq 0 ]"
check watch-reads-each-logger-once "$(grep -c ' points, log ' /tmp/watch.out) lines" \
  bash -c "[ \$(grep -c ' points, log ' /tmp/watch.out) -eq 2 ]"
check watch-archive-holds-both-logs-whole "$(tr '\t\n' ' |' </tmp/watch.list)" \
  bash -c "[ \$(wc -l </tmp/watch.list) -eq 2 ] &&
           grep -qP '^\\d+\tFULL\tQM720-XC\t$LOGGER\t.*\t15000\t' /tmp/watch.list &&
           grep -qP '^\\d+\tSEG2\tQM720-XC\t$SECOND\t.*\t200\t' /tmp/watch.list"
unplug_all

host end
