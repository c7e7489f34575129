#include "bench/stage.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <tuple>

#include "bench/reference.h"
#include "picture/pixel_type.h"
#include "pixels/converter.h"
#include "pixels/targets.h"
#include "to_buffer/methods.h"
#include "to_picture/methods.h"

namespace bench {

using namespace rastel::pixels;

namespace {

constexpr std::uint8_t kOpaque = 255;
constexpr int kBefore = 0x5A;  // in the destination, before a result is checked

devhost::HostOptions OptionsFor(int pixelType) {
  devhost::HostOptions options;
  options.kind = pixelType == 8 ? devhost::Kind::kConsole : devhost::Kind::kDesktop;
  options.pixelType = pixelType;
  options.watched = false;
  return options;
}

/// What follows the method's name in the declaration of the overload that `shape` calls.
std::string ArgumentsOf(Shape shape) {
  static const std::string kGray =
      "(source as Ptr, offset as integer, width as integer, height as integer, PixelByteSize as integer";
  static const std::string kToBlock =
      "(extends ref as Picture, destination as memoryblock, offset as integer, ";
  switch (shape) {
    case Shape::kToPicture:
    case Shape::kToPictureFlip:
      return "(dest as picture, source as Ptr,";
    case Shape::kGray:
      return kGray + ") as picture";
    case Shape::kWeighted:
      return kGray + ", Red as integer";
    case Shape::kPalette:
      return kGray + ", Red() as integer";
    case Shape::kToBlock:
      return kToBlock + "StartLine";
    case Shape::kToBlockAlpha:
      return kToBlock + "AlphaValue";
    case Shape::kToBlockMask:
      return kToBlock + "MaskForAlpha";
    default:
      return kToBlock + "PixelByteSize";
  }
}

struct Arena {
  std::uint8_t* first;
  std::size_t length;
};

Arena ArenaOf(REALpictureStruct& picture) {
  std::uint8_t* first = picture.height > 1 ? std::min(picture.Row(0), picture.Row(1)) : picture.Row(0);
  const auto rows = static_cast<std::size_t>(picture.height - 1);
  return {first, rows * static_cast<std::size_t>(picture.rowBytes) + picture.RowLength()};
}

Arena ArenaOf(REALmemoryBlockStruct& block) {
  return {block.bytes(), static_cast<std::size_t>(block.size)};
}

/// Lets the table of a picture of pixel type 8 name the rows as they follow each other in memory, so that
/// everyone takes them in the same order.
void PutRowsInOrder(REALpictureStruct& picture) {
  if (!picture.rowTable.empty()) {
    std::ranges::sort(picture.rowTable.begin(), picture.rowTable.begin() + picture.height);
  }
}

void Randomise(const Arena& arena) {
  std::minstd_rand random(1);
  std::size_t i = 0;
  for (; i + 2 <= arena.length; i += 2) {
    const auto number = static_cast<std::uint16_t>(random() >> 8);
    std::memcpy(arena.first + i, &number, sizeof number);
  }
}

}  // namespace

Stage::Stage(const Case& one, const std::string& plugin) : one_(one), host_(OptionsFor(one.pixelType)) {
  host_.Load(plugin);
  DescribeConversion();
  MakeObjects();
  DescribeRows();
  AddContestants();
}

void Stage::DescribeConversion() {
  const rastel::PixelTypeRow& type = rastel::RowOfPixelType(one_.pixelType);
  const Family& family = *one_.family;
  if (isToPicture()) {
    conversion_ = {.from = family.buffer, .to = type.layout, .fill = type.fourthByte};
    conversion_.fromStep = family.step;
  } else {
    conversion_ = {.from = type.layout, .to = family.buffer, .fill = kOpaque};
    conversion_.toStep = family.step;
  }
  if (family.shape == Shape::kToBlock && family.step == 4) {
    conversion_.rest = Rest::kKept;
  }
  if (family.shape == Shape::kToBlockMask) {
    conversion_.rest = Rest::kFromMask;
    conversion_.mask = type.layout;
  }
  if (family.shape == Shape::kWeighted) {
    conversion_.weights = &weights_;
  }
  if (family.shape == Shape::kPalette) {
    for (int gray = 0; gray < 256; ++gray) {
      tables_.values[0][gray] = static_cast<std::uint8_t>(255 - gray);
      tables_.values[1][gray] = static_cast<std::uint8_t>(gray ^ 0x55);
      tables_.values[2][gray] = static_cast<std::uint8_t>(gray * 7);
    }
    conversion_.tables = &tables_;
  }
}

double Stage::traffic() const {
  std::ptrdiff_t bytes = conversion_.fromStep + conversion_.toStep;
  if (conversion_.rest == Rest::kFromMask) {
    bytes += ChannelsOf(conversion_.mask).bytes;
  }
  return static_cast<double>(bytes) * one_.size->width * one_.size->height;
}

void Stage::MakeObjects() {
  const Size& size = *one_.size;
  picture_ = host_.NewPicture(size.width, size.height);
  PutRowsInOrder(*picture_);
  host_.spare = picture_.get();
  if (conversion_.rest == Rest::kFromMask) {
    mask_ = host_.NewPicture(size.width, size.height);
    PutRowsInOrder(*mask_);
    Randomise(ArenaOf(*mask_));
  }
  for (std::size_t channel = 0; channel < 3 && conversion_.tables != nullptr; ++channel) {
    const auto& table = tables_.values[channel];
    arrays_[channel] = host_.NewIntegerArray({std::begin(table), std::end(table)});
  }
  // Room for the pixels, and for half of the traffic.
  const double pixels =
      static_cast<double>(size.height) * (size.width * one_.family->step + size.padding) + size.offset;
  block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(std::max(pixels, traffic() / 2)) + 4);
  Randomise(ArenaOf(*picture_));
  Randomise(ArenaOf(*block_));
}

void Stage::DescribeRows() {
  rows_ = RowsOf(0);
  rows_.count = one_.size->height;
  const std::ptrdiff_t pictureStep = picture_->rowBytes;
  const std::ptrdiff_t blockStep =
      one_.size->width * one_.family->step + (isToPicture() ? 0 : one_.size->padding);
  rows_.source.step = isToPicture() ? blockStep : pictureStep;
  rows_.destination.step = isToPicture() ? pictureStep : blockStep;
  rows_.mask.step = pictureStep;
}

Rows Stage::RowsOf(std::int32_t row) const {
  const Size& size = *one_.size;
  const std::ptrdiff_t blockStep = size.width * one_.family->step + (isToPicture() ? 0 : size.padding);
  std::uint8_t* inPicture = ArenaOf(*picture_).first + row * picture_->rowBytes;
  std::uint8_t* inBlock = block_->bytes() + size.offset + row * blockStep;
  Rows rows{};
  rows.source.first = isToPicture() ? inBlock : inPicture;
  rows.destination.first = isToPicture() ? inPicture : inBlock;
  rows.mask.first = mask_ ? ArenaOf(*mask_).first + row * mask_->rowBytes : nullptr;
  rows.width = size.width;
  rows.count = 1;
  return rows;
}

void Stage::AddContestants() {
  contestants_.push_back({Role::kPlugin, "plug-in", PluginCall()});
  for (Peer& peer : PeersFor(task_)) {
    contestants_.push_back({Role::kPeer, peer.name, std::move(peer.run), peer.claim == Claim::kSameColours});
  }
  for (const Target& target : Targets()) {
    if (one_.size->withKernels && target.isSupported()) {
      const auto converter = std::make_shared<Converter>(conversion_, target.find);
      contestants_.push_back({Role::kKernel, target.name, [this, converter] { converter->Convert(rows_); }});
    }
  }
  if (one_.size->withKernels) {
    contestants_.push_back({Role::kKernel, "moves alone", [this] { MoveAlone(conversion_, rows_); }, false});
  }
  contestants_.push_back({Role::kLimit, "limit", [this] { CopyHalfTheTraffic(); }, false});
  for (Contestant& contestant : contestants_) {
    Check(contestant);
  }
}

void Stage::Check(Contestant& contestant) const {
  using Clock = std::chrono::steady_clock;
  const Arena arena = isToPicture() ? ArenaOf(*picture_) : ArenaOf(*block_);
  std::memset(arena.first, kBefore, arena.length);
  const auto start = Clock::now();
  contestant.run();
  contestant.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (contestant.hasSameBytes) {
    contestant.hasSameBytes = HasSameBytes(contestant, contestant.role == Role::kPeer);
  }
}

bool Stage::HasSameBytes(const Contestant& contestant, bool mayDiffer) const {
  const auto bytes = static_cast<std::size_t>((one_.size->width - 1) * conversion_.toStep +
                                              ChannelsOf(conversion_.to).bytes);
  bool isSame = true;
  std::vector<std::uint8_t> expected(bytes);
  for (std::int32_t row = 0; row < one_.size->height; ++row) {
    std::ranges::fill(expected, kBefore);
    Rows plain = RowsOf(row);
    const std::uint8_t* actual = plain.destination.first;
    plain.destination.first = expected.data();
    ConvertPlainly(conversion_, plain);
    for (std::size_t i = 0; std::memcmp(actual, expected.data(), bytes) != 0 && i < bytes; ++i) {
      if (actual[i] != expected[i]) {
        isSame = false;
        if (!mayDiffer || IsChannel(conversion_, static_cast<std::ptrdiff_t>(i))) {
          throw std::runtime_error(one_.Name() + ": " + contestant.name + " gives a wrong byte " +
                                   std::to_string(i) + " in row " + std::to_string(row));
        }
      }
    }
  }
  return isSame;
}

/// Where one side is shorter than half of the traffic, it starts again.
void Stage::CopyHalfTheTraffic() const {
  const Arena block = ArenaOf(*block_);
  const Arena picture = ArenaOf(*picture_);
  const Arena sources[2] = {isToPicture() ? block : picture, mask_ ? ArenaOf(*mask_) : picture};
  const Arena& destination = isToPicture() ? picture : block;
  auto remaining = static_cast<std::size_t>(traffic() / 2);
  std::size_t source = 0;
  std::size_t read = 0;
  std::size_t written = 0;
  while (remaining > 0) {
    const std::size_t bytes =
        std::min({remaining, sources[source].length - read, destination.length - written});
    std::memcpy(destination.first + written, sources[source].first + read, bytes);
    remaining -= bytes;
    read += bytes;
    written += bytes;
    if (read == sources[source].length) {
      source = mask_ ? 1 - source : source;
      read = 0;
    }
    written %= destination.length;
  }
}

void* Stage::Method() const {
  const std::string declaration = one_.family->method + ArgumentsOf(one_.family->shape);
  const auto method = std::ranges::find_if(host_.methods(), [&](const devhost::Registration& registered) {
    return registered.declaration.starts_with(declaration);
  });
  if (method == host_.methods().end()) {
    throw std::runtime_error("there is no method " + declaration);
  }
  return method->function;
}

/// The call of a method that gives a picture, whose reference is dropped again.
template <typename Function, typename... Arguments>
std::function<void()> Stage::PictureCall(Function /*type*/, Arguments... arguments) {
  const auto method = reinterpret_cast<Function>(Method());
  return [method, arguments...] { --method(arguments...)->references; };
}

template <typename Function, typename... Arguments>
std::function<void()> Stage::CopyCall(Function /*type*/, Arguments... arguments) {
  const auto method = reinterpret_cast<Function>(Method());
  const Size& size = *one_.size;
  const std::int32_t rowBytes = size.width * one_.family->step + size.padding;
  return [=, picture = picture_.get(), block = block_.get(), offset = size.offset] {
    method(picture, block, offset, arguments..., 0, -1, 0, rowBytes);
  };
}

std::function<void()> Stage::PluginCall() {
  void* source = block_->bytes();
  const auto [width, height, offset] = std::tuple(one_.size->width, one_.size->height, one_.size->offset);
  const std::int32_t step = one_.family->step;
  const auto& weights = weights_.values;
  switch (one_.family->shape) {
    case Shape::kToPicture:
      return PictureCall(rastel::PtrRGBtoPictureKVZdest, picture_.get(), source, offset, width, height);
    case Shape::kToPictureFlip:
      return PictureCall(rastel::PtrRGBAtoPictureKVZdest, picture_.get(), source, offset, width, height,
                         Boolean{0});
    case Shape::kGray:
      return PictureCall(rastel::PtrGrayToPictureKVZ, source, offset, width, height, step);
    case Shape::kWeighted:
      return PictureCall(rastel::PtrGrayToPictureRGBKVZ, source, offset, width, height, step, weights[0],
                         weights[1], weights[2]);
    case Shape::kPalette:
      return PictureCall(rastel::PtrGrayToPicturePalKVZ, source, offset, width, height, step,
                         arrays_[0].get(), arrays_[1].get(), arrays_[2].get());
    case Shape::kToBlock:
      return CopyCall(rastel::CopyRGBtoMemoryblockKVZ);
    case Shape::kToBlockAlpha:
      return CopyCall(rastel::CopyRGBAtoMemoryblockKVZ, std::int32_t{kOpaque});
    case Shape::kToBlockMask:
      return CopyCall(rastel::CopyRGBMtoMemoryblockKVZ, mask_.get());
    default:
      return CopyCall(rastel::CopyRtoMemoryblockKVZ, step);
  }
}

}  // namespace bench
