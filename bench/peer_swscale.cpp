extern "C" {
#include <libswscale/swscale.h>
}

#include <array>
#include <memory>

#include "bench/peers.h"

namespace bench {
namespace {

using rastel::pixels::Layout;

/// Without alpha where pixels are read: the alpha that is written is 255 then.
AVPixelFormat FormatOf(Layout layout, bool isSource) {
  switch (layout) {
    case Layout::kRGB:
      return AV_PIX_FMT_RGB24;
    case Layout::kBGR:
      return AV_PIX_FMT_BGR24;
    case Layout::kARGB:
      return isSource ? AV_PIX_FMT_0RGB : AV_PIX_FMT_ARGB;
    case Layout::kABGR:
      return isSource ? AV_PIX_FMT_0BGR : AV_PIX_FMT_ABGR;
    case Layout::kRGBA:
      return isSource ? AV_PIX_FMT_RGB0 : AV_PIX_FMT_RGBA;
    case Layout::kBGRA:
      return isSource ? AV_PIX_FMT_BGR0 : AV_PIX_FMT_BGRA;
    default:
      return AV_PIX_FMT_GRAY8;
  }
}

/// Red, green and blue by gray value, as words of alpha, red, green, blue.
std::array<std::uint32_t, 256> PaletteOf(const rastel::pixels::Conversion& conversion) {
  std::array<std::uint32_t, 256> palette;
  for (std::uint32_t gray = 0; gray < 256; ++gray) {
    palette[gray] = 0xFF;
    for (int channel = 0; channel < 3; ++channel) {
      const std::uint32_t value = conversion.tables != nullptr
                                      ? conversion.tables->values[channel][gray]
                                      : std::min(255U, gray * conversion.weights->values[channel] / 256);
      palette[gray] = palette[gray] << 8 | value;
    }
  }
  return palette;
}

void Add(const PeerTask& task, std::vector<Peer>& peers) {
  const auto& conversion = task.conversion;
  const bool isLookedUp = conversion.tables != nullptr || conversion.weights != nullptr;
  const bool isPacked = conversion.fromStep == rastel::pixels::ChannelsOf(conversion.from).bytes;
  if (conversion.rest != rastel::pixels::Rest::kFill || conversion.to == Layout::kRed || !isPacked) {
    return;
  }
  const AVPixelFormat from = isLookedUp ? AV_PIX_FMT_PAL8 : FormatOf(conversion.from, true);
  const std::shared_ptr<SwsContext> context(
      sws_getContext(task.Width(), task.Height(), from, task.Width(), task.Height(),
                     FormatOf(conversion.to, false), SWS_POINT, nullptr, nullptr, nullptr),
      sws_freeContext);
  std::array<std::uint32_t, 256> palette{};
  if (isLookedUp) {
    palette = PaletteOf(conversion);
  }
  peers.push_back({"libswscale", Claim::kSameColours, [&task, context, palette] {
                     const std::uint8_t* sources[4] = {task.rows.source.first,
                                                       reinterpret_cast<const std::uint8_t*>(palette.data())};
                     const int sourceSteps[4] = {task.SourceStep(), 4};
                     std::uint8_t* destinations[4] = {task.rows.destination.first};
                     const int destinationSteps[4] = {task.DestinationStep()};
                     sws_scale(context.get(), sources, sourceSteps, 0, task.Height(), destinations,
                               destinationSteps);
                   }});
}

const PeerLibrary library("libswscale", Add);

}  // namespace
}  // namespace bench
