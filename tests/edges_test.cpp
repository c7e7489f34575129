// Arguments at the edges of what integers hold and of what methods take, two at a time, and the largest
// pictures.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "aliased_memory.h"
#include "crash_note.h"
#include "figures.h"
#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMostPixels = 32767;  // that a new picture is wide or high
constexpr std::int32_t kSize = 2;            // of the pictures that are copied, and usually of buffers

struct Parameter {
  const char* name;
  std::int32_t limit;
};

std::vector<Parameter> ParametersOf(const Method& method) {
  const auto packed = kSize * static_cast<std::int32_t>(method.layout.size());
  std::vector<Parameter> parameters;
  for (const Parameter& parameter : {Parameter{"offset", 4096},
                                     {"width", kMostPixels},
                                     {"height", kMostPixels},
                                     {"StartLine", kSize},
                                     {"EndLine", kSize},
                                     {"Yield", 500},
                                     {"DestRowBytes", packed},
                                     {"AlphaValue", 255},
                                     {"PixelByteSize", 4},
                                     {"Red", 32767},
                                     {"Blue", 256},
                                     {"Green", 8421505}}) {
    if (method.Has(parameter.name)) {
      parameters.push_back(parameter);
    }
  }
  return parameters;
}

std::vector<std::int32_t> EdgesOf(const Parameter& parameter) {
  return {kLowest, -1, 0, 1, parameter.limit - 1, parameter.limit, parameter.limit + 1, kHighest};
}

/// A call with two arguments at an edge.
struct EdgePoint {
  const char* host = "";
  const Method* method = nullptr;
  Parameter first = {}, second = {};
  std::int32_t firstValue = 0, secondValue = 0;
  std::uint64_t number = 0;

  std::string Text() const {
    return std::string(host) + ", " + method->Declaration() + ": " + first.name + " " +
           std::to_string(firstValue) + ", " + second.name + " " + std::to_string(secondValue) +
           "; repeat with: " + Repeat(std::to_string(number), "EdgeArguments.AreTakenTwoByTwo");
  }
};

/// Calls `check` with `point` at each pair of edges of each pair of the method's parameters.
template <typename Function>
void ForEachPair(const Method& method, EdgePoint& point, Function check) {
  const auto parameters = ParametersOf(method);
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    for (std::size_t j = i + 1; j < parameters.size(); ++j) {
      point.first = parameters[i];
      point.second = parameters[j];
      for (const std::int32_t first : EdgesOf(point.first)) {
        for (const std::int32_t second : EdgesOf(point.second)) {
          point.firstValue = first;
          point.secondValue = second;
          ++point.number;
          check();
        }
      }
    }
  }
}

/// One method on one host, called with edges.
class Edges {
 public:
  Edges(const HostCase& hostCase, const Method& method, AliasedMemory& memory, std::int64_t before,
        std::int64_t behind)
      : method_(method), memory_(memory), before_(before), behind_(behind), host_(hostCase.Options()) {
    picture_ = host_.NewPicture(kSize, kSize, hostCase.readFrom);
    mask_ = host_.NewPicture(kSize, kSize);
    dest_ = host_.NewPicture(kSize + 1, kSize + 1);
    block_ = host_.NewMemoryBlock(0);
    block_->elsewhere = memory.base();
    array_ = host_.NewIntegerArray({1, 2, 300});
    FillWithNoise(*picture_, 1);
    FillWithNoise(*mask_, 2);
  }

  /// Says what is wrong with the call; empty: nothing.
  std::string Check(const EdgePoint& point) {
    arguments_ = ArgumentsFor(
        method_, {picture_.get(), mask_.get(), dest_.get(), block_.get(), array_.get(), kSize, kSize});
    if (method_.ReadsPtr()) {
      arguments_["source"] = devhost::Ptr{memory_.base()};
    }
    arguments_[point.first.name] = point.firstValue;
    arguments_[point.second.name] = point.secondValue;
    const devhost::Balance before = host_.CurrentBalance();
    const std::string text = method_.result == "boolean" ? CheckCopy() : CheckPicture();
    host_.trace.clear();
    host_.lookups.clear();
    if (!text.empty()) {
      return text;
    }
    devhost::Balance after = host_.CurrentBalance();
    after.strayUnlocks = before.strayUnlocks;
    return before == after && host_.complaints.empty() ? "" : "something was lost";
  }

  int calls = 0, skipped = 0;

 private:
  std::int32_t Integer(const char* name) const { return std::get<std::int32_t>(arguments_.at(name)); }

  /// What is raised, or "false" for a call that only gives that; empty if the arguments are in order.
  std::string Expected() const {
    if (method_.result == "boolean") {
      return Integer("EndLine") < -1 || Integer("StartLine") < 0 || Integer("DestRowBytes") < 0 ? "false"
             : Integer("offset") < 0 ? "offset is too small. Must be >=0."
                                     : "";
    }
    return Integer("width") < 1    ? "width is too small. Must be >0."
           : Integer("height") < 1 ? "height is too small. Must be >0."
           : Integer("offset") < 0 ? "offset is too small. Must be >=0."
                                   : "";
  }

  static std::string Actual(const devhost::CallResult& result) {
    return result.exception                   ? result.exception->message.value_or("(null)")
           : result.boolean || result.picture ? ""
                                              : "false";
  }

  bool Reaches(std::int64_t lowest, std::int64_t end) const { return lowest >= -before_ && end <= behind_; }

  std::string CheckCopy() {
    const bool isMasked = method_.Has("MaskForAlpha");
    std::string layout = method_.layout;
    if (method_.Has("LittleEndian")) {
      const std::int32_t alpha = Integer("AlphaValue");
      layout = alpha < 0 || alpha > 255 ? "BGRX" : "BGRA";
    }
    const auto length = static_cast<std::int64_t>(layout.size());
    const oracle::Copy copy{.layout = layout,
                            .width = kSize,
                            .lines = oracle::LinesOf(Integer("StartLine"), Integer("EndLine"), kSize),
                            .offset = Integer("offset"),
                            .pixelBytes = method_.Has("PixelByteSize") ? Integer("PixelByteSize") : length,
                            .destRowBytes = Integer("DestRowBytes")};
    std::string expected = Expected();
    const oracle::Lines lines = copy.lines;
    std::vector<std::pair<std::int64_t, std::uint8_t>> written;
    for (std::int64_t y = lines.first; expected.empty() && y <= lines.last; ++y) {
      for (std::int32_t x = 0; x < kSize; ++x) {
        const std::int64_t position = copy.Position(x, y - lines.first);
        if (position < 0) {
          continue;
        }
        if (!Reaches(position, position + length)) {
          ++skipped;
          return "";
        }
        for (std::int64_t i = 0; i < length; ++i) {
          const char channel = layout[static_cast<std::size_t>(i)];
          if (channel != 'X') {
            const auto row = static_cast<std::int32_t>(y);
            const oracle::Colour mask = isMasked ? ColourAt(*mask_, x, row) : oracle::Colour{};
            written.emplace_back(position + i,
                                 oracle::ByteFor(channel, ColourAt(*picture_, x, row),
                                                 static_cast<std::uint8_t>(Integer("AlphaValue")), mask, 0));
          }
        }
      }
    }
    return CompareCopy(expected, written);
  }

  std::string CompareCopy(const std::string& expected,
                          const std::vector<std::pair<std::int64_t, std::uint8_t>>& written) {
    const Bytes before(memory_.bytes(), memory_.bytes() + memory_.size());
    Bytes after = before;
    for (const auto& [position, byte] : written) {
      after[memory_.Place(position)] = byte;
    }
    ++calls;
    const std::string actual = Actual(Call(host_, method_, arguments_));
    const bool isSame = std::memcmp(after.data(), memory_.bytes(), after.size()) == 0;
    std::ranges::copy(before, memory_.bytes());
    return actual != expected ? "gives '" + actual + "' instead of '" + expected + "'"
           : isSame           ? ""
                              : "wrong bytes in the block";
  }

  std::string CheckPicture() {
    constexpr std::int64_t kMostChecked = 1 << 18;  // pixels: larger pictures have a test of their own
    const std::int64_t width = Integer("width");
    const std::int64_t height = Integer("height");
    std::string expected = Expected();
    const bool isMade = expected.empty() && width <= kMostPixels && height <= kMostPixels;
    oracle::Buffer buffer{.layout = method_.Has("LittleEndian") ? "BGRA" : method_.layout,
                          .width = width,
                          .height = height,
                          .offset = Integer("offset")};
    buffer.pixelBytes = method_.Has("PixelByteSize") ? Integer("PixelByteSize")
                                                     : static_cast<std::int64_t>(buffer.layout.size());
    buffer.flip = method_.Has("FlipVertically");
    if (method_.Has("Red")) {
      buffer.weights = {Integer("Red"), Integer("Blue"), Integer("Green")};
    }
    if (method_.Has("Red()")) {
      buffer.palettes = oracle::Palettes{std::vector{1, 2, 300}, std::nullopt, std::vector{1, 2, 300}};
    }
    if (isMade) {
      const auto [low, high] =
          std::minmax({buffer.Position(0, 0), buffer.Position(width - 1, 0), buffer.Position(0, height - 1),
                       buffer.Position(width - 1, height - 1)});
      if (!Reaches(low, high + 4) || width * height > kMostChecked) {
        ++skipped;
        return "";
      }
    }
    expected = expected.empty() && !isMade ? "false" : expected;
    ++calls;
    const auto result = Call(host_, method_, arguments_);
    if (Actual(result) != expected) {
      return "gives '" + Actual(result) + "' instead of '" + expected + "'";
    }
    return isMade ? ComparePicture(*result.picture, buffer) : "";
  }

  std::string ComparePicture(REALpictureStruct& picture, const oracle::Buffer& buffer) const {
    if (&picture != dest_.get() && (picture.width != buffer.width || picture.height != buffer.height)) {
      return "a picture of the wrong size";
    }
    if (!picture.SurroundingsIntact()) {
      return "bytes around the picture were written";
    }
    for (std::int32_t y = 0; y < buffer.height; ++y) {
      for (std::int32_t x = 0; x < buffer.width; ++x) {
        const oracle::Colour colour = buffer.At(memory_.base(), x, y);
        const devhost::Pixel pixel = picture.At(x, y);
        if (pixel.red != colour.red || pixel.green != colour.green || pixel.blue != colour.blue) {
          return "a wrong pixel at " + std::to_string(x) + ", " + std::to_string(y);
        }
      }
    }
    return "";
  }

  const Method method_;
  AliasedMemory& memory_;
  const std::int64_t before_, behind_;
  LoadedHost host_;
  devhost::Ref<REALpictureStruct> picture_, mask_, dest_;
  devhost::Ref<REALmemoryBlockStruct> block_;
  devhost::Ref<_REALarrayInteger> array_;
  Arguments arguments_;
};

TEST(EdgeArguments, AreTakenTwoByTwo) {
  // As far as offsets, rows and pixels reach with the highest integers, where there are such addresses.
#if defined(RASTEL_EMULATED)
  constexpr bool kHasSpace = false;
#else
  constexpr bool kHasSpace = sizeof(void*) == 8;
#endif
  const std::int64_t before = kHasSpace ? std::int64_t{4} << 31 : 1 << 20;
  const std::int64_t behind = kHasSpace ? std::int64_t{5} << 31 : 1 << 20;
  AliasedMemory memory(static_cast<std::uint64_t>(before), static_cast<std::uint64_t>(behind));
  std::generate_n(memory.bytes(), memory.size(), [i = std::uint64_t{0}]() mutable { return Noise(i++); });
  const auto step = std::max<std::uint64_t>(1, std::llround(32 / Soak()));
  const std::string wanted = WantedPoint();
  int calls = 0;
  int skipped = 0;
  int failures = 0;
  EdgePoint point;
  const CrashNote note([&] { return point.Text(); });
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kDesktop16, kConsole}) {
    point.host = hostCase.name;
    for (const Method& method : AllMethods()) {
      point.method = &method;
      Edges edges(hostCase, method, memory, before, behind);
      ForEachPair(method, point, [&] {
        if (wanted.empty() ? Mix(Seed(), point.number) % step != 0 : std::to_string(point.number) != wanted) {
          return;
        }
        const std::string text = edges.Check(point);
        if (!text.empty() && ++failures <= 20) {
          ADD_FAILURE() << text << ": " << point.Text();
        }
      });
      calls += edges.calls;
      skipped += edges.skipped;
    }
  }
  Figure("argument_edges")
      .Add("calls", calls)
      .Add("failures", failures)
      .Add("skipped", skipped)
      .Add("one_of", step);
}

constexpr std::uint8_t kColour = 0xC3;  // of every channel of the largest pictures

std::uint8_t* PageOf(std::uint8_t* address) {
  return address -
         reinterpret_cast<std::uintptr_t>(address) % static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
}

/// The largest picture that there is, all of it but its first and last page on the same few pages.
devhost::Ref<REALpictureStruct> MakeLargestPicture(devhost::Host& host, const AliasedMemory& memory,
                                                   std::int32_t height) {
  auto picture = host.NewPicture(kMostPixels, height);
  std::uint8_t* const ends[] = {picture->Row(0), picture->Row(height - 1), picture->Row(1)};
  const auto [lowest, highest] = std::ranges::minmax(ends);
  memory.MapOver(PageOf(lowest) + sysconf(_SC_PAGESIZE), PageOf(highest + picture->RowLength() - 1));
  return picture;
}

/// True if all pages that the picture lies on hold the colour, and `fourth` where pixels have four bytes.
bool IsFilled(REALpictureStruct& picture, const AliasedMemory& memory, std::uint8_t fourth) {
  const devhost::Pixel pixel{kColour, kColour, kColour, fourth};
  const std::uint8_t* bytes = memory.bytes();
  bool isFilled = true;
  for (std::size_t i = 0; i < memory.size(); ++i) {
    const bool isFourth = (picture.format == devhost::PixelFormat::kWorld32 && i % 4 == 0) ||
                          (picture.format == devhost::PixelFormat::kBitmap && i % 4 == 3);
    isFilled = isFilled && bytes[i] == (isFourth ? fourth : kColour);
  }
  for (const std::int32_t x : {0, kMostPixels - 1}) {
    for (const std::int32_t y : {0, 1, picture.height - 1}) {
      isFilled = isFilled && picture.At(x, y) == pixel;
    }
  }
  return isFilled;
}

TEST(LargestPictures, AreFilledAndCopied) {
  if (sizeof(void*) == 4) {
    return;  // there are no such addresses
  }
  // Faulting in a million pages takes a minute on some machines.
  const bool isLong = Soak() >= 8;
  const std::int32_t height = isLong ? kMostPixels : 500;
  int pictures = 0;
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kConsole}) {
    if (!isLong && hostCase.name != std::string_view(kDesktop.name)) {
      continue;
    }
    LoadedHost host(hostCase.Options());
    // The block ends right before a page without access.
    const std::int64_t byteCount = std::int64_t{kMostPixels} * height * 3;
    const auto page = sysconf(_SC_PAGESIZE);
    AliasedMemory buffer(0, byteCount + 2 * page);
    const auto block = host.NewMemoryBlock(0);
    block->elsewhere = buffer.base() + (page - byteCount % page) % page;
    mprotect(block->elsewhere + byteCount, static_cast<std::size_t>(page), PROT_NONE);
    AliasedMemory memory(0, 1);
    const auto picture = MakeLargestPicture(host, memory, height);
    std::fill_n(buffer.bytes(), buffer.size(), kColour);
    host.spare = picture.get();

    const std::int32_t zero = 0;
    const auto made = host.Call("MemoryblockRGBtoPictureKVZ", {block.get(), zero, kMostPixels, height});
    EXPECT_EQ(picture.get(), made.picture.get());
    EXPECT_TRUE(IsFilled(*picture, memory, hostCase.pixelType == 13 ? 255 : 0)) << hostCase.name;

    std::fill_n(block->elsewhere + byteCount - buffer.size(), buffer.size(), 0);
    EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), zero}).boolean);
    const std::uint8_t* end = block->elsewhere + byteCount;
    EXPECT_TRUE(std::all_of(end - buffer.size(), end, [](std::uint8_t byte) { return byte == kColour; }));
    pictures += 2;
    host.spare = nullptr;
  }
  Figure("largest_pictures")
      .Add("calls", pictures)
      .Add("width", kMostPixels)
      .Add("height", height)
      .Add("failures", HasFailure() ? 1 : 0);
}

}  // namespace
}  // namespace tests
