#include <pixman.h>

#include <memory>
#include <optional>

#include "bench/peers.h"

namespace bench {
namespace {

using rastel::pixels::Layout;

/// Without alpha where pixels are read: the alpha that is written is 255 then. Pixman names words.
std::optional<pixman_format_code_t> FormatOf(Layout layout, bool isSource) {
  switch (layout) {
    case Layout::kRGB:
      return PIXMAN_b8g8r8;
    case Layout::kBGR:
      return PIXMAN_r8g8b8;
    case Layout::kARGB:
      return isSource ? PIXMAN_b8g8r8x8 : PIXMAN_b8g8r8a8;
    case Layout::kABGR:
      return isSource ? PIXMAN_r8g8b8x8 : PIXMAN_r8g8b8a8;
    case Layout::kRGBA:
      return isSource ? PIXMAN_x8b8g8r8 : PIXMAN_a8b8g8r8;
    case Layout::kBGRA:
      return isSource ? PIXMAN_x8r8g8b8 : PIXMAN_a8r8g8b8;
    default:
      return std::nullopt;
  }
}

/// Null where the rows do not lie on whole words.
std::shared_ptr<pixman_image_t> Wrap(const PeerTask& task, Layout layout, bool isSource,
                                     const std::uint8_t* bytes, int step) {
  const auto format = FormatOf(layout, isSource);
  if (!format || step % 4 != 0 || reinterpret_cast<std::uintptr_t>(bytes) % 4 != 0) {
    return nullptr;
  }
  auto* words = reinterpret_cast<std::uint32_t*>(const_cast<std::uint8_t*>(bytes));
  return {pixman_image_create_bits_no_clear(*format, task.Width(), task.Height(), words, step),
          pixman_image_unref};
}

void Add(const PeerTask& task, std::vector<Peer>& peers) {
  const auto from = Wrap(task, task.conversion.from, true, task.rows.source.first, task.SourceStep());
  const auto to = Wrap(task, task.conversion.to, false, task.rows.destination.first, task.DestinationStep());
  if (!task.IsPlain() || from == nullptr || to == nullptr) {
    return;
  }
  peers.push_back({"pixman", Claim::kSameColours, [&task, from, to] {
                     pixman_image_composite32(PIXMAN_OP_SRC, from.get(), nullptr, to.get(), 0, 0, 0, 0, 0, 0,
                                              task.Width(), task.Height());
                   }});
}

const PeerLibrary library("pixman", Add);

}  // namespace
}  // namespace bench
