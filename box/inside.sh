#!/bin/bash
# First process of a phone box: lays out the phone's paths, starts the
# peers, runs the command and returns its status.
set -u

# Factory reset of the configuration partition.
cp -a /customer/appconfigs/. /appconfigs/
mkdir -p /appconfigs/etc
cp /customer/etc/webauth.cfg /appconfigs/etc/

# A blank flash partition: 64 KiB of erased bytes.
head -c 65536 /dev/zero | tr '\0' '\377' > /dev/mtd2

# The board's sysfs controls that the library writes.
mkdir -p /sys/class/gpio /sys/class/pwm/pwmchip0/pwm0

mkdir -p /run/phonebox
: > /run/phonebox/calls.log

# The peers of /phonebox/peers.list start in its order (the SIP process
# needs the message server); each writes its ready file once its ports are
# bound.
pids=()
while read -r peer ready start; do
  case $peer in ''|'#'*) continue ;; esac
  [ "$ready" = file ] || continue
  readyfile=/run/phonebox/$peer.ready
  /phonebox/sim/${start//READY/$readyfile} </dev/null 2>>/run/phonebox/$peer.log &
  pids+=($!)
  for _ in $(seq 500); do
    [ -e "$readyfile" ] && break
    sleep 0.01
  done
  [ -e "$readyfile" ] || { echo "phonebox: $peer did not start" >&2; cat /run/phonebox/$peer.log >&2; exit 125; }
done < /phonebox/peers.list

"$@"
status=$?
kill "${pids[@]}" 2>/dev/null
wait 2>/dev/null
exit $status
