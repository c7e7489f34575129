// What has to come of a call, and what else may come of it where something is missing or fails.
#include <algorithm>

#include "call.h"

namespace tests {
namespace {

using devhost::PixelFormat;

/// What changes no result where it is missing.
constexpr std::string_view kHarmless[] = {"SetGWorld",
                                          "REALPictureClearCache",
                                          "REALYieldToRB",
                                          "memoryBlockGetSize",
                                          "PluginPictureGetType",
                                          "pluginObjectType",
                                          "REALUnlockString",
                                          "REALUnlockObject",
                                          "UnlockPixels",
                                          "unlockPictureDescription"};

bool IsHarmless(std::string_view name) {
  return std::ranges::find(kHarmless, name) != std::end(kHarmless);
}

bool IsWorld(PixelFormat format) {
  return format == PixelFormat::kWorld32 || format == PixelFormat::kWorld24;
}

}  // namespace

/// Learns what the host lacked or failed in, in this call or before it.
void Call::LearnTroubles() {
  missing_ = host_.options().without;
  missing_.insert(host_.hidden.begin(), host_.hidden.end());
  lost_ = missing_;
  if (faults_ != nullptr) {
    lost_.insert(faults_->hit.begin(), faults_->hit.end());
  }
}

bool Call::LostAny(std::initializer_list<const char*> names) const {
  return std::ranges::any_of(names, [this](const char* name) { return lost_.contains(name); });
}

/// True if not all is known of what has to come of the call.
bool Call::IsInDoubt() const {
  return !lost_.empty() || !ArePicturesUsable();
}

/// True if the host reads pictures of that kind through a copy.
bool Call::IsCopied(const PictureSpec& read) const {
  return host_.options().kind == devhost::Kind::kDesktop && !IsWorld(read.format);
}

/// True if the plug-in can do with such a picture whatever the host offers. A copy has to have pixels.
bool Call::IsReadable(const PictureSpec& read) const {
  if (host_.options().kind != devhost::Kind::kDesktop) {
    return read.format == PixelFormat::kBitmap;
  }
  return !IsCopied(read) || (read.size.width > 0 && read.size.height > 0);
}

bool Call::ArePicturesUsable() const {
  const bool isMaskUsable = !method_.Has("MaskForAlpha") || IsReadable(spec_.mask);
  return !method_.copies || (IsReadable(spec_.picture) && isMaskUsable);
}

bool Call::IsDestLargeEnough() const {
  return dest->width >= buffer_.width && dest->height >= buffer_.height;
}

/// True if the picture passed as dest is to be filled, or may be where the host does not tell what it is.
bool Call::IsDestUsed() const {
  if (!dest || !IsDestLargeEnough()) {
    return false;
  }
  const bool isWritable =
      (spec_.kind != 0 && spec_.kind != 1 && spec_.kind != 3) || missing_.contains("PluginPictureGetType");
  const bool isBitmap = dest->format == PixelFormat::kBitmap;
  if (LostAny({"pluginObjectType"})) {
    return isWritable && (isBitmap || IsWorld(dest->format));
  }
  const bool isDesktop = host_.options().kind == devhost::Kind::kDesktop;
  return isWritable && (isDesktop ? IsWorld(dest->format) : isBitmap);
}

/// True if all rows of pictures may be taken for the first one.
bool Call::MayHaveOneRow() const {
  return LostAny({"GetPixRowBytes", "CFBundleGetFunctionPointerForName"});
}

/// True if pixels may hold anything: a picture with a mask is drawn with it, or elements of palettes are
/// missing.
bool Call::MayHoldAnything() const {
  return method_.copies
             ? spec_.isMasked && LostAny({"REALGetPictureMask", "REALLoadObjectMethod"})
             : MayHaveOneRow() ||
                   (method_.HasPalettes() && LostAny({"RuntimeUBound", "PluginIntegerArrayGetProc",
                                                      "RuntimeArrayDirectGetGetProc", "IntegerArrayGetter"}));
}

/// True if a copy that pictures are read through may have stayed black.
bool Call::MayBeBlack() const {
  const auto draws = [](const std::string& name) { return name.starts_with("DrawPicture"); };
  return LostAny({"pluginPictureGraphicsGetter", "REALLoadObjectMethod", "REALLockPictureDescription"}) ||
         std::ranges::any_of(lost_, draws) || !ArePicturesUsable();
}

bool Call::HasReasonToFail() const {
  const bool hasFailed = lost_.size() > missing_.size();
  return hasFailed || !std::ranges::all_of(missing_, IsHarmless) || !ArePicturesUsable();
}

/// `bytes` after `lines` of the copy's own have been written.
Bytes Call::Copied(Bytes bytes, const oracle::Image& from, const oracle::Image& alpha,
                   oracle::Lines lines) const {
  oracle::Copy copy = copy_;
  copy.lines = lines;
  copy.offset += copy_.Position(0, lines.first - copy_.lines.first) - copy_.Position(0, 0);
  oracle::Write(copy, from, alpha, [&](std::int64_t position) -> std::uint8_t& {
    return bytes.at(memory_ != nullptr ? memory_->Place(position) : static_cast<std::size_t>(position));
  });
  return bytes;
}

Bytes Call::Written(const REALpictureStruct& to, Bytes bytes) const {
  const std::uint8_t* source = memory_ != nullptr ? memory_->base() : blockBefore_.data();
  oracle::Write(buffer_, source, PixelTypeOf(to.format), to.width, bytes);
  return bytes;
}

/// Each copy of a world of an unsupported depth leads to one.
int Call::StraysDue() const {
  if (!method_.copies || host_.options().kind != devhost::Kind::kDesktop || !CanSucceed()) {
    return 0;
  }
  const auto isDue = [](const PictureSpec& read) { return read.format == PixelFormat::kWorld16 ? 1 : 0; };
  return isDue(spec_.picture) + (method_.Has("MaskForAlpha") ? isDue(spec_.mask) : 0);
}

/// True if something that gives back is missing.
bool Call::LosesByNature() const {
  return std::ranges::any_of(missing_, devhost::IsRelease);
}

/// What may have been read of a picture.
std::vector<oracle::Image> Call::Readings(const oracle::Image& image) const {
  std::vector<oracle::Image> readings = {image};
  if (MayBeBlack()) {
    readings.emplace_back();
  }
  if (MayHaveOneRow()) {
    oracle::Image& repeated = readings.emplace_back(image);
    for (std::size_t i = 0; i < repeated.pixels.size(); ++i) {
      repeated.pixels[i] = image.pixels[i % static_cast<std::size_t>(image.width)];
    }
  }
  return readings;
}

}  // namespace tests
