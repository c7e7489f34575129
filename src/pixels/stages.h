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
  const Source& Prepare(const Source& source) const {
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
  typename G::V Get(const Source& source) const {
    return first_.Arrange(source, 0);
  }

 private:
  Arranger<G, From, 1> first_{&kFirstBytes<G, From>};
};

template <class G>
class GrayBytes<G, 1> {
 public:
  template <typename Source>
  typename G::V Get(const Source& source) const {
    return LoadFrom<typename G::V>(source, 0);
  }
};

/// Planes of red, green and blue as pixels of red, green, blue and 0.
template <typename V>
inline Registers<V, 4> Interleave(const Registers<V, 3>& planes) {
  const auto [red, green, blue] = planes.lanes;
  const V lowPairs = Zip<1>::Low(red, green);
  const V highPairs = Zip<1>::High(red, green);
  const V lowBlue = Zip<1>::Low(blue, V{});
  const V highBlue = Zip<1>::High(blue, V{});
  return {Zip<2>::Low(lowPairs, lowBlue), Zip<2>::High(lowPairs, lowBlue), Zip<2>::Low(highPairs, highBlue),
          Zip<2>::High(highPairs, highBlue)};
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
  auto Prepare(const Source& source) const {
    const V gray = gray_.Get(source);
    const Registers<V, 3> planes{Weigh<V>::Do(gray, weights_[0]), Weigh<V>::Do(gray, weights_[1]),
                                 Weigh<V>::Do(gray, weights_[2])};
    if constexpr (kAsPlanes<G>) {
      return planes;
    } else {
      return Interleave(planes);
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

  auto Prepare(const std::uint8_t* source) const {
    typedef std::uint32_t Four __attribute__((vector_size(16)));
    Registers<typename G::V, 4> pixels;
    for (int i = 0; i < 4; ++i) {
      const std::uint8_t* gray = source + 4 * i * From;
      const Four four = {Pixel(gray[0]), Pixel(gray[From]), Pixel(gray[2 * From]), Pixel(gray[3 * From])};
      std::memcpy(&pixels.lanes[i], &four, sizeof four);
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
  Registers<V, 3> Prepare(const Source& source) const {
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
