// Calls that copy a picture's pixels into a memory block.
#include <algorithm>

#include "fuzz/call_run.h"

namespace tests {
namespace {

using devhost::PixelFormat;
using devhost::Ref;
using devhost::Value;

class CopyRun final : public CallRun {
 public:
  using CallRun::CallRun;

 private:
  bool HasAlphaMask() const { return method_.Has("MaskForAlpha"); }
  std::string CopiedLayout() const {
    if (!method_.Has("LittleEndian")) {
      return method_.layout;
    }
    const bool keepsAlpha = spec_.alphaValue < 0 || spec_.alphaValue > 255;
    return spec_.flag ? (keepsAlpha ? "BGRX" : "BGRA") : (keepsAlpha ? "XRGB" : "ARGB");
  }

  void Prepare() override {
    picture_ = MakePicture(spec_.picture, 5);
    if (spec_.isMasked) {
      picture_->SetMask(MakePicture({spec_.picture.size, PixelFormat::kBitmap}, 6).get());
    }
    alpha_ = MakePicture(spec_.alpha, 77777);
    pictureBefore_ = BytesOf(*picture_);
    const Size sized = HasAlphaMask() ? spec_.alpha.size : spec_.picture.size;
    copy_.layout = CopiedLayout();
    copy_.width = sized.width;
    copy_.lines =
        oracle::LinesOf(spec_.startLine, spec_.endLine, spec_.picture.size.height < 1 ? 0 : sized.height);
    copy_.offset = spec_.offset;
    copy_.pixelBytes = HasStep() ? spec_.pixelBytes : static_cast<std::int64_t>(copy_.layout.size());
    copy_.destRowBytes = spec_.destRowBytes;
    copy_.alpha = static_cast<std::uint8_t>(spec_.alphaValue);
    MakeBlock(copy_.BlockSize());
  }

  Value Argument(const std::string& name) override {
    if (name == "self") {
      return OrNil(picture_.get(), Bad::kNilPicture);
    }
    if (name == "destination") {
      return OrNil(block_.get(), Bad::kNilBlock);
    }
    if (name == "MaskForAlpha") {
      return OrNil(alpha_.get(), Bad::kNilMask);
    }
    return name == "LittleEndian" ? Value(spec_.flag) : Value(Integer(name));
  }

  std::int32_t Integer(const std::string& name) const {
    const std::pair<std::string_view, std::int32_t> integers[] = {
        {"offset", Or(spec_.offset, Bad::kOffset, -1)},
        {"PixelByteSize", spec_.pixelBytes},
        {"AlphaValue", spec_.alphaValue},
        {"StartLine", Or(spec_.startLine, Bad::kStartLine, -1)},
        {"EndLine", Or(spec_.endLine, Bad::kEndLine, -2)},
        {"Yield", spec_.yield},
        {"DestRowBytes", Or(spec_.destRowBytes, Bad::kStride, -1)}};
    return std::ranges::find(integers, name, &std::pair<std::string_view, std::int32_t>::first)->second;
  }

  bool IsSilentlyRefused() const override {
    return IsBad(Bad::kStartLine) || IsBad(Bad::kEndLine) || IsBad(Bad::kStride);
  }

  const char* ExpectedException() const override {
    const bool isNil =
        IsBad(Bad::kNilPicture) || IsBad(Bad::kNilBlock) || (IsBad(Bad::kNilMask) && HasAlphaMask());
    return isNil ? "NilObjectException" : IsBad(Bad::kOffset) ? "UnsupportedOperationException" : nullptr;
  }

  /// True if the host's pictures of that format can be read, be it through a copy, which has to have pixels.
  bool IsReadable(const PictureSpec& picture) const {
    if (!IsDesktop()) {
      return picture.format == PixelFormat::kBitmap;
    }
    return IsWorld(picture) || (picture.size.width > 0 && picture.size.height > 0);
  }

  bool ArePicturesUsable() const override {
    return IsReadable(spec_.picture) && (!HasAlphaMask() || IsReadable(spec_.alpha));
  }

  /// Each copy of a world of an unsupported depth leads to one.
  int StraysDue() const override {
    if (!IsDesktop() || !IsInOrder()) {
      return 0;
    }
    const auto isCopied = [](const PictureSpec& picture) { return picture.format == PixelFormat::kWorld16; };
    return int{isCopied(spec_.picture)} + int{HasAlphaMask() && isCopied(spec_.alpha)};
  }

  std::vector<REALpictureStruct*> Pictures() const override { return {picture_.get(), alpha_.get()}; }
  REALpictureStruct* Locked() const override { return picture_.get(); }
  std::uint8_t* ChangedByte(REALpictureStruct*) const override { return block_->bytes(); }

  Bytes Copied(Bytes block, bool hasColours, bool hasAlpha) const {
    const oracle::Image picture = hasColours ? ImageOf(*picture_) : oracle::Image();
    const oracle::Image mask = hasAlpha && HasAlphaMask() ? ImageOf(*alpha_) : oracle::Image();
    oracle::Write(copy_, picture, mask, [&](std::int64_t position) -> std::uint8_t& {
      return block[static_cast<std::size_t>(position)];
    });
    return block;
  }

  void Check(const Outcome& outcome) const override {
    const Bytes block = BytesOf(*block_);
    const bool copied = outcome.result.boolean;
    Require(pictureBefore_ == BytesOf(*picture_), "the picture was changed");
    if (outcome.isExact) {
      Require(copied == IsInOrder(), copied ? "true instead of false" : "false instead of true");
    }
    if (!copied && !outcome.threw) {
      RequireSame(blockBefore_, block, "the block, though nothing was copied,");
      return;
    }
    const Bytes expected = Copied(blockBefore_, true, true);
    if (outcome.isExact) {
      RequireSame(expected, block, "the block");
    } else {
      CheckDoubtful(expected, block);
    }
  }

  /// A copy in which something went wrong: bytes may be as before, as expected, or of a picture that stayed
  /// black.
  void CheckDoubtful(const Bytes& expected, const Bytes& block) const {
    const Bytes onZeros = Copied(Bytes(block.size(), 0), true, true);
    const Bytes onOnes = Copied(Bytes(block.size(), 255), true, true);
    const Bytes variants[] = {blockBefore_, expected, Copied(blockBefore_, false, true),
                              Copied(blockBefore_, true, false), Copied(blockBefore_, false, false)};
    const bool anyValue = spec_.isMasked || HasStep() || Misses("GetPixRowBytes");
    for (std::size_t i = 0; i < block.size(); ++i) {
      if (onZeros[i] != onOnes[i]) {
        Require(block[i] == blockBefore_[i], "a byte beside the pixels was written");
        continue;
      }
      const bool isKnown =
          std::ranges::any_of(variants, [&](const Bytes& variant) { return variant[i] == block[i]; });
      Require(anyValue || isKnown, "a byte of the block is of no picture");
    }
  }

  Ref<REALpictureStruct> picture_, alpha_;
  Bytes pictureBefore_;
  oracle::Copy copy_{};
};

}  // namespace

std::unique_ptr<CallRun> MakeCopyRun(devhost::Host& host, const CallSpec& spec, const FaultyHost& fault) {
  return std::make_unique<CopyRun>(host, spec, fault);
}

}  // namespace tests
