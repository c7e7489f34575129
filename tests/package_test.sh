#!/usr/bin/env bash
# What is installed finds the plug-in that was installed with it, and what a user downloads is complete. Takes the
# build folder.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset DESTDIR

cmake --install "$1" --prefix "$folder/installed" >/dev/null
"$folder/installed/bin/rastel-host" list >"$folder/list"
grep -q "^$folder/installed/.*: 50 methods" "$folder/list"

cmake --install "$1" --component download --prefix "$folder/download" >/dev/null
cmp "$folder/download/64/rastel.so" "$1/rastel.so"
test -s "$folder/download/methods.md" -a -s "$folder/download/LICENSE"
