#!/usr/bin/env bash
# The verb convert: bytes of every layout and samples of every kind of PNG, against values computed here, and input and
# output that is bad. Takes the paths of the program and of the plug-in.
set -uo pipefail

program=$(realpath "$1")
plugin=$(realpath "$2")
folder=$(mktemp -d)
trap 'chmod -R u+w "$folder"; rm -rf "$folder"' EXIT
cd "$folder" || exit 1
status=0

wrong() {
  printf '%s\n' "$*" >&2
  status=1
}

convert() {
  "$program" convert "$@" --plugin "$plugin"
}

# judge STATUS PATTERN COMMAND-LINE: it ended with `got` and said what is in said.txt.
judge() {
  if [ "$got" -ne "$1" ] || ! grep -qE -- "$2" <<<"$(cat said.txt)"; then
    wrong "$3: ended with $got instead of $1, or did not say \"$2\":" "$(cat said.txt)"
  fi
}

# expect STATUS PATTERN ARGUMENT...
expect() {
  convert "${@:3}" >said.txt 2>&1 </dev/null
  got=$?
  judge "$1" "$2" "convert ${*:3}"
}

# expect_shell STATUS PATTERN COMMANDS
expect_shell() {
  (set -o pipefail; eval "$3") >said.txt 2>&1
  got=$?
  judge "$1" "$2" "$3"
}

# Makes pictures, and table.txt: the file with the bytes that a conversion has to give, what it says, and its words.
python3 - <<'END' || exit 1
import struct, zlib

ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
PALETTE = [(i * 7 % 256, 255 - i, i * i % 256) for i in range(256)]
table = open("table.txt", "w")

def write(name, data):
    with open(name, "wb") as file:
        file.write(data)

def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

def packed(samples, depth):
    bits = "".join(format(sample, f"0{depth}b") for sample in samples)
    bits += "0" * (-len(bits) % 8)
    return int(bits, 2).to_bytes(len(bits) // 8, "big")

def header(width, height, depth=8, colour=2, interlaced=False):
    fields = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, interlaced)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", fields)

def png(rows, depth=8, colour=2, interlaced=False, extra=b""):
    """rows[y][x] is a tuple of the pixel's samples."""
    data = b""
    for left, top, right, down in ADAM7 if interlaced else [(0, 0, 1, 1)]:
        for row in rows[top::down]:
            samples = [sample for pixel in row[left::right] for sample in pixel]
            data += b"\0" + packed(samples, depth) if samples else b""
    return (header(len(rows[0]), len(rows), depth, colour, interlaced) + extra +
            chunk(b"IDAT", zlib.compress(data)) + chunk(b"IEND", b""))

def picture(width, height, channels=3, depth=8, seed=0):
    return [[tuple((x * 7919 + y * 104729 + c * 15485863 + seed) * 2654435761 >> 9 & (1 << depth) - 1
                   for c in range(channels)) for x in range(width)] for y in range(height)]

# Every kind of PNG: what its samples are in 8 bits, and how many pixels are not opaque.
def opened(pixel, depth, colour):
    if colour == 3:
        return PALETTE[pixel[0]]
    bytes = [s >> 8 if depth == 16 else s * 255 // ((1 << depth) - 1) for s in pixel]
    return tuple(bytes[:3]) if colour in (2, 6) else (bytes[0],) * 3

def add_kind(depth, colour, interlaced, transparent):
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
    rows = picture(11, 9, channels, depth)
    every = [pixel for row in rows for pixel in row]
    extra, said = b"", "not used: the low byte" if depth == 16 else "^$"
    if colour == 3:
        extra = chunk(b"PLTE", bytes(v for entry in PALETTE[:1 << depth] for v in entry))
    if transparent:  # the first pixel's value
        value = b"\xff" * every[0][0] + b"\0" if colour == 3 else struct.pack(f">{channels}H", *every[0])
        extra += chunk(b"tRNS", value)
        said = f"alpha of {every.count(every[0])} pixel"
    elif channels in (2, 4):
        said = f"alpha of {sum(pixel[-1] >> depth - 8 < 255 for pixel in every)} pixel"
    name = f"kind-{colour}-{depth}-{interlaced:d}-{transparent:d}"
    write(name + ".png", png(rows, depth, colour, interlaced, extra))
    write(name, bytes(byte for pixel in every for byte in opened(pixel, depth, colour)))
    table.write(f"{name}|{said}|{name}.png\n")

for colour, depths in {0: (1, 2, 4, 8, 16), 2: (8, 16), 3: (1, 2, 4, 8), 4: (8, 16), 6: (8, 16)}.items():
    for depth in depths:
        for interlaced in (False, True):
            add_kind(depth, colour, interlaced, colour < 4 and interlaced)

# Every layout, in packed rows, and with all that moves the bytes.
WIDTH, HEIGHT = 37, 11
photo = picture(WIDTH, HEIGHT)
write("photo.png", png(photo))
masks = {"small": picture(20, 6, seed=5), "large": picture(45, 14, seed=6)}
for name, rows in masks.items():
    write(name + ".png", png(rows))

def sent(layout, pixel):
    red, green, blue = pixel
    gray = (299 * red + 587 * green + 114 * blue + 500) // 1000
    return {"gray": (gray,) * 3, "R": (red, 0, 0), "G": (0, green, 0), "B": (0, 0, blue)}.get(layout, pixel)

def shown(x, y):
    return (0, 0, 0) if x >= WIDTH else photo[y if y < HEIGHT else 0][x]

def copied(layout, stride=0, offset=0, first=0, last=None, alpha=255, mask=None):
    letters = "G" if layout == "gray" else layout
    sized = mask or photo
    block = bytearray(b"\xa5" * offset)
    for y in range(first, len(sized) if last is None else last + 1):
        row = bytearray()
        for x in range(len(sized[0])):
            values = dict(zip("RGB", sent(layout, shown(x, y))), X=165, A=255 - mask[y][x][1] if mask else alpha)
            row += bytes(values[letter] for letter in letters)
        block += row.ljust(stride, b"\xa5")
    return bytes(block)

def add_copy(layout, words, **form):
    name = f"{layout}{''.join(words.split())}"
    write(name, copied(layout, **form))
    table.write(f"{name}|^bytes: identical|photo.png --verify --layout {layout} {words}\n")

for layout in "RGB BGR ARGB ABGR RGBA BGRA XRGB XBGR RGBX BGRX gray R G B".split():
    add_copy(layout, "--pixel-type 12")
    form = {"stride": 160, "offset": 5, "first": 2, "last": 7}
    words = "--stride 160 --offset 5 --band 2:7"
    if "A" in layout:
        add_copy(layout, words + " --alpha 77", alpha=77, **form)
        add_copy(layout, "--mask small.png", mask=masks["small"])
        add_copy(layout, "--kind web --mask large.png --stride 200", mask=masks["large"], stride=200)
    else:
        add_copy(layout, words, **form)
write("flipped", b"".join(bytes(v for pixel in row for v in (*pixel, 255)) for row in reversed(photo)))
table.write("flipped|^picture: identical|photo.png --verify --flip --layout RGBA\n")

# What is bad, and what is at the limits.
good = png(picture(40, 30, depth=16), depth=16, extra=chunk(b"gAMA", struct.pack(">I", 220000)))
write("gamma.png", good)
write("empty.png", b"")
write("short.png", good[:len(good) // 2])
write("endless.png", good[:-12])
write("crc.png", good[:-13] + bytes([good[-13] ^ 1]) + good[-12:])
write("text.png", b"a text, and not a picture\n")
write("zero.png", header(0, 5) + chunk(b"IDAT", zlib.compress(b"")) + chunk(b"IEND", b""))
write("huge.png", header(40000, 40000) + chunk(b"IDAT", zlib.compress(bytes(99))) + chunk(b"IEND", b""))
write("many.png", header(32767, 32767) + chunk(b"IDAT", zlib.compress(bytes(99))) + chunk(b"IEND", b""))
write("wide.png", png(picture(32767, 1)))
write("high.PNG", png(picture(1, 32767)))
write("some.raw", bytes(99))
table.close()
END

while IFS='|' read -r expected pattern words; do
  # shellcheck disable=SC2086
  expect 0 "$pattern" $words out.raw
  cmp "$expected" out.raw >&2 || wrong "convert $words"
  rm -f out.raw
done <table.txt

# A picture comes back through files and pipes, with a last row that may end with its last pixel.
form="--layout ABGR --stride 200 --offset 3"
expect_shell 0 '^$' "convert photo.png piped.raw $form && cat piped.raw | convert - back.png --size 37x11 $form"
expect_shell 0 '^$' "convert back.png - | cmp - RGB--pixel-type12"
expect_shell 0 '^$' "head -c -52 piped.raw | convert - - --size 37x11 $form | cmp - piped.raw"
expect_shell 0 '^picture: identical' "convert photo.png - --verify 2>&1 >/dev/null"
expect 0 '^$' photo.png masked.png --layout BGRA --mask photo.png
expect 0 'alpha of' masked.png same.png
expect 0 'the copy is 20x6, as the mask is' photo.png out.raw --layout ARGB --mask small.png
expect 0 '^$' wide.png wide.png
expect 0 '^$' high.PNG out.png
expect_shell 0 '"rows":8,"stride":120,"offset":0,"verified":\["picture","bytes"\],"findings":\[\]' \
  "convert photo.png out.raw --stride 120 --band 3:-1 --verify --json | tr -d ' \n'"
expect_shell 5 '"status":5,"message":"missing.png:cannot' "convert missing.png out.raw --json | tr -d '\n '"
expect 1 'the method did not succeed: never.raw is not written' photo.png never.raw --fail newPicture@1

# Pictures that are none.
expect 5 'missing.png: cannot be read \(No such file' missing.png never.png
expect 5 'cannot be read \(Is a directory' . never.raw --size 1x1
expect 5 'empty.png: expected a PNG picture, found an empty file' empty.png never.png
expect 5 'short.png: truncated' short.png never.png
expect 5 'endless.png: truncated' endless.png never.png
expect 5 'crc.png: expected a PNG picture \(.*CRC' crc.png never.png
expect 5 'text.png: expected a PNG picture, found something else' text.png never.png
expect 5 'zero.png: expected a PNG picture \(Image width is zero' zero.png never.png
expect 5 'huge.png: expected 1 to 32767 pixels .* found 40000x40000' huge.png never.png
expect 5 'many.png: expected at most 67108864 pixels' many.png never.png
expect 0 'gamma.png: not used: the low byte of each 16-bit sample, the gamma value$' gamma.png out.png
for name in photo.jpg photo.PPM photo.gif; do
  expect 2 "$name: expected a PNG picture .*netpbm" "$name" never.png
  expect 2 "$name: expected a PNG picture .*netpbm" photo.png "$name"
done
expect 2 'mask.raw: expected a PNG' photo.png never.raw --layout ARGB --mask mask.raw

# Raw bytes that are none.
expect 5 'standard input: truncated, expected 1221 raw bytes .* found 0' - never.png --size 37x11
expect 5 'truncated, expected 1224 raw bytes \(3 and 11 rows of 111\), found 1221' RGB--pixel-type12 never.png \
  --size 37x11 --offset 3
expect 5 'expected 1110 raw bytes .* found more' RGB--pixel-type12 never.png --size 37x10
expect 5 'found more' /dev/zero never.png --size 37x10
expect 2 '--size: expected the size' some.raw never.png
expect 2 '--size: expected raw bytes' photo.png never.png --size 37x11
expect 2 '--size: expected at most 67108864 pixels' some.raw never.png --size 32767x32767
for size in 0x5 5x0 -1x5 32768x1 5 5x 5x5x5 0x10x5 '5 x5' ' 5x5' 1e1x5; do
  expect 2 '--size: expected' some.raw never.png "--size=$size"
done
for number in -1 2147483648 99999999999999999999 many 0x10 ' 5' 1e9 5.5 ''; do
  expect 2 '--stride: expected' photo.png never.png "--stride=$number"
  expect 2 '--offset: expected' photo.png never.png "--offset=$number"
  expect 2 '--alpha: expected' photo.png never.png --layout ARGB "--alpha=$number"
done
expect 2 '--stride: expected at least 111 bytes, for 37 pixels of RGB, got 110' photo.png never.raw --stride 110
expect 2 '--stride: expected at least 180 bytes' photo.png never.raw --layout ARGB --mask large.png --stride 179
expect 2 'at most 2147483647 bytes' photo.png never.raw --stride 2147483647
expect 2 'at most 2147483647 bytes' photo.png never.raw --offset 2147483647
expect 2 'at most 2147483647 bytes' some.raw never.raw --size 10x10 --stride 999999999
for band in 0 0: :0 a:b 5:4 0:11 11:11 -1:3; do
  expect 2 '--band( FIRST| LAST)?: expected' photo.png never.raw "--band=$band"
done

# Options that do not go together.
expect 2 'nearest is RGBA' photo.png never.raw --layout RGBQA
expect 2 'expected a layout with alpha' photo.png never.raw --alpha 5
expect 2 '--flip: expected' photo.png never.raw --flip
expect 2 '--mask' photo.png never.raw --layout ARGB --alpha 5 --mask small.png
expect 2 '--json: expected a file' photo.png - --json

# Files that cannot be written, and what stays of them.
echo old >old.raw && chmod 640 old.raw && echo old >kept.raw && chmod 444 kept.raw
mkdir fold.er && ln -s old.raw link && ln -s new.raw dangling && ln -s loop loop
expect 5 'kept.raw: cannot be written \(Permission denied' photo.png kept.raw
expect 5 'fold.er: cannot be written \(Is a directory' photo.png fold.er
expect 5 'never/out.raw: cannot be written \(No such file' photo.png never/out.raw
expect 5 'loop: cannot be written \(Too many levels' photo.png loop
expect 5 '/dev/full: cannot be written \(No space left' photo.png /dev/full
expect_shell 5 'standard output: cannot be written \(No space left' 'convert photo.png - >/dev/full'
expect_shell 5 'standard output: cannot be written \(Broken pipe' 'convert wide.png - --layout ARGB | true'
expect_shell 5 'old.raw: cannot be replaced .*\(File too large' 'ulimit -f 8; convert wide.png old.raw'
expect_shell 0 '^old 640$' 'stat --format="$(cat old.raw) %a" old.raw'
expect 0 '^$' photo.png link
expect_shell 0 '^1221 640 1221$' 'stat --format="%s %a" old.raw | tr "\n" " "; wc -c <link'
expect_shell 0 '^1221$' 'convert photo.png dangling && wc -c <new.raw'
expect_shell 0 '^1221$' 'mkfifo pipe; (timeout 20 cat pipe | wc -c) & convert photo.png pipe; wait'
# Nothing was written that should not be, and what ends the program at any moment leaves no part of a file.
python3 - "$program" "$plugin" <<'END' || status=1
import os, pty, signal, subprocess, sys, time

program, plugin = sys.argv[1:]
left = [name for name in os.listdir() if name.startswith((".rastel", "never"))]
assert not left, left

# Raw bytes are not for a terminal, and colours and progress are for a terminal alone.
terminal, end = pty.openpty()
run = subprocess.run([program, "convert", "photo.png", "-", "--plugin", plugin], stdout=end, stderr=subprocess.PIPE)
assert run.returncode == 2 and b"terminal" in run.stderr, run

# Half of the signals come at any moment, the others while the file is written.
words = [program, "convert", "high.PNG", "big.out", "--stride", "2000", "--plugin", plugin]
start = time.monotonic()
subprocess.run(words, check=True)
whole = time.monotonic() - start
size = os.path.getsize("big.out")
before = set(os.listdir())
for i in range(18):
    os.truncate("big.out", 1)
    run = subprocess.Popen(words)
    if i % 2:
        time.sleep(whole * i / 16)
    while i % 2 == 0 and run.poll() is None and set(os.listdir()) == before:
        pass
    run.send_signal((signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[i % 3])
    run.wait(20)
    assert os.path.getsize("big.out") in (1, size) and set(os.listdir()) == before, (i, os.listdir())
END
exit $status
