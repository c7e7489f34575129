#!/usr/bin/env bash
# The pages about the methods are what the plug-in does, and the diffs that are shown as examples apply. Takes the
# paths of the program and of the plug-in.
set -euo pipefail
cd "$(dirname "$0")/.."

program=$1
plugin=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$program" docs "$folder" --plugin "$plugin"
if ! diff -r docs/methods "$folder"; then
  echo "docs/methods is out of date (< as it is, > as it should be); this rewrites it:" >&2
  echo "  $program docs docs/methods --plugin $plugin" >&2
  exit 1
fi

awk '/^```diff$/ { inside = 1; next } /^```$/ { inside = 0 } inside' docs/adding.md >"$folder/adding.diff"
if ! patch --dry-run --strip=1 --fuzz=0 <"$folder/adding.diff" >&2 ||
  (($(grep -c '^+++' "$folder/adding.diff") != 3)); then
  echo "docs/adding.md: its three changed files are not those of the code any more" >&2
  exit 1
fi
