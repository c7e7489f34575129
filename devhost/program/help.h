// What the help of each verb says besides its options.
#pragma once

namespace devhost::program {

inline constexpr const char* kListHelp =
    "Examples:\n"
    "  rastel-host list\n"
    "  rastel-host list --host-version 2012.5 --json\n";

inline constexpr const char* kShowHelp =
    "Examples:\n"
    "  rastel-host show CopyXRGBtoMemoryblockKVZ\n"
    "  rastel-host show MemoryblockGrayToPictureKVZ --host-version 2007.5\n";

inline constexpr const char* kDocsHelp =
    "One Markdown page for each family of methods, and README.md that lists them.\n"
    "Example:\n"
    "  rastel-host docs docs/methods\n";

inline constexpr const char* kCallHelp =
    "Arguments, in the order of the declaration or as name=value: integers, true, false, nil, "
    "picture:WxH,\n"
    "picture:FILE, block:BYTES, block:FILE, ptr:BYTES, ptr:FILE, and [1,2,3] for an array of integers. A\n"
    "method that extends Picture takes the picture first, or as ref=picture:….\n"
    "picture:WxH holds red x, green y, blue x + y, each modulo 256, and 90 in the fourth byte; "
    "block:BYTES\n"
    "and ptr:BYTES hold 0, 1, 2, … modulo 256. The plug-in trusts its caller: it reads and writes past "
    "the\n"
    "end of a block that is too small.\n"
    "Examples:\n"
    "  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4\n"
    "  rastel-host call CopyXRGBtoMemoryblockKVZ ref=picture:4x4 destination=block:64 offset=0\n"
    "  rastel-host call PtrGrayToPictureKVZ ptr:16 0 4 4 1 [0,300,-7] nil [255]\n"
    "  rastel-host call CopyARGBtoMemoryblockKVZ nil block:64 0 255 --trace\n"
    "  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --times 12 --fail newPicture@10\n";

inline constexpr const char* kConvertHelp =
    "IN and OUT are pictures if their names end in .png, .ppm (P6) or .pam (P7), and else raw bytes. \"-\" "
    "is\n"
    "standard input, raw bytes with --size and else a picture; and standard output, raw bytes. Raw bytes "
    "are\n"
    "--offset bytes and rows --stride bytes apart; bytes that nothing is written to are 165.\n"
    "Layout gray sends (299 red + 587 green + 114 blue + 500) / 1000 and brings back the green channel.\n"
    "Examples:\n"
    "  rastel-host convert photo.png copy.png --layout BGRA --alpha 128 --verify\n"
    "  rastel-host convert photo.png - --layout BGRA --stride 4096 > photo.bgra\n"
    "  rastel-host convert - back.png --size 600x400 --layout BGRA --stride 4096 < photo.bgra\n"
    "  rastel-host convert photo.png cut.png --layout ARGB --mask mask.png --pixel-type 12\n";

inline constexpr const char* kCompareHelp =
    "Examples:\n"
    "  rastel-host compare photo.png copy.png --difference difference.png\n"
    "  rastel-host compare photo.png photo.bgra --size 600x400 --layout BGRA --stride 4096\n";

inline constexpr const char* kCheckHelp =
    "Each check runs in a process of its own, where a crash or a hang is a result. A check that is not "
    "good is\n"
    "told with a line that repeats it under a debugger. A GLOB such as 'contract/*RGBA*/13' chooses "
    "checks.\n"
    "Examples:\n"
    "  rastel-host check\n"
    "  rastel-host check --list\n"
    "  rastel-host check 'registration/*' 'balance/*' --json\n"
    "  rastel-host check --host-version 2007.5 --seed 7 --junit report.xml\n";

inline constexpr const char* kBenchHelp =
    "Pictures of 1024 x 512 pixels. A bar is the share of what a copy of the buffer's bytes reaches in the "
    "same\n"
    "run. Calls are not traced meanwhile, so --fail and --throw have no effect.\n"
    "Examples:\n"
    "  rastel-host bench\n"
    "  rastel-host bench --pixel-type 12 --json\n";

inline constexpr const char* kStatusHelp =
    "Exit status:\n"
    "  0  good\n"
    "  1  findings, a host exception, or pictures that differ\n"
    "  2  usage\n"
    "  3  the plug-in cannot be loaded\n"
    "  4  a crash or a time-out\n"
    "  5  a file that cannot be read or written\n";

}  // namespace devhost::program
