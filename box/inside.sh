#!/bin/bash
# First process of a phone box: lays out the phone's paths, starts the
# peers, runs the command and returns its status.
set -u

# Factory reset of the configuration partition.
cp -a /customer/appconfigs/. /appconfigs/
mkdir -p /appconfigs/etc
cp /customer/etc/webauth.cfg /appconfigs/etc/

# The board's devices: a blank flash partition of two 64 KiB erase blocks
# (the geometry is what box/devices answers to MEMGETINFO).
mkdir -p /run/phonebox
printf 'size 131072\nerasesize 65536\n' > /run/phonebox/mtd2.geometry
head -c 131072 /dev/zero | tr '\0' '\377' > /dev/mtd2
: > /run/phonebox/devices.log

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

# With --devices the command, and only it, runs on the board's devices:
# the LED and watchdog drivers, and sysfs controls that are made by export.
if [ -n "${PHONEBOX_DEVICES:-}" ]; then
  : > /dev/zlt_led
  : > /dev/watchdog
  rm -rf /sys/class/pwm/pwmchip0/pwm0
  for f in /sys/class/gpio/export /sys/class/gpio/unexport /sys/class/pwm/pwmchip0/export /sys/class/pwm/pwmchip0/unexport; do
    : > "$f"
  done
fi
# With --devices the command, and only it, runs on the board's devices.
# A sanitizer's runtime must be the first preloaded library. The SDK's
# chip-id library (box/devices/mi_sys.c) is found on the library path.
if [ -n "${PHONEBOX_DEVICES:-}" ]; then
  preload=/phonebox/sim/libphonebox_devices.so
  runtime=$(ldd "$(command -v "$1")" 2>/dev/null | awk '/lib(asan|tsan|ubsan)\.so/ { print $3; exit }')
  [ -n "$runtime" ] && preload=$runtime:$preload
  LD_PRELOAD=$preload${LD_PRELOAD:+:$LD_PRELOAD} LD_LIBRARY_PATH=/phonebox/sim/sdk${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH} "$@"
else
  "$@"
fi
status=$?
kill "${pids[@]}" 2>/dev/null
wait 2>/dev/null
exit $status
