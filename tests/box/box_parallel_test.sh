#!/usr/bin/env bash
# Two phone boxes run at once: each binds the fixed ports 27000 and 26001 in
# its own network, writes its own /appconfigs and /tmp, and sees only its
# own changes.
set -euo pipefail
phonebox=$1 bin=$2

probe='
  set -e
  pbctl connect 1234 | grep -q "status 0"
  pbctl write status.cfg "{\"vlanid\":\"$BOX\"}" >/dev/null
  echo "$BOX" > /tmp/which
  sleep 1
  pbctl read status.cfg | grep -q "\"vlanid\":\"$BOX\""
  [ "$(cat /tmp/which)" = "$BOX" ]
'
BOX=11 "$phonebox" run --bin "$bin" -- bash -c "$probe" &
a=$!
BOX=22 "$phonebox" run --bin "$bin" -- bash -c "$probe" &
b=$!
status=0
wait $a || status=1
wait $b || status=1
[ $status = 0 ] && echo "two boxes ran side by side without interference"
exit $status
