#!/usr/bin/env bash
# The plug-in's file as it is shipped: one exported function, hardened, and nothing needed but the language's
# libraries. Takes its path.
set -uo pipefail

plugin=$1
status=0
fail() {
  echo "$1" >&2
  status=1
}

exported=$(nm -D --defined-only "$plugin" | awk '{ print $3 }')
[ "$exported" = REALPluginMain ] || fail "exported: $exported"

dynamic=$(readelf --dynamic --wide "$plugin")
grep -q TEXTREL <<<"$dynamic" && fail "the code needs relocations"
grep -qE 'RPATH|RUNPATH' <<<"$dynamic" && fail "it has a search path"
grep -qE 'BIND_NOW|FLAGS_1.*NOW' <<<"$dynamic" || fail "it is not bound at once"
needed=$(sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' <<<"$dynamic" |
  grep -vxE 'lib(stdc\+\+|gcc_s|c|m)\.so\.[0-9]+|ld-linux.*')
[ -z "$needed" ] || fail "it needs $needed"

segments=$(readelf --segments --wide "$plugin")
grep -q GNU_RELRO <<<"$segments" || fail "its relocated data stays writable"
grep GNU_STACK <<<"$segments" | grep -q ' RW  *0x' || fail "its stack is executable"
grep LOAD <<<"$segments" | grep -q RWE && fail "a segment is both writable and executable"

exit $status
