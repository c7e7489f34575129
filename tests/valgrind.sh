#!/usr/bin/env bash
# Every method under valgrind: no errors, and nothing left behind but what was handed to the host at the registration.
# Takes the folder of a release build with tests, and prints one line "figure valgrind …".
set -euo pipefail

cd "$1"
log=$(mktemp)
trap 'rm -f "$log" "$log.out" "$log.targets"' EXIT

status=0
valgrind --leak-check=full --show-leak-kinds=all --keep-debuginfo=yes --num-callers=40 --error-exitcode=9 \
  tests/rastel_tests --gtest_filter='ToPicture.*:ToBuffer.*:MaskedToBuffer.*:Registration.*' \
  >"$log.out" 2>"$log" || status=$?
methods=$(sed -nE 's/^\[       OK \] .*_([0-9]+_[A-Za-z]+KVZ).*/\1/p' "$log.out" | sort -u | wc -l)
errors=$(sed -nE 's/.*ERROR SUMMARY: ([0-9,]+) errors.*/\1/p' "$log" | tr -d ,)

# The plug-in's own blocks: those whose first caller outside the C library is in its file.
read -r leaks others < <(awk '
  / blocks are | bytes in .* lost / { blocks = $(NF - 0); sub(/.* bytes in /, ""); blocks = $1; gsub(/,/, "", blocks)
    isLeak = 1; isOwn = 0; isKnown = 0; isRegistered = 0; next }
  !isLeak { next }
  /: (malloc|calloc|realloc|operator new|strdup)/ { next }
  /(at|by) 0x/ {
    if (!isKnown) { isKnown = 1; isOwn = /rastel\.so\)/ }
    if (/: REALPluginMain /) isRegistered = 1
    next }
  { if (isOwn && isRegistered) leaks += blocks; else if (isOwn) others += blocks; isLeak = 0 }
  END { print leaks + 0, others + 0 }' "$log")

# The kernels that run there, row by row, and their names.
RASTEL_SOAK=0.01 valgrind --quiet --error-exitcode=9 tests/rastel_unit_tests --gtest_filter='TargetList.*:Rows.*' >"$log.targets" || status=$?
target=$(sed -nE 's/^figure targets .*run=([^ ,]+).*notrun.*/\1/p' "$log.targets")

if [[ $status -ne 0 || $errors != 0 || $others != 0 || $leaks == 0 || $methods != 50 ]]; then
  status=1
  grep -vE '^==[0-9]+==    by ' "$log" | tail -20 >&2
  grep -F '[  FAILED  ]' "$log.out" >&2 || true
fi
echo "figure valgrind errors=$errors leaks=$others registered=$leaks methods=$methods target=${target:-unknown}"
exit $status
