#!/usr/bin/env bash
# The program's exit statuses and messages. Takes the paths of the program and of the plug-in.
set -uo pipefail

program=$1
plugin=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
status=0

# expect STATUS PATTERN ARGUMENT...: the program has to end with STATUS and say PATTERN.
expect() {
  local wanted=$1 pattern=$2 output got
  shift 2
  output=$("$program" "$@" 2>&1)
  got=$?
  if [ "$got" -ne "$wanted" ] || ! grep -qE -- "$pattern" <<<"$output"; then
    printf '%s\n  ended with %s instead of %s, or did not say "%s":\n%s\n' \
      "rastel-host $*" "$got" "$wanted" "$pattern" "$output" >&2
    status=1
  fi
}

# A picture that promises more than its file holds.
printf 'P6\n32767 32767\n255\n' >huge.ppm

# A picture of 3 × 2 pixels.
printf 'P6\n3 2\n255\nABCDEFGHIJKLMNOPQR' >in.ppm

expect 0 'Usage' --help
expect 0 'CopyRGBtoMemoryblockKVZ\(extends ref as Picture' list --plugin "$plugin"
expect 0 'PluginRegisterMethod' list --plugin "$plugin" --host-version 2007.5
for type in 13 12 16; do
  expect 0 . convert in.ppm "out$type.ppm" --plugin "$plugin" --pixel-type "$type"
done
expect 0 . convert in.ppm alpha.pam --plugin "$plugin" --kind console --layout BGRA --alpha 7 --yield 1
expect 0 . convert in.ppm rows.raw --plugin "$plugin" --layout XRGB --band 1:1 --stride 20
expect 0 . convert in.ppm masked.pam --plugin "$plugin" --layout ARGB --mask in.ppm
expect 0 . call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --plugin "$plugin"
expect 0 'lockPictureDescription' call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --trace --plugin "$plugin"
expect 1 'Picture is nil' call CopyRGBtoMemoryblockKVZ nil block:48 0 --plugin "$plugin"
expect 2 'nothing' nothing
expect 2 'overload' call CopyRGBtoMemoryblockKVZ 1 2 3 --plugin "$plugin"
expect 2 'NoSuchMethodKVZ' call NoSuchMethodKVZ --plugin "$plugin"
expect 2 'layout' convert in.ppm out.ppm --layout QRS --plugin "$plugin"
expect 3 'missing.so' list --plugin "$folder/missing.so"
expect 3 'in.ppm' list --plugin "$folder/in.ppm"
expect 5 'at most 67108864 pixels' convert huge.ppm out.ppm --plugin "$plugin"
expect 5 'missing.ppm' convert missing.ppm out.ppm --plugin "$plugin"

cmp in.ppm out13.ppm >&2 || status=1
exit $status
