#include "devhost/program/sheet.h"

#include <algorithm>
#include <vector>

#include "devhost/program/failure.h"
#include "devhost/program/layout.h"

namespace devhost::program {
namespace {

constexpr std::int32_t kTile = 128;  // pixels of a tile's sides
constexpr std::int32_t kGap = 4;
constexpr std::int32_t kColumns = 5;
constexpr std::int32_t kCheck = 8;  // pixels of a square of the ground that shows through

/// The middle of a picture, made smaller by a whole number.
Image Thumbnail(const std::string& path) {
  const Image image = ReadImage(path);
  const std::int32_t factor = std::min(image.width, image.height) / kTile;
  if (factor == 0) {
    const std::string side = std::to_string(kTile);
    throw Failure(Status::kFile, path + ": expected a picture of at least " + side + "x" + side);
  }
  const std::int32_t left = (image.width - factor * kTile) / 2, top = (image.height - factor * kTile) / 2;
  Image small(kTile, kTile);
  for (std::int32_t y = 0; y < kTile; ++y) {
    for (std::int32_t x = 0; x < kTile; ++x) {
      std::int32_t red = 0, green = 0, blue = 0;
      for (std::int32_t i = 0; i < factor * factor; ++i) {
        const Rgba& pixel = image.At(left + x * factor + i % factor, top + y * factor + i / factor);
        red += pixel.red;
        green += pixel.green;
        blue += pixel.blue;
      }
      const auto mean = [&](std::int32_t sum) { return static_cast<std::uint8_t>(sum / factor / factor); };
      small.At(x, y) = {mean(red), mean(green), mean(blue), 255};
    }
  }
  return small;
}

/// What an image looks like on a checkered ground.
Image OnGround(const Image& image) {
  Image shown = image;
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      const int ground = (x / kCheck + y / kCheck) % 2 == 0 ? 255 : 200;
      const Rgba& pixel = image.At(x, y);
      const auto blend = [&](int channel) {
        return static_cast<std::uint8_t>((channel * pixel.alpha + ground * (255 - pixel.alpha)) / 255);
      };
      shown.At(x, y) = {blend(pixel.red), blend(pixel.green), blend(pixel.blue), 255};
    }
  }
  return shown;
}

/// White outside a circle: transparent there, as a mask.
Image Circle() {
  Image circle(kTile, kTile);
  for (std::int32_t y = 0; y < kTile; ++y) {
    for (std::int32_t x = 0; x < kTile; ++x) {
      const std::int32_t u = 2 * x - kTile, v = 2 * y - kTile;
      const std::uint8_t value = u * u + v * v < kTile * kTile ? 0 : 255;
      circle.At(x, y) = {value, value, value, 255};
    }
  }
  return circle;
}

/// Sends the thumbnail through methods.
class Studio {
 public:
  Studio(Host& host, PixelFormat format, const std::string& in)
      : host_(host),
        photo_(Thumbnail(in)),
        picture_(MakePicture(host, photo_, format)),
        mask_(MakePicture(host, Circle(), format)) {}

  std::vector<Image> Tiles() {
    const auto array = [&](int from, int to) {
      std::vector<std::int32_t> elements;
      for (int gray = 0; gray < 256; ++gray) {
        elements.push_back(from + (to - from) * gray / 255);
      }
      return host_.NewIntegerArray(elements);
    };
    const auto red = array(20, 255), green = array(-120, 255), blue = array(110, 90);
    return {ToPicture("RGB", {}),
            ToPicture("RGBA", {true}),
            ToPicture("gray", {1}),
            ToPicture("gray", {1, 270, 215, 160}),
            ToPicture("gray", {1, red.get(), green.get(), blue.get()}),
            ToBuffer("XRGB", "ARGB", {}),
            ToBuffer("BGRA", "BGRA", {110}),
            ToBuffer("RGBA", "RGBA", {mask_.get()}),
            ToBuffer("R", "R", {1}),
            ToBuffer("B", "B", {1})};
  }

 private:
  CallResult Call(const std::string& method, std::vector<Value> arguments,
                  const std::vector<Value>& further) {
    arguments.insert(arguments.end(), further.begin(), further.end());
    CallResult result = host_.Call(method, arguments);
    if (!result.picture && !result.boolean) {
      throw Failure(Status::kDifferent, method + " did not do its work");
    }
    return result;
  }

  Image ToPicture(const std::string& name, const std::vector<Value>& further) {
    const Layout& layout = LayoutNamed(name);
    const auto bytes = Pack(photo_, layout);
    const auto block = host_.NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
    std::ranges::copy(bytes, block->bytes());
    const auto result =
        Call("Memoryblock" + std::string(layout.toPicture), {block.get(), 0, kTile, kTile}, further);
    Image image = ImageOf(*result.picture);
    for (Rgba& pixel : image.pixels) {
      pixel.alpha = 255;
    }
    return image;
  }

  /// `shownAs` is the layout in which the bytes are then looked at. The block holds a slope before.
  Image ToBuffer(const std::string& name, const std::string& shownAs, const std::vector<Value>& further) {
    const Layout& layout = LayoutNamed(name);
    const std::int32_t rowBytes = kTile * layout.pixelBytes;
    const auto block = host_.NewMemoryBlock(rowBytes * kTile);
    for (std::int32_t i = 0; i < block->size; ++i) {
      block->bytes()[i] = static_cast<std::uint8_t>(255 - i % rowBytes * 255 / rowBytes);
    }
    Call(std::string(layout.toBuffer), {picture_.get(), block.get(), 0}, further);
    const std::vector<std::uint8_t> bytes(block->bytes(), block->bytes() + block->size);
    return OnGround(Unpack(bytes, rowBytes, kTile, kTile, LayoutNamed(shownAs)));
  }

  Host& host_;
  Image photo_;
  Ref<REALpictureStruct> picture_, mask_;
};

}  // namespace

void WriteSheet(const HostSettings& settings, const std::string& in, const std::string& out) {
  const auto host = OpenHost(settings);
  const auto tiles = Studio(*host, SourceFormat(settings), in).Tiles();
  const auto rows = static_cast<std::int32_t>(tiles.size()) / kColumns;
  Image sheet(kColumns * (kTile + kGap) - kGap, rows * (kTile + kGap) - kGap);
  std::int32_t number = 0;
  for (const Image& tile : tiles) {
    const std::int32_t left = number % kColumns * (kTile + kGap), top = number / kColumns * (kTile + kGap);
    for (std::int32_t y = 0; y < kTile; ++y) {
      for (std::int32_t x = 0; x < kTile; ++x) {
        sheet.At(left + x, top + y) = tile.At(x, y);
      }
    }
    ++number;
  }
  WriteImage(out, sheet);
}

}  // namespace devhost::program
