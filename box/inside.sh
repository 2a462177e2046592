#!/bin/bash
# First process of a phone box: lays out the phone's paths, starts the
# peers, runs the command and returns its status.
set -u

# Factory reset of the configuration partition.
cp -a /customer/appconfigs/. /appconfigs/
# etc: the web pages' accounts; tls_ca: the trusted certificates of provisioning.
mkdir -p /appconfigs/etc /appconfigs/tls_ca
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

# --- network (interface queries and settings) ---------------------------
# The box's own setup runs the real ip and sed, not the logged ones of PATH.
ip() { command -p ip "$@"; }
sed() { command -p sed "$@"; }
# The phone's wired port as a veth pair (eth0, its far end eth0-far), with
# the factory MAC, an IPv4 and an IPv6 address and default routes; wlan0
# exists and is down. The name servers the phone's dnsmasq is given.
if ip link add eth0 address 00:1a:2b:3c:4d:5e type veth peer name eth0-far 2>/dev/null; then
  ip link set eth0-far up
  ip link set eth0 up
  ip addr add 192.0.2.10/24 dev eth0
  ip -6 addr add 2001:db8:1::10/64 dev eth0 nodad
  ip route add default via 192.0.2.1 dev eth0
  for _ in $(seq 200); do
    [ -n "$(ip -6 route show 2001:db8:1::/64 dev eth0)" ] && break
    sleep 0.01
  done
  ip -6 route add default via 2001:db8:1::1 dev eth0
  ip link add wlan0 type veth peer name wlan0-far
  mkdir -p /sys/class/net/eth0
  ip -o link show eth0 | sed -n 's/.*link\/ether \([0-9a-f:]*\).*/\1/p' > /sys/class/net/eth0/address
else
  echo "phonebox: no network namespace rights; eth0 is absent" >&2
fi
printf 'nameserver %s\n' 192.0.2.53 127.0.0.1 2001:db8:1::53 2001:db8:1::54 > /etc/resolv.dnsmasq.conf
# --- end network ----------------------------------------------------------

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

# A real FTP server (pyftpdlib) on 127.0.0.1:2121 over /srv/ftp: user
# "phone", password "secret", who may write; its debug log in
# /run/phonebox/ftp.log.
mkdir -p /srv/ftp
if /usr/bin/python3 -c 'import pyftpdlib' 2>/dev/null; then
  /usr/bin/python3 -m pyftpdlib -i 127.0.0.1 -p 2121 -d /srv/ftp -u phone -P secret -w -D \
    </dev/null >>/run/phonebox/ftp.log 2>&1 &
  pids+=($!)
  for _ in $(seq 500); do
    (exec 3<>/dev/tcp/127.0.0.1/2121) 2>/dev/null && break
    sleep 0.01
  done
else
  echo "phonebox: python3-pyftpdlib is not installed; no FTP server" >&2
fi
# --- web server -----------------------------------------------------------
# The real lighttpd, by absolute path (the one on PATH is the recording
# stand-in of the phone's own server): 127.0.0.1:8080, HTTPS 8443 with a
# certificate of the box's CA and 8444 self-signed, /private/ behind Basic
# credentials user:pass, /books/ the cloud phone books of /srv/books, the
# access log /run/phonebox/lighttpd.access.log.
cp -a /phonebox/srv/. /srv/
mkdir -p /system/etc
if [ -e /phonebox/sim/tls/ca.pem ]; then cp /phonebox/sim/tls/ca.pem /system/etc/cacert.pem; fi
printf 'user:pass\n' > /run/phonebox/lighttpd.users
# Certificates for the provisioning tests in /srv/prov, all of one EC key:
# plain.crt, ofirst.crt (the organisation before the common name),
# comma.crt (a common name with a comma), country.crt ("C = CN" alone),
# long.crt (a subject over 127 characters), expired.crt (made under
# faketime, ended 2 January 2020) and junk.crt (no certificate at all).
mkdir -p /srv/prov
(
  cd /srv/prov
  openssl ecparam -name prime256v1 -genkey -noout -out test.key 2>/dev/null
  cert() { openssl req -x509 -key test.key -days 3650 -subj "$2" -out "$1.crt" 2>/dev/null; }
  cert plain "/C=CN/O=Quorbit Test/CN=plain"
  cert ofirst "/O=Org First/CN=ofirst"
  cert comma "/CN=prov, test"
  cert country "/C=CN"
  cert long "/O=$(printf 'o%.0s' $(seq 60))/OU=$(printf 'u%.0s' $(seq 60))/CN=lost"
  faketime '2020-01-01 00:00:00' openssl req -x509 -key test.key -days 1 -subj "/CN=expired" \
    -out expired.crt 2>/dev/null || echo "phonebox: no faketime; no expired certificate" >&2
  printf 'not a certificate\n' > junk.crt
)
: > /run/phonebox/lighttpd.access.log
if [ -x /usr/sbin/lighttpd ] && [ -e /phonebox/sim/tls/server.pem ]; then
  # Under a name of its own ("boxweb"), so that the phone's "killall -9
  # lighttpd" leaves it alone.
  ln -sf /usr/sbin/lighttpd /run/phonebox/boxweb
  /run/phonebox/boxweb -D -f /phonebox/lighttpd.conf </dev/null 2>>/run/phonebox/lighttpd.error.log &
  pids+=($!)
  for _ in $(seq 500); do
    (: </dev/tcp/127.0.0.1/8080) 2>/dev/null && break
    sleep 0.01
  done
else
  echo "phonebox: /usr/sbin/lighttpd or the TLS files are missing; no web server" >&2
fi
# The phone's own web server, booted from its template as the phone boots
# it (the working file /appconfigs/lighttpd.conf is made by the first
# setting): [::1]:80, 0.0.0.0:80, HTTPS on 443 with the box's server
# certificate (of the box's CA, for 127.0.0.1) in /system/etc/lighttpd. It
# goes to the background itself and is named "lighttpd", as on the phone.
if [ -x /usr/sbin/lighttpd ] && [ -e /phonebox/sim/tls/server.pem ]; then
  mkdir -p /system/etc/lighttpd
  cp /phonebox/sim/tls/server.pem /phonebox/sim/tls/server.key /system/etc/lighttpd/
  /usr/sbin/lighttpd -f /customer/etc/lighttpd/lighttpd.conf </dev/null >/dev/null 2>>/run/phonebox/phone-lighttpd.log ||
    echo "phonebox: the phone's web server did not start" >&2
fi
# --- end web server -------------------------------------------------------

# The call log holds the command's calls only, not the box's own setup
# (its ip and sed lines).
: > /run/phonebox/calls.log

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
