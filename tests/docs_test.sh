#!/usr/bin/env bash
# The pages about the methods are what the plug-in does. Takes the paths of the program and of the plug-in.
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
