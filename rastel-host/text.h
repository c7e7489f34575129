// The words of the command line, and how results are told.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {

struct Size {
  std::int32_t width, height;  // 1 to kMostPixels
};

struct Band {
  std::int32_t first, last;  // rows, both included; last may be -1 for the last row
};

/// Each of these throws Failure (kUsage) for a text that is something else; `what` begins the message.
std::int32_t ParseInteger(std::string_view what, std::string_view text,
                          std::int32_t least = std::numeric_limits<std::int32_t>::min(),
                          std::int32_t most = std::numeric_limits<std::int32_t>::max());
double ParseVersion(std::string_view what, std::string_view text);
Size ParseSize(std::string_view what, std::string_view text);
Band ParseBand(std::string_view what, std::string_view text);
int ParsePixelType(std::string_view what, std::string_view text);  // 8, 12, 13 or 16
Kind ParseKind(std::string_view what, std::string_view text);
Fault ParseFault(std::string_view what,
                 std::string_view text);  // "newPicture@10"; throws if `what` is --throw
std::vector<std::int32_t> ParseIntegers(std::string_view what, std::string_view text);  // "[1,2,3]", "[]"

/// True for digits, "x", digits.
bool LooksLikeSize(std::string_view text);

/// True for one digit or more and nothing else.
bool IsDigits(std::string_view text);

/// "picture 512x512, pixel type 13, 2048 bytes a row".
std::string PictureText(const REALpictureStruct& picture);

/// "NilObjectException: Memoryblock is nil".
std::string ExceptionText(const RaisedException& exception);

}  // namespace devhost::program
