// libyuv names words, so its ARGB lies in memory as blue, green, red, alpha. Red and blue may be exchanged on
// both sides of any function.
#include <libyuv.h>

#include <array>
#include <map>

#include "bench/peers.h"

namespace bench {
namespace {

using YuvFunction = int (*)(const std::uint8_t*, int, std::uint8_t*, int, int, int);

std::function<void()> Run(const Task& task, YuvFunction function) {
  return [&task, function] {
    function(task.source.first, task.source.rowStep, task.destination.first, task.destination.rowStep,
             task.width, task.height);
  };
}

/// Gray goes to all channels. Alpha comes from a byte of the source that is no channel.
std::function<void()> Shuffle(const Task& task) {
  const std::string& from = task.source.layout;
  const bool isGray = from.starts_with('Y');
  std::array<std::uint8_t, 16> shuffler;
  for (std::size_t i = 0; i < shuffler.size(); ++i) {
    const char letter = task.destination.layout[i % 4];
    const char read = isGray ? (letter == 'A' ? 'X' : 'Y') : letter;
    shuffler[i] = static_cast<std::uint8_t>(i - i % 4 + from.find(read));
  }
  return [&task, shuffler] {
    libyuv::ARGBShuffle(task.source.first, task.source.rowStep, task.destination.first,
                        task.destination.rowStep, shuffler.data(), task.width, task.height);
  };
}

std::function<void()> ColorMatrix(const Task& task) {
  static constexpr std::int8_t kMatrix[16] = {50, 0, 0, 0, 0, 60, 0, 0, 0, 0, 70, 0, 0, 0, 0, 64};
  return [&task] {
    libyuv::ARGBColorMatrix(task.source.first, task.source.rowStep, task.destination.first,
                            task.destination.rowStep, kMatrix, task.width, task.height);
  };
}

std::function<void()> Sum(const Task& task) {
  return [&task] {
    libyuv::ARGBAdd(task.source.first, task.source.rowStep, task.mask.first, task.mask.rowStep,
                    task.destination.first, task.destination.rowStep, task.width, task.height);
  };
}

}  // namespace

Peer YuvPeer(const Task& task) {
  static const std::map<std::string, std::pair<const char*, YuvFunction>> functions = {
      {"RGB to BGRA", {"libyuv RAWToARGB", libyuv::RAWToARGB}},
      {"RGB to RGBA", {"libyuv RGB24ToARGB", libyuv::RGB24ToARGB}},
      {"RGBA to RGB", {"libyuv ARGBToRGB24", libyuv::ARGBToRGB24}},
      {"BGRA to RGB", {"libyuv ARGBToRAW", libyuv::ARGBToRAW}},
      {"RGB to BGR", {"libyuv RAWToRGB24", libyuv::RAWToRGB24}},
      {"BGR to RGB", {"libyuv RAWToRGB24", libyuv::RAWToRGB24}},
  };
  if (const auto entry = functions.find(task.Layouts()); entry != functions.end()) {
    return Contestant(Role::kPeer, entry->second.first, Run(task, entry->second.second));
  }
  const std::string& to = task.destination.layout;
  if (task.source.bytes() != 4) {
    return std::nullopt;
  }
  if (task.IsPlain() && to.size() == 4) {
    return Contestant(Role::kPeer, "libyuv ARGBShuffle", Shuffle(task));
  }
  if (task.weights && to.size() == 4) {
    return Contestant(Role::kPeer, "libyuv ARGBColorMatrix", ColorMatrix(task), kOnlySameTraffic);
  }
  if (task.HasMask()) {
    return Contestant(Role::kPeer, "libyuv ARGBAdd", Sum(task), kOnlySameTraffic);
  }
  if (to == "R") {
    return Contestant(Role::kPeer, "libyuv ARGBExtractAlpha", Run(task, libyuv::ARGBExtractAlpha),
                      kOnlySameTraffic);
  }
  if (to == "RXXX") {
    return Contestant(Role::kPeer, "libyuv ARGBCopyAlpha", Run(task, libyuv::ARGBCopyAlpha),
                      kOnlySameTraffic);
  }
  return std::nullopt;
}

}  // namespace bench
