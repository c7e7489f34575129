#include "pixels/convert.h"

#include "pixels/address.h"

namespace rastel::pixels {
namespace {

/// Where one byte of a destination pixel comes from.
struct ByteRule {
  int sourceByte = Layout::kAbsent;     // the offset in the source pixel, if it is a channel's byte
  const std::uint8_t* table = nullptr;  // what the source byte is looked up in, if in anything
};

ByteRule RuleFor(const Conversion& conversion, int byte) {
  const Layout& from = conversion.from;
  const Layout& to = conversion.to;
  const ChannelTables* tables = conversion.tables;
  if (byte == to.red) {
    return {from.red, tables == nullptr ? nullptr : tables->red.data()};
  }
  if (byte == to.green) {
    return {from.green, tables == nullptr ? nullptr : tables->green.data()};
  }
  if (byte == to.blue) {
    return {from.blue, tables == nullptr ? nullptr : tables->blue.data()};
  }
  return {};
}

struct Pixel {
  std::uint8_t* destination;
  const std::uint8_t* source;
  const std::uint8_t* mask;
};

void ConvertPixel(const Conversion& conversion, const std::array<ByteRule, 4>& rules, const Pixel& pixel) {
  std::array<std::uint8_t, 4> bytes{};
  for (int i = 0; i < conversion.to.bytes; ++i) {
    const ByteRule& rule = rules[i];
    if (rule.sourceByte == Layout::kAbsent) {
      bytes[i] = conversion.rest == Rest::kFill       ? conversion.fill
                 : conversion.rest == Rest::kFromMask ? 255 - pixel.mask[conversion.mask.green]
                                                      : pixel.destination[i];
    } else {
      const std::uint8_t byte = pixel.source[rule.sourceByte];
      bytes[i] = rule.table == nullptr ? byte : rule.table[byte];
    }
  }
  for (int i = 0; i < conversion.to.bytes; ++i) {
    pixel.destination[i] = bytes[i];
  }
}

}  // namespace

void Convert(const Conversion& conversion, const Rows& rows) {
  std::array<ByteRule, 4> rules;
  for (int i = 0; i < conversion.to.bytes; ++i) {
    rules[i] = RuleFor(conversion, i);
  }
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    std::uint8_t* destination = At(rows.destination, y, rows.destinationStep);
    const std::uint8_t* source = At(rows.source, y, rows.sourceStep);
    const std::uint8_t* mask = At(rows.mask, y, rows.maskStep);
    for (std::ptrdiff_t x = 0; x < rows.width; ++x) {
      ConvertPixel(conversion, rules,
                   {At(destination, x, conversion.toStep), At(source, x, conversion.fromStep),
                    At(mask, x, conversion.mask.bytes)});
    }
  }
}

}  // namespace rastel::pixels
