#include <algorithm>

#include "devhost/state.h"

namespace devhost {
namespace {

std::uint8_t Blend(std::uint8_t above, std::uint8_t below, std::uint8_t transparency) {
  const int sum = above * (255 - transparency) + below * transparency;
  return static_cast<std::uint8_t>((sum + 127) / 255);
}

/// What the pixel `below` becomes when pixel (x, y) of `image` is drawn on it. White in the mask is
/// transparent.
Pixel Drawn(REALpictureStruct& image, std::int32_t x, std::int32_t y, Pixel below) {
  const Pixel pixel = image.At(x, y);
  REALpictureStruct* mask = image.mask;
  const bool masked = mask != nullptr && x < mask->width && y < mask->height;
  const std::uint8_t transparency = masked ? mask->At(x, y).green : std::uint8_t{0};
  return {Blend(pixel.red, below.red, transparency), Blend(pixel.green, below.green, transparency),
          Blend(pixel.blue, below.blue, transparency), below.fourth};
}

/// Positions that `count` pixels from `sourceStart` and from `targetStart` on both have: a first and an end.
struct Span {
  std::int64_t first, end;
};

Span Common(std::int32_t count, std::int32_t sourceStart, std::int32_t sourceSize, std::int32_t targetStart,
            std::int32_t targetSize) {
  const std::int64_t source = sourceStart;
  const std::int64_t target = targetStart;
  return {std::max({std::int64_t{0}, -source, -target}),
          std::min({std::int64_t{count}, sourceSize - source, targetSize - target})};
}

}  // namespace

void DrawPicture(REALobjectStruct* graphics, REALpictureStruct* image, std::int32_t x, std::int32_t y,
                 std::int32_t w, std::int32_t h, std::int32_t sx, std::int32_t sy, std::int32_t sw,
                 std::int32_t sh) {
  auto* canvas = RequireAs<GraphicsObject>(graphics);
  if (canvas == nullptr || Require(image) == nullptr) {
    return;
  }
  if (w != sw || h != sh) {
    Complain("only unscaled drawing is known");
    return;
  }
  REALpictureStruct& target = *canvas->picture;
  const Span columns = Common(w, sx, image->width, x, target.width);
  const Span rows = Common(h, sy, image->height, y, target.height);
  for (std::int64_t row = rows.first; row < rows.end; ++row) {
    for (std::int64_t column = columns.first; column < columns.end; ++column) {
      const auto targetX = static_cast<std::int32_t>(x + column);
      const auto targetY = static_cast<std::int32_t>(y + row);
      const auto sourceX = static_cast<std::int32_t>(sx + column);
      const auto sourceY = static_cast<std::int32_t>(sy + row);
      target.Set(targetX, targetY, Drawn(*image, sourceX, sourceY, target.At(targetX, targetY)));
    }
  }
}

}  // namespace devhost
