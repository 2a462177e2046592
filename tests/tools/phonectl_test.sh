#!/usr/bin/env bash
# phonectl, one sub-command per case, inside a phone box of its own (the
# box puts phonectl, pbctl and the peers on PATH):
#   box/phonebox run --bin BUILD/sim -- tests/tools/phonectl_test.sh CASE
# Each case asserts what the command did to the peers and the files, not
# only what it printed.
set -uo pipefail
case_name=$1

failures=0
fail() { echo "FAIL [$case_name]: $*" >&2; failures=$((failures + 1)); }
# expect WHAT ACTUAL EXPECTED
expect() { [ "$2" = "$3" ] || fail "$1: got '$2', want '$3'"; }
# status STATUS COMMAND...: runs the command, checks its exit status
status() { local want=$1; shift; "$@" >/dev/null 2>&1; local got=$?; [ $got = "$want" ] || fail "'$*' exited $got, want $want"; }
# sip_log_has TEXT: the SIP process recorded a packet holding TEXT
sip_log_has() {
  for _ in $(seq 1 100); do pbctl sip log | grep -qF -- "$1" && return 0; sleep 0.02; done
  fail "the SIP process never received: $1"
}
jqf() { jq -r "$1" "$2"; }
# http_log N: the HTTP peer's record once it holds N requests, or what it
# holds after about ten seconds (a loaded machine may be slow to get there).
http_log() {
  for _ in $(seq 1 500); do
    [ "$(pbctl control httppeer log | grep -c '"method"')" -ge "$1" ] && break
    sleep 0.02
  done
  pbctl control httppeer log
}
# commands_after COMMAND...: runs the command while a listener hears the
# bus; the command broadcasts it heard, one a line
commands_after() {
  phonectl bus listen --count 2 --timeout 8000 >/tmp/commands 2>/tmp/commands.err &
  local pid=$!
  for _ in $(seq 1 200); do grep -q listening /tmp/commands.err && break; sleep 0.02; done
  "$@" >/dev/null
  wait $pid
  jq -r 'select(.kind == 3) | .message.cmd' /tmp/commands
}
settings=/appconfigs/default/settinglist.cfg
keys=/appconfigs/default/programing_key.cfg
# The phone books of the box's fixtures, served by the recording HTTP peer.
books=http://127.0.0.1:18080/books
serve_books() {
  mkdir -p /run/phonebox/books
  cp "$(dirname "$0")/../../box/rootfs/srv/books/"* /run/phonebox/books/
}

case $case_name in
help)
  # Every level answers --help with status 0; every command row names its usage.
  phonectl --help | sed -n '/^Commands:/,/^Exit status:/p' >/tmp/help || fail "phonectl --help"
  rows=$(grep -c '^  phonectl ' /tmp/help)
  [ "$rows" -ge 34 ] || fail "only $rows command rows in --help"
  grep '^  phonectl ' /tmp/help | while read -r _ group sub _; do
    phonectl "$group" --help >/dev/null || echo "FAIL [$case_name]: $group --help" >&2
    if [[ $sub =~ ^[a-z]+$ ]]; then
      phonectl "$group" "$sub" --help | grep -qF "phonectl [OPTION]... $group $sub" ||
        echo "FAIL [$case_name]: $group $sub --help" >&2
    fi
  done 2>/tmp/help-failures
  [ -s /tmp/help-failures ] && { cat /tmp/help-failures >&2; fail "some --help"; }
  # Usage errors: status 2 and one line on standard error.
  for args in "" "nosuch" "call" "call nosuch 1" "call dial 1" "call dial 9 1002" "--id 0 call state"; do
    phonectl $args >/tmp/out 2>/tmp/err
    got=$?
    expect "status of 'phonectl $args'" "$got" 2
    expect "error lines of 'phonectl $args'" "$(wc -l </tmp/err)" 1
    expect "output of 'phonectl $args'" "$(cat /tmp/out)" ""
  done
  phonectl --version | grep -q '^phonectl [0-9]' || fail "--version"
  # One line on standard error, nothing on standard output.
  out=$(phonectl volume set speaker 99 2>/tmp/err)
  expect "stdout of a usage error" "$out" ""
  expect "lines of a usage error" "$(wc -l </tmp/err)" 1
  ;;
bus_listen)
  phonectl bus listen --count 2 --timeout 10000 >/tmp/events 2>/tmp/listen.err &
  pid=$!
  for _ in $(seq 1 200); do grep -q listening /tmp/listen.err && break; sleep 0.02; done
  pbctl sip event '{"msgtype":"reg_changed","data":{"acc_id":3,"bOnline":1}}' >/dev/null
  # A numbered message of kind 1, from another session.
  phonectl --id 4300 bus send 4201 8 '' >/dev/null
  wait $pid || fail "bus listen exited $?"
  expect "event line" "$(jq -r 'select(.kind == 2) | "\(.source) \(.message.msgtype) \(.message.data.acc_id)"' /tmp/events)" \
    "4098 reg_changed 3"
  expect "numbered line" "$(jq -r 'select(.kind == 1) | "\(.source) \(.msgtype)"' /tmp/events)" "4300 8"
  status 1 phonectl bus listen --count 1 --timeout 200
  # Ctrl-C ends a listener without a count, with status 0.
  phonectl bus listen 2>/tmp/listen2.err >/dev/null &
  pid=$!
  for _ in $(seq 1 200); do grep -q listening /tmp/listen2.err && break; sleep 0.02; done
  kill -INT $pid
  wait $pid || fail "bus listen after Ctrl-C exited $?"
  ;;
bus_send)
  phonectl bus send 4098 phone_hold '{"current_call":7}' >/dev/null || fail "bus send"
  sip_log_has '"msgtype": "phone_hold", "data": { "current_call": 7 }'
  phonectl bus send 4098 6 '{"msgtype":"account_get"}' >/dev/null || fail "numbered bus send"
  sip_log_has '1 6 {"msgtype":"account_get"}'
  status 2 phonectl bus send 4098 phone_hold '[1]'
  ;;
bus_request)
  pbctl sip reg 2 1 >/dev/null
  expect "acc2Status" "$(phonectl --json bus request phone_state_get '{}' | jq -r .data.acc2Status)" 1
  pbctl sip silent 1 >/dev/null
  status 1 phonectl bus request phone_state_get '{}' --timeout 200
  ;;
call_dial)
  pbctl sip reg 1 1 >/dev/null
  # The library waits 100 ms for the SIP process's answer to a dial; on a
  # loaded machine the answer can come later, and the dial is tried again.
  for _ in 1 2 3; do out=$(phonectl --json call dial 1 1002) && break; done || fail "dial on a registered account"
  expect "dial status" "$(jq -r .status <<<"$out")" 1
  expect "dial desc" "$(jq -r .desc <<<"$out")" "calling 1002"
  sip_log_has '"phone_dail", "data": { "dialAccId": 1, "phoneNumber": "1002" }'
  expect "the SIP process's call" "$(pbctl sip state | jq -r '.calls[0].number')" 1002
  status 1 phonectl call dial 2 1003
  ;;
call_answer)
  id=$(pbctl sip incoming 1 2000)
  phonectl call answer "$id" >/dev/null || fail "answer"
  sip_log_has "\"phone_answer\", \"data\": { \"current_call\": $id, \"acceptFlag\": 1 }"
  ;;
call_hold | call_resume | call_hangup)
  # The SIP process's view of call ID once it says STATE, or after 5 s.
  call_state_is() {
    local state
    for _ in $(seq 1 250); do
      state=$(pbctl sip state | jq -r ".calls[] | select(.id == $1) | .state")
      [ "$state" = "$2" ] && break
      sleep 0.02
    done
    printf '%s' "$state"
  }
  pbctl sip reg 1 1 >/dev/null
  id=$(phonectl --json call dial 1 1002 | jq -r .status)
  expect "state after dial" "$(call_state_is "$id" connected)" connected
  what=${case_name#call_}
  if [ "$what" = resume ]; then
    phonectl call hold "$id" >/dev/null
    expect "state after hold" "$(call_state_is "$id" held)" held
  fi
  phonectl call "$what" "$id" >/dev/null || fail "call $what"
  sip_log_has "\"phone_$what\", \"data\": { \"current_call\": $id }"
  case $what in
    hold) expect "state after hold" "$(call_state_is "$id" held)" held ;;
    resume) expect "state after resume" "$(call_state_is "$id" connected)" connected ;;
    hangup) expect "state after hangup" "$(call_state_is "$id" "")" "" ;;
  esac
  ;;
call_state)
  pbctl sip reg 3 1 >/dev/null
  expect "states" "$(phonectl --json call state | jq -r '"\(.acc1Status)\(.acc2Status)\(.acc3Status)\(.acc4Status)"')" 0010
  # A bus id in use (the SIP process's) is refused at once.
  status 1 phonectl --id 4098 call state
  # Slower than the library's 100 ms: the tool asks again.
  pbctl sip delay 150 >/dev/null
  expect "states, answered after 150 ms" "$(phonectl --json call state | jq -r .acc3Status)" 1
  pbctl sip delay 2 >/dev/null
  pbctl sip clear >/dev/null
  pbctl sip silent 1 >/dev/null
  status 1 phonectl call state
  expect "asks of a silent SIP process" "$(pbctl sip log | grep -c phone_state_get)" 5
  ;;
account_list)
  pbctl sip reg 1 1 >/dev/null
  out=$(phonectl --json account list) || fail "account list"
  expect "records" "$(jq length <<<"$out")" 4
  expect "account 1" "$(jq -r '.[0] | "\(.id) \(.registered) \(.user)"' <<<"$out")" \
    "1 1 $(jqf '.account[0].cred_acc[0].username' /appconfigs/voip.cfg)"
  expect "account 2" "$(jq -r '.[1] | "\(.id) \(.registered)"' <<<"$out")" "2 0"
  ;;
account_list_busy)
  # The library waits 100 ms for the accounts; the tool asks again, up to
  # five times, when the SIP process is slower than that.
  pbctl sip delay 150 >/dev/null
  out=$(phonectl --json account list) || fail "account list, answers after 150 ms"
  expect "records" "$(jq length <<<"$out")" 4
  asks=$(pbctl sip log | grep -c account_get)
  [ "$asks" -ge 2 ] && [ "$asks" -le 5 ] || fail "asks with a 150 ms answer: $asks"
  pbctl sip clear >/dev/null
  pbctl sip delay 3000 >/dev/null
  status 1 phonectl account list
  expect "asks before giving up" "$(pbctl sip log | grep -c account_get)" 5
  ;;
account_set)
  phonectl account set 2 Lab 2002 secret "Desk 2" 2002 5062 '192*168*1*20' 1 >/dev/null || fail "account set"
  expect "user" "$(jqf '.account[1].cred_acc[0].username' /appconfigs/voip.cfg)" 2002
  expect "registrar" "$(jqf '.account[1].registrar' /appconfigs/voip.cfg)" "sip:192.168.1.20:5062"
  # The reload broadcast makes the SIP process register the usable account.
  for _ in $(seq 1 100); do
    [ "$(pbctl sip state | jq -r '.accounts[1].online')" = 1 ] && break
    sleep 0.02
  done
  expect "account 2 online" "$(pbctl sip state | jq -r '.accounts[1].online')" 1
  status 2 phonectl account set 5 Lab 2002 secret "Desk 2" 2002 5062 x 1
  ;;
dss_get)
  out=$(phonectl --json dss get 1) || fail "dss get"
  expect "label of key 1" "$(jq -r .label <<<"$out")" "$(jqf '.DssArr[0].SAccLine.label' /appconfigs/default/dss.cfg)"
  phonectl dss set 3 speed none Reception 2100 >/dev/null
  expect "key 3 read back" "$(phonectl --json dss get 3 | jq -r '"\(.typeName) \(.label) \(.value)"')" \
    "speed Reception 2100"
  ;;
dss_set)
  pbctl sip reg 1 1 >/dev/null
  phonectl dss set 4 blf 1 Boss 1010 >/dev/null || fail "dss set"
  expect "programing_key.cfg" "$(jqf '.Hotkey_lineKey.data[3] | "\(.Value) \(.Label)"' "$keys")" "1010 Boss"
  for _ in $(seq 1 100); do pbctl sip state | jq -e '.blf[] | select(.number == "1010")' >/dev/null && break; sleep 0.02; done
  expect "BLF subscription" "$(pbctl sip state | jq -r '.blf[] | select(.key == 4) | .number')" 1010
  status 2 phonectl dss set 5 blf 1 Boss 1010
  ;;
cfg_read)
  expect "member" "$(phonectl cfg read hal.cfg audio.speaker-level-call)" "$(jqf '.audio."speaker-level-call"' /appconfigs/hal.cfg)"
  expect "whole file" "$(phonectl --json cfg read hal.cfg | jq -S -c .)" "$(jq -S -c . /appconfigs/hal.cfg)"
  expect "array step" "$(phonectl cfg read voip.cfg account.0.enable)" "$(jqf '.account[0].enable' /appconfigs/voip.cfg)"
  status 1 phonectl cfg read hal.cfg audio.nosuch
  status 1 phonectl cfg read nosuch.cfg
  ;;
cfg_write)
  phonectl cfg write test/new.cfg '{"a":{"b":"c"}}' >/dev/null || fail "cfg write"
  expect "written file" "$(jqf .a.b /appconfigs/test/new.cfg)" c
  status 2 phonectl cfg write test/new.cfg '{"a":'
  status 1 phonectl cfg write ../outside.cfg '{}'
  ;;
cfg_set)
  phonectl cfg set hal.cfg audio.speaker-level-call 9 >/dev/null || fail "cfg set"
  expect "number stays a number" "$(jq -c '.audio."speaker-level-call"' /appconfigs/hal.cfg)" 9
  phonectl cfg set network.cfg wan.vlanid 20 >/dev/null
  expect "new member is text" "$(jq -c .wan.vlanid /appconfigs/network.cfg)" '"20"'
  phonectl cfg set voip.cfg account.1.enable 1 >/dev/null
  expect "array element" "$(jq -c '.account[1].enable' /appconfigs/voip.cfg)" 1
  # ITEMs: through the phone.cfg import, then the reload (marker "0" at its end).
  rm -f /tmp/reloading
  out=$(phonectl --json cfg set Account1.AccountLabel=Front=Desk Features.dnd.status=1 'LineKey2.Line=3') ||
    fail "cfg set ITEM..."
  expect "items" "$(jq -c '[.items, .network, .changed, .reloaded]' <<<"$out")" '[3,0,1,true]'
  expect "label" "$(jqf '.AccountRegister[0].AccountLabel' /appconfigs/default/voiplist.cfg)" Front=Desk
  expect "dnd" "$(jqf .FeatureForwardDND.DndStatus /appconfigs/default/function.cfg)" 1
  expect "line one lower" "$(jqf '.Hotkey_lineKey.data[1].Line' /appconfigs/default/programing_key.cfg)" 2
  expect "marker" "$(cat /tmp/reloading)" 0
  # Three words with '=' in the first are items too; an unknown key stops all.
  before=$(jq -S -c . /appconfigs/default/function.cfg)
  status 2 phonectl cfg set Features.dnd.status=0 Nosuch.Key=1 Forward.mode=1
  expect "nothing applied" "$(jq -S -c . /appconfigs/default/function.cfg)" "$before"
  status 2 phonectl cfg set hal.cfg audio.speaker-level-call
  status 2 phonectl cfg set
  ;;
cfg_import)
  longest=$(printf 'Static.NatStun.Server=%041d' 1)  # 63 bytes: taken
  long=$(printf 'Static.NatStun.Server=%042d' 2)     # 64 bytes: skipped
  printf '%s\n' '[Config]' '# a comment' 'Network.Wan.dns1 = 10.0.0.1' 'Static.Network.Vlan.Wan.Vid=20' \
    "$longest" "$long" 'Network.Wan.mode=bogus' >/tmp/phone.cfg
  printf 'Static.Network.Vlan.Wan.Enable=1\r\nStatic.NatStun.Enable=1' >>/tmp/phone.cfg
  rm -f /tmp/reloading
  out=$(phonectl --json cfg import /tmp/phone.cfg --no-reload 2>/tmp/err) || fail "cfg import --no-reload"
  expect "items" "$(jq -c '[.items, .skipped, .network, .changed, .reloaded]' <<<"$out")" '[8,1,1,1,false]'
  grep -qF 'line 6: 64 bytes, skipped' /tmp/err || fail "no note for the long line: $(cat /tmp/err)"
  expect "dns1" "$(jqf .wan.dns1 /appconfigs/network.cfg)" 10.0.0.1
  expect "mode refused" "$(jqf .wan.mode /appconfigs/network.cfg)" dhcp
  expect "vid" "$(jqf .NetworkAdvanced.VlanWanVid /appconfigs/default/internet.cfg)" 20
  expect "long line skipped" "$(jqf .NetworkNAT.NatSTUNServer /appconfigs/default/internet.cfg)" "${longest#*=}"
  expect "CR refused" "$(jqf .NetworkAdvanced.VlanWanSwitch /appconfigs/default/internet.cfg)" 0
  expect "last line without LF" "$(jqf .NetworkNAT.NatSTUNSwitch /appconfigs/default/internet.cfg)" 1
  [ -e /tmp/reloading ] && fail "--no-reload touched the marker"
  # With the reload: the marker ends "0" and the network restart's pause is kept.
  printf 'Static.NatStun.Port=5001\n' >/tmp/phone2.cfg
  start=$(date +%s%N)
  phonectl cfg import /tmp/phone2.cfg >/dev/null || fail "cfg import"
  took=$(( ($(date +%s%N) - start) / 1000000 ))
  [ "$took" -ge 3000 ] || fail "reload after a network key took only ${took} ms"
  expect "marker" "$(cat /tmp/reloading)" 0
  expect "port" "$(jqf .NetworkNAT.NatSTUNPort /appconfigs/default/internet.cfg)" 5001
  status 1 phonectl cfg import /tmp/nosuch.cfg
  status 2 phonectl cfg import
  status 2 phonectl cfg import a b
  ;;
cfg_keys)
  expect "rows" "$(phonectl cfg keys | wc -l)" 245
  expect "account row" "$(phonectl cfg keys | grep '^Account2.SIP1HeartbeatMessage ')" \
    "Account2.SIP1HeartbeatMessage default/voiplist.cfg AccountRegister[1].SIP1HeartbeatMessage any + voip.cfg account[1].reg-timeout"
  expect "line key row" "$(phonectl cfg keys | grep '^LineKey3.Line ')" \
    "LineKey3.Line default/programing_key.cfg Hotkey_lineKey.data[2].Line 1|2|3|4"
  expect "vpn row" "$(phonectl cfg keys | grep '^Static.Network.Vpn.Enable ')" \
    "Static.Network.Vpn.Enable default/internet.cfg NetworkAdvanced.VpnSwitch 0|1 + network.cfg NetworkVpn.VpnType"
  expect "json" "$(phonectl --json cfg keys | jq -r '.[0] | "\(.key) \(.file) \(.section) \(.member) \(.values)"')" \
    "Network.Wan.mode network.cfg wan mode dhcp|static_ip"
  ;;
cfg_export)
  # Each word's lines in the order of the words, the special sections
  # before "[Config]", the scratch file gone; none: every word.
  jq '.NetworkAdvanced.VlanWanSwitch = "1" | .NetworkAdvanced.VlanWanVid = "20"' \
    /appconfigs/default/internet.cfg >/tmp/internet.cfg && cp /tmp/internet.cfg /appconfigs/default/internet.cfg
  out=$(phonectl cfg export Static.Network.Vlan.Wan.Vid "&dnd=1" Account1.AccountUserName Static.Network.Vlan.Wan.Enable nosuch)
  expect "answer" "$out" "$(printf '%s\n' '[Status]' 'FirmwareVersion = 1.0.0' '[DND]' 'State=0' '[Config]' \
    'Static.Network.Vlan.Wan.Vid = 20' 'Account1.AccountUserName = 1001' \
    'Static.Network.Vlan.Wan.Enable = 1' 'Static.Network.Vlan.Wan.Enable = 1')"
  expect "answer file" "$(cat /tmp/phonecfg.ini)" "$out"
  [ -e /tmp/phonecfg_tmp.ini ] && fail "scratch file left"
  expect "no word" "$(phonectl --json cfg export '' | jq -r .answer)" "$(printf '[Status]\nFirmwareVersion = 1.0.0\n[Config]')"
  all=$(phonectl cfg export)
  # 192 key words, the WAN VLAN switch twice, the version, 20 block-out
  # and 4 area-code lines.
  expect "spaced lines" "$(grep -c ' = ' <<<"$all")" 218
  expect "crossed forward" "$(grep -A3 '^\[Forward_noanswer\]' <<<"$all" | tail -2 | tr '\n' ' ')" "Target=5 Ringtimes= "
  expect "accounts" "$(grep -c '^Account[1-4]\.[A-Za-z0-9]*=' <<<"$all")" 32
  expect "json words" "$(phonectl --json cfg export | jq -r .words)" 199
  ;;
cfg_get)
  expect "key word" "$(phonectl cfg get Network.Wan.mode)" dhcp
  expect "ampersand" "$(phonectl cfg get '&Language.Lcd')" English
  expect "number" "$(phonectl cfg get Voice.Speaker)" "$(jqf .Volume.VolumeSpeaker "$settings")"
  expect "stored line" "$(phonectl cfg get LineKey1.Line)" "$(jqf '.Hotkey_lineKey.data[0].Line' "$keys")"
  expect "special" "$(phonectl cfg get dnd=1)" "$(printf '[DND]\nState=0')"
  expect "group" "$(phonectl --json cfg get Dialplan.Replace_Rule | jq -r .lines)" "Dialplan.Replace_Rule has no rule!"
  expect "json value" "$(phonectl --json cfg get Account1.AccountPassword | jq -r .value)" desk1001
  jq 'del(.FeatureGnlInfor.CallWaitingSwitch)' /appconfigs/default/function.cfg >/tmp/function.cfg &&
    cp /tmp/function.cfg /appconfigs/default/function.cfg
  expect "missing, zero" "$(phonectl cfg get Features.CallWaiting)" 0
  expect "missing" "$(phonectl cfg get Account1.Nat)" ""
  status 1 phonectl cfg get Account1.Nat
  status 1 phonectl cfg get Dialplan.Replace_Rule.Prefix1
  status 2 phonectl cfg get
  status 2 phonectl cfg get a b
  ;;
kv_get | kv_set | kv_delete)
  printf 'ip=10.0.0.1\nname = desk phone\n# note\n' >/tmp/kv.conf
  case $case_name in
    kv_get)
      expect "value" "$(phonectl kv get /tmp/kv.conf ip)" 10.0.0.1
      expect "first word" "$(phonectl --json kv get /tmp/kv.conf name | jq -r .name)" desk
      status 1 phonectl kv get /tmp/kv.conf nosuch
      ;;
    kv_set)
      phonectl kv set /tmp/kv.conf ip 10.0.0.2 >/dev/null && phonectl kv set /tmp/kv.conf mask 255.0.0.0 >/dev/null
      expect "file" "$(cat /tmp/kv.conf)" "$(printf 'ip=10.0.0.2\nname = desk phone\n# note\nmask=255.0.0.0')"
      status 1 phonectl kv set /tmp/none.conf ip 1
      ;;
    kv_delete)
      phonectl kv delete /tmp/kv.conf ip >/dev/null
      expect "file" "$(cat /tmp/kv.conf)" "$(printf 'name = desk phone\n# note')"
      ;;
  esac
  ;;
dm_get)
  expect "netmode" "$(phonectl dm get netmode | sed 's/^mode: //')" "$(jqf .wan.mode /appconfigs/network.cfg)"
  expect "status ipaddr" "$(phonectl --json dm get status | jq -r .ipaddr)" 192.0.2.10
  status 2 phonectl dm get nosuch
  ;;
dm_set)
  phonectl dm set netmode static >/dev/null || fail "dm set netmode"
  expect "wan.mode" "$(jqf .wan.mode /appconfigs/network.cfg)" static
  phonectl dm set wan 10.1.1.5 255.255.255.0 10.1.1.1 8.8.8.8 8.8.4.4 >/dev/null || fail "dm set wan"
  expect "wan" "$(jq -r '.wan | "\(.mode) \(.ipaddr) \(.gateway) \(.dns2)"' /appconfigs/network.cfg)" \
    "static 10.1.1.5 10.1.1.1 8.8.4.4"
  expect "read back" "$(phonectl --json dm get net | jq -r .ipaddr)" 10.1.1.5
  phonectl dm set lan 192.168.2.1 255.255.255.0 >/dev/null || fail "dm set lan"
  expect "lan" "$(jqf .lan.ipaddr /appconfigs/network.cfg)" 192.168.2.1
  status 2 phonectl dm set wan 10.1.1.5
  ;;
volume_get)
  phonectl cfg set hal.cfg audio.speaker-level-ring 4 >/dev/null
  expect "speaker" "$(phonectl --json volume get speaker --mode ring | jq -r '"\(.mode) \(.level)"')" "ring 4"
  expect "handset" "$(phonectl --json volume get 3 --mode call | jq -r .level)" "$(jqf '.audio."handset-level-call"' /appconfigs/hal.cfg)"
  expect "the mode stays" "$(phonectl --json volume get 3 | jq -r .mode)" call
  status 2 phonectl volume get loud
  ;;
volume_set)
  phonectl volume set headset 7 --mode call >/dev/null || fail "volume set"
  expect "hal.cfg" "$(jqf '.audio."headset-level-call"' /appconfigs/hal.cfg)" 7
  status 2 phonectl volume set headset 16
  ;;
hotel_on | hotel_off)
  before=$(jqf '.audio."speaker-level-call"' /appconfigs/hal.cfg)
  phonectl volume get speaker --mode call >/dev/null
  phonectl hotel on >/dev/null || fail "hotel on"
  expect "HotelModelEnable" "$(jqf .audio.HotelModelEnable /appconfigs/hal.cfg)" 1
  phonectl volume set speaker 3 >/dev/null
  expect "guest level" "$(phonectl --json volume get speaker | jq -r .level)" 3
  expect "hal.cfg untouched" "$(jqf '.audio."speaker-level-call"' /appconfigs/hal.cfg)" "$before"
  if [ $case_name = hotel_off ]; then
    phonectl hotel off >/dev/null || fail "hotel off"
    expect "HotelModelEnable" "$(jqf .audio.HotelModelEnable /appconfigs/hal.cfg)" 0
    expect "hotel get" "$(phonectl --json hotel get | jq -r .hotel)" 0
    phonectl volume set speaker 5 >/dev/null
    expect "hal.cfg again" "$(jqf '.audio."speaker-level-call"' /appconfigs/hal.cfg)" 5
  fi
  ;;
dial_check)
  status 0 phonectl dial check '[2-9]xxxxxx' 5550100
  status 1 phonectl dial check '[2-9]xxxxxx' 1550100
  expect "json" "$(phonectl --json dial check '0x.' 0301234)" '{"match":true}'
  ;;
dial_replace)
  expect "rewritten" "$(phonectl --json dial replace '0(x.)' '0049$1' 0301234 | jq -r .number)" 0049301234
  status 1 phonectl dial replace '0(x.)' '0049$1' 1301234
  ;;
rules_match)
  jq '.DialplanReplace = {"data":[{"Prefix":"00(x.)","Replace":"+$1","Account":"1"}]}
      | .DialplanDialnow = {"data":[{"RealTimeDialingRules":"11[0,2]","Account":"1"}]}
      | .DialplanRestrict = {"BlockOut1":"900x.","Account1":"1"}' "$settings" >/tmp/rules.json
  phonectl cfg write default/settinglist.cfg "$(cat /tmp/rules.json)" >/dev/null
  expect "replace" "$(phonectl --json rules match 1 0049301234 | jq -r '"\(.number) \(.replaced)"')" "+49301234 true"
  expect "dial now" "$(phonectl --json rules match 1 112 | jq -r .dialNow)" true
  status 1 phonectl rules match 1 9001234
  expect "other account" "$(phonectl --json rules match 2 0049301234 | jq -r .replaced)" false
  ;;
hotkey)
  out=$(phonectl --json hotkey 11) || fail "hotkey 11"
  expect "key 11" "$(jq -r '"\(.type) \(.label)"' <<<"$out")" \
    "$(jqf '.Hotkey_hotKey.data[] | select(.RealKey == 11) | "\(.Type) \(.Label)"' "$keys")"
  # The call button's number by day and by night (day from 8:00, night from
  # 18:00 in the factory settings), the clock set by faketime (a sanitized
  # tool can't promise its runtime's place among faketime's preloads).
  phonectl cfg set default/settinglist.cfg SettingKeyType.KEY_gpio54_key.Value 1234 >/dev/null
  phonectl cfg set default/settinglist.cfg SettingKeyType.KEY_gpio54_key.CallButtonNight 4321 >/dev/null
  at() {
    ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0" faketime "2026-11-23 $1" "${@:2}"
  }
  expect "call button 72 by day" "$(at 10:00:00 phonectl --json hotkey 72 | jq -r .value)" 1234
  expect "call button 72 by night" "$(at 22:00:00 phonectl --json hotkey 72 | jq -r .value)" 4321
  status 1 phonectl hotkey 250
  ;;
md5)
  head -c 5000 /dev/urandom >/tmp/blob
  expect "digest" "$(phonectl md5 /tmp/blob)" "$(md5sum /tmp/blob)"
  status 1 phonectl md5 /tmp/nosuch
  # The library's perror stays off the tool's standard error.
  phonectl md5 /tmp/nosuch 2>/tmp/err
  expect "error lines" "$(wc -l </tmp/err)" 1
  ;;
tz_get | tz_set)
  if [ $case_name = tz_set ]; then
    phonectl tz set +8 >/dev/null || fail "tz set"
    expect "stored" "$(jqf .SettingDateTime.CurrentTimeZoneTime "$settings")" +8
    status 2 phonectl tz set eight
  fi
  out=$(phonectl --json tz get) || fail "tz get"
  zone=$(jqf .SettingDateTime.CurrentTimeZoneTime "$settings")
  expect "zone" "$(jq -r .zone <<<"$out")" "$zone"
  expect "TZ" "$(jq -r .TZ <<<"$out")" "CST$(tr '+-' '-+' <<<"$zone")"
  ;;
pinyin)
  expect "initials" "$(phonectl pinyin $'\xe5\xbc\xa0\xe4\xb8\x89')" zs
  expect "latin" "$(phonectl --json pinyin 'Li Lei' | jq -r .initials)" "$(phonectl pinyin 'Li Lei')"
  ;;
provision_get)
  phonectl cfg set default/settinglist.cfg SettingAutoProvision.AutoProvisionServerURL http://10.0.0.9/p/ >/dev/null
  out=$(phonectl --json provision get) || fail "provision get"
  expect "url" "$(jq -r .AutoProvisionServerURL <<<"$out")" http://10.0.0.9/p/
  expect "dhcp option" "$(jq -r .AutoProvisionEnableDHCPOption <<<"$out")" \
    "$(jqf .SettingAutoProvision.AutoProvisionEnableDHCPOption "$settings")"
  expect "delay as text" "$(jq -r .AutopRetryDelay <<<"$out")" "$(jqf .SettingAutoProvision.AutopRetryDelay "$settings")"
  expect "members" "$(jq -r 'keys | length' <<<"$out")" 9
  ;;
provision_set)
  rm -f /tmp/autoprovision_config_update
  phonectl provision set AutoProvisionUser=admin AutopRetryDelay=120 AutoProvisionEnableDHCPOption=0 >/dev/null ||
    fail "provision set"
  expect "user" "$(jqf .SettingAutoProvision.AutoProvisionUser "$settings")" admin
  expect "delay stored as text" "$(jq -r '.SettingAutoProvision.AutopRetryDelay | type' "$settings")" string
  expect "delay" "$(jqf .SettingAutoProvision.AutopRetryDelay "$settings")" 120
  expect "dhcp option" "$(jq -r '.SettingAutoProvision.AutoProvisionEnableDHCPOption' "$settings")" 0
  expect "other members kept" "$(jqf .SettingAutoProvision.DhcpOptionValue "$settings")" 66
  [ -e /tmp/autoprovision_config_update ] || fail "no marker for the scheduling process"
  status 2 phonectl provision set AutoProvisionUser
  status 2 phonectl provision set NoSuchMember=1
  status 2 phonectl provision set AutoProvisionEnableDHCPOption=on
  status 2 phonectl provision set "AutoProvisionUser=$(printf 'u%.0s' $(seq 64))"
  expect "refused sets change nothing" "$(jqf .SettingAutoProvision.AutoProvisionUser "$settings")" admin
  ;;
http_get)
  # The body on standard output, the request in the HTTP peer's record;
  # a failed get still exits 0, as the library's get answers 0.
  pbctl control httppeer clear >/dev/null
  expect "body" "$(phonectl http get http://127.0.0.1:18080/status/404 'X-Probe: 7')" "status 404"
  http_log 1 >/tmp/log
  grep -qF '"target":"/status/404"' /tmp/log || fail "no GET in the record"
  grep -qF '["X-Probe","7"]' /tmp/log || fail "no header in the record"
  status 0 phonectl http get http://127.0.0.1:18081/
  status 2 phonectl http get http://127.0.0.1:18080/ nocolon
  ;;
http_post)
  pbctl control httppeer clear >/dev/null
  expect "body" "$(phonectl http post http://127.0.0.1:18080/redirect 'a=1&b=2' 'X-A: 1')" "status 200"
  http_log 1 >/tmp/log
  grep -qF '"method":"POST","target":"/redirect"' /tmp/log || fail "no POST in the record"
  grep -qF '"body":"a=1&b=2"' /tmp/log || fail "no body in the record"
  status 1 phonectl http post http://127.0.0.1:18081/ x
  ;;
http_download)
  expect "result" "$(phonectl --json http download http://127.0.0.1:18080/file/40 /tmp/f | jq -r .result)" 0
  expect "file" "$(cat /tmp/f)" "$(curl -s http://127.0.0.1:18080/file/40)"
  head -c 10 /tmp/f >/tmp/g
  pbctl control httppeer clear >/dev/null
  # The peer ignores the range: libcurl refuses to append a whole file.
  status 1 phonectl http download http://127.0.0.1:18080/file/40 /tmp/g --resume
  http_log 1 | grep -qF '["Range","bytes=10-"]' || fail "no range asked"
  expect "kept" "$(cat /tmp/g)" "abcdefghij"
  status 1 phonectl http download http://127.0.0.1:18081/x /tmp/f
  ;;
http_upload)
  printf 'payload' >/tmp/up
  pbctl control httppeer clear >/dev/null
  status 0 phonectl http upload http://127.0.0.1:18080/up /tmp/up
  http_log 1 >/tmp/log
  grep -qF '"body":"Content-Length: ' /tmp/log || fail "Content-Length not in the body"
  grep -qF 'payload' /tmp/log || fail "the file is not in the body"
  status 1 phonectl http upload http://127.0.0.1:18080/up /tmp/nosuch
  ;;
provision_fetch)
  printf 'account.1.enable = 1\n' >/srv/ftp/p.cfg
  out=$(phonectl --json provision fetch ftp://127.0.0.1:2121/p.cfg /tmp/p.cfg --user phone --password secret) ||
    fail "provision fetch over FTP"
  expect "result" "$(jq -r .result <<<"$out")" 1
  expect "file" "$(cat /tmp/p.cfg)" "account.1.enable = 1"
  out=$(phonectl --json provision fetch http://127.0.0.1:18080/redirect /tmp/r.cfg) || fail "provision fetch 302"
  expect "302" "$(jq -r .result <<<"$out")" 302
  expect "target" "$(jq -r .redirect <<<"$out")" http://127.0.0.1:18080/status/200
  status 1 phonectl provision fetch http://127.0.0.1:18080/status/404 /tmp/x.cfg
  status 1 phonectl provision fetch ftp://127.0.0.1:2121/p.cfg /tmp/p.cfg --user phone --password wrong
  status 2 phonectl provision fetch http://127.0.0.1:18080/x /tmp/x --timeout soon
  ;;
provision_upload)
  printf 'the log' >/tmp/up.log
  status 0 phonectl provision upload ftp://127.0.0.1:2121/logs/phone/up.log /tmp/up.log --user phone --password secret
  expect "uploaded" "$(cat /srv/ftp/logs/phone/up.log)" "the log"
  status 1 phonectl provision upload ftp://127.0.0.1:2121/x.log /tmp/nosuch --user phone --password secret
  ;;
provision_run)
  printf '#!version:1.0.0.1\n' >/srv/ftp/0011.cfg
  phonectl provision set AutoProvisionServerURL=ftp://127.0.0.1:2121 AutoProvisionUser=phone \
    AutoProvisionPassword=secret >/dev/null || fail "provision set"
  pbctl control configd clear >/dev/null
  out=$(phonectl --json provision run 0011.cfg) || fail "provision run"
  expect "result" "$(jq -r .result <<<"$out")" 1
  expect "installed" "$(cat /appconfigs/phone.cfg)" "#!version:1.0.0.1"
  [ -e /tmp/autoprovision_config_update2 ] || fail "no marker of the reload"
  pbctl control configd log | grep -q '^4102 12297 2 - 0 ff0506100930' || fail "no take-up asked"
  phonectl provision set AutoProvisionServerURL=HTTP://127.0.0.1:18080 >/dev/null
  status 1 phonectl provision run 0011.cfg
  ;;
provision_cert)
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout /tmp/k.pem -out /tmp/ca.crt \
    -days 30 -subj '/O=Box/CN=box ca' 2>/dev/null || fail "openssl"
  out=$(phonectl --json provision cert ca.crt 0123) || fail "provision cert"
  expect "code" "$(jq -r .code <<<"$out")" 0
  expect "listed" "$(jq -r '.SecurityTrustedCert.child_security_trusted_cert_list[0].banfagei' \
    /appconfigs/default/security.cfg)" "box ca"
  cmp -s /appconfigs/quorbit.ca /appconfigs/tls_ca/ca.crt || fail "bundle"
  printf 'junk' >/tmp/junk.crt
  status 1 phonectl provision cert junk.crt 4567
  ;;
action)
  # The event's template from default/function.cfg, its variables filled
  # from the words, one GET to the recording peer; the URL as sent.
  jq '.FeatureActionURL.AUIncomingCall = "http://127.0.0.1:18080/in?mac=$mac&r=$remote&dr=$display_remote&cn=$calledNumber"' \
    /appconfigs/default/function.cfg >/tmp/function.cfg && cp /tmp/function.cfg /appconfigs/default/function.cfg
  pbctl control httppeer clear >/dev/null
  out=$(phonectl --json action AUIncomingCall remote=1002 calledNumber=3003)
  expect "result" "$(jq -r .result <<<"$out")" 0
  expect "url" "$(jq -r .url <<<"$out")" 'http://127.0.0.1:18080/in?mac=00:1A:2B:3C:4D:5E&r=1002&dr=$display_remote&cn=3003'
  http_log 1 >/tmp/log
  grep -qF '"target":"/in?mac=00:1A:2B:3C:4D:5E&r=1002&dr=$display_remote&cn=3003"' /tmp/log || fail "no GET in the record"
  grep -qF '["Content-Type","application/json;charset=UTF-8"]' /tmp/log || fail "no Content-Type in the record"
  # An event without a template sends nothing and succeeds.
  pbctl control httppeer clear >/dev/null
  expect "empty" "$(phonectl --json action AUHold | jq -r .url)" ""
  expect "nothing sent" "$(pbctl control httppeer log | grep -c target)" 0
  # A blank in a value is not encoded: libcurl refuses the URL.
  status 1 phonectl action AUIncomingCall "remote=10 02"
  status 2 phonectl action AUTransferFailed
  status 2 phonectl action NoSuchEvent
  status 2 phonectl action AUIncomingCall nosuch=1
  status 2 phonectl action AUIncomingCall remote
  ;;
cloud_books)
  serve_books
  status 0 phonectl cloud book 2 "$books/cisco.xml" Cisco
  curl -s -o "/tmp/clound_$(printf '%s' "$books/menu.xml" | md5sum | cut -c1-32).xml" "$books/menu.xml"
  status 0 phonectl cloud book 1 "$books/menu.xml" Company
  phonectl --json cloud books >/tmp/out || fail "cloud books"
  expect "books" "$(jq -r '.books[] | "\(.index) \(.name) \(.menu)"' /tmp/out | tr '\n' ' ')" "2 Cisco false 1 Company true "
  ;;
cloud_book)
  serve_books
  status 0 phonectl cloud book 3 "$books/vorn.xml" Vorn
  status 0 phonectl cloud book 3 "$books/cisco.xml" Cisco
  status 0 phonectl cloud book 1 "$books/menu.xml" Menu
  expect "list" "$(jq -r '.MaillistRemotePhoneBook.data[] | "\(.Index) \(.RemotePhoneBookName)"' /appconfigs/default/addresslist.cfg | tr '\n' ' ')" "3 Cisco 1 Menu "
  status 2 phonectl cloud book 6 "$books/vorn.xml" Six
  ;;
cloud_fetch)
  serve_books
  phonectl cloud book 1 "$books/menu.xml" Menu >/dev/null
  phonectl cloud book 4 "$books/vorn.xml" Vorn >/dev/null
  pbctl control httppeer clear >/dev/null
  phonectl --json cloud fetch >/tmp/out || fail "cloud fetch"
  expect "slots" "$(jq -r '.slots[] | "\(.index):\(.count)"' /tmp/out | tr '\n' ' ')" "1:7 2:0 3:0 4:5 5:0 "
  for _ in $(seq 1 100); do
    [ "$(pbctl control httppeer log | grep -c '"target":"/books/menu.xml"')" -ge 2 ] && break
    sleep 0.02
  done
  expect "menu fetched" "$(pbctl control httppeer log | grep -c '"target":"/books/menu.xml"')" 2
  pbctl control httppeer log | grep -qF '["Authorization","Basic Og=="]' || fail "no empty Basic credentials"
  ;;
cloud_show)
  serve_books
  phonectl --json cloud show "$books/menu.xml" >/tmp/out || fail "cloud show menu"
  expect "menu" "$(jq -r '.menu' /tmp/out) $(jq -r '.entries[0].name' /tmp/out)" "true Sales Team East"
  phonectl --json cloud show "$books/vorn.xml" >/tmp/out || fail "cloud show directory"
  expect "entries" "$(jq -r '.entries[2] | "\(.name) \(.telephone)"' /tmp/out)" "Zhang 5550103"
  status 1 phonectl cloud show "$books/addressbook.xml"
  ;;
cloud_search)
  serve_books
  phonectl cloud book 1 "$books/menu.xml" Menu >/dev/null
  phonectl --json cloud search zs >/tmp/out || fail "cloud search"
  expect "hits" "$(jq -r '.hits[] | "\(.name) \(.number)"' /tmp/out | tr '\n' ' ')" "张三 5550101 张思 5550201 "
  status 1 phonectl cloud search nobodyatall
  ;;
cloud_notify)
  phonectl bus listen --count 2 --timeout 10000 >/tmp/events 2>/tmp/listen.err &
  pid=$!
  for _ in $(seq 1 200); do grep -q listening /tmp/listen.err && break; sleep 0.02; done
  status 0 phonectl --id 4300 cloud notify
  status 0 phonectl --id 4300 cloud notify 7
  wait $pid || fail "bus listen exited $?"
  expect "events" "$(jq -r 'select(.kind == 2) | "\(.message.msgtype) \(.message.data.clearid)"' /tmp/events | tr '\n' ' ')" \
    "clound_update -1 clound_update 7 "
  status 2 phonectl cloud notify x
  ;;
contact_add)
  status 0 phonectl contact add "Zhang Wei" 5550456 --group 3
  expect "held" "$(pbctl control directoryd count contacts)" 1
  pbctl control directoryd dump contacts | xxd -r -p | grep -aq "Zhang Wei" || fail "the name is not stored"
  expect "group" "$(phonectl --json contact list | jq -r '.records[0] | "\(.name) \(.number) \(.group)"')" "Zhang Wei 5550456 3"
  status 2 phonectl contact add OnlyName
  ;;
contact_chg)
  phonectl contact add "Zhang Wei" 5550456 >/dev/null
  id=$(phonectl --json contact list | jq -r '.records[0].id')
  status 0 phonectl contact chg "$id" "Li Si" 5550789 --group 4
  pbctl control directoryd dump contacts | xxd -r -p | grep -aq "Li Si" || fail "the change is not stored"
  expect "changed" "$(phonectl --json contact list | jq -r '.records[0] | "\(.name) \(.number) \(.group)"')" "Li Si 5550789 4"
  status 2 phonectl contact chg x "Li Si" 5550789
  ;;
contact_list)
  for i in 1 2 3; do phonectl contact add "P$i" 555000$i --group $((i % 2 + 3)) >/dev/null; done
  expect "all" "$(phonectl --json contact list | jq -r '.records | length')" 3
  expect "group 4" "$(phonectl --json contact list --group 4 | jq -r '[.records[].name] | join(" ")')" "P1 P3"
  expect "page" "$(phonectl --json contact list --start 1 --count 1 | jq -r '.records | length')" 1
  pbctl control directoryd silent 1 >/dev/null
  status 1 phonectl contact list
  ;;
contact_find)
  phonectl contact add "Zhang Wei" 5550456 >/dev/null
  phonectl contact add "张三" 5550100 >/dev/null
  expect "found" "$(phonectl --json contact find zhang | jq -r '.records[0].name')" "Zhang Wei"
  expect "chinese" "$(phonectl --json contact find 张 | jq -r '.records[0].number')" "5550100"
  status 1 phonectl contact find ''
  ;;
contact_name)
  phonectl contact add "Zhang Wei" 5550456 >/dev/null
  expect "name" "$(phonectl --json contact name 5550456 | jq -r .name)" "Zhang Wei"
  status 1 phonectl contact name 5559999
  ;;
dir_line)
  # What a ringing call learns: the contact's name as the service returns it
  # and the exact list tests, so a near number is not blocked.
  phonectl contact add "张三" 5550100 >/dev/null
  phonectl block add Spam 5550100 >/dev/null
  phonectl allow add Boss 5550456 >/dev/null
  pbctl dir clear >/dev/null
  view() { phonectl --json dir "$1" | jq -c '[.number, .name, .blocked, .allowed]'; }
  expect "named, blocked" "$(view 5550100)" '["5550100","张三",true,false]'
  expect "three questions" "$(pbctl dir log | grep -c .)" 3
  expect "near" "$(view 555010)" '["555010",null,false,false]'
  expect "allowed" "$(view 5550456)" '["5550456",null,false,true]'
  expect "text" "$(phonectl dir 5550100)" "$(printf 'number: 5550100\nname: 张三\nblocked: true\nallowed: false')"
  # A silent service: no name, and the call is let through, as on the phone.
  pbctl dir silent 1 >/dev/null
  expect "silent" "$(view 5550100)" '["5550100",null,false,false]'
  status 2 phonectl dir
  ;;
contact_del)
  phonectl contact add "Zhang Wei" 5550456 >/dev/null
  id=$(phonectl --json contact list | jq -r '.records[0].id')
  status 0 phonectl contact del "$id"
  expect "held" "$(pbctl control directoryd count contacts)" 0
  status 2 phonectl contact del x
  ;;
group_add)
  status 0 phonectl group add family 2
  expect "file" "$(xxd -p -c 72 /appconfigs/voipGroupList.bin | cut -c1-20)" "0300000066616d696c79"
  expect "second id" "$(phonectl --json group add friends | jq -r .result)" 0
  status 1 phonectl group add whitelist
  status 1 phonectl group add family
  ;;
group_list)
  phonectl group add family 2 >/dev/null
  phonectl group add friends >/dev/null
  expect "groups" "$(phonectl --json group list | jq -r '[.groups[] | "\(.id):\(.name):\(.ring)"] | join(" ")')" "3:family:2 4:friends:0"
  ;;
group_chg)
  phonectl group add family >/dev/null
  status 0 phonectl group chg 3 relatives 5
  expect "renamed" "$(phonectl --json group list | jq -r '.groups[0] | "\(.name) \(.ring)"')" "relatives 5"
  status 1 phonectl group chg 3 all
  ;;
group_del)
  phonectl group add family >/dev/null
  phonectl contact add "Zhang Wei" 5550456 --group 3 >/dev/null
  status 0 phonectl group del 3
  expect "groups" "$(phonectl --json group list | jq -r '.groups | length')" 0
  pbctl control directoryd dump notices | grep -q . || fail "the directory service heard no notice"
  expect "contact's group" "$(phonectl --json contact list | jq -r '.records[0].group')" 0
  ;;
block_add|allow_add)
  list=${case_name%_add}; file=$([ "$list" = block ] && echo block || echo allow)
  status 0 phonectl "$list" add spam 5550199
  expect "held" "$(pbctl control directoryd count "$file")" 1
  expect "contacts untouched" "$(pbctl control directoryd count contacts)" 0
  expect "listed" "$(phonectl --json "$list" list | jq -r '.records[0] | "\(.name) \(.number)"')" "spam 5550199"
  ;;
block_chg|allow_chg)
  list=${case_name%_chg}
  phonectl "$list" add spam 5550199 >/dev/null
  id=$(phonectl --json "$list" list | jq -r '.records[0].id')
  status 0 phonectl "$list" chg "$id" ham 5550200
  expect "changed" "$(phonectl --json "$list" list | jq -r '.records[0] | "\(.name) \(.number)"')" "ham 5550200"
  ;;
block_list|allow_list)
  list=${case_name%_list}
  for i in 1 2 3; do phonectl "$list" add "S$i" 555010$i >/dev/null; done
  expect "all" "$(phonectl --json "$list" list | jq -r '[.records[].name] | join(" ")')" "S1 S2 S3"
  expect "page" "$(phonectl --json "$list" list --start 2 --count 5 | jq -r '.records | length')" 1
  status 2 phonectl "$list" list --group 3
  ;;
block_find|allow_find)
  list=${case_name%_find}
  phonectl "$list" add spam 5550100 >/dev/null
  phonectl "$list" add other 5550999 >/dev/null
  expect "found" "$(phonectl --json "$list" find 555010 | jq -r '[.records[].name] | join(" ")')" "spam"
  ;;
block_del|allow_del)
  list=${case_name%_del}
  phonectl "$list" add spam 5550199 >/dev/null
  id=$(phonectl --json "$list" list | jq -r '.records[0].id')
  status 0 phonectl "$list" del "$id"
  expect "held" "$(pbctl control directoryd count "$list")" 0
  ;;
block_check|allow_check)
  list=${case_name%_check}
  phonectl "$list" add spam 5550100 >/dev/null
  status 0 phonectl "$list" check 5550100
  # The service's find returns 5550100 for 555010 too; the test is exact.
  status 1 phonectl "$list" check 555010
  expect "answer" "$(phonectl --json "$list" check 555010 | jq -r .listed)" false
  ;;
history_add)
  status 0 phonectl history add "Zhang Wei" 5550456 2 1700000000
  expect "held" "$(pbctl control directoryd count history)" 1
  expect "call" "$(phonectl --json history list | jq -r '.calls[0] | "\(.id) \(.type) \(.time) \(.name) \(.number)"')" "1 2 1700000000 Zhang Wei 5550456"
  status 2 phonectl history add "Zhang Wei" 5550456 x
  ;;
history_list)
  for i in 1 2; do phonectl history add "C$i" 555000$i >/dev/null; done
  expect "calls" "$(phonectl --json history list | jq -r '[.calls[].number] | join(" ")')" "5550001 5550002"
  ;;
history_del)
  phonectl history add C1 5550001 >/dev/null
  phonectl history add C2 5550002 >/dev/null
  id=$(phonectl --json history list | jq -r '.calls[0].id')
  status 0 phonectl history del "$id"
  expect "held" "$(pbctl control directoryd count history)" 1
  expect "left" "$(phonectl --json history list | jq -r '.calls[0].number')" 5550002
  ;;
board_gpio)
  # Run with the board's devices (phonebox run --devices): sysfs as the
  # stand-in plays it, every act in devices.log.
  status 0 phonectl board gpio export 59 60
  [ -d /sys/class/gpio/gpio60 ] || fail "gpio60 not exported"
  status 0 phonectl board gpio dir 60 high
  expect "direction" "$(cat /sys/class/gpio/gpio60/direction)" out
  expect "values" "$(phonectl --json board gpio get 60 59)" '{"60":1,"59":0}'
  status 0 phonectl board gpio unexport 60
  [ -e /sys/class/gpio/gpio60 ] && fail "gpio60 still there"
  status 1 phonectl board gpio get 60
  status 2 phonectl board gpio export x
  status 2 phonectl board gpio dir 60 up
  expect "acts" "$(grep gpio /run/phonebox/devices.log | tr '\n' ,)" \
    "gpio export 59,gpio export 60,gpio60 direction high,gpio unexport 60,"
  ;;
board_hook)
  expect "on hook" "$(phonectl --json board hook)" '{"hook":0}'
  echo 1 >/sys/class/gpio/gpio59/value
  # Exporting again is refused (EBUSY); the value is read all the same.
  expect "off hook" "$(phonectl --json board hook)" '{"hook":1}'
  expect "exports" "$(grep -c 'gpio export 59' /run/phonebox/devices.log)" 2
  ;;
board_audio)
  status 0 phonectl board audio out 1
  expect "out 1" "$(cat /sys/class/gpio/gpio10/value)$(cat /sys/class/gpio/gpio9/value)$(cat /sys/class/gpio/gpio11/value)" 001
  expect "in 5" "$(phonectl --json board audio in 5)" '{"result":1}'
  [ -e /sys/class/gpio/gpio8 ] && fail "in 5 touched GPIO 8"
  status 0 phonectl board audio in 2
  expect "in 2" "$(cat /sys/class/gpio/gpio8/value)$(cat /sys/class/gpio/gpio6/value)$(cat /sys/class/gpio/gpio7/value)" 011
  status 2 phonectl board audio sideways 1
  ;;
board_backlight)
  # The factory level is 80 %: duty 49.
  expect "on" "$(phonectl --json board backlight on)" '{"on":1}'
  expect "duty on" "$(cat /sys/class/pwm/pwmchip0/pwm0/duty_cycle)" 49
  expect "level 100" "$(phonectl --json board backlight level 100)" '{"level":100,"duty":60}'
  expect "duty" "$(cat /sys/class/pwm/pwmchip0/pwm0/duty_cycle)" 60
  expect "stored" "$(jq -r .hardware.bk_light_l_active /appconfigs/system.cfg)" 100
  expect "read" "$(phonectl --json board backlight level | jq .level)" 100
  status 2 phonectl board backlight level 101
  ;;
board_led)
  expect "lamp" "$(phonectl --json board led 4 0 1 8)" '{"result":0}'
  # Both rows of id 4 off, then LED 0 blinking, 2 and 2.
  expect "requests" "$(grep 'zlt_led [0-9]' /run/phonebox/devices.log | tr '\n' ,)" "zlt_led 0 0 0 0,zlt_led 0 0 0 0,zlt_led 0 2 2 2,"
  : >/run/phonebox/devices.log
  status 0 phonectl board led raw 0 1 40
  expect "raw" "$(grep 'zlt_led [0-9]' /run/phonebox/devices.log)" "zlt_led 0 1 10 10"
  : >/run/phonebox/devices.log
  # No lamp fitted: the off requests go to LED -1.
  status 0 phonectl board led 1 0 1 0
  expect "none fitted" "$(grep 'zlt_led [0-9-]' /run/phonebox/devices.log | tr '\n' ,)" "zlt_led -1 0 0 0,zlt_led -1 0 0 0,"
  status 2 phonectl board led 4 0 x 0
  # The test never ends by itself.
  timeout 3 phonectl board led test
  expect "led test killed" "$?" 124
  ;;
board_uart)
  expect "answer" "$(phonectl --json board uart /dev/ttyS1 115200 send AT)" '{"sent":3,"received":4,"text":"OK\r\n"}'
  pbctl control uartd log | grep -qx AT || fail "the modem never heard AT"
  pbctl control uartd mode nocrlf >/dev/null
  expect "no CR LF" "$(phonectl --json board uart /dev/ttyS1 9600 send AT)" '{"sent":3,"received":2,"text":"OK"}'
  pbctl control uartd mode normal >/dev/null
  expect "nothing waiting" "$(phonectl --json board uart /dev/ttyS1 9600 recv)" '{"received":0,"text":""}'
  status 1 phonectl board uart /dev/ttyS9 9600 recv
  status 2 phonectl board uart /dev/ttyS1 12345 recv
  ;;
board_wdt)
  expect "steps" "$(phonectl --json board wdt init 10 kick exit | jq -c '[.[].result]')" "[0,0,0]"
  expect "acts" "$(grep watchdog /run/phonebox/devices.log | tr '\n' ,)" \
    "watchdog open,watchdog WDIOC_SETTIMEOUT 10,watchdog WDIOC_KEEPALIVE,watchdog WDIOC_SETOPTIONS 1,watchdog close,"
  # A kick without the device open is refused.
  status 1 phonectl board wdt kick
  status 2 phonectl board wdt init
  ;;
board_reset)
  touch /appconfigs/.keep /appconfigs/junk.cfg
  jq '.wan.vlanid = 99' /appconfigs/network.cfg >/tmp/n && cp /tmp/n /appconfigs/network.cfg
  status 0 phonectl board reset
  [ -e /appconfigs/junk.cfg ] && fail "junk.cfg survived"
  [ -e /appconfigs/.keep ] || fail "the dot-file went"
  cmp -s /appconfigs/network.cfg /customer/appconfigs/network.cfg || fail "network.cfg not the factory's"
  ;;
board_flash)
  status 1 phonectl board flash env list
  status 0 phonectl board flash env set bootdelay 3
  status 0 phonectl board flash env set ipaddr 10.0.0.2
  expect "list" "$(phonectl --json board flash env list)" '["bootdelay=3","ipaddr=10.0.0.2"]'
  expect "get" "$(phonectl board flash env get ipaddr)" 10.0.0.2
  status 0 phonectl board flash env set bootdelay
  status 1 phonectl board flash env get bootdelay
  expect "dump" "$(phonectl board flash dump 8192 6)" "$(printf ipaddr | od -An -tx1 | tr -d ' \n')"
  echo 0123456789abcdef >/run/phonebox/chip_id
  expect "factory" "$(phonectl --json board flash factory 2026-11-23 00:1a:2b:3c:4d:5e SN-1)" \
    '{"time":"2026-11-23","mac":"00:1a:2b:3c:4d:5e","serial":"SN-1","id":"01-23-45-67-89-ab-cd-ef"}'
  grep -qx 'fw_setenv ethaddr 00:1a:2b:3c:4d:5e' /run/phonebox/calls.log || fail "no fw_setenv"
  expect "mac" "$(phonectl board flash mac)" 00:1a:2b:3c:4d:5e
  expect "id" "$(phonectl board flash id)" 01-23-45-67-89-ab-cd-ef
  expect "qq" "$(phonectl board flash qq 1 0102 | cut -c1-8)" 0102ffff
  status 2 phonectl board flash qq 5
  status 2 phonectl board flash qq 0 "$(printf '%066d' 0)"
  rm /run/phonebox/chip_id
  status 1 phonectl board flash id
  ;;
board_usb)
  mkdir -p /mnt/disk80
  echo 'disk80 83886080 41943040' >/run/phonebox/volumes
  expect "disk alone" "$(phonectl --json board usb scan)" '{"volumes":["disk80"],"new":["disk80"],"disk":"\/mnt\/disk80"}'
  mkdir -p /mnt/cam/DCIM
  echo photo >/mnt/cam/DCIM/p1.jpg
  # First insertion: marked, not copied.
  expect "card" "$(phonectl --json board usb scan | jq -c .new)" '["cam"]'
  id=$(cat /mnt/cam/quorbit_mark.conf)
  [ -e "/mnt/disk80/$id" ] && fail "copied on the first insertion"
  expect "still in" "$(phonectl --json board usb scan | jq -c .new)" '[]'
  mv /mnt/cam /tmp/cam
  phonectl board usb scan >/dev/null
  mv /tmp/cam /mnt/cam
  # Back again: recognised by its mark and copied.
  expect "again" "$(phonectl --json board usb scan | jq -c .new)" '["cam"]'
  expect "copied" "$(cat "/mnt/disk80/$id/p1.jpg")" photo
  rm /mnt/cam/DCIM/p1.jpg
  status 0 phonectl board usb restore "$id"
  expect "restored" "$(cat /mnt/cam/DCIM/p1.jpg)" photo
  status 1 phonectl board usb backup quorbit_none
  ;;
board_usb_plug)
  # A stand-in disk and a camera card, as the scan then sees them.
  expect "disk" "$(phonectl --json board usb plug disk80 80)" '{"volume":"\/mnt\/disk80","total_kb":83886080,"photos":0}'
  expect "volume line" "$(cat /run/phonebox/volumes)" "disk80 83886080 41943040"
  expect "card" "$(phonectl --json board usb plug cam 8 --dcim 3 | jq -c .photos)" 3
  expect "photos" "$(ls /mnt/cam/DCIM | tr '\n' ,)" "IMG_0001.JPG,IMG_0002.JPG,IMG_0003.JPG,"
  expect "statfs" "$(stat -f -c '%b %S' /mnt/cam/DCIM)" "8388608 1024"
  expect "first round" "$(phonectl --json board usb scan | jq -c '[(.new | sort), .disk]')" '[["cam","disk80"],"/mnt/disk80"]'
  id=$(cat /mnt/cam/quorbit_mark.conf)
  status 0 phonectl board usb unplug cam
  [ -e /mnt/cam ] && fail "the card is still in /mnt"
  expect "table" "$(cat /run/phonebox/volumes)" "disk80 83886080 41943040"
  phonectl board usb scan >/dev/null
  # Back with its mark gone: a plugged card is a new one; put the mark back
  # and the scan copies it.
  status 0 phonectl board usb plug cam 8 --dcim 2
  echo -n "$id" >/mnt/cam/quorbit_mark.conf
  expect "again" "$(phonectl --json board usb scan | jq -c .new)" '["cam"]'
  expect "copied" "$(cat "/mnt/disk80/$id/IMG_0002.JPG")" "photo 2 of cam"
  # A second plug of the same name replaces its size.
  status 0 phonectl board usb plug disk80 100
  expect "resized" "$(grep -c '^disk80 ' /run/phonebox/volumes) $(grep '^disk80 ' /run/phonebox/volumes)" "1 disk80 104857600 52428800"
  status 1 phonectl board usb unplug nothere
  status 2 phonectl board usb plug ../etc 8
  status 2 phonectl board usb plug cam 0
  status 2 phonectl board usb plug cam 8 --dcim -1
  status 2 phonectl board usb scan --dcim 2
  ;;
board_dev)
  : >/run/phonebox/devices.log
  status 0 phonectl board led raw 0 1 40
  expect "log" "$(phonectl board dev log | grep 'zlt_led [0-9]')" "zlt_led 0 1 10 10"
  expect "same as the file" "$(phonectl board dev log)" "$(cat /run/phonebox/devices.log)"
  expect "json" "$(phonectl --json board dev log | jq -r '.log[]')" "$(cat /run/phonebox/devices.log)"
  [ "$(phonectl --json board dev log | jq '.log | length')" -ge 1 ] || fail "empty log"
  status 2 phonectl board dev show
  rm /run/phonebox/devices.log
  status 1 phonectl board dev log
  ;;
net_names)
  expect "names" "$(phonectl --json net names)" '{"wan":"eth0","lan":"eth1","wifi":"wlan0"}'
  pbctl control netd names br0 - wlan1 >/dev/null
  expect "changed" "$(phonectl --json net names)" '{"wan":"br0","lan":"","wifi":"wlan1"}'
  pbctl control netd silent 1 >/dev/null
  status 1 phonectl net names
  ;;
net_show)
  # As "ip" reports the box's eth0.
  expect "eth0" "$(phonectl --json net show)" \
    '{"interface":"eth0","ip":"192.0.2.10","netmask":"255.255.255.0","mac":"00:1a:2b:3c:4d:5e","link":1,"ipv6":"2001:db8:1::10","prefix":"64"}'
  expect "wlan0 down" "$(phonectl --json net show wlan0 | jq -c '[.ip, .link]')" '["",0]'
  status 1 phonectl net show nosuch0
  ;;
net_gw)
  expect "gateways" "$(phonectl --json net gw)" '{"gateway":"192.0.2.1","ipv6":"::"}'
  ;;
net_dns)
  expect "servers" "$(phonectl --json net dns)" '{"ipv4":["192.0.2.53"],"ipv6":["2001:db8:1::53","2001:db8:1::54"]}'
  ;;
net_signal)
  expect "no file" "$(phonectl --json net signal)" '{"bars":0}'
  echo 13 >/tmp/power_4g.cfg
  expect "13" "$(phonectl --json net signal)" '{"bars":3}'
  ;;
net_mode)
  status 0 phonectl net mode 2 100
  expect "record" "$(pbctl control netd log | tail -1)" "4108 12292 12 89 2 100"
  pbctl control netd silent 1 >/dev/null
  status 1 phonectl net mode 0
  ;;
net_dhcp)
  expect "broadcasts" "$(commands_after phonectl net dhcp set 1 8*8*8*8 | tr '\n' ,)" "start_network,reload_account,"
  expect "read" "$(phonectl --json net dhcp get)" '{"dhcp":1,"staticdns":1,"dns1":"8.8.8.8","dns2":""}'
  expect "br0" "$(jq -r .br0.dns1 /appconfigs/network.cfg)" 8.8.8.8
  status 1 phonectl net dhcp set 1 1.2.3
  status 2 phonectl net dhcp set 2
  ;;
net_static)
  expect "broadcasts" "$(commands_after phonectl net static set 10*0*0*5 255.0.0.0 10.0.0.1 | tr '\n' ,)" \
    "start_network,reload_account,"
  expect "read" "$(phonectl --json net static get)" \
    '{"ip":"10.0.0.5","netmask":"255.0.0.0","gateway":"10.0.0.1","dns1":"10.0.0.1","dns2":"","dhcp":0}'
  # Refusals in the library's order: address 3, netmask 4, gateway 5.
  phonectl net static set 10.0.0.05 x x 2>/tmp/err
  expect "refusal" "$(cat /tmp/err)" "phonectl: the address is no address"
  phonectl net static set 10.0.0.5 255.0.0.0 x 2>/tmp/err
  expect "refusal" "$(cat /tmp/err)" "phonectl: the gateway is no address"
  ;;
net_nat)
  status 0 phonectl net nat set 1 stun*example*org 3478
  expect "read" "$(phonectl --json net nat get)" '{"switch":1,"server":"stun.example.org","port":"3478"}'
  ;;
net_vlan)
  expect "broadcasts" "$(commands_after phonectl net vlan set 1 20 9 | tr '\n' ,)" "start_network,"
  expect "read" "$(phonectl --json net vlan get)" '{"switch":1,"vid":"20","priority":"7"}'
  expect "netd" "$(pbctl control netd log | tail -1)" "4108 12292 12 89 2 20"
  expect "status" "$(jq -r .vlanid /appconfigs/status.cfg)" 20
  ;;
net_lldp)
  status 0 phonectl net lldp set 1 45
  expect "read" "$(phonectl --json net lldp get)" '{"enable":1,"interval":45}'
  rm /appconfigs/default/internet.cfg
  expect "defaults" "$(phonectl --json net lldp get 2>/dev/null)" '{"enable":0,"interval":30}'
  status 1 phonectl net lldp get
  ;;
net_vpn)
  status 0 phonectl net vpn set 1
  expect "read" "$(phonectl --json net vpn get)" '{"flag":1}'
  expect "flag file" "$(cat /tmp/start_vpn)" openvpn
  status 0 phonectl net vpn set 0
  expect "stop file" "$(cat /tmp/stop_vpn)" all
  ;;
net_4g)
  status 0 phonectl net 4g set 1
  [ -e /tmp/4g_start ] || fail "no /tmp/4g_start"
  expect "read" "$(phonectl --json net 4g get)" '{"flag":1}'
  status 0 phonectl net 4g set 0
  [ -e /tmp/4g_stop ] || fail "no /tmp/4g_stop"
  ;;
net_l2tp)
  status 1 phonectl net l2tp 10.0.0.9 bob secret
  mkdir -p /appconfigs/etc/ppp /appconfigs/etc/xl2tpd
  printf 'noauth\nname old\npassword old\nmtu 1400\n' >/appconfigs/etc/ppp/options.l2tp.conf
  : >/appconfigs/etc/xl2tpd/xl2tpd.conf
  status 0 phonectl net l2tp 10.0.0.9 bob secret
  # The password line has no line end: the next line joins it.
  expect "options" "$(cat /appconfigs/etc/ppp/options.l2tp.conf)" "$(printf 'noauth\nname bob\npassword secretmtu 1400')"
  grep -q '10.0.0.9' /appconfigs/etc/xl2tpd/xl2tpd.conf || fail "no lns in xl2tpd.conf"
  ;;
web_get)
  expect "factory" "$(phonectl --json web get)" '{"http":1,"https":1,"http_port":80,"https_port":443}'
  ;;
web_set)
  expect "broadcasts" "$(commands_after phonectl web set 1 1 8180 8543 | tr '\n' ,)" "start_network,"
  expect "read" "$(phonectl --json web get)" '{"http":1,"https":1,"http_port":8180,"https_port":8543}'
  grep -qF '"0.0.0.0:8180"' /appconfigs/lighttpd.conf || fail "listener not moved"
  grep -qx 'killall -9 lighttpd' /run/phonebox/calls.log || fail "server not restarted"
  status 2 phonectl web set 1 1 0 443
  ;;
web_port)
  expect "factory" "$(phonectl --json web port)" '{"http_port":80,"https_port":443}'
  expect "moved" "$(phonectl --json web port 8080 8443)" '{"http_port":8080,"https_port":8443}'
  expect "server.port" "$(tail -1 /appconfigs/lighttpd.conf)" "server.port = 8080"
  ;;
web_wan_allow)
  status 0 phonectl web wan-allow 0
  expect "stored" "$(jq -r .httpd.wan_allow /appconfigs/network.cfg)" 0
  grep -qx 'firewall.sh' /run/phonebox/calls.log || fail "firewall.sh not run"
  ;;
firewall_open)
  status 0 phonectl firewall open 5060 5061 5060
  expect "allow list" "$(jq -c .firewall.tcp_allow_list /appconfigs/network.cfg)" "[5060,5061]"
  grep -qx 'firewall.sh' /run/phonebox/calls.log && fail "firewall_set ran firewall.sh"
  status 2 phonectl firewall open 70000
  ;;
firewall_close)
  status 0 phonectl firewall open 22 80
  status 0 phonectl firewall close 22
  expect "allow list" "$(jq -c .firewall.tcp_allow_list /appconfigs/network.cfg)" "[80]"
  jq '.firewall.mode = 1 | .firewall.tcp_deny_list = [23]' /appconfigs/network.cfg >/tmp/n && cp /tmp/n /appconfigs/network.cfg
  # In deny mode closing adds to the deny list.
  status 0 phonectl firewall close 25
  expect "deny list" "$(jq -c .firewall.tcp_deny_list /appconfigs/network.cfg)" "[23,25]"
  ;;
setting_redial)
  expect "set" "$(phonectl --json setting redial 30)" '{"redial":30}'
  expect "stored" "$(jq .systeminfo.redial_del_ontime /appconfigs/system.cfg)" 30
  ;;
setting_keytone)
  expect "set" "$(phonectl --json setting keytone 0)" '{"keytone":0}'
  expect "stored" "$(jq .systeminfo.keytone_enable /appconfigs/system.cfg)" 0
  ;;
setting_wallpaper)
  expect "set" "$(phonectl --json setting wallpaper 3)" '{"wallpaper":3}'
  # Stored as text.
  expect "stored" "$(jq -c .lcd.DesktopImg /appconfigs/hal.cfg)" '"3"'
  rm /appconfigs/hal.cfg
  status 1 phonectl setting wallpaper 4
  ;;
uri_serve | uri_key | uri_phonecfg | uri_raw)
  # Command broadcasts as the bus carries them, while WHAT runs:
  # heard COUNT WHAT... leaves them in /tmp/heard, one "cmd keycode opt param2" a line.
  heard() {
    local n=$1; shift
    phonectl bus listen --count "$n" --timeout 8000 >/tmp/ev 2>/tmp/listen.err &
    local pid=$!
    for _ in $(seq 1 200); do grep -q listening /tmp/listen.err && break; sleep 0.02; done
    "$@" >/tmp/what.out 2>/tmp/what.err
    wait $pid
    jq -r 'select(.kind == 3) | [.message.cmd, .message.keycode, .message.opt, .message.param2] | map(. // "-") | join(" ")' /tmp/ev >/tmp/heard
  }
  case $case_name in
  uri_key)
    # Key names first, words verbatim, the feature word in the file.
    heard 4 phonectl --json uri key MUTE 0 Asw DNDOn
    expect "words" "$(jq -c .words /tmp/what.out)" '["MUTE","0","Asw","DNDOn"]'
    expect "heard" "$(cat /tmp/heard)" "send_keyboard 21 - -
send_keyboard 40 - -
web_call_proc - Asw (null)
reload_transfer_dnd - - -"
    expect "DND" "$(jq -r .FeatureForwardDND.DndStatus /appconfigs/default/function.cfg)" 1
    heard 1 phonectl uri key HOLD:12
    expect "hold" "$(cat /tmp/heard)" "web_call_proc - HOLD_CALLID 12"
    status 2 phonectl uri key
    ;;
  uri_phonecfg)
    # A read prints the answer the server would send, passwords in clear.
    expect "get" "$(phonectl uri phonecfg get dnd=1 Account1.AccountPassword)" "[Status]
FirmwareVersion = 1.0.0
[DND]
State=0
[Config]
Account1.AccountPassword = desk1001"
    expect "items" "$(phonectl --json uri phonecfg get '&dnd=1' x | jq -c .items)" '["dnd=1","x"]'
    # A write: the file changed, one reload ending in reload_account (the
    # SIP process answers the reload with messages of its own: all is heard
    # until the listener's time-out).
    heard 30 phonectl --json uri phonecfg set Account1.AccountLabel=Reception
    expect "answered" "$(jq -r .answered /tmp/what.out)" false
    expect "label" "$(jq -r '.AccountRegister[0].AccountLabel' /appconfigs/default/voiplist.cfg)" Reception
    expect "reloaded" "$(tail -1 /tmp/heard)" "reload_account - - -"
    expect "once" "$(grep -c reload_account /tmp/heard)" 1
    expect "marker" "$(cat /tmp/reloading)" 0
    # Eleven items serve nothing; a word but get or set is a usage error.
    status 1 phonectl uri phonecfg get 1 2 3 4 5 6 7 8 9 10 11
    status 2 phonectl uri phonecfg put x
    status 2 phonectl uri phonecfg
    ;;
  uri_serve)
    phonectl uri serve >/dev/null 2>&1 &
    server=$!
    for _ in $(seq 1 200); do curl -s -o /dev/null http://127.0.0.1:8335/ && break; sleep 0.02; done
    heard 1 curl -s -o /tmp/body 'http://127.0.0.1:8335/servlet?key=OK'
    expect "heard" "$(cat /tmp/heard)" "send_keyboard 35 - -"
    expect "body" "$(od -An -c /tmp/body | tr -s ' ')" " < h 1 > H e l l o ! < / h 1 > \0"
    # The port is taken: a second server gives up with status 1.
    status 1 phonectl uri serve
    kill $server
    wait $server 2>/dev/null
    ;;
  uri_raw)
    status 1 phonectl uri raw 'GET / HTTP/1.1\r\n\r\n'
    phonectl uri serve >/dev/null 2>&1 &
    server=$!
    for _ in $(seq 1 200); do curl -s -o /dev/null http://127.0.0.1:8335/ && break; sleep 0.02; done
    expect "bytes" "$(phonectl --json uri raw 'GET /servlet?key=F1 HTTP/1.1\r\n\r\n' | jq -r .bytes)" 101
    expect "head" "$(phonectl uri raw 'POST / HTTP/1.1\r\n\r\n' | head -1 | tr -d '\r')" "HTTP/1.1 200 OK"
    # Malformed: the server neither answers nor closes.
    status 1 phonectl uri raw 'GET / HTTP/1.1\r\n'
    kill $server
    wait $server 2>/dev/null
    ;;
  esac
  ;;
*)
  echo "no case $case_name" >&2
  exit 2
  ;;
esac
[ $failures = 0 ] && echo "PASS [$case_name]"
[ $failures = 0 ]
