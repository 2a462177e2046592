#!/usr/bin/env bash
# Every command row of phonectl --help, and its help text, stands in the
# manual page made from it.
set -euo pipefail
phonectl=$1 page=$2
text=$(MANWIDTH=2000 man -l "$page" 2>/dev/null | sed 's/[[:space:]]\+/ /g')
missing=0
while IFS= read -r row; do
  row=$(sed 's/^ *//; s/[[:space:]]\+/ /g' <<<"$row")
  grep -qF -- "$row" <<<"$text" || { echo "not in the manual page: $row" >&2; missing=1; }
done < <("$phonectl" --help | grep -E '^  (phonectl|    )' | grep -v '^ *$')
exit $missing
