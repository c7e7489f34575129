#!/usr/bin/env bash
# The program's verbs list, show and call: exit statuses, messages and results. Takes the paths of the program, of the
# plug-in, and of one that misbehaves while it is loaded.
set -uo pipefail

program=$1
plugin=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$plugin" "$folder/rastel.so" && cp "$3" "$folder/faulty.so" && cd "$folder" || exit 1
status=0

fail() {
  echo "$*" >&2
  status=1
}

# expect STATUS PATTERN WORD…: the program has to end with STATUS and say PATTERN, an extended regular expression for
# all of what it says, line feeds as blanks.
expect() {
  local wanted=$1 pattern=$2 output got
  shift 2
  output=$("$program" "$@" 2>&1 </dev/null)
  got=$?
  if [[ $got != $wanted ]] || ! grep -qE -- "$pattern" <<<"${output//$'\n'/ }"; then
    fail "rastel-host $*
  ended with $got instead of $wanted, or did not say \"$pattern\":
$output"
  fi
}

# with VERB WORD…: the words for `expect` to use the plug-in.
list=(list --plugin rastel.so)
show=(show --plugin rastel.so)
call=(call --plugin rastel.so)

# Usage.
expect 0 'Usage: .* list .* show .* call .* convert .* 5  a file' --help
expect 0 '^rastel-host [0-9.]+' --version
expect 2 'expected a verb: list, show, call or convert'
expect 2 "no verb 'lst'; the nearest is list" lst
expect 2 "no option '--plugn'; the nearest is --plugin" list --plugn rastel.so
expect 2 "one of desktop, .*, got 'desktp'; the nearest is desktop" "${list[@]}" --kind desktp
expect 2 "one of 8, 12, 13, 16, got '14'" "${list[@]}" --pixel-type 14
expect 2 'pixel type 8 does not go with' "${list[@]}" --pixel-type 8 --kind desktop
expect 2 "'newPicure'; the nearest is newPicture" "${list[@]}" --fail newPicure@1
expect 2 "ENTRY@N with N from 1, .*, got 'newPicture@0'" "${list[@]}" --throw newPicture@0
expect 2 "'NewPicture' is nothing that a host has.*newPicture" "${list[@]}" --without NewPicture
expect 2 "'FSFindFolder' is in every process" "${list[@]}" --without FSFindFolder
for version in nan -1 0x10 ' 5' inf; do
  expect 2 "a version such as 2013.04, got '$version'" "${list[@]}" --host-version "$version"
done
for verb in list show call convert; do
  "$program" $verb --help >help || fail "$verb --help"
  grep -q '^Examples:' help && grep -q '^  4  the plug-in crashed' help || fail "$verb --help lacks its examples or statuses"
  awk 'length > 100 { exit 1 }' help || fail "$verb --help is wider than 100 columns"
done

# list.
expect 0 '^rastel.so: 50 methods, 18 of Picture; definition version 13 ' "${list[@]}"
expect 0 ' CopyRtoMemoryblockKVZ, CopyGtoMemoryblockKVZ, CopyBtoMemoryblockKVZ +\(extends ref as Picture, destination as' \
  "${list[@]}"
expect 0 '^rastel.so: 7 methods.*registered with PluginRegisterMethod; no flags' "${list[@]}" --host-version 2007.5 'ptr*rgb*TO*'
expect 2 "no method 'CopyRGBtoMemoryblock'; the nearest is CopyRGBtoMemoryblockKVZ" "${list[@]}" CopyRGBtoMemoryblock
expect 0 '"definitionVersion": 13,.*"declaration": "CopyBtoMemoryblockKVZ\(' "${list[@]}" --json -- CopyB*
"$program" --help >/dev/full 2>full && fail 'a full disk is no error of help'
"$program" "${list[@]}" >/dev/full 2>full
[ $? -eq 5 ] && grep -q 'standard output: No space left on device' full || fail 'a full disk is no error'

{ sleep 1; "$program" "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --trace 2>closed; } | true
grep -q 'standard output: Broken pipe' closed || fail 'a closed pipe is no error'

# show.
expect 0 'buffer, pixel type 13, 12, 8 +kept +red +green +blue$' "${show[@]}" copyxrgbtomemoryblockkvz
expect 0 'LittleEndian = true:.*pixel type 16 +blue +green +red +AlphaValue$' "${show[@]}" CopyARGBtoMemoryblockKVZ --pixel-type 16
expect 0 'type 13 +255 +byte 0 +byte 0 +byte 0 .*byte 0 \* Red / 256 +byte 0 \* Blue / 256 .*type 8 +Green\(byte 0\) +Blue\(byte 0\) +Red\(byte 0\) +0$' \
  "${show[@]}" PtrGrayToPictureKVZ
expect 0 'FlipVertically = false: .*type 8 +byte 2 +byte 1 +byte 0 +0 .*FlipVertically = true: .*type 13 +255 +byte 8' \
  "${show[@]}" MemoryblockRGBAtoPictureKVZ
expect 0 '8 +red +kept +next red +kept$' "${show[@]}" CopyRtoMemoryblockKVZ
expect 0 '"verb": "show",.*"pixelTypes": "13, 12, 8", +"flags": "", +"bytes": \[ +"kept", +"red", +"green", +"blue" +\]' \
  "${show[@]}" CopyXRGBtoMemoryblockKVZ --json
expect 0 '255 - mask$' "${show[@]}" CopyBGRAtoMemoryblockKVZ
expect 0 'no table of bytes: the method did not succeed' "${show[@]}" MemoryblockRGBtoPictureKVZ --without newPicture --without memoryBlockGetPtr
expect 2 "no method 'CopyXRGBtoMemoryblockKV'; the nearest is" "${show[@]}" CopyXRGBtoMemoryblockKV

# call: arguments, results, bytes.
expect 0 'result: true destination \(block:64\): 48 bytes written; it begins 00 00 00 00 04 01 00 01 .* balance: even' \
  "${call[@]}" CopyXRGBtoMemoryblockKVZ ref=picture:4x4 destination=block:64 offset=0
expect 0 'pixels: \(0, 1, 2, 255\) \(3, 4, 5, 255\)' "${call[@]}" MemoryblockRGBtoPictureKVZ block:6 0 2 1
expect 0 '\(0, 255, 9, 255\)' "${call[@]}" PtrGrayToPictureKVZ ptr:1 0 1 1 1 '[-5]' '[256]' '[9]'
expect 1 'result: nil exception: UnsupportedOperationException: offset is too small' \
  "${call[@]}" MemoryblockRGBtoPictureKVZ -- block:48 -1 4 4
expect 1 'result: false exception: NilObjectException: Picture is nil' "${call[@]}" CopyRGBtoMemoryblockKVZ nil block:48 0
expect 2 "name=value" "${call[@]}" CopyRGBtoMemoryblockKVZ ref=nil 2
expect 2 "no method 'CopyRGBtoMemoryblockKV'; the nearest is CopyRGBtoMemoryblockKVZ The plug-in is rastel.so" \
  "${call[@]}" CopyRGBtoMemoryblockKV
expect 2 'no overload takes \(integer, integer, integer\); expected +.*CopyRGBtoMemoryblockKVZ\(' \
  "${call[@]}" CopyRGBtoMemoryblockKVZ 1 2 3
expect 2 'expected' "${call[@]}" CopyRGBtoMemoryblockKVZ
expect 2 'expected' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 0 0 0 0 0 0
for word in x 0x10 ' 5' 1e9 2147483648 picture:4 picture:0x4 picture:4x32768 picture:a.gif '[1,]' '[1;2]'; do
  expect 2 'expected' "${call[@]}" MemoryblockRGBtoPictureKVZ block:48 "$word" 4 4
done
expect 5 'missing: .*No such file' "${call[@]}" MemoryblockRGBtoPictureKVZ block:missing 0 4 4
expect 0 'result: true' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:2x1 block:6 0 --out copied.raw
printf '\0\0\0\1\0\1' | cmp - copied.raw >&2 || fail 'the block was not written'
expect 1 'Picture is nil .*nil.raw: not written' "${call[@]}" CopyRGBtoMemoryblockKVZ nil block:18 0 --out nil.raw
expect 2 'expected another name than block.png' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:2x1 block:6 0 --out block.png
expect 2 'expected a file' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:2x1 block:6 0 --out -
# A byte that is written counts, whatever it held, also in calls that are cut short.
expect 1 ' 12 bytes written' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 Yield=1 --throw REALYieldToRB@1
expect 2 "argument 1: expected picture:WIDTHxHEIGHT or picture:FILE.png, got 'picture:a'" "${call[@]}" CopyRGBtoMemoryblockKVZ picture:a

# call: what goes wrong.
expect 4 'crashed \(SIGSEGV\) while calling CopyRGBtoMemoryblockKVZ of .rastel.so.; it accessed destination \(block:47\): offset 47, 1 byte behind its last one' \
  "${call[@]}" CopyRGBtoMemoryblockKVZ ref=picture:4x4 destination=block:47 offset=0
expect 4 'trace: memoryBlockGetPtr\(memoryblock#1\) = address .*crashed .*argument 1 \(block:10\): offset 1[0-9]' \
  "${call[@]}" MemoryblockRGBtoPictureKVZ block:10 0 4 4 --trace
expect 4 '^\{ +"verb": "call", .*"memoryBlockGetSize.* +"error": \{ +"status": 4, +"message": "[^"]*offset 47[^"]*" +\} +\}$' \
  "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:47 0 --trace --json
expect 0 'trace: newPicture\([^)]*\) \[made to fail\] = nil result: nil ' \
  "${call[@]}" MemoryblockRGBtoPictureKVZ block:48 0 4 4 --fail newPicture@1 --trace
expect 0 'fail newPicture@2 never came due .there were 1 such call.' "${call[@]}" MemoryblockRGBtoPictureKVZ block:48 0 4 4 --fail newPicture@2
expect 0 'PluginPictureGetType\(picture#1\) = 2 trace: lockPictureDescription\([^)]*\) \[made to fail\]' \
  "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --trace --fail @5
expect 0 'fail @400 never came due .there were [1-9][0-9]* such calls.' "${call[@]}" CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --fail @400
expect 1 'trace: newPicture\([^)]*\) \[made to throw\] .*exception: the host.s entry newPicture threw' \
  "${call[@]}" MemoryblockRGBtoPictureKVZ block:48 0 4 4 --throw newPicture@1 --trace
expect 1 'balance: lost: objects, 1 more' "${call[@]}" MemoryblockRGBtoPictureKVZ nil 0 4 4 --without REALUnlockObject

# Plug-ins that are none.
cp -L "$(ldd rastel.so | awk '/libm\.so/ { print $3 }')" nomain.so
echo text >text.so
head -c 5000 rastel.so >short.so
expect 3 "text.so' cannot be loaded: .*(invalid ELF header|file too short)" list --plugin text.so
expect 3 'missing.so' list --plugin missing.so --json
expect 3 'cannot be loaded' list --plugin /
expect 3 'is no plug-in: it does not export REALPluginMain' list --plugin nomain.so
expect 3 "truncated: SIGBUS while loading 'short.so'|short.so' cannot be loaded" list --plugin short.so
expect 3 "registered no method with this host \(version 2013.04\)" list --plugin faulty.so
expect 3 "the plug-in ended the process while loading 'faulty.so'" list --plugin faulty.so --host-version 2009
expect 4 "crashed \(SIGABRT\) while loading 'faulty.so'" list --plugin faulty.so --host-version 2007.5
expect 4 "crashed \(SIGSEGV\) while loading 'faulty.so'" call X --plugin faulty.so --host-version 2006

exit $status
