// How a block of pixels is arranged: which bytes are loaded for each lane of the result, and where they go.
// Internal to the object that includes it.
//
// A block is as many pixels as a vector has bytes, so both sides of it are whole vectors. Each lane of the
// result is put together from one or a few lanes of the block's source: loaded from where its pixels begin,
// shuffled by constants, and combined. docs/design.md draws an example, RGB to ARGB with lanes of 16 bytes;
// the same in code is at the end of this file, held by the compiler.
#pragma once

#include <array>

#include "pixels/kernel.h"
#include "pixels/vector.h"

namespace rastel::pixels {

struct Controls {};

namespace {

/// A target's vectors: `Lanes` lanes of `LaneBytes` bytes.
template <int LaneBytes, int Lanes>
struct Geometry {
  static constexpr int kLaneBytes = LaneBytes;
  static constexpr int kLanes = Lanes;
  static constexpr int kVectorBytes = LaneBytes * Lanes;
  static constexpr int kPixels = kVectorBytes;  // of a block
  using V = Vector<kVectorBytes>;
  using Lane = Vector<LaneBytes>;
};

/// In the place of the bytes of a source pixel: the source is three planes, one for each channel.
constexpr int kPlanes = 0;

/// Where the bytes of a block are, on both sides: pixels of `From` bytes (or planes) become pixels of `To`.
template <class G, int From, int To>
struct BlockShape {
  static constexpr bool kIsPlanar = From == kPlanes;
  static constexpr int kSourceBytes = G::kPixels * (kIsPlanar ? 3 : From);

  static constexpr int FirstPixel(int lane) { return lane * G::kLaneBytes / To; }
  static constexpr int LastPixel(int lane) { return (lane * G::kLaneBytes + G::kLaneBytes - 1) / To; }

  /// Where a channel's byte of a pixel is in the block's source; `byte` is its offset, or its plane.
  static constexpr int SourceByte(int pixel, int byte) {
    return kIsPlanar ? byte * G::kPixels + pixel : pixel * From + byte;
  }

  static constexpr int FirstByte(int lane) { return SourceByte(FirstPixel(lane), 0); }
  static constexpr int ByteBehind(int lane) {
    return SourceByte(LastPixel(lane), 0) + (kIsPlanar ? 1 : From);
  }

  /// How many loads a lane of the result takes at most, if they begin at its pixels or at whole lanes of the
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
  static constexpr int kLoads = kIsPlanar ? 3 : CountLoads(kAtWholeLanes);

  /// Where load `load` of a lane of the result begins in the block's source.
  static constexpr int Offset(int lane, int load) {
    const int first = kAtWholeLanes ? FirstByte(lane) / G::kLaneBytes * G::kLaneBytes : FirstByte(lane);
    const int stride = kIsPlanar ? G::kPixels : G::kLaneBytes;
    const int wanted = first + load * stride;
    constexpr int kLast = kSourceBytes - G::kLaneBytes;
    return wanted < kLast ? wanted : kLast;
  }
};

/// Which byte of the source pixel, or which plane, goes to each byte of the destination pixel.
template <int To>
struct ByteMap {
  int source[To];  // Channels::kAbsent: none
};

/// The constants that arrange a block, vector by vector.
template <class Shape, class G, int To>
struct ShapeControls : Controls {
  std::uint8_t shuffle[To][Shape::kLoads][G::kVectorBytes];
  std::uint8_t rest[To][G::kVectorBytes];  // 0xFF where no channel is
};

/// The constants that put bytes where `map` says.
template <class G, int From, int To>
constexpr auto MakeControls(const ByteMap<To>& map) {
  using Shape = BlockShape<G, From, To>;
  ShapeControls<Shape, G, To> controls{};
  for (int i = 0; i < To * G::kVectorBytes; ++i) {
    const int vector = i / G::kVectorBytes;
    const int inVector = i % G::kVectorBytes;
    const int byte = map.source[i % To];
    bool isPlaced = byte == Channels::kAbsent;
    controls.rest[vector][inVector] = isPlaced ? 0xFF : 0;
    for (int load = 0; load < Shape::kLoads; ++load) {
      const int inLane =
          isPlaced ? -1 : Shape::SourceByte(i / To, byte) - Shape::Offset(i / G::kLaneBytes, load);
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
template <class G, class Shape, typename Source>
[[gnu::always_inline]] inline typename G::V LoadLanes(const Source& source, int vector, int load) {
  const int first = vector * G::kLanes;
  if constexpr (G::kLanes == 1) {
    return LoadFrom<typename G::V>(source, Shape::Offset(vector, load));
  } else {
    if (Shape::Offset(first + 1, load) == Shape::Offset(first, load) + G::kLaneBytes) {
      return LoadFrom<typename G::V>(source, Shape::Offset(first, load));
    }
    return Concatenate(LoadFrom<typename G::Lane>(source, Shape::Offset(first, load)),
                       LoadFrom<typename G::Lane>(source, Shape::Offset(first + 1, load)));
  }
}

template <class G, class Shape, int Count>
[[gnu::always_inline]] inline typename G::V LoadLanes(const Registers<typename G::Lane, Count>& source,
                                                      int vector, int load) {
  static_assert(Shape::kAtWholeLanes || (Shape::kIsPlanar && G::kLanes == 1));
  const auto lane = [&](int index) { return source.lanes[Shape::Offset(index, load) / G::kLaneBytes]; };
  if constexpr (G::kLanes == 1) {
    return lane(vector);
  } else {
    return Concatenate(lane(2 * vector), lane(2 * vector + 1));
  }
}

/// Arranges the bytes of a block's source into `To` vectors.
template <class G, int From, int To>
class Arranger {
  using Shape = BlockShape<G, From, To>;
  using V = typename G::V;
  static constexpr int kPairs = Shape::kLoads / 2;
  static constexpr bool kIsOdd = Shape::kLoads % 2 != 0;

 public:
  explicit Arranger(const Controls* untyped) {
    const auto& controls = static_cast<const ShapeControls<Shape, G, To>&>(*untyped);
    for (int vector = 0; vector < To; ++vector) {
      const auto& shuffle = controls.shuffle[vector];
      for (int pair = 0; pair < kPairs; ++pair) {
        pairs_[vector][pair] = ShufflePair<V>(Load<V>(shuffle[2 * pair]), Load<V>(shuffle[2 * pair + 1]));
      }
      last_[vector] = Load<V>(shuffle[Shape::kLoads - 1]);
    }
  }

  /// 0xFF in the bytes of vector `vector` that are no channel.
  static V RestOf(const Controls* untyped, int vector) {
    return Load<V>(static_cast<const ShapeControls<Shape, G, To>&>(*untyped).rest[vector]);
  }

  template <typename Source>
  [[gnu::always_inline]] V Arrange(const Source& source, int vector) const {
    V result{};
    if constexpr (kIsOdd) {
      result = Shuffle(LoadLanes<G, Shape>(source, vector, Shape::kLoads - 1), last_[vector]);
    }
    for (int pair = 0; pair < kPairs; ++pair) {
      result |= pairs_[vector][pair](LoadLanes<G, Shape>(source, vector, 2 * pair),
                                     LoadLanes<G, Shape>(source, vector, 2 * pair + 1));
    }
    return result;
  }

 private:
  std::array<std::array<ShufflePair<V>, kPairs>, To> pairs_;
  V last_[To];  // used if there is an odd one
};

namespace example {

// RGB to ARGB, as drawn in docs/design.md.
using G = Geometry<16, 1>;
using Shape = BlockShape<G, 3, 4>;
constexpr auto kControls = MakeControls<G, 3>(ByteMap<4>{{Channels::kAbsent, 0, 1, 2}});

template <int lane>
constexpr bool Shuffles(const std::uint8_t (&expected)[16]) {
  for (int i = 0; i < 16; ++i) {
    if (kControls.shuffle[lane][0][i] != expected[i]) {
      return false;
    }
  }
  return true;
}

constexpr std::uint8_t kNo = kNoByte;
static_assert(Shape::kLoads == 1);
static_assert(Shape::Offset(0, 0) == 0 && Shape::Offset(1, 0) == 12 && Shape::Offset(2, 0) == 24);
static_assert(Shuffles<0>({kNo, 0, 1, 2, kNo, 3, 4, 5, kNo, 6, 7, 8, kNo, 9, 10, 11}));
static_assert(Shape::Offset(3, 0) == 32);
static_assert(Shuffles<3>({kNo, 4, 5, 6, kNo, 7, 8, 9, kNo, 10, 11, 12, kNo, 13, 14, 15}));
static_assert(kControls.rest[0][0] == 0xFF && kControls.rest[0][1] == 0);

}  // namespace example
}  // namespace
}  // namespace rastel::pixels
