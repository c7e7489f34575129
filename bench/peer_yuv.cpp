// libyuv names words, so its ARGB lies in memory as blue, green, red, alpha.
#include <libyuv.h>

#include <array>
#include <optional>

#include "bench/peers.h"

namespace bench {
namespace {

using rastel::pixels::Channels;
using rastel::pixels::ChannelsOf;

using Function = int (*)(const std::uint8_t*, int, std::uint8_t*, int, int, int);

/// A conversion by where red, green and blue go from and to. Both sides may have red and blue exchanged.
struct Entry {
  const char* name;
  Channels from;
  Channels to;
  Function function;
};

constexpr Entry kEntries[] = {
    {"RAWToARGB", {3, 0, 1, 2}, {4, 2, 1, 0}, libyuv::RAWToARGB},
    {"RGB24ToARGB", {3, 2, 1, 0}, {4, 2, 1, 0}, libyuv::RGB24ToARGB},
    {"RAWToRGBA", {3, 0, 1, 2}, {4, 3, 2, 1}, libyuv::RAWToRGBA},
    {"ARGBToRGB24", {4, 2, 1, 0}, {3, 2, 1, 0}, libyuv::ARGBToRGB24},
    {"ARGBToRAW", {4, 2, 1, 0}, {3, 0, 1, 2}, libyuv::ARGBToRAW},
    {"RAWToRGB24", {3, 0, 1, 2}, {3, 2, 1, 0}, libyuv::RAWToRGB24},
    {"J400ToARGB", {1, 0, 0, 0}, {4, 2, 1, 0}, libyuv::J400ToARGB},
};

bool AreSame(const Channels& a, const Channels& b, bool exchanged) {
  return a.bytes == b.bytes && a.green == b.green && a.red == (exchanged ? b.blue : b.red) &&
         a.blue == (exchanged ? b.red : b.blue);
}

Peer Make(const char* name, Claim claim, const PeerTask& task, Function function) {
  return {std::string("libyuv ") + name, claim, [&task, function] {
            function(task.rows.source.first, task.SourceStep(), task.rows.destination.first,
                     task.DestinationStep(), task.Width(), task.Height());
          }};
}

void AddShuffle(const PeerTask& task, const Channels& from, const Channels& to, std::vector<Peer>& peers) {
  std::array<std::uint8_t, 16> shuffler;
  for (int i = 0; i < 16; ++i) {
    const int byte = i % 4;
    const int alpha = 6 - from.red - from.green - from.blue;
    const int source = byte == to.red     ? from.red
                       : byte == to.green ? from.green
                       : byte == to.blue  ? from.blue
                                          : (alpha < 4 ? alpha : 3);
    shuffler[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i - byte + source);
  }
  peers.push_back({"libyuv ARGBShuffle", Claim::kSameColours, [&task, shuffler] {
                     libyuv::ARGBShuffle(task.rows.source.first, task.SourceStep(),
                                         task.rows.destination.first, task.DestinationStep(), shuffler.data(),
                                         task.Width(), task.Height());
                   }});
}

void AddPlain(const PeerTask& task, Channels from, const Channels& to, std::vector<Peer>& peers) {
  from.bytes = static_cast<int>(task.conversion.fromStep);
  if (from.bytes == 4 && to.bytes == 4) {
    return AddShuffle(task, from, to, peers);
  }
  for (const Entry& entry : kEntries) {
    for (const bool exchanged : {false, true}) {
      if (AreSame(entry.from, from, exchanged) && AreSame(entry.to, to, exchanged)) {
        peers.push_back(Make(entry.name, Claim::kSameColours, task, entry.function));
        return;
      }
    }
  }
  if (from.bytes == 1 && to.bytes == 4) {
    peers.push_back(Make("J400ToARGB", Claim::kSameTraffic, task, libyuv::J400ToARGB));
  }
}

void AddWeights(const PeerTask& task, std::vector<Peer>& peers) {
  static constexpr std::int8_t kMatrix[16] = {50, 0, 0, 0, 0, 60, 0, 0, 0, 0, 70, 0, 0, 0, 0, 64};
  peers.push_back({"libyuv ARGBColorMatrix", Claim::kSameTraffic, [&task] {
                     libyuv::ARGBColorMatrix(task.rows.source.first, task.SourceStep(),
                                             task.rows.destination.first, task.DestinationStep(), kMatrix,
                                             task.Width(), task.Height());
                   }});
}

void AddMasked(const PeerTask& task, std::vector<Peer>& peers) {
  peers.push_back({"libyuv ARGBAdd", Claim::kSameTraffic, [&task] {
                     libyuv::ARGBAdd(task.rows.source.first, task.SourceStep(), task.rows.mask.first,
                                     task.MaskStep(), task.rows.destination.first, task.DestinationStep(),
                                     task.Width(), task.Height());
                   }});
}

void Add(const PeerTask& task, std::vector<Peer>& peers) {
  const auto& conversion = task.conversion;
  const Channels& from = ChannelsOf(conversion.from);
  const Channels& to = ChannelsOf(conversion.to);
  const bool isFrom4 = conversion.fromStep == 4;
  if (to.bytes == 1) {
    if (isFrom4 && conversion.toStep == 1) {
      peers.push_back(Make("ARGBExtractAlpha", Claim::kSameTraffic, task, libyuv::ARGBExtractAlpha));
    } else if (isFrom4) {
      peers.push_back(Make("ARGBCopyAlpha", Claim::kSameTraffic, task, libyuv::ARGBCopyAlpha));
    }
  } else if (task.IsPlain()) {
    AddPlain(task, from, to, peers);
  } else if (conversion.weights != nullptr && isFrom4 && to.bytes == 4) {
    AddWeights(task, peers);
  } else if (conversion.rest == rastel::pixels::Rest::kFromMask && isFrom4) {
    AddMasked(task, peers);
  }
}

const PeerLibrary library("libyuv", Add);

}  // namespace
}  // namespace bench
