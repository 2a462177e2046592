# bash completion for phonectl: command words come from phonectl --help,
# so the completion follows the tool's own table.
_phonectl() {
  local cur=${COMP_WORDS[COMP_CWORD]} list=
  local -a w=()
  local i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --id) i=$((i + 1)) ;;
      --*) ;;
      *) w+=("${COMP_WORDS[i]}") ;;
    esac
  done
  case ${#w[@]} in
    0) list="$(phonectl --help 2>/dev/null | awk '$1 == "phonectl" && $2 ~ /^[a-z][a-z0-9]*$/ {print $2}' | sort -u) --json --id --trace --help --version" ;;
    1) list=$(phonectl --help 2>/dev/null | awk -v g="${w[0]-}" '$1 == "phonectl" && $2 == g && $3 ~ /^[a-z]+$/ {print $3}' | sort -u) ;;
  esac
  # Files for md5 FILE and kv COMMAND FILE; the events of action EVENT, as
  # the tool names them when it is given none it knows.
  if [ -z "$list" ]; then
    case "${w[0]-} ${#w[@]}" in
      "md5 1" | "kv 2") COMPREPLY=($(compgen -f -- "$cur")); return ;;
      "action 1") list=$(phonectl action - 2>&1 >/dev/null | sed -n 's/.*; events: //p') ;;
    esac
  fi
  COMPREPLY=($(compgen -W "$list" -- "$cur"))
}
complete -F _phonectl phonectl
