#!/usr/bin/env bash
# What is installed works, for users of the program and for an outside project. Takes the build folder.
set -euo pipefail
tests=$(dirname "$(realpath "$0")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset CXXFLAGS DESTDIR

cmake --install "$1" --prefix "$folder/installed" >/dev/null
cd "$folder"
plugin=$(echo installed/lib*/rastel/rastel.so installed/lib/*/rastel/rastel.so | tr ' ' '\n' | grep -v '\*' | head -1)
cmake -S "$tests/outside" -B build -DCMAKE_PREFIX_PATH="$folder/installed" >/dev/null
cmake --build build >/dev/null
build/outside "$plugin"

# The program finds the plug-in that was installed with it.
installed/bin/rastel-host list | grep -q '^50 methods'
if command -v help2man >/dev/null; then
  grep -q 'a crash or a time' installed/share/man/man1/rastel-host.1
  grep -q 'newPicture@10' installed/share/man/man1/rastel-host.1
fi

# Completion knows verbs, options and methods.
PATH=$folder/installed/bin:$PATH
source installed/share/bash-completion/completions/rastel-host
# complete_last WORD...: prints what the last word may become.
complete_last() {
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  _rastel_host rastel-host "${!#}" "${COMP_WORDS[COMP_CWORD - 1]}"
  echo "${COMPREPLY[*]}"
}
[[ $(complete_last rastel-host conv) == convert ]]
[[ $(complete_last rastel-host check --ju) == --junit ]]
[[ $(complete_last rastel-host convert --layout XB) == XBGR ]]
[[ $(complete_last rastel-host call CopyXB) == CopyXBGRtoMemoryblockKVZ ]]
