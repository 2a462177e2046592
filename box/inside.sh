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

# The peers start in order: the SIP process needs the message server.
pids=()
for peer in msgserver configd sipd; do
  /phonebox/sim/$peer /run/phonebox/$peer.ready 2>>/run/phonebox/$peer.log &
  pids+=($!)
  for _ in $(seq 500); do
    [ -e /run/phonebox/$peer.ready ] && break
    sleep 0.01
  done
  [ -e /run/phonebox/$peer.ready ] || { echo "phonebox: $peer did not start" >&2; cat /run/phonebox/$peer.log >&2; exit 125; }
done

"$@"
status=$?
kill "${pids[@]}" 2>/dev/null
wait 2>/dev/null
exit $status
