#include "rastel-host/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "devhost/nearest.h"
#include "rastel-host/failure.h"
#include "rastel-host/image.h"

namespace devhost::program {
namespace {

[[noreturn]] void Expected(std::string_view what, std::string_view expected, std::string_view text,
                           const std::string& nearest = "") {
  throw Failure(Status::kUsage, std::string(what) + ": expected " + std::string(expected) + ", got '" +
                                    std::string(text) + "'" + nearest);
}

/// True if the whole of `text` is a number of this type.
template <typename Number>
bool Read(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

std::string FormatText(PixelFormat format) {
  switch (format) {
    case PixelFormat::kBitmap:
      return "pixel type 8";
    case PixelFormat::kWorld32:
      return "pixel type 13";
    case PixelFormat::kWorld24:
      return "pixel type 12";
    case PixelFormat::kWorld16:
      return "native depth 16";
  }
  return "unknown format";
}

}  // namespace

std::int32_t ParseInteger(std::string_view what, std::string_view text, std::int32_t least,
                          std::int32_t most) {
  std::int32_t number = 0;
  if (!Read(text, number) || number < least || number > most) {
    Expected(what, "an integer from " + std::to_string(least) + " to " + std::to_string(most), text);
  }
  return number;
}

double ParseVersion(std::string_view what, std::string_view text) {
  double version = 0;
  if (!Read(text, version) || !std::isfinite(version) || version < 0) {
    Expected(what, "a version such as 2013.04", text);
  }
  return version;
}

Size ParseSize(std::string_view what, std::string_view text) {
  if (!LooksLikeSize(text)) {
    Expected(what, "a size such as 640x480", text);
  }
  const auto cross = text.find('x');
  return {ParseInteger(std::string(what) + " (width)", text.substr(0, cross), 1, kMostPixels),
          ParseInteger(std::string(what) + " (height)", text.substr(cross + 1), 1, kMostPixels)};
}

Band ParseBand(std::string_view what, std::string_view text) {
  const auto colon = text.find(':');
  Band band{};
  if (colon == std::string_view::npos || !Read(text.substr(0, colon), band.first) ||
      !Read(text.substr(colon + 1), band.last) || band.first < 0 || band.last < -1 ||
      (band.last >= 0 && band.first > band.last)) {
    Expected(what, "FIRST:LAST with 0 <= FIRST <= LAST, or LAST -1 for the last row", text);
  }
  return band;
}

int ParsePixelType(std::string_view what, std::string_view text) {
  for (const int pixelType : {8, 12, 13, 16}) {
    if (text == std::to_string(pixelType)) {
      return pixelType;
    }
  }
  Expected(what, "8, 12, 13 or 16", text);
}

Kind ParseKind(std::string_view what, std::string_view text) {
  const std::vector<std::string> names(std::begin(kKindNames), std::end(kKindNames));
  const auto found = std::ranges::find(names, text);
  if (found != names.end()) {
    return static_cast<Kind>(found - names.begin());
  }
  Expected(what, "desktop, console, web or unknown", text, Nearest(text, names));
}

Fault ParseFault(std::string_view what, std::string_view text) {
  const auto at = text.find('@');
  std::int32_t number = 0;
  if (at == std::string_view::npos || !Read(text.substr(at + 1), number) || number < 1) {
    Expected(what, "ENTRY@N with N from 1, such as newPicture@10", text);
  }
  return {.kind = what == "--throw" ? Fault::Kind::kThrows : Fault::Kind::kFails,
          .entry = std::string(text.substr(0, at)),
          .from = number - 1};
}

std::vector<std::int32_t> ParseIntegers(std::string_view what, std::string_view text) {
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') {
    Expected(what, "integers such as [1,2,3]", text);
  }
  std::vector<std::int32_t> integers;
  std::string_view rest = text.substr(1, text.size() - 2);
  while (!rest.empty()) {
    const auto comma = rest.find(',');
    integers.push_back(ParseInteger(what, rest.substr(0, comma)));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
  }
  return integers;
}

bool LooksLikeSize(std::string_view text) {
  const auto cross = text.find('x');
  return cross != std::string_view::npos && IsDigits(text.substr(0, cross)) &&
         IsDigits(text.substr(cross + 1));
}

bool IsDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string PictureText(const REALpictureStruct& picture) {
  return "picture " + std::to_string(picture.width) + "x" + std::to_string(picture.height) + ", " +
         FormatText(picture.format) + ", " + std::to_string(picture.RowLength()) + " bytes a row";
}

std::string ExceptionText(const RaisedException& exception) {
  return exception.className + ": " + exception.message.value_or("(no message)");
}

}  // namespace devhost::program
