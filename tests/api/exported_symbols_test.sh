#!/usr/bin/env bash
# The shared object exports the listed names and nothing else.
set -euo pipefail
lib=$1 list=$2
actual=$(nm -D --defined-only "$lib" | awk '$3 != "" {sub(/@.*/, "", $3); if ($3 !~ /^PHONECORE_/) print $3}' | LC_ALL=C sort)
expected=$(grep -v "^\s*$" "$list" | LC_ALL=C sort)
if [ "$actual" != "$expected" ]; then
  diff <(echo "$expected") <(echo "$actual") || true
  echo "exported names differ from $list (< listed, > exported)"
  exit 1
fi
echo "$(echo "$actual" | wc -l) names exported, as listed"
