#!/usr/bin/env bash
# The narrated demo, run inside a phone box by "./run demo".
#   box/demo.sh BUILD_DIR
set -euo pipefail
build=${1:?build folder}

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

say "The phone box is up: host name $(hostname), network of its own"
ip -o -4 addr show | awk '{print "   interface", $2, $4}'
echo "   peers running: $(for p in /proc/[0-9]*; do cat "$p/comm" 2>/dev/null; done | grep -Fxf <(awk '/^[a-z]/ && $2 != "-" {print $1}' /phonebox/peers.list) | sort | tr '\n' ' ')"
echo "   /appconfigs after the factory reset:"
(cd /appconfigs && find . -type f | sort | sed 's|^\./|     |')

say "A process opens a session with the message server (control port 27000)"
pbctl connect 1234

say "Two sessions: the user interface (bus id 1234) sends a message to the web process (bus id 1240)"
pbctl exchange 1234 1240 '{"msgtype":"reload_hotkey","data":{"key":"L4"}}'

say "A call: the user interface (libphonecore) registers account 1 with the SIP process (bus id 4098), dials, holds, resumes, hangs up"
"$build/demo/call_demo"

say "The SIP process's own view: accounts, calls, BLF subscriptions (pbctl sip state)"
pbctl sip state

say "The configuration service (port 26001) reads hal.cfg"
pbctl read hal.cfg

say "... writes status.cfg with VLAN 20, and reads it back"
pbctl write status.cfg '{"vlanid":"20"}'
pbctl read status.cfg
echo "   on disk: $(cat /appconfigs/status.cfg)"

say "Volume levels: kept in hal.cfg, or only for the stay in hotel mode"
"$build/demo/volume_demo"

say "Dial logic: account 1's rules, a blocked number, a speed-dial key and a call button by day and night"
"$build/demo/dial_demo"

say "The account store (category 4097) is the file voip.cfg"
pbctl read 4097 | head -c 300; echo " ..."

say "Foundation tools: pinyin search, a profile file, the time zone, a command broadcast, process lookup"
"$build/demo/tools_demo"

say "Tools that must not act on a PC only record their calls"
reboot
fw_setenv ethaddr 00:1A:2B:3C:4D:5E
grep -E '^(reboot|fw_setenv) ' /run/phonebox/calls.log | sed 's/^/   /'

say "The phone book: contacts and groups, an exact block list, the history, the directory service (port 30001) restarted"
"$build/demo/directory_demo"

say "Provisioning: a run against the box's FTP server, a call holding the take-up, the reload broadcasts, a certificate and a firmware image"
"$build/demo/provision_demo" >/dev/null

say "phone.cfg: a batch of items (account 2, VLAN 20, a dial-now rule, a line key, LDAP) read in, one reload heard, the text written back"
"$build/demo/phonecfg_demo" >/dev/null
echo "   the SIP process now sees: $(pbctl sip state | jq -c '[.accounts[] | select(.online == 1) | .user]')"

say "Remote control: an Action URL to the web server, the Action URI server pressed and read by curl (no password), a post to the recording HTTP peer"
"$build/demo/remote_demo" >/dev/null

say "Network: eth0 as the library sees it and as ip shows it, a static address, VLAN 20 at the network service, the web server moved to 8180/8543, port 5060 opened"
phonectl net show | sed 's/^/   /'; ip -br addr show eth0 | sed 's/^/   ip: /'
phonectl bus listen --count 1 --timeout 5000 >/tmp/net.bus 2>/tmp/net.err & listener=$!
for _ in $(seq 250); do grep -qs listening /tmp/net.err && break; sleep 0.02; done
phonectl net static set 192.0.2.20 255.255.255.0 192.0.2.1 >/dev/null; wait $listener || true
jq -r 'select(.kind == 3) | "   heard on the bus: " + .message.cmd' /tmp/net.bus | head -1
phonectl net vlan set 1 20 3 >/dev/null; echo "   the network service heard (category, operation, data length, size, mode, vid): $(pbctl control netd log | tail -1)"
phonectl web set 1 1 8180 8543 >/dev/null; for _ in $(seq 200); do curl -s -o /dev/null http://127.0.0.1:8180/ && break; sleep 0.05; done
echo "   curl: http 8180 $(curl -s -o /dev/null -w '%{http_code}' http://127.0.0.1:8180/), https 8543 $(curl -s -o /dev/null -w '%{http_code}' --cacert /system/etc/cacert.pem https://127.0.0.1:8543/)"
phonectl firewall open 5060 >/dev/null; echo "   tcp_allow_list: $(jq -c .firewall.tcp_allow_list /appconfigs/network.cfg)"

say "Demo done: the box and its peers stop with this script"
