// What may come of a call, and what is wrong with what came of it.
#include <algorithm>
#include <sstream>

#include "call.h"
#include "devhost/state.h"

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

/// Says where a byte is that none of `allowed` has there; empty: nowhere.
std::string Text(const char* what, std::span<const Bytes> allowed, std::span<const std::uint8_t> now) {
  const Bytes& first = allowed.front();
  std::size_t i = std::ranges::equal(first, now) ? now.size() : 0;
  const auto hasByte = [&](const Bytes& bytes) { return bytes[i] == now[i]; };
  while (i < now.size() && std::ranges::any_of(allowed, hasByte)) {
    ++i;
  }
  return i == now.size()
             ? ""
             : std::string(what) + ", byte " + std::to_string(i) + " of " + std::to_string(now.size()) +
                   " is " + std::to_string(now[i]) + " instead of " + std::to_string(first[i]);
}

}  // namespace

/// Learns what the host lacked or failed in, in this call or before it.
void Call::LearnTroubles() {
  missing_ = host_.options().without;
  missing_.insert(host_.hidden.begin(), host_.hidden.end());
  // The plug-in can do with such a picture whatever the host offers. A copy has to have pixels.
  const bool isDesktop = host_.options().kind == devhost::Kind::kDesktop;
  const auto isReadable = [isDesktop](const PictureSpec& read) {
    const bool hasPixels = read.size.width > 0 && read.size.height > 0;
    return isDesktop ? IsWorld(read.format) || hasPixels : read.format == PixelFormat::kBitmap;
  };
  const bool arePicturesUsable =
      !method_.copies ||
      (isReadable(spec_.picture) && (!method_.Has("MaskForAlpha") || isReadable(spec_.mask)));
  const bool hasFailed = faults_ != nullptr && !faults_->hit.empty();
  isInDoubt_ = hasFailed || !std::ranges::all_of(missing_, IsHarmless) || !arePicturesUsable;
}

bool Call::Lost(std::initializer_list<const char*> names) const {
  return std::ranges::any_of(names, [this](const char* name) {
    return missing_.contains(name) || (faults_ != nullptr && faults_->hit.contains(name));
  });
}

/// True if the picture passed as dest is to be filled, or may be where the host does not tell its kind.
bool Call::IsDestUsable() const {
  if (!CanSucceed() || dest->width < buffer_.width || dest->height < buffer_.height) {
    return false;
  }
  const bool isReadOnly = spec_.kind == 0 || spec_.kind == 1 || spec_.kind == 3;
  const bool isDesktop = host_.options().kind == devhost::Kind::kDesktop;
  const bool isKindKnown = !Lost({"pluginObjectType"});
  const bool fits = (IsWorld(dest->format) && (isDesktop || !isKindKnown)) ||
                    (dest->format == PixelFormat::kBitmap && !(isDesktop && isKindKnown));
  return fits && (!isReadOnly || missing_.contains("PluginPictureGetType"));
}

/// What may have been read of a picture that is `image`.
std::vector<oracle::Image> Call::Readings(REALpictureStruct* read, const oracle::Image& image,
                                          bool inDoubt) const {
  std::vector<oracle::Image> readings = {image};
  if (inDoubt && read != nullptr) {
    const auto copy = host_.NewPicture(read->width, read->height, PixelFormat::kBitmap);
    devhost::GraphicsObject graphics(copy.get());
    devhost::DrawPicture(&graphics, read, 0, 0, read->width, read->height, 0, 0, read->width, read->height);
    readings.push_back(ImageOf(*copy));  // a copy that was drawn with the mask
    for (const std::size_t whole : {0, 1}) {
      readings.push_back(readings[whole]);  // the first row again and again
      auto& pixels = readings.back().pixels;
      for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = pixels[i % static_cast<std::size_t>(read->width)];
      }
    }
    readings.emplace_back();  // a copy that stayed black
  }
  return readings;
}

/// What may have become of the block: all rows were copied, or the first ones.
std::vector<Bytes> Call::Copies(bool areWhole, bool inDoubt) const {
  std::vector<Bytes> copies;
  const auto masks = Readings(mask.get(), shownByMask_, inDoubt);
  for (const oracle::Image& from : Readings(picture.get(), shown_, inDoubt)) {
    for (const oracle::Image& alpha : masks) {
      Bytes bytes = blockBefore_;
      for (oracle::Copy row = copy_; row.lines.first <= copy_.lines.last; ++row.lines.first) {
        if (!areWhole) {
          copies.push_back(bytes);
        }
        row.lines.last = row.lines.first;
        row.offset = copy_.Position(0, row.lines.first - copy_.lines.first);
        oracle::Write(row, from, alpha, [&](std::int64_t position) -> std::uint8_t& {
          return bytes.at(memory_ != nullptr ? memory_->Place(position) : static_cast<std::size_t>(position));
        });
      }
      copies.push_back(std::move(bytes));
    }
  }
  return copies;
}

/// What may have become of a picture that was `before`.
std::vector<Bytes> Call::Fillings(const REALpictureStruct& filled, const Bytes& before) const {
  std::vector<Bytes> fillings;
  const std::uint8_t* source = memory_ != nullptr ? memory_->base() : blockBefore_.data();
  const auto add = [&](const oracle::Buffer& buffer, std::int64_t rowPixels) {
    oracle::Write(buffer, source, PixelTypeOf(filled.format), rowPixels, fillings.emplace_back(before));
  };
  add(buffer_, filled.width);
  if (isInDoubt_) {
    oracle::Buffer dark = buffer_;  // elements of palettes were not read
    dark.palettes = buffer_.palettes ? oracle::Palettes() : buffer_.palettes;
    add(dark, filled.width);
    add(buffer_, 0);  // each row lies on the first one
    add(dark, 0);
  }
  return fillings;
}

std::string Call::Judge(const Outcome& outcome) const {
  for (const auto judge : {&Call::JudgeSuccess, &Call::JudgeRaised,
                           method_.copies ? &Call::JudgeBlock : &Call::JudgePictures, &Call::JudgeRest}) {
    if (std::string verdict = (this->*judge)(outcome); !verdict.empty()) {
      return verdict;
    }
  }
  return "";
}

std::string Call::JudgeSuccess(const Outcome& outcome) const {
  if (outcome.Succeeded()) {
    return CanSucceed() ? "" : "it succeeded with arguments that it has to refuse";
  }
  return CanSucceed() && !isInDoubt_ ? "it failed without a reason" : "";
}

std::string Call::JudgeRaised(const Outcome& outcome) const {
  const bool isGuarded = Lost({"REALBuildString", "REALSetStringEncoding"});
  if (outcome.swallowed && !isGuarded) {
    return "the host's exception was swallowed";
  }
  const bool isExpected = refusal_ != nullptr && refusal_->className != nullptr;
  const auto& raised = outcome.result.exception;
  if (!raised) {
    const bool isExcused = outcome.threw || Lost({"RuntimeRaiseException", "PluginNewInstance"});
    return isExpected && !isExcused ? "nothing was raised" : "";
  }
  // An array's bound may change from one call to the next.
  const bool isExcused = isInDoubt_ && (isGuarded || Lost({"RuntimeUBound"}));
  const bool isRight = isExpected && raised->errorNumber == 0 &&
                       (raised->className == refusal_->className || Lost({"PluginNewInstance"})) &&
                       (raised->message ? raised->message == refusal_->message : isInDoubt_);
  return isRight || (isExcused && !isExpected)
             ? ""
             : "raised: " + raised->className + ", " + raised->message.value_or("(null)");
}

std::string Call::JudgeBlock(const Outcome& outcome) const {
  if (!CanSucceed() || (!outcome.result.boolean && !outcome.threw)) {
    return Text("the block, though nothing was copied", {&blockBefore_, 1}, BlockBytes());
  }
  const std::string verdict = Text("the block", Copies(!outcome.threw, false), BlockBytes());
  return verdict.empty() || !isInDoubt_ ? verdict
                                        : Text("the block", Copies(!outcome.threw, true), BlockBytes());
}

std::string Call::JudgePictures(const Outcome& outcome) const {
  std::string verdict;
  if (outcome.result.picture && !outcome.isDest) {
    verdict = JudgeMade(*outcome.result.picture);
  }
  return verdict.empty() && dest ? JudgeDest(outcome.isDest) : verdict;
}

std::string Call::JudgeMade(REALpictureStruct& made) const {
  if (made.width != buffer_.width || made.height != buffer_.height) {
    return "a picture of a wrong size";
  }
  if (!isInDoubt_ && missing_.empty() &&
      (made.references != 1 || PixelTypeOf(made.format) != host_.options().pixelType)) {
    return "a picture with too many references or of a wrong type";
  }
  const Bytes now = BytesOf(made);
  return Text("the picture", Fillings(made, Bytes(now.size())), now);
}

std::string Call::JudgeDest(bool isUsed) const {
  const bool isUsable = IsDestUsable();
  const bool hasToBeUsed = isUsable && !isInDoubt_ && !Lost({"pluginObjectType"});
  if (isUsed ? !isUsable : hasToBeUsed) {
    return isUsed ? "dest was used" : "dest was not used";
  }
  std::vector<Bytes> allowed;
  if (isUsable) {
    allowed = Fillings(*dest, destBefore_);
  }
  if (!isUsed) {
    allowed.push_back(destBefore_);
  }
  return Text("dest", allowed, BytesOf(*dest));
}

std::string Call::JudgeRest(const Outcome& outcome) const {
  for (const auto* each : {&picture, &mask, &dest, &outcome.result.picture}) {
    if (*each && !(*each)->SurroundingsIntact()) {
      return "bytes around a picture were written";
    }
  }
  if (!block->SurroundingsIntact()) {
    return "bytes around the block were written";
  }
  if (picture && (picture->mask != maskBefore_ || BytesOf(*picture) != pictureBefore_)) {
    return "the picture or its mask was changed";
  }
  return method_.copies || memory_ != nullptr ? "" : Text("the buffer", {&blockBefore_, 1}, BlockBytes());
}

std::string Call::JudgeBalance() const {
  devhost::Balance after = host_.CurrentBalance();
  // Each copy of a world of an unsupported depth leads to a stray unlock.
  const auto strayOf = [](const PictureSpec& read) { return read.format == PixelFormat::kWorld16 ? 1 : 0; };
  const int ofMask = method_.Has("MaskForAlpha") ? strayOf(spec_.mask) : 0;
  const int most = isInDoubt_ ? 2 : method_.copies ? strayOf(spec_.picture) + ofMask : 0;
  const int strays = after.strayUnlocks - before_.strayUnlocks - straysMeanwhile;
  if (strays < 0 || strays > most) {
    return std::to_string(strays) + " pixel maps were unlocked that were not locked";
  }
  after.strayUnlocks = before_.strayUnlocks;
  // Where something that gives back is missing, things are lost by the nature of it.
  const bool mayLose = std::ranges::any_of(missing_, devhost::IsRelease);
  if (!mayLose && after != before_) {
    std::ostringstream text;
    text << before_ << " became " << after;
    return text.str();
  }
  for (std::size_t i = complaintsBefore_; i < host_.complaints.size(); ++i) {
    const std::string& complaint = host_.complaints[i];
    if (!mayLose || complaint.find("died while it was locked") == std::string::npos) {
      return "the host complains: " + complaint;
    }
  }
  return "";
}

}  // namespace tests
