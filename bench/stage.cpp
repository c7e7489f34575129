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

using rastel::abi::HostType;

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

Stage::Stage(const Case& one, std::span<const std::string> plugins)
    : one_(one), host_(OptionsFor(one.pixelType)) {
  for (const std::string& plugin : plugins) {
    Load(plugin);
  }
  declaration_ = rastel::abi::ParseDeclaration(methods_.front().declaration).value();
  makesPicture_ = declaration_.result == HostType::kPicture;
  MakeObjects();
  DescribeTask();
  ComputeExpected();
  AddContestants();
}

/// The host lets go of the plug-in that it has loaded before.
void Stage::Load(const std::string& plugin) {
  host_.Load(plugin);
  libraries_.emplace_back(dlopen(plugin.c_str(), RTLD_NOW | RTLD_NOLOAD), dlclose);
  const std::string start = one_.row->method + std::string("(");
  const auto method = std::ranges::find_if(host_.methods(), [&](const devhost::Registration& registered) {
    const std::string& declaration = registered.declaration;
    return declaration.starts_with(start) && declaration.find(one_.row->overload) != std::string::npos;
  });
  if (method == host_.methods().end()) {
    throw std::runtime_error(plugin + " has no method for " + one_.Name());
  }
  methods_.push_back(*method);
}

bool Stage::Has(std::string_view parameter, HostType type) const {
  return std::ranges::any_of(declaration_.parameters, [&](const rastel::abi::Parameter& declared) {
    return declared.name == parameter && declared.type == type;
  });
}

void Stage::MakeObjects() {
  picture_ = NewPicture(host_, *one_.size);
  host_.spare = picture_.get();
  if (Has("MaskForAlpha", HostType::kPicture)) {
    mask_ = NewPicture(host_, *one_.size);
  }
  if (Has("Red", HostType::kInteger)) {
    task_.weights = oracle::Weights{300, 200, 100};
  }
  if (Has("Red", HostType::kIntegerArray)) {
    task_.palettes = oracle::Palettes{SomePalette(3), SomePalette(5), SomePalette(7)};
    for (std::size_t channel = 0; channel < 3; ++channel) {
      arrays_[channel] = host_.NewIntegerArray(*(*task_.palettes)[channel]);
    }
  }
}

void Stage::DescribeTask() {
  const Size& size = *one_.size;
  const std::string inBuffer = one_.Layout();
  const std::string inPicture(oracle::PictureLayout(one_.pixelType));
  task_.width = size.width;
  task_.height = size.height;
  task_.source.layout = makesPicture_ ? inBuffer : inPicture;
  task_.destination.layout = makesPicture_ ? inPicture : inBuffer;
  if (mask_) {
    task_.mask = {FirstRow(*mask_), static_cast<int>(mask_->rowBytes), inPicture};
  }
  const std::int32_t bufferStep = size.width * one_.row->step + (makesPicture_ ? 0 : size.padding);
  // Room for the rows, and for half of the traffic.
  const double room = std::max(1.0 * bufferStep * size.height + size.offset, task_.Traffic() / 2);
  block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(room));
  Randomise(block_->bytes(), static_cast<std::size_t>(room));

  std::uint8_t* buffer = block_->bytes() + size.offset;
  task_.source.first = makesPicture_ ? buffer : FirstRow(*picture_);
  task_.source.rowStep = makesPicture_ ? bufferStep : static_cast<int>(picture_->rowBytes);
  task_.destination.first = makesPicture_ ? FirstRow(*picture_) : buffer;
  task_.destination.rowStep = makesPicture_ ? static_cast<int>(picture_->rowBytes) : bufferStep;
}

void Stage::ComputeExpected() {
  const auto bytes = static_cast<std::size_t>(task_.destination.bytes());
  const auto width = static_cast<std::size_t>(task_.width);
  expected_.assign(width * static_cast<std::size_t>(task_.height) * bytes, kBefore);
  const std::uint8_t alpha = makesPicture_ ? oracle::PictureAlpha(one_.pixelType) : kOpaque;
  std::uint8_t* pixel = expected_.data();
  for (int y = 0; y < task_.height; ++y) {
    for (int x = 0; x < task_.width; ++x) {
      oracle::WritePixel(task_.destination.layout, task_.ColourAt(x, y), alpha, task_.MaskAt(x, y), pixel);
      pixel += bytes;
    }
  }
}

void Stage::AddContestants() {
  contestants.emplace_back(Role::kPlugin, "plug-in", CallOf(methods_[0]));
  if (methods_.size() > 1) {
    contestants.emplace_back(Role::kOtherPlugin, "other plug-in", CallOf(methods_[1]));
  } else if (one_.size->isComparedWithOthers) {
    contestants.emplace_back(
        Role::kMemcpy, "memcpy", [this] { CopyHalfTheTraffic(); }, false);
    AddYuv(task_, contestants);
    AddSwscale(task_, contestants);
    AddOpenCv(task_, contestants);
  }
  for (Contestant& contestant : contestants) {
    Check(contestant);
  }
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
  for (std::size_t i = 0; i < declaration_.parameterCount; ++i) {
    words.at(i) = ArgumentFor(declaration_.parameters[i].name);
  }
  using Function = Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
  const auto function = reinterpret_cast<Function>(method.function);
  // A picture comes with a reference.
  return [words, function, picture = picture_.get(), references = makesPicture_ ? 1 : 0] {
    std::apply(function, words);
    picture->references -= references;
  };
}

/// Pictures can be shorter than half of the traffic: the mask follows, or the picture once more.
void Stage::CopyHalfTheTraffic() const {
  const auto half = static_cast<std::size_t>(task_.Traffic() / 2);
  const std::size_t bytes = std::min(half, Extent(*picture_));
  std::uint8_t* block = block_->bytes();
  std::uint8_t* picture = FirstRow(*picture_);
  if (makesPicture_) {
    std::memcpy(picture, block, bytes);
    std::memcpy(picture, block + bytes, half - bytes);
  } else {
    std::memcpy(block, picture, bytes);
    std::memcpy(block + bytes, mask_ ? FirstRow(*mask_) : picture, half - bytes);
  }
}

void Stage::Check(Contestant& contestant) const {
  const auto rows = static_cast<std::size_t>(task_.height - 1);
  const std::size_t rowBytes = expected_.size() / (rows + 1);
  std::memset(task_.destination.first, kBefore,
              rows * static_cast<std::size_t>(task_.destination.rowStep) + rowBytes);
  TakeFirstTurn(contestant);
  const bool isChecked = contestant.hasSameBytes;
  for (int y = 0; y < task_.height && isChecked; ++y) {
    contestant.hasSameBytes &= IsRowSame(contestant, y);
  }
}

/// Only peers may write other bytes, and only where no channel is.
bool Stage::IsRowSame(const Contestant& contestant, int y) const {
  const std::string& layout = task_.destination.layout;
  const std::size_t rowBytes = expected_.size() / static_cast<std::size_t>(task_.height);
  const std::uint8_t* actual = task_.destination.first + std::ptrdiff_t{y} * task_.destination.rowStep;
  const std::uint8_t* expected = expected_.data() + static_cast<std::size_t>(y) * rowBytes;
  if (std::memcmp(actual, expected, rowBytes) == 0) {
    return true;
  }
  for (std::size_t i = 0; i < rowBytes; ++i) {
    const bool mayDiffer = contestant.role == Role::kPeer && !IsChannel(layout[i % layout.size()]);
    if (actual[i] != expected[i] && !mayDiffer) {
      throw std::runtime_error(one_.Name() + ": " + contestant.name + " gives a wrong byte " +
                               std::to_string(i) + " in row " + std::to_string(y));
    }
  }
  return false;
}

}  // namespace bench
