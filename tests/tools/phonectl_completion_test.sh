#!/usr/bin/env bash
# The bash completion offers the tool's command groups, then the commands
# of a group, as phonectl --help lists them.
#   phonectl_completion_test.sh COMPLETION_FILE DIR_OF_PHONECTL
set -euo pipefail
source "$1"
PATH=$2:$PATH
complete_words() {  # complete_words WORD...: the offers for the last word
  COMP_WORDS=(phonectl "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  _phonectl
  echo "${COMPREPLY[*]}"
}
failed=0
check() { [ "$2" = "$3" ] || { echo "completion of '$1': got '$2', want '$3'" >&2; failed=1; }; }
check "ca" "$(complete_words ca)" call
check "call h" "$(complete_words call h)" "hangup hold"
check "--json cfg ''" "$(complete_words --json cfg '')" "export get import keys read set write"
check "--id 4300 tz ''" "$(complete_words --id 4300 tz '')" "get set"
check "--j" "$(complete_words --j)" --json
check "action AUIncomingC" "$(complete_words action AUIncomingC)" AUIncomingCall
check "action AUTransferF" "$(complete_words action AUTransferF)" AUTransferFinished
check "board w" "$(complete_words board w)" wdt
check "firewall ''" "$(complete_words firewall '')" "close open"
groups=$(complete_words '')
for g in bus call account dss cfg kv dm volume hotel dial rules hotkey md5 tz pinyin board net web firewall setting contact dir; do
  grep -qw -- "$g" <<<"$groups" || { echo "group $g not offered" >&2; failed=1; }
done
exit $failed
