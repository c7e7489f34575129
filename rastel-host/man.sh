#!/usr/bin/env bash
# Makes the man page from the program's help: its own, and that of each verb. Takes help2man, the program, the page.
set -euo pipefail
help2man=$1
program=$2
page=$3
sections=$(mktemp)
trap 'rm -f "$sections"' EXIT

for verb in $("$program" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
  printf '[rastel-host %s]\n.nf\n' "$verb"
  "$program" "$verb" --help | sed -e '/^Exit status:/,$d' -e 's/\\/\\\\/g' -e 's/-/\\-/g' -e "s/^[.']/\\\\\&&/"
  printf '.fi\n\n'
done >"$sections"
"$help2man" --no-info --locale C.UTF-8 --name 'put a plug-in to work in a development host' \
  --include "$sections" --output "$page" "$program"
