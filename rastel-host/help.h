// What the help of each verb says besides its options.
#pragma once

namespace devhost::program {

inline constexpr const char* kListHelp = R"(Examples:
  rastel-host list
  rastel-host list --host-version 2012.5 --json
)";

inline constexpr const char* kShowHelp = R"(Examples:
  rastel-host show CopyXRGBtoMemoryblockKVZ
  rastel-host show MemoryblockGrayToPictureKVZ --host-version 2007.5
)";

inline constexpr const char* kDocsHelp =
    R"(One Markdown page for each family of methods, and README.md that lists them.
Example:
  rastel-host docs docs/methods
)";

inline constexpr const char* kCallHelp =
    R"(Arguments, in the order of the declaration or as name=value: integers, true, false, nil,
picture:WxH, picture:FILE, block:BYTES, block:FILE, ptr:BYTES, ptr:FILE, and [1,2,3] for an array
of integers. A method that extends Picture takes the picture first, or as ref=picture:….
picture:WxH holds red x, green y, blue x + y, each modulo 256, and 90 in the fourth byte;
block:BYTES and ptr:BYTES hold 0, 1, 2, … modulo 256. The plug-in trusts its caller: it reads and
writes past the end of a block that is too small.
Examples:
  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4
  rastel-host call CopyXRGBtoMemoryblockKVZ ref=picture:4x4 destination=block:64 offset=0
  rastel-host call PtrGrayToPictureKVZ ptr:16 0 4 4 1 [0,300,-7] nil [255]
  rastel-host call CopyARGBtoMemoryblockKVZ nil block:64 0 255 --trace
  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --times 12 --fail newPicture@10
)";

inline constexpr const char* kConvertHelp =
    R"(IN and OUT are pictures if their names end in .png, .ppm (P6) or .pam (P7), and else raw bytes.
"-" is standard input, raw bytes with --size and else a picture; and standard output, raw bytes.
Raw bytes are --offset bytes and rows --stride bytes apart; bytes that nothing is written to are
165. Layout gray sends (299 red + 587 green + 114 blue + 500) / 1000 and brings back the green
channel.
Examples:
  rastel-host convert photo.png copy.png --layout BGRA --alpha 128 --verify
  rastel-host convert photo.png - --layout BGRA --stride 4096 > photo.bgra
  rastel-host convert - back.png --size 600x400 --layout BGRA --stride 4096 < photo.bgra
  rastel-host convert photo.png cut.png --layout ARGB --mask mask.png --pixel-type 12
)";

inline constexpr const char* kCompareHelp = R"(Examples:
  rastel-host compare photo.png copy.png --difference difference.png
  rastel-host compare photo.png photo.bgra --size 600x400 --layout BGRA --stride 4096
)";

inline constexpr const char* kCheckHelp =
    R"(Each check runs in a process of its own, where a crash or a hang is a result. A check that is not
good is told with a line that repeats it under a debugger. A GLOB such as 'contract/*RGBA*/13'
chooses checks.
Examples:
  rastel-host check
  rastel-host check --list
  rastel-host check 'registration/*' 'balance/*' --json
  rastel-host check --host-version 2007.5 --seed 7 --junit report.xml
)";

inline constexpr const char* kBenchHelp =
    R"(Pictures of 1024 x 512 pixels. A bar is the share of what a copy of the buffer's bytes reaches in
the same run. Calls are not traced meanwhile, so --fail and --throw have no effect.
Examples:
  rastel-host bench
  rastel-host bench --pixel-type 12 --json
)";

inline constexpr const char* kStatusHelp = R"(Exit status:
  0  good
  1  findings, a host exception, or pictures that differ
  2  usage
  3  the plug-in cannot be loaded
  4  a crash or a time-out
  5  a file that cannot be read or written
)";

}  // namespace devhost::program
