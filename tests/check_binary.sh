#!/usr/bin/env bash
# The plug-in's file as it is shipped: one exported function, hardened, and nothing needed but the language's
# libraries and a few of their functions: none opens a file, a connection or a thread, or reads the environment.
# Takes its path.
set -uo pipefail

plugin=$1
status=0
fail() {
  echo "$1" >&2
  status=1
}

exported=$(nm -D --defined-only "$plugin" | awk '{ print $3 }')
[ "$exported" = REALPluginMain ] || fail "exported: $exported"

# Functions and data of the language's libraries, without the versions. The weak ones are the platform's.
imported=$(nm -D --undefined-only "$plugin" | awk '$(NF - 1) == "U" { sub(/@.*/, "", $NF); print $NF }')
foreign=$(grep -vxE \
  -e '(__)?(calloc|free|mem(chr|cpy|move|set)|snprintf|strdup|strlen|sysconf)(_chk)?' \
  -e '__stack_chk_(fail|guard)|__u?(div|mod)di3' \
  -e '_Unwind_Resume|__cxa_(begin_catch|end_catch|rethrow|finalize)|__gxx_personality_v0|_ZSt9terminatev' \
  -e '_ZTI.*|_ZTVN10__cxxabiv1.*|_ZdlPv[jm]?|_ZNSt6chrono3_V212steady_clock3nowEv' <<<"$imported")
[ -z "$foreign" ] || fail "it uses $foreign"
grep -qx __stack_chk_fail <<<"$imported" || fail "its stack is not protected"
grep -qx __memcpy_chk <<<"$imported" || fail "its copies are not fortified"

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
