#!/usr/bin/env bash
# The shipped files of 64 and 32 bits: each is built from two folders of the source, checked, and compared. Prints one
# line "figure shipped …".
set -euo pipefail

project=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CCACHE_DISABLE=1  # it would hand out the first folder's objects again

checked=0
failed=0
different=0
for preset in release release-32; do
  for copy in "$work/one" "$work/a/longer/name"; do
    mkdir -p "$copy"
    cp -r "$project"/{CMakeLists.txt,CMakePresets.json,cmake,src} "$copy"
    (cd "$copy" && "$project/scripts/quietly" cmake --preset "$preset" &&
      "$project/scripts/quietly" cmake --build --preset "$preset" --parallel "$(nproc)")
    checked=$((checked + 1))
    "$project/tests/check_binary.sh" "$copy/build/$preset/rastel.so" || failed=$((failed + 1))
  done
  cmp "$work/one/build/$preset/rastel.so" "$copy/build/$preset/rastel.so" || different=$((different + 1))
done
echo "figure shipped checked=$checked failed=$failed different=$different"
[[ $failed -eq 0 && $different -eq 0 ]]
