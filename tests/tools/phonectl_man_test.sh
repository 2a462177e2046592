#!/usr/bin/env bash
# The manual page holds every command row of phonectl --help and its help
# text; every phonectl command shown in the README is a command of the tool.
#   phonectl_man_test.sh PHONECTL MANUAL_PAGE README
set -euo pipefail
phonectl=$1 page=$2 readme=$3
text=$(MANWIDTH=2000 man -l "$page" 2>/dev/null | sed 's/[[:space:]]\+/ /g')
help=$("$phonectl" --help)
missing=0
while IFS= read -r row; do
  row=$(sed 's/^ *//; s/[[:space:]]\+/ /g' <<<"$row")
  grep -qF -- "$row" <<<"$text" || { echo "not in the manual page: $row" >&2; missing=1; }
done < <(grep -E '^  (phonectl|    )' <<<"$help")

rows=$(grep '^  phonectl ' <<<"$help" | sed 's/^  phonectl //')
grep -E '^    phonectl ' "$readme" | while IFS= read -r line; do
  read -r -a w <<<"$line"
  words=()
  for ((i = 1; i < ${#w[@]}; i++)); do
    case ${w[i]} in
      --json | --trace) ;;
      --id) ((i++)) ;;
      *) words+=("${w[i]}") ;;
    esac
  done
  group=${words[0]} sub=${words[1]:-}
  if grep -qE "^$group $sub( |\$)" <<<"$rows" || grep -qE "^$group [A-Z]" <<<"$rows"; then
    continue
  fi
  echo "the README shows a command the tool doesn't have: $line" >&2
  exit 1
done || missing=1
exit $missing
