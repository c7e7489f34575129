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

cpack --config "$1/CPackConfig.cmake" -B "$folder" >/dev/null
tar -xzf "$folder"/rastel-*.tar.gz -C "$folder" --strip-components=1
cmp "$folder/64/rastel.so" "$1/rastel.so"
test -s "$folder/methods.md" -a -s "$folder/LICENSE"
