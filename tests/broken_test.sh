#!/usr/bin/env bash
# A plug-in with one wrong byte does not pass the checks. Takes the paths of the program and of the plug-in.
#
# The byte is one of the constants by which the kernel arranges pixels. Which constants a conversion uses depends on
# the CPU, so they are found by bisection: all tables are spoilt, then half of those that still change the result, …
set -uo pipefail

program=$1
plugin=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
status=0

fail() {
  echo "broken_test: $*" >&2
  status=1
}

# Prints where in the file each table begins.
find_tables() {
  local section address
  section=$(readelf -SW "$plugin" | perl -ne 'print "$1 $2" if /\.rodata\s+PROGBITS\s+(\S+) (\S+)/')
  nm "$plugin" | while read -r address _ name; do
    if [[ $name == *kColours* ]]; then
      echo $((16#$address - 16#${section% *} + 16#${section#* }))
    fi
  done
}

# spoil FIRST COUNT: flips one bit in the sixth byte of so many tables of a copy.
spoil() {
  cp "$plugin" broken.so
  perl -e 'open(my $file, "+<", "broken.so") or die;
    for (@ARGV) { seek($file, $_ + 5, 0); read($file, my $byte, 1); seek($file, $_ + 5, 0); print $file $byte ^ "\1"; }' \
    "${tables[@]:$1:$2}"
}

# True if the spoilt copy gives other bytes than the plug-in for a conversion.
differs() {
  "$program" convert in.ppm good.raw --plugin "$plugin" "$@" 2>/dev/null || fail "the plug-in does not convert"
  "$program" convert in.ppm bad.raw --plugin ./broken.so "$@" >/dev/null 2>&1 || return 0
  ! cmp -s good.raw bad.raw
}

# expect_caught TYPE LAYOUT
expect_caught() {
  local first=0 count=${#tables[@]} half report line
  spoil 0 "$count"
  differs --pixel-type "$1" --layout "$2" || { fail "no table changes $2 and type $1"; return; }
  while ((count > 1)); do
    half=$((count / 2))
    spoil "$first" "$half"
    if differs --pixel-type "$1" --layout "$2"; then
      count=$half
    else
      first=$((first + half))
      count=$((count - half))
    fi
  done
  spoil "$first" 1
  differs --pixel-type "$1" --layout "$2" || { fail "no single byte changes $2 and type $1"; return; }
  [[ $(cmp -l "$plugin" broken.so | wc -l) == 1 ]] || fail "expected one wrong byte"
  report=$("$program" check "contract/*/$1" --plugin ./broken.so 2>&1)
  [[ $? == 1 ]] || fail "a wrong byte of $2 and type $1 passed: $report"
  line=$(sed -n 's/^  repeat: gdb --args //p' <<<"$report" | head -1)
  eval "$line" >/dev/null 2>&1
  [[ $? == 1 ]] || fail "this does not repeat the failure: $line"
}

# 65 × 3 pixels.
printf 'P6\n65 3\n255\n' >in.ppm
head -c 585 "$plugin" >>in.ppm
mapfile -t tables < <(find_tables)
((${#tables[@]} > 0)) || fail "the plug-in has no tables"
expect_caught 13 BGRA
expect_caught 8 RGB
exit $status
