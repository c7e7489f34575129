#!/usr/bin/env bash
# The whole suite with 32 bits beside the one with 64: the same number of tests, none failed. Takes the folders of both
# builds and prints one line "figure bits32 …". What the emulated processor has no instructions for is skipped.
set -euo pipefail

# Runs a build's tests but those on other processors, which 64 bits alone have, and keeps what they say in $log.
run() {
  ctest --test-dir "$1" --exclude-regex '^rows_on_' --parallel "$(nproc)" >/dev/null 2>&1 || true
  cp "$1/Testing/Temporary/LastTest.log" "$log"
}

# The sum of the numbers that the tests' closing lines give for a word.
sum() {
  sed -nE "s/^\[ *$1 *\] ([0-9]+) tests?$2.*/\1/p" "$log" | awk '{ sum += $1 } END { print sum + 0 }'
}

log=$(mktemp)
trap 'rm -f "$log"' EXIT
run "$1"
ran64=$(sum '==========' ' from .* ran')
failed64=$(grep -c '^Test Failed' "$log" || true)
run "$2"
ran32=$(sum '==========' ' from .* ran')
failed32=$(grep -c '^Test Failed' "$log" || true)
echo "figure bits32 ran=$ran32 passed=$(sum PASSED '\.') skipped=$(sum SKIPPED ',') failed=$failed32" \
  "ran64=$ran64 failed64=$failed64"
[[ $failed32 -eq 0 && $failed64 -eq 0 && $ran32 -eq $ran64 && $ran32 -gt 0 ]]
