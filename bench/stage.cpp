#include "bench/stage.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>

#include "bench/peers.h"

namespace bench {

namespace {

constexpr std::uint8_t kOpaque = 255;
constexpr std::uint8_t kBefore = 0x5A;  // in the destination, before a result is checked

devhost::HostOptions OptionsFor(int pixelType) {
  devhost::HostOptions options;
  options.kind = pixelType == 8 ? devhost::Kind::kConsole : devhost::Kind::kDesktop;
  options.pixelType = pixelType;
  options.watched = false;
  return options;
}

/// The row that comes first in memory, whatever its number.
std::uint8_t* FirstRow(REALpictureStruct& picture) {
  return std::min(picture.Row(0), picture.Row(1));
}

std::size_t Extent(REALpictureStruct& picture) {
  return static_cast<std::size_t>((picture.height - 1) * picture.rowBytes) + picture.RowLength();
}

void Randomise(std::uint8_t* bytes, std::size_t count) {
  std::minstd_rand random(1);
  for (std::size_t i = 0; i + 2 <= count; i += 2) {
    const auto number = static_cast<std::uint16_t>(random() >> 8);
    std::memcpy(bytes + i, &number, sizeof number);
  }
}

/// The table of a picture of pixel type 8 names the rows as they follow each other in memory, so that
/// everyone takes them in the same order.
devhost::Ref<REALpictureStruct> NewPicture(devhost::Host& host, const Size& size) {
  auto picture = host.NewPicture(size.width, size.height);
  if (!picture->rowTable.empty()) {
    std::ranges::sort(picture->rowTable.begin(), picture->rowTable.begin() + picture->height);
  }
  Randomise(FirstRow(*picture), Extent(*picture));
  return picture;
}

std::vector<std::int32_t> SomePalette(std::int32_t step) {
  std::vector<std::int32_t> values(256);
  for (std::size_t gray = 0; gray < values.size(); ++gray) {
    values[gray] = static_cast<std::int32_t>(gray) * step % 256;
  }
  return values;
}

template <typename Object>
std::intptr_t AddressOf(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

bool IsChannel(char letter) {
  return std::string_view("RGB").find(letter) != std::string_view::npos;
}

}  // namespace

Stage::Stage(const Case& one, const std::string& otherPlugin) : one_(one), host_(OptionsFor(one.pixelType)) {
  MakeObjects();
  DescribeTask();
  ComputeExpected();
  AddPlugin(Role::kPlugin, RASTEL_PLUGIN);
  if (!otherPlugin.empty()) {
    AddPlugin(Role::kOtherPlugin, otherPlugin);
  } else if (one_.size->isComparedWithOthers) {
    AddOthers();
  }
  for (Contestant& contestant : contestants) {
    Check(contestant);
  }
}

void Stage::MakeObjects() {
  picture_ = NewPicture(host_, *one_.size);
  host_.spare = picture_.get();
  if (one_.HasMask()) {
    mask_ = NewPicture(host_, *one_.size);
  }
  if (one_.row->overload == "Red as") {
    task_.weights = oracle::Weights{300, 200, 100};
  }
  if (one_.row->overload == "Red() as") {
    task_.palettes = oracle::Palettes{SomePalette(3), SomePalette(5), SomePalette(7)};
    for (std::size_t channel = 0; channel < 3; ++channel) {
      arrays_[channel] = host_.NewIntegerArray(*(*task_.palettes)[channel]);
    }
  }
}

void Stage::DescribeTask() {
  const Size& size = *one_.size;
  const std::string inPicture(oracle::PictureLayout(one_.pixelType));
  task_.width = size.width;
  task_.height = size.height;
  task_.source.layout = one_.MakesPicture() ? LayoutOfBuffer() : inPicture;
  task_.destination.layout = one_.MakesPicture() ? inPicture : LayoutOfBuffer();
  if (mask_) {
    task_.mask = {FirstRow(*mask_), static_cast<int>(mask_->rowBytes), inPicture};
  }
  const std::int32_t bufferStep = size.width * one_.row->step + (one_.MakesPicture() ? 0 : size.padding);
  // Room for the rows, and for half of the traffic.
  const double room = std::max(1.0 * bufferStep * size.height + size.offset, task_.Traffic() / 2);
  block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(room));
  Randomise(block_->bytes(), static_cast<std::size_t>(room));

  std::uint8_t* buffer = block_->bytes() + size.offset;
  const auto pictureStep = static_cast<int>(picture_->rowBytes);
  task_.source.first = one_.MakesPicture() ? buffer : FirstRow(*picture_);
  task_.source.rowStep = one_.MakesPicture() ? bufferStep : pictureStep;
  task_.destination.first = one_.MakesPicture() ? FirstRow(*picture_) : buffer;
  task_.destination.rowStep = one_.MakesPicture() ? pictureStep : bufferStep;
}

std::string Stage::LayoutOfBuffer() const {
  std::string layout = oracle::LayoutNamed(one_.row->method);
  if (one_.HasMask()) {
    std::ranges::replace(layout, 'A', 'M');
  }
  layout.resize(static_cast<std::size_t>(one_.row->step), 'X');
  return layout;
}

void Stage::ComputeExpected() {
  const auto bytes = static_cast<std::size_t>(task_.destination.bytes());
  const auto width = static_cast<std::size_t>(task_.width);
  expected_.assign(width * static_cast<std::size_t>(task_.height) * bytes, kBefore);
  const std::uint8_t alpha = one_.MakesPicture() ? oracle::PictureAlpha(one_.pixelType) : kOpaque;
  std::uint8_t* pixel = expected_.data();
  for (int y = 0; y < task_.height; ++y) {
    for (int x = 0; x < task_.width; ++x) {
      oracle::WritePixel(task_.destination.layout, task_.ColourAt(x, y), alpha, task_.MaskAt(x, y), pixel);
      pixel += bytes;
    }
  }
}

/// The host lets go of the plug-in that it has loaded before.
void Stage::AddPlugin(Role role, const std::string& file) {
  host_.Load(file);
  libraries_.emplace_back(dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD), dlclose);
  const auto method = std::ranges::find_if(host_.methods(), [&](const devhost::Registration& registered) {
    return registered.name == one_.row->method &&
           registered.declaration.find(one_.row->overload) != std::string::npos;
  });
  if (method == host_.methods().end()) {
    throw std::runtime_error(file + " has no method for " + one_.Name());
  }
  contestants.emplace_back(role, role == Role::kPlugin ? "plug-in" : "other plug-in", CallOf(*method));
}

Stage::Word Stage::ArgumentFor(std::string_view parameter) const {
  const auto ofChannel = [this](std::size_t channel) {
    return task_.weights ? (*task_.weights)[channel] : AddressOf(arrays_[channel].get());
  };
  const std::map<std::string_view, Word> words = {
      {"ref", AddressOf(picture_.get())},
      {"dest", AddressOf(picture_.get())},
      {"source", AddressOf(block_->bytes())},
      {"destination", AddressOf(block_.get())},
      {"MaskForAlpha", AddressOf(mask_.get())},
      {"offset", one_.size->offset},
      {"width", task_.width},
      {"height", task_.height},
      {"PixelByteSize", one_.row->step},
      {"AlphaValue", kOpaque},
      {"FlipVertically", 0},
      {"StartLine", 0},
      {"EndLine", -1},
      {"Yield", 0},
      {"DestRowBytes", task_.destination.rowStep},
      // Their order counts, not their names.
      {"Red", ofChannel(0)},
      {"Blue", ofChannel(1)},
      {"Green", ofChannel(2)},
  };
  return words.at(parameter);
}

/// Each argument takes one word, and a method does not read more words than it declares.
std::function<void()> Stage::CallOf(const devhost::Registration& method) const {
  std::array<Word, 10> words{};
  std::ranges::transform(method.parameters, words.begin(),
                         [this](const devhost::Parameter& parameter) { return ArgumentFor(parameter.name); });
  using Function = Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
  const auto function = reinterpret_cast<Function>(method.function);
  // A picture comes with a reference.
  return [words, function, picture = picture_.get(), references = one_.MakesPicture() ? 1 : 0] {
    std::apply(function, words);
    picture->references -= references;
  };
}

void Stage::AddOthers() {
  contestants.emplace_back(
      Role::kMemcpy, "memcpy", [this] { CopyHalfTheTraffic(); }, kOnlySameTraffic);
  for (const auto findPeer : {YuvPeer, SwscalePeer, OpenCvPeer}) {
    if (const Peer peer = findPeer(task_)) {
      contestants.push_back(*peer);
    }
  }
}

/// Pictures can be shorter than half of the traffic: the mask follows, or the picture once more.
void Stage::CopyHalfTheTraffic() const {
  const auto half = static_cast<std::size_t>(task_.Traffic() / 2);
  const std::size_t bytes = std::min(half, Extent(*picture_));
  std::uint8_t* block = block_->bytes();
  std::uint8_t* picture = FirstRow(*picture_);
  if (one_.MakesPicture()) {
    std::memcpy(picture, block, bytes);
    std::memcpy(picture, block + bytes, half - bytes);
  } else {
    std::memcpy(block, picture, bytes);
    std::memcpy(block + bytes, mask_ ? FirstRow(*mask_) : picture, half - bytes);
  }
}

/// Only peers may write other bytes, and only where no channel is.
void Stage::Check(Contestant& contestant) const {
  const std::string& layout = task_.destination.layout;
  const auto rowBytes = static_cast<std::size_t>(task_.width) * layout.size();
  for (int y = 0; y < task_.height; ++y) {
    std::memset(task_.destination.At(0, y), kBefore, rowBytes);
  }
  TakeFirstTurn(contestant);
  const bool isChecked = contestant.hasSameBytes;
  const std::uint8_t* expected = expected_.data();
  for (int y = 0; y < task_.height && isChecked; ++y, expected += rowBytes) {
    const std::uint8_t* actual = task_.destination.At(0, y);
    for (std::size_t i = 0; i < rowBytes; ++i) {
      const bool isSame = actual[i] == expected[i];
      if (!isSame && (contestant.role != Role::kPeer || IsChannel(layout[i % layout.size()]))) {
        throw std::runtime_error(one_.Name() + ": " + contestant.name + " gives a wrong byte " +
                                 std::to_string(i) + " in row " + std::to_string(y));
      }
      contestant.hasSameBytes &= isSame;
    }
  }
}

}  // namespace bench
