#include <SDL.h>

#include "bench/peers.h"

namespace bench {
namespace {

using rastel::pixels::Layout;

/// Without alpha where pixels are read: the alpha that is written is 255 then. SDL names words, too, for four
/// bytes.
std::uint32_t FormatOf(Layout layout, bool isSource) {
  switch (layout) {
    case Layout::kRGB:
      return SDL_PIXELFORMAT_RGB24;
    case Layout::kBGR:
      return SDL_PIXELFORMAT_BGR24;
    case Layout::kARGB:
      return isSource ? SDL_PIXELFORMAT_BGRX8888 : SDL_PIXELFORMAT_BGRA8888;
    case Layout::kABGR:
      return isSource ? SDL_PIXELFORMAT_RGBX8888 : SDL_PIXELFORMAT_RGBA8888;
    case Layout::kRGBA:
      return isSource ? SDL_PIXELFORMAT_XBGR8888 : SDL_PIXELFORMAT_ABGR8888;
    case Layout::kBGRA:
      return isSource ? SDL_PIXELFORMAT_XRGB8888 : SDL_PIXELFORMAT_ARGB8888;
    default:
      return SDL_PIXELFORMAT_UNKNOWN;
  }
}

void Add(const PeerTask& task, std::vector<Peer>& peers) {
  const std::uint32_t from = FormatOf(task.conversion.from, true);
  const std::uint32_t to = FormatOf(task.conversion.to, false);
  if (!task.IsPlain() || from == SDL_PIXELFORMAT_UNKNOWN || to == SDL_PIXELFORMAT_UNKNOWN) {
    return;
  }
  peers.push_back({"SDL2", Claim::kSameColours, [&task, from, to] {
                     SDL_ConvertPixels(task.Width(), task.Height(), from, task.rows.source.first,
                                       task.SourceStep(), to, task.rows.destination.first,
                                       task.DestinationStep());
                   }});
}

const PeerLibrary library("SDL2", Add);

}  // namespace
}  // namespace bench
