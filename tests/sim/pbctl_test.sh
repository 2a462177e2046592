#!/usr/bin/env bash
# pbctl's short forms reach the peer they name, in a phone box:
#   box/phonebox run --bin BUILD/sim -- tests/sim/pbctl_test.sh
set -uo pipefail
failed=0
expect() { [ "$2" = "$3" ] || { echo "FAIL $1: got '$2', want '$3'" >&2; failed=1; }; }

# net LINE is a control line for netd: it renames the interfaces that its
# names request (net names) then answers, and counts the request.
expect "net names WAN LAN WIFI" "$(pbctl net names wan0 lan0 wifi0)" ok
expect "net names" "$(pbctl net names | tr '\n' ,)" "wan wan0,lan lan0,wifi wifi0,"
expect "net count" "$(pbctl net count)" 1

# dir LINE is a control line for directoryd, the same as control directoryd.
expect "dir count" "$(pbctl dir count contacts)" 0
expect "dir = control directoryd" "$(pbctl dir count block)" "$(pbctl control directoryd count block)"
expect "dir silent" "$(pbctl dir silent 1)" ok

# sip LINE for sipd.
expect "sip state" "$(pbctl sip state | head -c 1)" "$(pbctl control sipd state | head -c 1)"

pbctl dir >/dev/null 2>&1
expect "dir without a line" $? 2
exit $failed
