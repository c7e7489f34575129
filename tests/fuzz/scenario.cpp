#include "fuzz/scenario.h"

#include <limits>
#include <ostream>
#include <string_view>

#include "methods.h"

namespace tests {
namespace {

using devhost::Kind;
using devhost::PixelFormat;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

constexpr double kVersions[] = {2013.04, 2007.5,  2009.0, 2010.029, 2012.0,
                                2013.0,  2013.03, 2016.0, 2999.9,   3000.0};

constexpr const char* kDrawPicture =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

/// What a host may lack. Without what counts references, or gives masks back, no host can keep its books.
constexpr const char* kMissable[] = {
    "REALGetRBVersion",
    "PluginRegisterMethod",
    "PluginRegisterClassExtension",
    "PluginRegisterModule",
    "PluginNewInstance",
    "REALSetPropValueString",
    "REALSetPropValueInteger",
    "REALSetPropValueInt",
    "REALGetPropValueInteger",
    "REALGetPropValueInt",
    "RuntimeRaiseException",
    "REALUnlockString",
    "REALBuildString",
    "REALBuildStringWithEncoding",
    "REALConvertString",
    "REALSetStringEncoding",
    "RuntimeUBound",
    "PluginIntegerArrayGetProc",
    "RuntimeArrayDirectGetGetProc",
    "REALYieldToRB",
    "memoryBlockGetPtr",
    "memoryBlockGetSize",
    "pluginObjectType",
    "lockPictureDescription",
    "REALLockPictureDescription",
    "unlockPictureDescription",
    "REALPictureClearCache",
    "PluginPictureGetType",
    "newPicture",
    "REALBuildPictureFromBuffer",
    "REALGetPictureMask",
    "pluginPictureGraphicsGetter",
    "REALLoadObjectMethod",
    "REALUnlockObject",
    "SetGWorld",
    "GetGWorldPixMap",
    "GetPixDepth",
    "LockPixels",
    "GetPixBaseAddr",
    "GetPixRowBytes",
    "UnlockPixels",
    kDrawPicture,
};

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::uint8_t Byte() {
    if (bytes_.empty()) {
      return 0;
    }
    const std::uint8_t byte = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return byte;
  }

  template <typename Item, std::size_t Count>
  Item Pick(const Item (&items)[Count]) {
    return items[Byte() % Count];
  }

  /// Small numbers mostly, or one of the far ones.
  std::int32_t Number() {
    constexpr std::int32_t kFar[] = {kLowest, kLowest + 1, -(1 << 30), -8421505, -8421504, 255,     256,
                                     257,     32767,       32768,      8421505,  1 << 30,  kHighest};
    const std::uint8_t byte = Byte();
    return byte < 0xF0 ? int{byte} - 20 : kFar[Byte() % std::size(kFar)];
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

/// Sizes from these bytes on are large. They are bytes that fuzzers have no liking for, since such pictures
/// take time.
constexpr std::uint8_t kWideFrom = 0xB1;
constexpr std::uint8_t kTallFrom = 0xE9;

/// Mostly widths of a vector or two.
std::int32_t Width(Reader& reader) {
  constexpr std::int32_t kWide[] = {96, 127, 128, 129, 255, 256, 257, 1000};
  const std::uint8_t byte = reader.Byte();
  return byte < kWideFrom || byte >= kWideFrom + std::size(kWide) ? byte % 67 : kWide[byte - kWideFrom];
}

std::int32_t Height(Reader& reader) {
  const std::uint8_t byte = reader.Byte();
  return byte < kTallFrom || byte >= kTallFrom + 8 ? byte % 5 : 5 + byte % 19;
}

PictureSpec Picture(Reader& reader) {
  PictureSpec picture{};
  picture.size.width = Width(reader);
  picture.size.height = Height(reader);
  picture.format = reader.Pick(
      {PixelFormat::kWorld32, PixelFormat::kWorld24, PixelFormat::kWorld16, PixelFormat::kBitmap});
  return picture;
}

CallSpec DecodeCall(Reader& reader) {
  CallSpec call{};
  call.method = reader.Byte() % AllMethods().size();
  call.picture = Picture(reader);
  const std::uint8_t flags = reader.Byte();
  call.flag = (flags & 1) != 0;
  call.isMasked = (flags & 2) != 0;
  call.offset = reader.Byte() % 80;
  // Steps of up to seven bytes, or so far back that a count in 32 bits would lead to where it began.
  call.pixelBytes = reader.Pick({1, 4, 3, 2, 0, 5, 7, -1, -2, -3, -4, -7, -(1 << 30), kLowest});
  if ((flags & 4) != 0) {
    call.dest = Picture(reader);
    call.destType = reader.Pick({2, 2, 2, 2, 4, 0, 1, 3});
  }
  const bool isLong = (flags & 8) != 0;
  call.alpha = isLong ? Picture(reader) : call.picture;
  call.bad = (flags & 0xF0) == 0xF0 ? static_cast<Bad>(reader.Byte() % 10) : Bad::kNothing;
  if (isLong) {
    call.startLine = reader.Byte() % 7;
    call.endLine = reader.Byte() % 8 - 1;
    call.yield = reader.Number();
    call.destRowBytes = reader.Byte();
  } else {
    call.endLine = -1;
  }
  call.alphaValue = reader.Number();
  call.weights = {reader.Number(), reader.Number(), reader.Number()};
  if (AllMethods()[call.method].Has("Red()")) {
    call.palette.resize(isLong ? std::size_t{reader.Byte()} + reader.Byte() % 4 * 16U : 3);
  }
  for (std::size_t i = 0; i < call.palette.size(); ++i) {
    call.palette[i] = call.weights[i % 3] + static_cast<std::int32_t>(i % 7);
  }
  return call;
}

std::ostream& operator<<(std::ostream& stream, const PictureSpec& picture) {
  constexpr const char* kFormats[] = {"bitmap", "32 bits", "24 bits", "16 bits"};
  return stream << picture.size.width << "x" << picture.size.height << " "
                << kFormats[static_cast<int>(picture.format)];
}

std::ostream& operator<<(std::ostream& stream, const CallSpec& call) {
  const Method& method = AllMethods()[call.method];
  stream << method.name << " (" << method.layout << ") picture " << call.picture
         << (call.isMasked ? " with a mask" : "") << ", mask " << call.alpha;
  if (call.dest) {
    stream << ", dest " << *call.dest << " of kind " << call.destType;
  }
  return stream << ", offset " << call.offset << ", pixel bytes " << call.pixelBytes << ", flag " << call.flag
                << ", alpha " << call.alphaValue << ", lines " << call.startLine << " to " << call.endLine
                << ", yield " << call.yield << ", stride " << call.destRowBytes << ", weights "
                << call.weights[0] << " " << call.weights[1] << " " << call.weights[2] << ", palette of "
                << call.palette.size() << ", bad argument " << static_cast<int>(call.bad);
}

}  // namespace

Scenario Decode(std::span<const std::uint8_t> bytes) {
  Reader reader(bytes);
  Scenario scenario{};
  const std::uint8_t host = reader.Byte();
  scenario.options.kind =
      std::to_array({Kind::kDesktop, Kind::kConsole, Kind::kWeb, Kind::kUnknown})[host % 4];
  const bool isDesktop = scenario.options.kind == Kind::kDesktop;
  scenario.options.pixelType = !isDesktop ? 8 : (host & 4) != 0 ? 12 : 13;
  scenario.options.version = reader.Pick(kVersions);
  scenario.options.recorded = false;
  scenario.ticksPerReading = (host & 8) != 0 ? 1 : 0;
  const std::uint8_t troubles = reader.Byte();
  for (int i = 0; i < (troubles >> 6); ++i) {
    scenario.options.without.insert(reader.Pick(kMissable));
  }
  if ((troubles & 32) != 0) {
    scenario.fault.kind = (troubles & 16) != 0 ? FaultKind::kThrows : FaultKind::kFails;
    scenario.fault.lasts = (troubles & 8) != 0;
    scenario.fault.number = reader.Byte();
  }
  constexpr int kCalls[] = {1, 1, 2, 4};
  for (int i = 0; i < kCalls[troubles % 4]; ++i) {
    scenario.calls.push_back(DecodeCall(reader));
  }
  return scenario;
}

std::ostream& operator<<(std::ostream& stream, const Scenario& scenario) {
  constexpr const char* kKinds[] = {"desktop", "console", "web", "unknown"};
  stream << kKinds[static_cast<int>(scenario.options.kind)] << " host " << scenario.options.version
         << ", pictures of type " << scenario.options.pixelType;
  for (const std::string& name : scenario.options.without) {
    stream << ", without " << name;
  }
  if (scenario.fault.kind != FaultKind::kNone) {
    stream << ", call " << scenario.fault.number << (scenario.fault.lasts ? " and all that follow" : "")
           << (scenario.fault.kind == FaultKind::kThrows ? " throw" : " fail");
  }
  for (const CallSpec& call : scenario.calls) {
    stream << "\n  " << call;
  }
  return stream;
}

}  // namespace tests
