// One block of pixels after another: how a kernel converts rows. Internal to the object that includes it.
#pragma once

#include "pixels/kernel.h"
#include "pixels/stages.h"

namespace rastel::pixels {
namespace {

/// What a kernel is compiled for: all that changes its code, in bytes of pixels.
struct Kind {
  Stage stage;
  int from;
  int to;
  Rest rest;  // with `to` 4
  int mask;   // with Rest::kFromMask, else 0

  bool operator==(const Kind&) const = default;
};

/// Makes one block of pixels after another.
template <class G, Kind kind>
class BlockConverter {
  using V = typename G::V;
  using Preparation = StageOf<G, kind.stage, kind.from>;
  using Colours = Arranger<G, Preparation::kArranged, kind.to>;
  struct NoMask {
    explicit NoMask(const Controls* /*controls*/) {}
  };
  static constexpr bool kHasMask = kind.mask != 0;
  using Mask = std::conditional_t<kHasMask, Arranger<G, kHasMask ? kind.mask : 1, kind.to>, NoMask>;

 public:
  struct Block {
    V vectors[kind.to];

    void StoreTo(std::uint8_t* destination) const {
      for (int i = 0; i < kind.to; ++i) {
        Store(destination + i * G::kVectorBytes, vectors[i]);
      }
    }
    /// Stores the first `bytes` bytes.
    void StoreFirstBytes(std::uint8_t* destination, std::ptrdiff_t bytes) const {
      StoreFirst(destination, vectors, bytes);
    }
    /// Stores `count` pixels from pixel `first` on, to where the whole block begins at `destination`.
    void StorePixels(std::uint8_t* destination, std::ptrdiff_t first, std::ptrdiff_t count) const {
      StorePart(destination, vectors, first * kind.to, count * kind.to);
    }
    void StorePastCachesTo(std::uint8_t* destination) const {
      for (int i = 0; i < kind.to; ++i) {
        StorePastCaches(destination + i * G::kVectorBytes, vectors[i]);
      }
    }
  };

  BlockConverter(const Plan& plan, const WidthControls& controls)
      : preparation_(plan), colours_(controls.colours), mask_(controls.mask) {
    for (int i = 0; i < kind.to; ++i) {
      rest_[i] = Colours::RestOf(controls.colours, i);
      if (kind.rest == Rest::kFill) {
        rest_[i] &= Splat<V>(plan.fill);
      }
    }
  }

  template <typename Source, typename MaskSource, typename Destination>
  [[gnu::always_inline]] Block Convert(const Source& source, const MaskSource& mask,
                                       const Destination& destination) const {
    const auto& prepared = preparation_.Prepare(source);
    Block block;
    for (int i = 0; i < kind.to; ++i) {
      block.vectors[i] = colours_.Arrange(prepared, i);
      if constexpr (kind.to == 4) {
        V rests = rest_[i];
        if constexpr (kind.rest == Rest::kKept) {
          rests &= LoadFrom<V>(destination, i * G::kVectorBytes);
        } else if constexpr (kHasMask) {
          rests ^= mask_.Arrange(mask, i);
        }
        block.vectors[i] |= rests;
      }
    }
    return block;
  }

 private:
  Preparation preparation_;
  Colours colours_;
  Mask mask_;
  V rest_[kind.to];
};

/// One run of rows, all of the same width. Everything is inlined, so that the constants stay in registers: as
/// an object in memory they would be loaded again after every store of bytes.
template <class G, Kind kind>
class RowConverter {
  using Blocks = BlockConverter<G, kind>;
  using V = typename G::V;
  static constexpr std::ptrdiff_t kPixels = G::kPixels;
  static constexpr std::ptrdiff_t kLine = 64;     // bytes of a cache line
  static constexpr std::ptrdiff_t kCutBytes = 3;  // that the last pixel of a cut row lacks

 public:
  RowConverter(const Plan& plan, const WidthControls& controls)
      : blocks_(plan, controls),
        isSourceCut_(kind.from == 4 && plan.isSourceCut),
        isDestinationCut_(kind.rest == Rest::kKept && plan.isDestinationCut) {}

  [[gnu::always_inline]] void Convert(const Rows& rows, bool pastCaches) const {
    for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
      const Row row{rows.destination[y], rows.source[y], rows.mask[y], rows.width};
      const std::ptrdiff_t aligned = pastCaches ? FirstAligned(row) : kLine;
      if (row.width < kPixels) {
        ConvertShort(row);
      } else if (aligned < kLine) {
        ConvertPastCaches(row, aligned);
      } else {
        ConvertLong(row);
      }
    }
  }

 private:
  struct Row {
    std::uint8_t* destination;
    const std::uint8_t* source;
    const std::uint8_t* mask;
    std::ptrdiff_t width;
  };

  /// The last block overlaps the one before it, if any pixels are left for it. It is made before that one is
  /// stored, since the source may be stored over.
  [[gnu::always_inline]] void ConvertLong(const Row& row) const {
    const std::ptrdiff_t last = row.width - kPixels;
    std::ptrdiff_t x = 0;
    for (; x + kPixels <= last; x += kPixels) {
      BlockAt(row, x).StoreTo(row.destination + x * kind.to);
    }
    const auto lastBlock = LastBlock(row);
    if (x < last) {
      BlockAt(row, x).StoreTo(row.destination + x * kind.to);
    }
    if (isDestinationCut_) {
      lastBlock.StoreFirstBytes(row.destination + last * kind.to, kPixels * kind.to - kCutBytes);
    } else {
      lastBlock.StoreTo(row.destination + last * kind.to);
    }
  }

  /// Cache lines of which all is written bypass the caches, from pixel `aligned` on. Those at either end are
  /// written once, in the ordinary way: one that has just bypassed the caches would be fetched again.
  [[gnu::always_inline]] void ConvertPastCaches(const Row& row, std::ptrdiff_t aligned) const {
    std::ptrdiff_t x = 0;
    for (; x + kPixels <= aligned; x += kPixels) {
      BlockAt(row, x).StoreTo(row.destination + x * kind.to);
    }
    BlockAt(row, x).StorePixels(row.destination + x * kind.to, 0, aligned - x);
    const std::ptrdiff_t whole = isSourceCut_ ? row.width - 1 : row.width;
    for (x = aligned; x + kPixels <= whole; x += kPixels) {
      BlockAt(row, x).StorePastCachesTo(row.destination + x * kind.to);
    }
    const std::ptrdiff_t last = row.width - kPixels;
    LastBlock(row).StorePixels(row.destination + last * kind.to, x - last, row.width - x);
  }

  /// A row shorter than a block, which is loaded and stored in part.
  [[gnu::always_inline]] void ConvertShort(const Row& row) const {
    const PartOfBlock<V, kind.from> source(row.source,
                                           row.width * kind.from - (isSourceCut_ ? kCutBytes : 0));
    const PartOfBlock<V, 4> mask(row.mask, row.width * kind.mask);
    const std::ptrdiff_t bytes = row.width * kind.to - (isDestinationCut_ ? kCutBytes : 0);
    const PartOfBlock<V, kind.to> destination(row.destination, kind.rest == Rest::kKept ? bytes : 0);
    blocks_.Convert(source.Source(), mask.Source(), destination.Source())
        .StoreFirstBytes(row.destination, bytes);
  }

  /// The block at the end of a row.
  [[gnu::always_inline]] typename Blocks::Block LastBlock(const Row& row) const {
    const std::ptrdiff_t x = row.width - kPixels;
    if (!isSourceCut_ && !isDestinationCut_) {
      return BlockAt(row, x);
    }
    // Numbers that the compiler knows, so that nothing is called to load them.
    constexpr int kSourceBytes = kPixels * kind.from;
    constexpr int kDestinationBytes = kPixels * kind.to;
    const std::uint8_t* from = row.source + x * kind.from;
    const std::uint8_t* to = row.destination + x * kind.to;
    const auto source = isSourceCut_ ? PartOfBlock<V, kind.from>(from, kSourceBytes - kCutBytes)
                                     : PartOfBlock<V, kind.from>(from, kSourceBytes);
    const auto destination =
        isDestinationCut_ ? PartOfBlock<V, kind.to>(to, kDestinationBytes - kCutBytes)
                          : PartOfBlock<V, kind.to>(to, kind.rest == Rest::kKept ? kDestinationBytes : 0);
    return blocks_.Convert(source.Source(), row.mask + x * kind.mask, destination.Source());
  }

  [[gnu::always_inline]] typename Blocks::Block BlockAt(const Row& row, std::ptrdiff_t x) const {
    return blocks_.Convert(row.source + x * kind.from, row.mask + x * kind.mask,
                           row.destination + x * kind.to);
  }

  /// The first pixel that begins at a cache line; kLine if none does, or if the row is too short to gain by
  /// it.
  static std::ptrdiff_t FirstAligned(const Row& row) {
    const auto address = reinterpret_cast<std::uintptr_t>(row.destination);
    std::ptrdiff_t x = row.width < 8 * kLine ? kLine : 0;
    while (x < kLine && (address + static_cast<std::uintptr_t>(x * kind.to)) % kLine != 0) {
      ++x;
    }
    return x;
  }

  Blocks blocks_;
  bool isSourceCut_;
  bool isDestinationCut_;
};

}  // namespace
}  // namespace rastel::pixels
