// What happens to a block's source before it is arranged: nothing, or gray bytes become colours. Internal to
// the object that includes it.
#pragma once

#include <type_traits>

#include "pixels/arrange.h"

namespace rastel::pixels {
namespace {

/// Source pixels of `From` bytes, as they are.
template <class G, int From>
struct PixelStage {
  static constexpr int kArranged = From;  // bytes of a pixel of what is arranged
  static constexpr bool kInRegisters = false;
  explicit PixelStage(const Plan& /*plan*/) {}
  template <typename Source>
  [[gnu::always_inline]] const Source& Prepare(const Source& source) const {
    return source;
  }
};

/// The first byte of each pixel of a block.
template <class G, int From>
constexpr auto kFirstBytes = MakeControls<G, From>(ByteMap<1>{{0}});

/// The gray bytes of a block: the first bytes of pixels of `From` bytes.
template <class G, int From>
class GrayBytes {
 public:
  template <typename Source>
  [[gnu::always_inline]] typename G::V Get(const Source& source) const {
    return first_.Arrange(source, 0);
  }

 private:
  Arranger<G, From, 1> first_{&kFirstBytes<G, From>};
};

template <class G>
class GrayBytes<G, 1> {
 public:
  template <typename Source>
  [[gnu::always_inline]] typename G::V Get(const Source& source) const {
    return LoadFrom<typename G::V>(source, 0);
  }
};

/// True if gray bytes become planes, one for each channel; otherwise they become pixels of red, green, blue
/// and 0.
template <class G>
constexpr bool kMakesPlanes = kHasRegisterTables<typename G::V>;

/// Planes of red, green and blue as pixels of red, green, blue and 0.
template <class G>
[[gnu::always_inline]] inline Registers<typename G::Lane, 4 * G::kLanes> Interleave(
    const typename G::V (&planes)[3]) {
  using V = typename G::V;
  constexpr int kLane = G::kLaneBytes;
  const auto [red, green, blue] = planes;
  const V lowPairs = Zip<kLane, 1, Half::kLow>(red, green);
  const V highPairs = Zip<kLane, 1, Half::kHigh>(red, green);
  const V lowBlue = Zip<kLane, 1, Half::kLow>(blue, V{});
  const V highBlue = Zip<kLane, 1, Half::kHigh>(blue, V{});
  const V quarters[4] = {
      Zip<kLane, 2, Half::kLow>(lowPairs, lowBlue), Zip<kLane, 2, Half::kHigh>(lowPairs, lowBlue),
      Zip<kLane, 2, Half::kLow>(highPairs, highBlue), Zip<kLane, 2, Half::kHigh>(highPairs, highBlue)};
  Registers<typename G::Lane, 4 * G::kLanes> pixels;
  for (int i = 0; i < 4 * G::kLanes; ++i) {
    pixels.lanes[i] = LaneOf<typename G::Lane>(quarters[i % 4], i / 4);
  }
  return pixels;
}

/// Gray bytes times a weight for each channel.
template <class G, int From>
class WeightStage {
  using V = typename G::V;

 public:
  static constexpr int kArranged = kMakesPlanes<G> ? kPlanes : 4;
  static constexpr bool kInRegisters = true;

  explicit WeightStage(const Plan& plan) : weights_(*plan.weights) {}

  template <typename Source>
  [[gnu::always_inline]] auto Prepare(const Source& source) const {
    const V gray = gray_.Get(source);
    const auto& [red, green, blue] = weights_.values;
    const V planes[3] = {Weigh(gray, red), Weigh(gray, green), Weigh(gray, blue)};
    if constexpr (kMakesPlanes<G>) {
      return Registers<V, 3>{planes[0], planes[1], planes[2]};
    } else {
      return Interleave<G>(planes);
    }
  }

 private:
  GrayBytes<G, From> gray_;
  ChannelWeights weights_;
};

/// Gray bytes looked up in a table of ready pixels: red, green, blue, 0.
template <class G, int From>
class ReadyPixelStage {
 public:
  static constexpr int kArranged = 4;
  static constexpr bool kInRegisters = true;

  explicit ReadyPixelStage(const Plan& plan) : ready_(plan.readyPixels) {}

  [[gnu::always_inline]] auto Prepare(const std::uint8_t* source) const {
    typedef std::uint32_t Four __attribute__((vector_size(16)));
    Registers<typename G::Lane, 4 * G::kLanes> pixels;
    for (int i = 0; i < G::kPixels / 4; ++i) {
      const std::uint8_t* gray = source + 4 * i * From;
      const Four four = {Pixel(gray[0]), Pixel(gray[From]), Pixel(gray[2 * From]), Pixel(gray[3 * From])};
      std::memcpy(reinterpret_cast<std::uint8_t*>(pixels.lanes) + i * sizeof four, &four, sizeof four);
    }
    return pixels;
  }

 private:
  std::uint32_t Pixel(std::uint8_t gray) const {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, ready_[gray], sizeof pixel);
    return pixel;
  }

  const std::uint8_t (*ready_)[4];
};

/// Gray bytes looked up in a table for each channel, as planes.
template <class G, int From>
class RegisterTableStage {
  using V = typename G::V;

 public:
  static constexpr int kArranged = kPlanes;
  static constexpr bool kInRegisters = true;

  explicit RegisterTableStage(const Plan& plan)
      : tables_{RegisterTable<V>(plan.tables->values[0]), RegisterTable<V>(plan.tables->values[1]),
                RegisterTable<V>(plan.tables->values[2])} {}

  template <typename Source>
  [[gnu::always_inline]] Registers<V, 3> Prepare(const Source& source) const {
    const V gray = gray_.Get(source);
    return {tables_[0](gray), tables_[1](gray), tables_[2](gray)};
  }

 private:
  GrayBytes<G, From> gray_;
  RegisterTable<V> tables_[3];
};

template <class G, int From>
using TableStage = std::conditional_t<kMakesPlanes<G>, RegisterTableStage<G, From>, ReadyPixelStage<G, From>>;

/// The class that does stage `stage`.
template <class G, Stage stage, int From>
using StageOf = std::conditional_t<
    stage == Stage::kNone, PixelStage<G, From>,
    std::conditional_t<stage == Stage::kWeights, WeightStage<G, From>, TableStage<G, From>>>;

}  // namespace
}  // namespace rastel::pixels
