#!/usr/bin/env bash
# Every method, and the best kernels that valgrind knows, row by row: no errors and nothing lost. Takes the folder of a
# release build with tests, and prints one line "figure valgrind …".
set -euo pipefail

cd "$1"
log=$(mktemp)
trap 'rm -f "$log"*' EXIT

status=0
# check PROGRAM FILTER
check() {
  valgrind --leak-check=full --keep-debuginfo=yes --num-callers=40 --error-exitcode=9 --log-file="$log.$1" \
    "tests/$1" --gtest_filter="$2" >>"$log" || status=1
}
check rastel_tests 'Golden.*:PicturesOn.Fills*:Registered.*:Registration.*'
RASTEL_SOAK=0.01 check rastel_unit_tests 'TargetList.*:Rows.AreExact*'

tests=$(grep -c '^\[       OK' "$log" || true)
errors=$(sed -nE 's/.*ERROR SUMMARY: ([0-9,]+) errors.*/\1/p' "$log".* | tr -d , | awk '{ sum += $1 } END { print sum }')
lost=$(sed -nE 's/.*(definitely|indirectly|possibly) lost: ([0-9,]+) bytes.*/\2/p' "$log".* | tr -d , |
  awk '{ sum += $1 } END { print sum + 0 }')
target=$(sed -nE 's/^figure targets .* run=([^ ,]+).*/\1/p' "$log")
if [[ $status -ne 0 || $tests -eq 0 || $errors != 0 || $lost != 0 ]]; then
  status=1
  tail -n 20 "$log".* >&2
  grep -F '[  FAILED  ]' "$log" >&2 || true
fi
echo "figure valgrind tests=$tests errors=$errors lost=$lost target=${target:-unknown}"
exit $status
