// Calls that make a picture of a buffer.
#include <algorithm>
#include <array>

#include "fuzz/call_run.h"

namespace tests {
namespace {

using devhost::PixelFormat;
using devhost::Ref;
using devhost::Value;

class MakingRun final : public CallRun {
 public:
  using CallRun::CallRun;

 private:
  void Prepare() override {
    const bool isLittleEndian = method_.Has("LittleEndian") && spec_.flag;
    const Size size = spec_.picture.size;
    buffer_.layout = isLittleEndian ? "BGRA" : method_.layout;
    buffer_.width = size.width;
    buffer_.height = size.height;
    buffer_.offset = spec_.offset;
    buffer_.pixelBytes = HasStep() ? Step() : static_cast<std::int64_t>(buffer_.layout.size());
    buffer_.flip = method_.Has("FlipVertically") && spec_.flag;
    if (buffer_.pixelBytes < 0) {
      buffer_.offset += std::max<std::int64_t>(0, buffer_.width * buffer_.height - 1) * -buffer_.pixelBytes;
    }
    if (method_.Has("Red")) {
      buffer_.weights = spec_.weights;
    }
    if (method_.Has("Red()")) {
      const std::vector<std::int32_t> half(spec_.palette.begin(),
                                           spec_.palette.begin() + std::ssize(spec_.palette) / 2);
      buffer_.palettes = {spec_.palette, spec_.isMasked ? oracle::Palette() : spec_.palette, half};
    }
    MakeBlock(buffer_.BlockSize());
    if (method_.Has("dest") && spec_.dest) {
      dest_ = MakePicture(*spec_.dest, 99);
      dest_->pictureType = spec_.destType;
      destBefore_ = BytesOf(*dest_);
    }
  }

  /// The step of a buffer's pixels; far steps would need a buffer as large.
  std::int32_t Step() const { return spec_.pixelBytes % 8; }

  /// True if the picture passed as dest is to be filled.
  bool IsDestUsed() const {
    const bool isWritable = spec_.destType == 2 || spec_.destType == 4;
    return dest_ && isWritable && dest_->width >= buffer_.width && dest_->height >= buffer_.height &&
           (IsDesktop() ? IsWorld(*spec_.dest) : spec_.dest->format == PixelFormat::kBitmap);
  }

  /// `bytes` of a picture after the buffer was written into its top-left corner.
  Bytes Written(const REALpictureStruct& picture, Bytes bytes) const {
    oracle::Write(buffer_, blockBefore_.data(), PixelTypeOf(picture.format), picture.width, bytes);
    return bytes;
  }

  Value Argument(const std::string& name) override {
    constexpr const char* kArrays[] = {"Red()", "Blue()", "Green()"};
    if (const auto* const array = std::ranges::find(kArrays, name); array != std::end(kArrays)) {
      return Array(static_cast<std::size_t>(array - kArrays));
    }
    if (name == "source" && method_.ReadsPtr()) {
      return IsBad(Bad::kNilBlock) ? Value(nullptr) : Value(devhost::Ptr{block_->bytes()});
    }
    if (name == "source") {
      return OrNil(block_.get(), Bad::kNilBlock);
    }
    if (name == "dest") {
      return dest_ ? Value(dest_.get()) : Value(nullptr);
    }
    const bool isFlag = name == "FlipVertically" || name == "LittleEndian";
    return isFlag ? Value(spec_.flag) : Value(Integer(name));
  }

  Value Array(std::size_t channel) {
    if (!(*buffer_.palettes)[channel]) {
      return nullptr;
    }
    std::vector<std::int32_t> elements = *(*buffer_.palettes)[channel];
    // Where a host does not tell the highest index it counts as 0.
    if (elements.empty() && MayLackUpperBounds()) {
      elements.push_back(0);
    }
    arrays_[channel] = host_.NewIntegerArray(elements);
    return arrays_[channel].get();
  }

  bool MayLackUpperBounds() const {
    return host_.options().without.contains("RuntimeUBound") || fault_.Kind() == FaultKind::kFails;
  }

  std::int32_t Integer(const std::string& name) const {
    const std::pair<std::string_view, std::int32_t> integers[] = {
        {"offset", Or(buffer_.offset, Bad::kOffset, -1)},
        {"width", Or(buffer_.width, Bad::kWidth, 0)},
        {"height", Or(buffer_.height, Bad::kHeight, -1)},
        {"PixelByteSize", Step()},
        {"Red", spec_.weights[0]},
        {"Blue", spec_.weights[1]},
        {"Green", spec_.weights[2]}};
    return std::ranges::find(integers, name, &std::pair<std::string_view, std::int32_t>::first)->second;
  }

  bool IsSilentlyRefused() const override { return false; }
  bool ArePicturesUsable() const override { return true; }
  int StraysDue() const override { return 0; }
  std::vector<REALpictureStruct*> Pictures() const override { return {dest_.get()}; }
  REALpictureStruct* Locked() const override { return dest_.get(); }
  std::uint8_t* ChangedByte(REALpictureStruct* made) const override {
    return made == nullptr || made->height < 1 || made->width < 1 ? nullptr : made->Row(0);
  }

  const char* ExpectedException() const override {
    if (IsBad(Bad::kNilBlock)) {
      return "NilObjectException";
    }
    const bool isTooSmall =
        IsBad(Bad::kWidth) || IsBad(Bad::kHeight) || buffer_.width < 1 || buffer_.height < 1;
    return isTooSmall || IsBad(Bad::kOffset) ? "UnsupportedOperationException" : nullptr;
  }

  void Check(const Outcome& outcome) const override {
    RequireSame(blockBefore_, BytesOf(*block_), "the buffer");
    REALpictureStruct* made = outcome.result.picture.get();
    Require(!outcome.isExact || (made != nullptr) == IsInOrder(),
            made == nullptr ? "no picture" : "a picture");
    const bool isDest = made != nullptr && made == dest_.get();
    if (made != nullptr && !isDest) {
      Require(made->width == buffer_.width && made->height == buffer_.height, "a picture of a wrong size");
    }
    if (made != nullptr && outcome.isExact) {
      CheckMade(*made, isDest);
    }
    if (dest_ && !(isDest && outcome.isExact)) {
      CheckOtherDest(isDest, outcome);
    }
  }

  void CheckMade(REALpictureStruct& made, bool isDest) const {
    Require(isDest == IsDestUsed(), isDest ? "dest was used" : "dest was not used");
    if (!isDest) {
      Require(made.references == 1, "the new picture has too many references");
      Require(PixelTypeOf(made.format) == host_.options().pixelType, "a picture of a wrong type");
    }
    RequireSame(Written(made, isDest ? destBefore_ : BytesOf(made)), BytesOf(made), "the picture");
  }

  /// A dest that is not the result of a call in which nothing went wrong.
  void CheckOtherDest(bool isDest, const Outcome& outcome) const {
    const Bytes now = BytesOf(*dest_);
    const bool isLargeEnough = dest_->width >= buffer_.width && dest_->height >= buffer_.height;
    if (!isDest && outcome.isExact) {
      RequireSame(destBefore_, now, "dest, though not used,");
    } else if (PixelTypeOf(dest_->format) != 0 && isLargeEnough) {
      CheckDoubtful(now);
    } else {
      RequireSame(destBefore_, now, "dest, though too small or of no use,");
    }
  }

  /// A dest in which something went wrong: bytes may be as before or as expected.
  void CheckDoubtful(const Bytes& now) const {
    const Bytes written = Written(*dest_, destBefore_);
    const bool anyValue = method_.Has("Red()") || Misses("GetPixRowBytes");
    const Bytes onZeros = Written(*dest_, Bytes(now.size(), 0));
    const Bytes onOnes = Written(*dest_, Bytes(now.size(), 255));
    for (std::size_t i = 0; i < now.size(); ++i) {
      const bool isInside = onZeros[i] == onOnes[i];
      Require(now[i] == destBefore_[i] || (isInside && (anyValue || now[i] == written[i])),
              "a byte of dest is of no buffer");
    }
  }

  Ref<REALpictureStruct> dest_;
  std::array<Ref<_REALarrayInteger>, 3> arrays_;
  Bytes destBefore_;
  oracle::Buffer buffer_{};
};

}  // namespace

std::unique_ptr<CallRun> MakeMakingRun(devhost::Host& host, const CallSpec& spec, const FaultyHost& fault) {
  return std::make_unique<MakingRun>(host, spec, fault);
}

}  // namespace tests
