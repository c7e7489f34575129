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
  explicit PixelStage(const Plan& /*plan*/) {}
  const std::uint8_t* Prepare(const std::uint8_t* source, std::uint8_t* /*scratch*/) const { return source; }
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
  typename G::V Get(const std::uint8_t* source) const { return first_.Arrange(source, 0); }

 private:
  Arranger<G, From, 1> first_{&kFirstBytes<G, From>};
};

template <class G>
class GrayBytes<G, 1> {
 public:
  typename G::V Get(const std::uint8_t* source) const { return Load<typename G::V>(source); }
};

/// Planes of red, green and blue as pixels of red, green, blue and 0.
inline void Interleave(const std::uint8_t* planes, int planeBytes, std::uint8_t* pixels) {
  for (int x = 0; x < planeBytes; x += 16) {
    const auto red = Load<Vector<16>>(planes + x);
    const auto green = Load<Vector<16>>(planes + planeBytes + x);
    const auto blue = Load<Vector<16>>(planes + 2 * planeBytes + x);
    const auto lowPairs = Zip<1>::Low(red, green);
    const auto highPairs = Zip<1>::High(red, green);
    const auto lowBlue = Zip<1>::Low(blue, Vector<16>{});
    const auto highBlue = Zip<1>::High(blue, Vector<16>{});
    Store(pixels + x * 4, Zip<2>::Low(lowPairs, lowBlue));
    Store(pixels + x * 4 + 16, Zip<2>::High(lowPairs, lowBlue));
    Store(pixels + x * 4 + 32, Zip<2>::Low(highPairs, highBlue));
    Store(pixels + x * 4 + 48, Zip<2>::High(highPairs, highBlue));
  }
}

/// Gray bytes times a weight for each channel.
template <class G, int From>
class WeightStage {
 public:
  static constexpr int kFrom = From;
  static constexpr int kArranged = kAsPlanes<G> ? 0 : 4;

  explicit WeightStage(const Plan& plan) : weights_{plan.weights[0], plan.weights[1], plan.weights[2]} {}

  const std::uint8_t* Prepare(const std::uint8_t* source, std::uint8_t* scratch) const {
    using V = typename G::V;
    alignas(G::kWidth) std::uint8_t planes[3 * G::kWidth];
    std::uint8_t* result = kAsPlanes<G> ? scratch : planes;
    const V gray = gray_.Get(source);
    for (int channel = 0; channel < 3; ++channel) {
      Store(result + channel * G::kWidth, Weigh<V>::Do(gray, weights_[channel]));
    }
    if (!kAsPlanes<G>) {
      Interleave(planes, G::kWidth, scratch);
    }
    return scratch;
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

  explicit ReadyPixelStage(const Plan& plan) : ready_(plan.readyPixels) {}

  const std::uint8_t* Prepare(const std::uint8_t* source, std::uint8_t* pixels) const {
    typedef std::uint32_t Four __attribute__((vector_size(16)));
    for (int i = 0; i < G::kWidth; i += 4) {
      const std::uint8_t* gray = source + i * From;
      const Four four = {Pixel(gray[0]), Pixel(gray[From]), Pixel(gray[2 * From]), Pixel(gray[3 * From])};
      std::memcpy(pixels + i * 4, &four, sizeof four);
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

  explicit LookUpStage(const Plan& plan)
      : tables_{LookUp<V>(plan.tables->values[0]), LookUp<V>(plan.tables->values[1]),
                LookUp<V>(plan.tables->values[2])} {}

  const std::uint8_t* Prepare(const std::uint8_t* source, std::uint8_t* planes) const {
    const V gray = gray_.Get(source);
    for (int channel = 0; channel < 3; ++channel) {
      Store(planes + channel * G::kWidth, tables_[channel](gray));
    }
    return planes;
  }

 private:
  GrayBytes<G, From> gray_;
  LookUp<V> tables_[3];
};

template <class G, int From>
using TableStage = std::conditional_t<kAsPlanes<G>, LookUpStage<G, From>, ReadyPixelStage<G, From>>;

}  // namespace
}  // namespace rastel::pixels
