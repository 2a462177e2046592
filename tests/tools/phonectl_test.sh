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
settings=/appconfigs/default/settinglist.cfg
keys=/appconfigs/default/programing_key.cfg

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
  out=$(phonectl --json call dial 1 1002) || fail "dial on a registered account"
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
  pbctl sip reg 1 1 >/dev/null
  id=$(phonectl --json call dial 1 1002 | jq -r .status)
  sleep 0.1
  what=${case_name#call_}
  [ "$what" = resume ] && phonectl call hold "$id" >/dev/null
  phonectl call "$what" "$id" >/dev/null || fail "call $what"
  sip_log_has "\"phone_$what\", \"data\": { \"current_call\": $id }"
  sleep 0.1
  state=$(pbctl sip state | jq -r ".calls[] | select(.id == $id) | .state")
  case $what in
    hold) expect "state after hold" "$state" held ;;
    resume) expect "state after resume" "$state" connected ;;
    hangup) expect "state after hangup" "$state" "" ;;
  esac
  ;;
call_state)
  pbctl sip reg 3 1 >/dev/null
  expect "states" "$(phonectl --json call state | jq -r '"\(.acc1Status)\(.acc2Status)\(.acc3Status)\(.acc4Status)"')" 0010
  # A bus id in use (the SIP process's) is refused at once.
  status 1 phonectl --id 4098 call state
  pbctl sip silent 1 >/dev/null
  status 1 phonectl call state
  ;;
account_list)
  pbctl sip reg 1 1 >/dev/null
  out=$(phonectl --json account list) || fail "account list"
  expect "records" "$(jq length <<<"$out")" 4
  expect "account 1" "$(jq -r '.[0] | "\(.id) \(.registered) \(.user)"' <<<"$out")" \
    "1 1 $(jqf '.account[0].cred_acc[0].username' /appconfigs/voip.cfg)"
  expect "account 2" "$(jq -r '.[1] | "\(.id) \(.registered)"' <<<"$out")" "2 0"
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
  phonectl cfg set default/settinglist.cfg SettingKeyType.KEY_gpio54_key.Value 1234 >/dev/null
  expect "call button 72" "$(phonectl --json hotkey 72 | jq -r .value)" 1234
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
  pbctl control httppeer log >/tmp/log
  grep -qF '"target":"/status/404"' /tmp/log || fail "no GET in the record"
  grep -qF '["X-Probe","7"]' /tmp/log || fail "no header in the record"
  status 0 phonectl http get http://127.0.0.1:18081/
  status 2 phonectl http get http://127.0.0.1:18080/ nocolon
  ;;
http_post)
  pbctl control httppeer clear >/dev/null
  expect "body" "$(phonectl http post http://127.0.0.1:18080/redirect 'a=1&b=2' 'X-A: 1')" "status 200"
  pbctl control httppeer log >/tmp/log
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
  pbctl control httppeer log | grep -qF '["Range","bytes=10-"]' || fail "no range asked"
  expect "kept" "$(cat /tmp/g)" "abcdefghij"
  status 1 phonectl http download http://127.0.0.1:18081/x /tmp/f
  ;;
http_upload)
  printf 'payload' >/tmp/up
  pbctl control httppeer clear >/dev/null
  status 0 phonectl http upload http://127.0.0.1:18080/up /tmp/up
  pbctl control httppeer log >/tmp/log
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
  pbctl control configd log | grep -q '^4102 12297 2 - 0$' || fail "no take-up asked"
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
  pbctl control httppeer log >/tmp/log
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
uri_serve | uri_key | uri_raw)
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
