// How a block of pixels is arranged: which bytes are loaded for each lane of the result, and where they go.
// Internal to the object that includes it.
//
// A block is as many pixels as a vector has bytes, so both sides of it are whole vectors. Each output lane is
// put together from one or a few lanes of the block's source: loaded from where its pixels begin, shuffled by
// constants, and combined.
#pragma once

#include <array>

#include "pixels/kernel.h"
#include "pixels/vector.h"

namespace rastel::pixels {

struct Controls {};

namespace {

/// A target's vectors: `Lanes` lanes of `LaneBytes` bytes, within which bytes can be shuffled.
template <int LaneBytes, int Lanes>
struct Geometry {
  static constexpr int kLaneBytes = LaneBytes;
  static constexpr int kLanes = Lanes;
  static constexpr int kWidth = LaneBytes * Lanes;  // bytes of a vector, pixels of a block
  using V = Vector<kWidth>;
  using Lane = Vector<LaneBytes>;
};

/// How the source of a block lies in memory: pixels of `From` bytes, or (`From` 0) one plane for each
/// channel.
template <class G, int From, int To>
struct Shape {
  static constexpr bool kPlanes = From == 0;
  static constexpr int kPixels = G::kWidth;
  static constexpr int kSourceBytes = kPixels * (kPlanes ? 3 : From);

  static constexpr int FirstPixel(int lane) { return lane * G::kLaneBytes / To; }
  static constexpr int LastPixel(int lane) { return (lane * G::kLaneBytes + G::kLaneBytes - 1) / To; }

  /// Where a channel's byte of a pixel is in the block's source; `byte` is its offset, or its plane.
  static constexpr int SourceByte(int pixel, int byte) {
    return kPlanes ? byte * kPixels + pixel : pixel * From + byte;
  }

  static constexpr int FirstByte(int lane) { return SourceByte(FirstPixel(lane), 0); }
  static constexpr int ByteBehind(int lane) { return SourceByte(LastPixel(lane), 0) + (kPlanes ? 1 : From); }

  /// How many loads an output lane takes at most, if they begin at its pixels or at whole lanes of the
  /// source.
  static constexpr int CountLoads(bool atWholeLanes) {
    int most = 0;
    for (int lane = 0; lane < To * G::kLanes; ++lane) {
      const int first = atWholeLanes ? FirstByte(lane) / G::kLaneBytes * G::kLaneBytes : FirstByte(lane);
      const int loads = (ByteBehind(lane) - first + G::kLaneBytes - 1) / G::kLaneBytes;
      most = loads > most ? loads : most;
    }
    return most;
  }

  /// Whole lanes cross no cache line, and are had at once where they have just been stored.
  static constexpr bool kAtWholeLanes = CountLoads(true) <= CountLoads(false);
  static constexpr int kLoads = kPlanes ? 3 : CountLoads(kAtWholeLanes);

  /// Where load `load` of an output lane begins in the block's source.
  static constexpr int Offset(int lane, int load) {
    const int first = kAtWholeLanes ? FirstByte(lane) / G::kLaneBytes * G::kLaneBytes : FirstByte(lane);
    const int stride = kPlanes ? kPixels : G::kLaneBytes;
    const int wanted = first + load * stride;
    constexpr int kLast = kSourceBytes - G::kLaneBytes;
    return wanted < kLast ? wanted : kLast;
  }
};

/// Which byte of the source pixel, or which plane, goes to each byte of the destination pixel.
template <int To>
struct Bytes {
  int source[To];
};

/// The constants that arrange a block, vector by vector.
template <class S, class G, int To>
struct ControlsOf : Controls {
  std::uint8_t shuffle[To][S::kLoads][G::kWidth];
  std::uint8_t rest[To][G::kWidth];  // 0xFF where no channel is
};

/// The constants that put `bytes` in their places.
template <class G, int From, int To>
constexpr auto MakeControls(const Bytes<To>& bytes) {
  using S = Shape<G, From, To>;
  ControlsOf<S, G, To> controls{};
  for (int i = 0; i < To * G::kWidth; ++i) {
    const int vector = i / G::kWidth;
    const int inVector = i % G::kWidth;
    const int byte = bytes.source[i % To];
    bool isPlaced = byte == Channels::kAbsent;
    controls.rest[vector][inVector] = isPlaced ? 0xFF : 0;
    for (int load = 0; load < S::kLoads; ++load) {
      const int inLane = isPlaced ? -1 : S::SourceByte(i / To, byte) - S::Offset(i / G::kLaneBytes, load);
      const bool isHere = inLane >= 0 && inLane < G::kLaneBytes;
      controls.shuffle[vector][load][inVector] = isHere ? static_cast<std::uint8_t>(inLane) : kNoByte;
      isPlaced = isPlaced || isHere;
    }
  }
  return controls;
}

/// A block's source in registers, lane after lane.
template <class Lane, int Count>
struct Registers {
  Lane lanes[Count];
};

/// The vector `vector` of load `load`, each of its lanes from its own place.
template <class G, class S, typename Source>
[[gnu::always_inline]] inline typename G::V LoadLanes(const Source& source, int vector, int load) {
  const int first = vector * G::kLanes;
  if constexpr (G::kLanes == 1) {
    return LoadFrom<typename G::V>(source, S::Offset(vector, load));
  } else {
    if (S::Offset(first + 1, load) == S::Offset(first, load) + G::kLaneBytes) {
      return LoadFrom<typename G::V>(source, S::Offset(first, load));
    }
    return Concatenate(LoadFrom<typename G::Lane>(source, S::Offset(first, load)),
                       LoadFrom<typename G::Lane>(source, S::Offset(first + 1, load)));
  }
}

template <class G, class S, int Count>
[[gnu::always_inline]] inline typename G::V LoadLanes(const Registers<typename G::Lane, Count>& source,
                                                      int vector, int load) {
  static_assert(S::kAtWholeLanes || (S::kPlanes && G::kLanes == 1));
  const auto lane = [&](int index) { return source.lanes[S::Offset(index, load) / G::kLaneBytes]; };
  if constexpr (G::kLanes == 1) {
    return lane(vector);
  } else {
    return Concatenate(lane(2 * vector), lane(2 * vector + 1));
  }
}

/// Arranges the bytes of a block's source into `To` vectors.
template <class G, int From, int To>
class Arranger {
  using S = Shape<G, From, To>;
  using V = typename G::V;
  using Pair = ShufflePair<G::kLaneBytes, V>;
  static constexpr int kPairs = S::kLoads / 2;
  static constexpr bool kIsOdd = S::kLoads % 2 != 0;

 public:
  explicit Arranger(const Controls* untyped) {
    const auto& controls = static_cast<const ControlsOf<S, G, To>&>(*untyped);
    for (int vector = 0; vector < To; ++vector) {
      const auto& shuffle = controls.shuffle[vector];
      for (int pair = 0; pair < kPairs; ++pair) {
        pairs_[vector][pair] = Pair(Load<V>(shuffle[2 * pair]), Load<V>(shuffle[2 * pair + 1]));
      }
      last_[vector] = Load<V>(shuffle[S::kLoads - 1]);
    }
  }

  /// 0xFF in the bytes of vector `vector` that are no channel.
  static V RestOf(const Controls* untyped, int vector) {
    return Load<V>(static_cast<const ControlsOf<S, G, To>&>(*untyped).rest[vector]);
  }

  template <typename Source>
  [[gnu::always_inline]] V Arrange(const Source& source, int vector) const {
    V result{};
    if constexpr (kIsOdd) {
      result = Shuffle<G::kLaneBytes, V>::Do(LoadLanes<G, S>(source, vector, S::kLoads - 1), last_[vector]);
    }
    for (int pair = 0; pair < kPairs; ++pair) {
      result |= pairs_[vector][pair].Do(LoadLanes<G, S>(source, vector, 2 * pair),
                                        LoadLanes<G, S>(source, vector, 2 * pair + 1));
    }
    return result;
  }

 private:
  std::array<std::array<Pair, kPairs>, To> pairs_;
  V last_[To];  // used if there is an odd one
};

}  // namespace
}  // namespace rastel::pixels
