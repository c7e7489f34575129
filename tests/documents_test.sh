#!/usr/bin/env bash
# The documents say what is so: every example prints what stands below it, docs/methods.md has the declarations that the
# plug-in registers, each once and no others, and the changes of docs/adding.md apply. Takes the paths of the program, of
# the plug-in, and of the pages with examples.
set -uo pipefail

repository=$(realpath "$(dirname "$0")/..")
program=$1
plugin=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
status=0
fail() {
  echo "$1" >&2
  status=1
}

# The examples call the program by its name and find the plug-in and the photographs.
mkdir "$folder/bin" "$folder/here"
printf '#!/bin/sh\nverb=$1\nshift\nexec "%s" "$verb" --plugin "%s" "$@"\n' "$program" "$plugin" >"$folder/bin/rastel-host"
chmod +x "$folder/bin/rastel-host"
ln -s "$repository/examples" "$folder/here/examples"
PATH=$folder/bin:$PATH

# Prints the console blocks of a page that begin with a command, line by line.
consoles() {
  awk '/^```console$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$1"
}

# Prints what the commands among the lines read print, below each command.
run_commands() {
  local line
  while IFS= read -r line; do
    if [[ $line == '$ '* ]]; then
      printf '%s\n' "$line"
      (cd "$folder/here" && bash -c "${line#\$ }" 2>&1 </dev/null)
    fi
  done
}

for page in "$@"; do
  consoles "$page" >"$folder/written"
  if ! grep -q '^\$ rastel-host ' "$folder/written"; then
    fail "$page: no example begins with \$ rastel-host"
  fi
  run_commands <"$folder/written" >"$folder/printed"
  diff "$folder/written" "$folder/printed" >&2 || fail "$page: < as it is written, > what the examples print"
done

# On a host of 2012.5 the methods of Picture are registered without the picture among their arguments.
"$folder/bin/rastel-host" list --json --host-version 2012.5 |
  sed -n 's/^ *"declaration": "\(.*\)",*$/\1/p' | sort >"$folder/registered"
sed '/^```console$/,/^```$/d' "$repository/docs/methods.md" | grep 'KVZ(' | sort >"$folder/documented"
if [[ $(wc -l <"$folder/registered") -lt 50 ]] || ! diff "$folder/registered" "$folder/documented" >&2; then
  fail "docs/methods.md: < declarations that are registered, > those that stand there"
fi

awk '/^```diff$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$repository/docs/adding.md" >"$folder/adding.diff"
if ! (cd "$repository" && patch --dry-run --strip=1 --fuzz=0 <"$folder/adding.diff" >&2) ||
  [[ $(grep -c '^+++' "$folder/adding.diff") -ne 3 ]]; then
  fail "docs/adding.md: its three changed files are not those of the code any more"
fi
exit $status
