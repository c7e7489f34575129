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
    const std::int32_t step = spec.integers.try_emplace("PixelByteSize", 1).first->second %= 8;
    const std::int32_t pixels = spec.picture.size.width * spec.picture.size.height;
    std::int32_t& offset = spec.integers["offset"];
    offset += step < 0 && offset >= 0 ? std::max(0, pixels - 1) * -step : 0;
  }
  return spec;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const CallSpec& spec) {
  stream << "picture " << spec.picture << (spec.isMasked ? " with a mask" : "") << ", mask " << spec.mask;
  if (spec.dest) {
    stream << ", dest " << *spec.dest;
  }
  stream << ", of kind " << spec.kind << ", flag " << spec.flag;
  for (const auto& [name, value] : spec.integers) {
    stream << ", " << name << " " << value;
  }
  for (const oracle::Palette& palette : spec.palettes) {
    stream << ", " << (palette ? std::to_string(palette->size()) + " elements" : "no palette");
  }
  for (const std::string& name : spec.nil) {
    stream << ", no " << name;
  }
  return stream;
}

CallSpec GoodCall(const HostCase& hostCase, Size size) {
  const std::vector<std::int32_t> elements = {1, 2, 300};
  CallSpec spec{.picture = {size, hostCase.readFrom}, .mask = {size, hostCase.OwnFormat()}};
  spec.dest = {{size.width + 1, size.height + 1}, hostCase.OwnFormat()};
  spec.flag = true;
  spec.palettes = {elements, std::nullopt, elements};
  spec.integers = {{"Red", 1}, {"Blue", 1}, {"Green", 1}, {"AlphaValue", 1}, {"Yield", 1}};
  return spec;
}

CallSpec Refused(CallSpec spec, const Refusal& refusal) {
  if (refusal.highest) {
    spec.integers[refusal.parameter] = *refusal.highest;
  } else {
    spec.nil.insert(refusal.parameter);
  }
  return spec;
}

Call::Call(devhost::Host& host, const Method& method, CallSpec spec, const AliasedMemory* memory)
    : host_(host),
      method_(method),
      spec_(memory == nullptr ? WithinBlock(method, std::move(spec)) : std::move(spec)),
      memory_(memory) {
  const auto refusal = std::ranges::find_if(method.refusals, [this](const Refusal& each) {
    return each.highest ? Integer(each.parameter) <= *each.highest : spec_.nil.contains(each.parameter);
  });
  refusal_ = refusal == method.refusals.end() ? nullptr : &*refusal;
  Plan();
  MakeObjects();
}

std::int32_t Call::Integer(std::string_view name) const {
  const auto found = spec_.integers.find(name);
  if (found != spec_.integers.end()) {
    return found->second;
  }
  return name == "width"           ? spec_.picture.size.width
         : name == "height"        ? spec_.picture.size.height
         : name == "PixelByteSize" ? 1
         : name == "EndLine"       ? -1
                                   : 0;
}

Value Call::Argument(const devhost::Parameter& parameter) const {
  const auto orNil = [](auto* object) { return object == nullptr ? Value(nullptr) : Value(object); };
  const std::string& name = parameter.name;
  if (spec_.nil.contains(name)) {
    return nullptr;
  }
  switch (parameter.type) {
    case HostType::kInteger:
      return Integer(name);
    case HostType::kBoolean:
      return spec_.flag;
    case HostType::kPtr:
      return devhost::Ptr{block->bytes()};
    case HostType::kMemoryblock:
      return block.get();
    case HostType::kIntegerArray:
      return orNil(arrays_[name == "Red" ? 0 : name == "Blue" ? 1 : 2].get());
    default:
      return orNil(name == "ref" ? picture.get() : name == "dest" ? dest.get() : mask.get());
  }
}

/// Where the method has to read or write, and what.
void Call::Plan() {
  std::string layout = method_.layout;
  const bool isLittleEndian = method_.Has("LittleEndian") && spec_.flag;
  if (isLittleEndian) {
    std::ranges::reverse(layout);
  }
  const std::int64_t pixelBytes =
      method_.Has("PixelByteSize") ? Integer("PixelByteSize") : std::ssize(layout);
  if (!method_.copies) {
    buffer_ = {.layout = layout,
               .width = Integer("width"),
               .height = Integer("height"),
               .offset = Integer("offset"),
               .pixelBytes = pixelBytes,
               .flip = method_.Has("FlipVertically") && spec_.flag};
    if (method_.HasWeights()) {
      buffer_.weights = {Integer("Red"), Integer("Blue"), Integer("Green")};
    }
    if (method_.HasPalettes()) {
      buffer_.palettes = spec_.palettes;
    }
    return;
  }
  const std::int32_t alpha = Integer("AlphaValue");
  if (method_.Has("LittleEndian") && (alpha < 0 || alpha > 255)) {
    std::ranges::replace(layout, 'A', 'X');
  }
  const Size size = method_.Has("MaskForAlpha") ? spec_.mask.size : spec_.picture.size;
  copy_ = {.layout = layout,
           .width = size.width,
           .lines = oracle::LinesOf(Integer("StartLine"), Integer("EndLine"),
                                    spec_.picture.size.height < 1 ? 0 : size.height),
           .offset = Integer("offset"),
           .pixelBytes = pixelBytes,
           .destRowBytes = Integer("DestRowBytes"),
           .alpha = static_cast<std::uint8_t>(alpha)};
}

bool Call::Fits(std::int64_t before, std::int64_t behind, std::int64_t mostPixels) const {
  if (!CanSucceed()) {
    return true;
  }
  if (method_.copies) {
    const bool writes = copy_.width > 0 && copy_.lines.first <= copy_.lines.last;
    return !writes || copy_.BlockSize() <= behind;  // nothing is written before the block
  }
  std::int64_t lowest = 0;
  for (const std::int64_t x : {std::int64_t{0}, buffer_.width - 1}) {
    lowest = std::min({lowest, buffer_.Position(x, 0), buffer_.Position(x, buffer_.height - 1)});
  }
  return lowest >= -before && buffer_.BlockSize() <= behind && buffer_.width * buffer_.height <= mostPixels;
}

void Call::MakeObjects() {
  const auto make = [this](const PictureSpec& spec, std::uint64_t seed) {
    auto made = host_.NewPicture(spec.size.width, spec.size.height, spec.format);
    made->pictureType = spec_.kind;
    FillWithNoise(*made, seed);
    return made;
  };
  if (method_.copies) {
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
    if (method_.Has("dest") && spec_.dest) {
      dest = make(*spec_.dest, 99);
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

bool Call::CanSucceed() const {
  return refusal_ == nullptr &&
         (method_.copies || (buffer_.width <= kMostPixels && buffer_.height <= kMostPixels));
}

std::string Call::Run(const devhost::Injection* faults) {
  Refill();
  faults_ = faults;
  before_ = host_.CurrentBalance();
  complaintsBefore_ = host_.complaints.size();
  Outcome outcome = Invoke();
  LearnTroubles();
  std::string verdict = Judge(outcome);
  outcome.result.picture.reset();
  if (memory_ != nullptr && outcome.result.boolean) {
    std::ranges::copy(blockBefore_, memory_->bytes());
  }
  return verdict.empty() ? JudgeBalance() : verdict;
}

Call::Outcome Call::Invoke() {
  std::vector<devhost::Value> arguments;
  for (const devhost::Parameter& parameter : method_.parameters) {
    arguments.push_back(Argument(parameter));
  }
  const int thrownBefore = faults_ == nullptr ? 0 : faults_->thrown;
  Outcome outcome;
  try {
    outcome.result = host_.Call(method_, arguments);
  } catch (const devhost::HostFault&) {
    outcome.threw = true;
  }
  outcome.swallowed = !outcome.threw && faults_ != nullptr && faults_->thrown > thrownBefore;
  outcome.isDest = dest && outcome.result.picture.get() == dest.get();
  if (outcome.isDest && host_.Lacks("REALLockObject")) {
    outcome.result.picture.release();  // the reference that should have come with it was never counted
  }
  return outcome;
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
