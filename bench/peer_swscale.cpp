extern "C" {
#include <libswscale/swscale.h>
}

#include <array>
#include <map>
#include <memory>

#include "bench/peers.h"

namespace bench {
namespace {

/// By gray value, as words of alpha, red, green, blue.
std::array<std::uint32_t, 256> PaletteOf(const Task& task) {
  std::array<std::uint32_t, 256> palette{};
  for (std::size_t gray = 0; task.IsLookedUp() && gray < palette.size(); ++gray) {
    palette[gray] = 0xFF;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      palette[gray] = palette[gray] << 8 | task.LookUp(channel, static_cast<std::uint8_t>(gray));
    }
  }
  return palette;
}

}  // namespace

Peer SwscalePeer(const Task& task) {
  // Sources whose alpha is not read: what is written is 255 then.
  static const std::map<std::string, std::pair<AVPixelFormat, AVPixelFormat>> formats = {
      {"RGB to ARGB", {AV_PIX_FMT_RGB24, AV_PIX_FMT_ARGB}},
      {"RGB to BGRA", {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA}},
      {"RGB to RGBA", {AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA}},
      {"ARGB to RGB", {AV_PIX_FMT_0RGB, AV_PIX_FMT_RGB24}},
      {"RGBA to RGB", {AV_PIX_FMT_RGB0, AV_PIX_FMT_RGB24}},
      {"BGRA to RGB", {AV_PIX_FMT_BGR0, AV_PIX_FMT_RGB24}},
      {"Y to ARGB", {AV_PIX_FMT_GRAY8, AV_PIX_FMT_ARGB}},
      {"Y to RGB", {AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24}},
      {"Y to BGRA", {AV_PIX_FMT_GRAY8, AV_PIX_FMT_BGRA}},
  };
  const auto found = formats.find(task.Layouts());
  if (found == formats.end()) {
    return std::nullopt;
  }
  const AVPixelFormat from = task.IsLookedUp() ? AV_PIX_FMT_PAL8 : found->second.first;
  const std::shared_ptr<SwsContext> context(
      sws_getContext(task.width, task.height, from, task.width, task.height, found->second.second, SWS_POINT,
                     nullptr, nullptr, nullptr),
      sws_freeContext);
  return Contestant(Role::kPeer, "libswscale", [&task, context, palette = PaletteOf(task)] {
    const std::uint8_t* sources[4] = {task.source.first,
                                      reinterpret_cast<const std::uint8_t*>(palette.data())};
    const int sourceSteps[4] = {task.source.rowStep, 4};
    std::uint8_t* destinations[4] = {task.destination.first};
    const int destinationSteps[4] = {task.destination.rowStep};
    sws_scale(context.get(), sources, sourceSteps, 0, task.height, destinations, destinationSteps);
  });
}

}  // namespace bench
