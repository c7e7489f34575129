#!/usr/bin/env bash
# The kernels' objects, each compiled for one CPU target, hold no function that the linker might take for another object's
# as well: no weak one. Takes their paths.
set -uo pipefail

[ $# -gt 0 ] || exit 1
status=0
for object in "$@"; do
  symbols=$(nm --demangle "$object") && grep -q ' T .*FindKernel_' <<<"$symbols" || status=1
  if grep -i ' w ' <<<"$symbols" | grep -v ' w __'; then
    echo "$object holds weak functions" >&2
    status=1
  fi
done
exit $status
