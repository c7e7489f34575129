#include "call.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace tests {

using devhost::PixelFormat;
using devhost::Value;
using rastel::abi::HostType;

namespace {

std::ostream& operator<<(std::ostream& stream, const PictureSpec& picture) {
  constexpr const char* kFormats[] = {"bitmap", "32 bits", "24 bits", "16 bits"};
  return stream << picture.size.width << "x" << picture.size.height << " "
                << kFormats[static_cast<int>(picture.format)];
}

/// In a block of its own a buffer's steps are short, and steps backwards begin behind the other pixels.
CallSpec WithinBlock(const Method& method, CallSpec spec) {
  if (!method.copies && method.Has("PixelByteSize")) {
    spec.pixelBytes %= 8;
    const std::int32_t pixels = spec.picture.size.width * spec.picture.size.height;
    spec.offset += spec.pixelBytes < 0 ? std::max(0, pixels - 1) * -spec.pixelBytes : 0;
  }
  return spec;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const CallSpec& spec) {
  stream << "picture " << spec.picture << (spec.isMasked ? " with a mask" : "") << ", mask " << spec.mask;
  if (spec.dest) {
    stream << ", dest " << *spec.dest << " of kind " << spec.destType;
  }
  stream << ", offset " << spec.offset << ", pixel bytes " << spec.pixelBytes << ", flag " << spec.flag
         << ", alpha " << spec.alpha << ", lines " << spec.startLine << " to " << spec.endLine << ", yield "
         << spec.yield << ", stride " << spec.destRowBytes << ", weights";
  for (std::size_t i = 0; i < 3; ++i) {
    stream << " " << spec.weights[i] << (spec.palettes[i] ? " or a palette" : "");
  }
  for (const auto& [name, value] : spec.instead) {
    const auto* integer = std::get_if<std::int32_t>(&value);
    stream << "; " << name << " " << (integer != nullptr ? std::to_string(*integer) : "nil");
  }
  return stream;
}

CallSpec GoodCall(const HostCase& hostCase, Size size) {
  const std::vector<std::int32_t> elements = {1, 2, 300};
  CallSpec spec{.picture = {size, hostCase.readFrom}, .mask = {size, hostCase.OwnFormat()}};
  spec.dest = {{size.width + 1, size.height + 1}, hostCase.OwnFormat()};
  spec.flag = true;
  spec.weights = {1, 1, 1};
  spec.palettes = {elements, std::nullopt, elements};
  spec.alpha = 1;
  spec.yield = 1;
  return spec;
}

Call::Call(devhost::Host& host, const Method& method, CallSpec spec, const AliasedMemory* memory)
    : host_(host),
      method_(method),
      spec_(memory == nullptr ? WithinBlock(method, std::move(spec)) : std::move(spec)),
      memory_(memory) {
  for (const Refusal& refusal : method.refusals) {
    const auto* least = std::get_if<std::int32_t>(&refusal.bad);
    const bool isBad =
        least != nullptr ? Integer(refusal.parameter) <= *least : Instead(refusal.parameter) != nullptr;
    if (isBad && !refusal_) {
      refusal_ = &refusal;
    }
  }
  MakeObjects();
}

const Value* Call::Instead(std::string_view name) const {
  const Value* value = nullptr;
  for (const auto& [replaced, other] : spec_.instead) {
    value = replaced == name ? &other : value;
  }
  return value;
}

/// The value of an integer parameter.
std::int32_t Call::Integer(std::string_view name) const {
  if (const Value* value = Instead(name)) {
    return std::get<std::int32_t>(*value);
  }
  const Size size = spec_.picture.size;
  const std::pair<std::string_view, std::int32_t> integers[] = {
      {"offset", spec_.offset},       {"width", size.width},
      {"height", size.height},        {"PixelByteSize", spec_.pixelBytes},
      {"AlphaValue", spec_.alpha},    {"Red", spec_.weights[0]},
      {"Blue", spec_.weights[1]},     {"Green", spec_.weights[2]},
      {"StartLine", spec_.startLine}, {"EndLine", spec_.endLine},
      {"Yield", spec_.yield},         {"DestRowBytes", spec_.destRowBytes}};
  return std::ranges::find(integers, name, &std::pair<std::string_view, std::int32_t>::first)->second;
}

Value Call::Argument(const Parameter& parameter) const {
  if (const Value* value = Instead(parameter.name)) {
    return *value;
  }
  const auto orNil = [](auto* object) { return object == nullptr ? Value(nullptr) : Value(object); };
  switch (parameter.type) {
    case HostType::kInteger:
      return Integer(parameter.name);
    case HostType::kBoolean:
      return spec_.flag;
    case HostType::kPtr:
      return devhost::Ptr{block->bytes()};
    case HostType::kMemoryblock:
      return block.get();
    case HostType::kIntegerArray:
      return orNil(arrays_[parameter.name == "Red" ? 0 : parameter.name == "Blue" ? 1 : 2].get());
    default:
      return orNil(parameter.name == "ref"    ? picture.get()
                   : parameter.name == "dest" ? dest.get()
                                              : mask.get());
  }
}

std::string Call::CopyLayout() const {
  std::string layout = method_.layout;
  if (method_.Has("LittleEndian")) {
    if (spec_.flag) {
      std::ranges::reverse(layout);
    }
    const bool leavesAlphaAlone = Integer("AlphaValue") < 0 || Integer("AlphaValue") > 255;
    std::ranges::replace(layout, 'A', leavesAlphaAlone ? 'X' : 'A');
  }
  return layout;
}

void Call::PlanCopy() {
  const Size size = method_.Has("MaskForAlpha") ? spec_.mask.size : spec_.picture.size;
  copy_.layout = CopyLayout();
  copy_.width = size.width;
  copy_.lines = oracle::LinesOf(Integer("StartLine"), Integer("EndLine"),
                                spec_.picture.size.height < 1 ? 0 : size.height);
  copy_.offset = Integer("offset");
  copy_.pixelBytes = method_.Has("PixelByteSize") ? Integer("PixelByteSize")
                                                  : static_cast<std::int64_t>(copy_.layout.size());
  copy_.destRowBytes = Integer("DestRowBytes");
  copy_.alpha = static_cast<std::uint8_t>(method_.Has("AlphaValue") ? Integer("AlphaValue") : 0);
}

void Call::PlanBuffer() {
  buffer_.layout = method_.layout;
  if (method_.Has("LittleEndian") && spec_.flag) {
    std::ranges::reverse(buffer_.layout);
  }
  buffer_.width = Integer("width");
  buffer_.height = Integer("height");
  buffer_.offset = Integer("offset");
  buffer_.pixelBytes = method_.Has("PixelByteSize") ? Integer("PixelByteSize")
                                                    : static_cast<std::int64_t>(buffer_.layout.size());
  buffer_.flip = method_.Has("FlipVertically") && spec_.flag;
  if (method_.HasWeights()) {
    buffer_.weights = {Integer("Red"), Integer("Blue"), Integer("Green")};
  }
  if (method_.HasPalettes()) {
    buffer_.palettes = spec_.palettes;
  }
}

bool Call::Fits(std::int64_t before, std::int64_t behind, std::int64_t mostPixels) const {
  if (!CanSucceed()) {
    return true;
  }
  std::int64_t lowest = 0;
  std::int64_t end = 0;
  const auto reach = [&](std::int64_t position, const std::string& layout) {
    lowest = std::min(lowest, position);
    end = std::max(end, position + static_cast<std::int64_t>(layout.size()));
  };
  if (!method_.copies) {
    for (const std::int64_t x : {std::int64_t{0}, buffer_.width - 1}) {
      reach(buffer_.Position(x, 0), buffer_.layout);
      reach(buffer_.Position(x, buffer_.height - 1), buffer_.layout);
    }
    return lowest >= -before && end <= behind && buffer_.width * buffer_.height <= mostPixels;
  }
  for (std::int64_t y = copy_.lines.first; y <= copy_.lines.last; ++y) {
    for (std::int64_t x = 0; x < copy_.width; ++x) {
      reach(std::max<std::int64_t>(0, copy_.Position(x, y - copy_.lines.first)), copy_.layout);
    }
  }
  return end <= behind;
}

void Call::MakeObjects() {
  const auto make = [this](const PictureSpec& spec, std::uint64_t seed) {
    auto made = host_.NewPicture(spec.size.width, spec.size.height, spec.format);
    FillWithNoise(*made, seed);
    return made;
  };
  if (method_.copies) {
    PlanCopy();
    picture = make(spec_.picture, 5);
    shown_ = ImageOf(*picture);
    if (spec_.isMasked) {
      picture->SetMask(make({spec_.picture.size, PixelFormat::kBitmap}, 6).get());
    }
    if (method_.Has("MaskForAlpha")) {
      mask = make(spec_.mask, 77777);
      shownByMask_ = ImageOf(*mask);
    }
  } else {
    PlanBuffer();
    if (method_.Has("dest") && spec_.dest) {
      dest = make(*spec_.dest, 99);
      dest->pictureType = spec_.destType;
    }
    for (std::size_t i = 0; method_.HasPalettes() && i < std::size(arrays_); ++i) {
      if (spec_.palettes[i]) {
        arrays_[i] = host_.NewIntegerArray(*spec_.palettes[i]);
      }
    }
  }
  std::int64_t size = 16;
  if (memory_ == nullptr && CanSucceed()) {
    size = method_.copies ? copy_.BlockSize() : buffer_.BlockSize();
  }
  block = host_.NewMemoryBlock(static_cast<std::int32_t>(size));
  if (memory_ != nullptr) {
    block->elsewhere = memory_->base();
  }
}

/// Puts into the block and the destination what is there before each call.
void Call::Refill() {
  if (memory_ == nullptr) {
    FillWithNoise(*block, 4242);
  }
  if (method_.HasPalettes()) {
    // Gray values that have elements, and a few that have none.
    std::size_t length = 2;
    for (const oracle::Palette& palette : spec_.palettes) {
      length = std::max(length, palette ? palette->size() + 2 : 0);
    }
    for (std::int32_t i = 0; memory_ == nullptr && length < 256 && i < block->size; ++i) {
      block->bytes()[i] = static_cast<std::uint8_t>(block->bytes()[i] % length);
    }
  }
  if (memory_ == nullptr || method_.copies) {
    const auto bytes = BlockBytes();
    blockBefore_.assign(bytes.begin(), bytes.end());
  }
  if (dest) {
    FillWithNoise(*dest, 99);
    destBefore_ = BytesOf(*dest);
  }
  if (picture) {
    pictureBefore_ = BytesOf(*picture);
    maskBefore_ = picture->mask;
  }
}

std::span<std::uint8_t> Call::BlockBytes() const {
  return memory_ != nullptr ? std::span(memory_->bytes(), memory_->size())
                            : std::span(block->bytes(), static_cast<std::size_t>(block->size));
}

bool Call::IsTooLarge() const {
  return !method_.copies && (buffer_.width > kMostPixels || buffer_.height > kMostPixels);
}

void Call::ChangePicture(REALpictureStruct& other, std::int32_t firstRow, bool isSeen) {
  const oracle::Image changed = ImageOf(other);
  for (std::int32_t y = 0; y < picture->height; ++y) {
    std::copy_n(other.Row(y), picture->RowLength(), picture->Row(y));
  }
  if (isSeen) {
    const auto first = firstRow * shown_.width;
    std::copy(changed.pixels.begin() + first, changed.pixels.end(), shown_.pixels.begin() + first);
  }
  pictureBefore_ = BytesOf(*picture);
}

void Call::DropPictures() {
  for (auto* dropped : {&picture, &mask}) {
    if (*dropped) {
      --before_.objects;
      --before_.references;
      dropped->reset();
    }
  }
}

}  // namespace tests
