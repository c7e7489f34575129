#!/usr/bin/env bash
# The program's exit statuses, messages and JSON. Takes the paths of the program, of the plug-in, and of one that hangs
# or crashes while it is loaded.
set -uo pipefail

program=$1
plugin=$2
golden=$(dirname "$(realpath "$0")")/golden.json
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$3" "$folder/faulty.so" || exit 1
cd "$folder" || exit 1
faulty=$folder/faulty.so
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
  expect 0 'bytes: identical' convert in.ppm "out$type.ppm" --verify --plugin "$plugin" --pixel-type "$type"
done
expect 0 'picture: identical' convert in.ppm alpha.pam --verify --plugin "$plugin" --kind console --layout BGRA --alpha 7
expect 0 'bytes: identical' convert in.ppm rows.raw --verify --plugin "$plugin" --layout XRGB --band 1:1 --stride 20
expect 0 'bytes: identical' convert in.ppm masked.pam --verify --plugin "$plugin" --layout ARGB --mask in.ppm
expect 0 . call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --plugin "$plugin"
expect 0 'lockPictureDescription' call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --trace --plugin "$plugin"
expect 1 'Picture is nil' call CopyRGBtoMemoryblockKVZ nil block:48 0 --plugin "$plugin"
expect 2 'nearest is list' lst
expect 2 'nearest is --layout' convert in.ppm out.ppm --lyout RGB
expect 2 'nearest is desktop' list --kind desktp
expect 2 'nearest is newPicture' list --fail newPicure@1
expect 2 'nearest is RGBA' convert in.ppm out.ppm --layout RGBQA --plugin "$plugin"
expect 2 'overload' call CopyRGBtoMemoryblockKVZ 1 2 3 --plugin "$plugin"
expect 2 'NoSuchMethodKVZ' call NoSuchMethodKVZ --plugin "$plugin"
expect 2 'layout' convert in.ppm out.ppm --layout QRS --plugin "$plugin"
expect 3 'missing.so' list --plugin "$folder/missing.so"
expect 3 'in.ppm' list --plugin "$folder/in.ppm"
expect 5 'at most 67108864 pixels' convert huge.ppm out.ppm --plugin "$plugin"
expect 5 'missing.ppm' convert missing.ppm out.ppm --plugin "$plugin"

# PNG, whole, cut off, and with a header that promises more than the file holds.
expect 0 'identical' convert in.ppm in.png --verify --plugin "$plugin"
expect 0 '^identical: 6 pixels' compare in.ppm in.png
head -c 60 in.png >short.png
expect 5 'short.png: expected a PNG picture' compare short.png in.ppm
printf '\211PNG\r\n\032\n\0\0\0\015IHDR\0\0\177\377\0\0\177\377\010\002\0\0\0\306\220\221\152' >huge.png
tail -c +34 in.png >>huge.png
expect 5 'huge.png: expected at most 67108864 pixels' compare huge.png in.ppm
head -c 28 in.ppm >short.ppm
expect 5 'expected 18 bytes of pixels, found 17' compare short.ppm in.ppm

# Single channels and gray, against bytes found by hand: the gray of u0A is (299 × 117 + 587 × 48 + 114 × 65) / 1000,
# 70.569, and each pixel is 1 lighter than the one before.
printf 'P6\n3 2\n255\nu0Av1Bw2Cx3Dy4Ez5F' >channels.ppm
for expected in R=uvwxyz G=012345 B=ABCDEF gray=GHIJKL; do
  layout=${expected%=*}
  expect 0 'bytes: identical' convert channels.ppm "$layout.raw" --verify --layout "$layout" --plugin "$plugin"
  printf %s "${expected#*=}" | cmp - "$layout.raw" >&2 || status=1
done

# Named arguments, and faults of the host.
expect 0 'destination \(block:64\): 48 bytes changed; it begins 00 00 00 00 04 01 00 01' call CopyXRGBtoMemoryblockKVZ \
  ref=picture:4x4 destination=block:64 offset=0 --plugin "$plugin"
expect 0 'from call 10 on:' call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --times 12 --fail newPicture@10 \
  --plugin "$plugin"
expect 1 'newPicture threw' call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --throw newPicture@1 --plugin "$plugin"
expect 1 'lost: objects, 1 more' call MemoryblockRGBtoPictureKVZ nil 0 4 4 --without REALUnlockObject --plugin "$plugin"
expect 1 'bytes: DIFFERENT|result: nil' convert in.ppm out.ppm --verify --fail newPicture@1 --plugin "$plugin"
expect 2 'nearest is CopyRGBtoMemoryblockKVZ' call CopyRGBtoMemoryblockKV --plugin "$plugin"
expect 2 'name=value' call CopyRGBtoMemoryblockKVZ ref=nil 2 --plugin "$plugin"
expect 0 '^buffer +UNTOUCHED +red +green +blue$' show copyxrgbtomemoryblockkvz --plugin "$plugin"
expect 2 'nearest is CopyXRGBtoMemoryblockKVZ' show CopyXRGBtoMemoryblockKV --plugin "$plugin"
expect 5 'in.ppm/' docs in.ppm/folder --plugin "$plugin"
expect 0 'result: true' call CopyRGBtoMemoryblockKVZ picture:in.ppm block:18 0 --out copied.raw --plugin "$plugin"
expect 1 'nil.raw: not written' call CopyRGBtoMemoryblockKVZ nil block:18 0 --out nil.raw --plugin "$plugin"
tail -c 18 in.ppm | cmp - copied.raw >&2 || status=1

# Checks: what is good, what is not, and what ends them.
expect 0 '^1 checks, [1-9][0-9]* cases, .*all good' check registration/2013.04 --junit report.xml --plugin "$plugin"
grep -q '<testsuite .* tests="1" failures="0" errors="0">' report.xml || status=1
expect 0 '^contract/PtrRGBtoPictureKVZ-dest/13 .*byte' check --list
expect 1 'repeat: gdb --args .* check .balance/PtrRGBtoPictureKVZ. --in-process --seed 7 .*--without .newPicture.' \
  check balance/PtrRGBtoPictureKVZ --seed 7 --without newPicture --plugin "$plugin"
expect 2 'nearest are .* contract/PtrRGBtoPictureKVZ/13' check contract/PtrRGBtoPictureKVZ/14 --plugin "$plugin"
expect 3 'missing.so' check 'registration/*' --plugin "$folder/missing.so"
expect 4 '^timeout registration/unknown.*' check registration/unknown --timeout 1 --plugin "$faulty"
expect 4 'ended by SIGABRT' check registration/2007.5 --plugin "$faulty"
expect 4 'hangs while it is loaded' check --timeout 1 --without REALGetRBVersion --plugin "$faulty"
expect 4 'crashed \(ABRT\)' list --host-version 2007.5 --plugin "$faulty"
for line in /proc/[0-9]*/cmdline; do
  if [[ $(tr '\0' ' ' 2>/dev/null <"$line") == *" check "*"--plugin $folder/faulty.so"* ]]; then
    echo "a process of a check is left: $line" >&2
    status=1
  fi
done

# Pipes, raw bytes that do not fit, and files that cannot be written.
"$program" convert in.ppm - --layout BGRA --stride 40 --offset 3 --plugin "$plugin" |
  "$program" convert - piped.ppm --size 3x2 --layout BGRA --stride 40 --offset 3 --plugin "$plugin"
expect 0 'identical' compare in.ppm piped.ppm
head -c 17 in.ppm >short.raw
expect 5 'expected 18 raw bytes .* found 17' convert short.raw out.ppm --size 3x2 --plugin "$plugin"
expect 2 'at least 9 bytes' convert in.ppm out.ppm --stride 8 --plugin "$plugin"
expect 5 'cannot be written|expected the name' convert in.ppm no/such/folder.raw --plugin "$plugin"
"$program" list --plugin "$plugin" >/dev/full 2>/dev/null
[ $? -eq 5 ] || { echo "a full disk is no error" >&2; status=1; }

# A picture that differs in one channel.
sed 's/ABCDEFGHIJKLM/ABCDEFGHIJKLZ/' in.ppm >other.ppm
expect 1 'pixel \(1, 1\) red: 77 in A, 90 in B' compare in.ppm other.ppm --difference difference.ppm
expect 1 'differ: 1 of 6 pixels, by at most 13' compare in.ppm other.ppm
printf 'P6\n3 2\n255\n\0\0\0\0\0\0\0\0\0\0\0\0\015\0\0\0\0\0' | cmp - difference.ppm >&2 || status=1

for verb in list call convert compare check bench; do
  "$program" "$verb" --help >help
  grep -q '^Examples:' help && grep -q '^  4  a crash or a time-out' help ||
    { echo "$verb --help lacks its examples or statuses" >&2; status=1; }
done

# The schema of the JSON documents, without what differs from run to run.
{
  "$program" list --json --host-version 2012.5 --plugin "$plugin" | head -14
  "$program" call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0 --json --plugin "$plugin"
  "$program" call CopyRGBtoMemoryblockKVZ nil block:48 0 --trace --json --plugin "$plugin"
  "$program" convert in.ppm rows.raw --verify --layout XRGB --json --plugin "$plugin"
  "$program" compare in.ppm other.ppm --json
  "$program" check registration/2013.04 --json --plugin "$plugin" | sed 's/\("seconds": \).*/\1…,/'
  "$program" bench --json --plugin "$plugin" | head -10 | sed 's/\(Second": \)[0-9.e+]*/\1…/'
} >found.json
diff "$golden" found.json >&2 || status=1

cmp in.ppm out13.ppm >&2 || status=1
exit $status
