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
  static constexpr int kFrom = From;      // bytes of a source pixel
  static constexpr int kArranged = From;  // likewise of what is arranged; 0 for planes
  static constexpr bool kInRegisters = false;
  explicit PixelStage(const Plan& /*plan*/) {}
  template <typename Source>
  [[gnu::always_inline]] const Source& Prepare(const Source& source) const {
    return source;
  }
};

/// True if gray bytes become planes, one for each channel; otherwise they become pixels of red, green, blue
/// and 0.
template <class G>
constexpr bool kAsPlanes = LookUp<typename G::V>::kInRegisters;

/// The first byte of each pixel of a block.
template <class G, int From>
constexpr auto kFirstBytes = MakeControls<G, From>(Bytes<1>{{0}});

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

/// Planes of red, green and blue as pixels of red, green, blue and 0.
template <class G>
[[gnu::always_inline]] inline Registers<typename G::Lane, 4 * G::kLanes> Interleave(
    const typename G::V (&planes)[3]) {
  using V = typename G::V;
  using Bytes = Zip<G::kLaneBytes, 1, V>;
  using Words = Zip<G::kLaneBytes, 2, V>;
  const auto [red, green, blue] = planes;
  const V lowPairs = Bytes::Low(red, green);
  const V highPairs = Bytes::High(red, green);
  const V lowBlue = Bytes::Low(blue, V{});
  const V highBlue = Bytes::High(blue, V{});
  const V quarters[4] = {Words::Low(lowPairs, lowBlue), Words::High(lowPairs, lowBlue),
                         Words::Low(highPairs, highBlue), Words::High(highPairs, highBlue)};
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
  static constexpr int kFrom = From;
  static constexpr int kArranged = kAsPlanes<G> ? 0 : 4;
  static constexpr bool kInRegisters = true;

  explicit WeightStage(const Plan& plan) : weights_{plan.weights[0], plan.weights[1], plan.weights[2]} {}

  template <typename Source>
  [[gnu::always_inline]] auto Prepare(const Source& source) const {
    const V gray = gray_.Get(source);
    const V planes[3] = {Weigh<V>::Do(gray, weights_[0]), Weigh<V>::Do(gray, weights_[1]),
                         Weigh<V>::Do(gray, weights_[2])};
    if constexpr (kAsPlanes<G>) {
      return Registers<V, 3>{planes[0], planes[1], planes[2]};
    } else {
      return Interleave<G>(planes);
    }
  }

 private:
  GrayBytes<G, From> gray_;
  std::uint16_t weights_[3];
};

/// Gray bytes looked up in a table of ready pixels: red, green, blue, 0.
template <class G, int From>
class ReadyPixelStage {
 public:
  static constexpr int kFrom = From;
  static constexpr int kArranged = 4;
  static constexpr bool kInRegisters = true;

  explicit ReadyPixelStage(const Plan& plan) : ready_(plan.readyPixels) {}

  [[gnu::always_inline]] auto Prepare(const std::uint8_t* source) const {
    typedef std::uint32_t Four __attribute__((vector_size(16)));
    Registers<typename G::Lane, 4 * G::kLanes> pixels;
    for (int i = 0; i < G::kWidth / 4; ++i) {
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
class LookUpStage {
  using V = typename G::V;

 public:
  static constexpr int kFrom = From;
  static constexpr int kArranged = 0;
  static constexpr bool kInRegisters = true;

  explicit LookUpStage(const Plan& plan)
      : tables_{LookUp<V>(plan.tables->values[0]), LookUp<V>(plan.tables->values[1]),
                LookUp<V>(plan.tables->values[2])} {}

  template <typename Source>
  [[gnu::always_inline]] Registers<V, 3> Prepare(const Source& source) const {
    const V gray = gray_.Get(source);
    return {tables_[0](gray), tables_[1](gray), tables_[2](gray)};
  }

 private:
  GrayBytes<G, From> gray_;
  LookUp<V> tables_[3];
};

template <class G, int From>
using TableStage = std::conditional_t<kAsPlanes<G>, LookUpStage<G, From>, ReadyPixelStage<G, From>>;

}  // namespace
}  // namespace rastel::pixels
