#!/usr/bin/env bash
# The whole suite with 32 bits beside the one with 64: the same tests, all passed. Takes the folders of both builds and
# prints one line "figure bits32 …".
set -euo pipefail

# The tests that a build has, and how many passed; a shard says how many it ran.
passed() {
  ctest --test-dir "$1" --verbose --parallel "$(nproc)" >"$2" 2>&1 || true
  awk '/\[  PASSED  \] [0-9]+ test/ { for (i = 1; i < NF; ++i) if ($i == "PASSED") sum += $(i + 2) } END { print sum + 0 }' "$2"
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
passed64=$(passed "$1" "$log")
passed32=$(passed "$2" "$log")
failed=$(grep -cE '\[  FAILED  \] .*\(|\*\*\*' "$log" || true)
skipped=$(grep -cE '\[  SKIPPED \] .*\(' "$log" || true)
echo "figure bits32 passed=$passed32 failed=$failed skipped=$skipped passed64=$passed64"
[[ $failed -eq 0 && $passed32 -eq $passed64 && $passed32 -gt 0 ]]
