// The one kernel, compiled once for each CPU target. RASTEL_TARGET names the target; RASTEL_LANE is the
// number of bytes within which its shuffles move bytes, RASTEL_LANES the number of such lanes in its vectors.
#include "pixels/kernel.h"

#include <type_traits>
#include <utility>

#include "pixels/address.h"
#include "pixels/arrange.h"
#include "pixels/stages.h"

namespace rastel::pixels {
namespace {

using Wide = Geometry<RASTEL_LANE, RASTEL_LANES>;
// For rows shorter than a wide block. With masked accesses there is no need of it there; it serves instead
// where accesses of 64 bytes that cross cache lines cost most. Of memcpy, 4 -> 3 past the caches reached 0.86
// at 4096 x 4096 with them and 1.33 with 32 bytes; at 640 x 480 in rows with gaps, 4 -> 4 reached 0.89 and
// 0.97, 4 -> 3 0.66 and 0.71, four bytes with kept ones 0.80 and 0.91.
using Narrow = Geometry<kHasMaskedAccess<Wide::V> ? 32 : 16, 1>;

/// Makes one block of `To`-byte pixels after another.
template <class G, class S, int To, Rest rest, int MaskBytes>
class BlockConverter {
  using V = typename G::V;
  using Colours = Arranger<G, S::kArranged, To>;
  struct NoMask {
    explicit NoMask(const Controls* /*controls*/) {}
  };
  static constexpr bool kHasMask = rest == Rest::kFromMask;
  using Mask = std::conditional_t<kHasMask, Arranger<G, kHasMask ? MaskBytes : 1, To>, NoMask>;

 public:
  static constexpr int kPixels = G::kWidth;
  struct Block {
    V vectors[To];

    void StoreTo(std::uint8_t* destination) const {
      for (int i = 0; i < To; ++i) {
        Store(destination + i * G::kWidth, vectors[i]);
      }
    }
    /// Stores the first `bytes` bytes.
    void StoreFirstBytes(std::uint8_t* destination, std::ptrdiff_t bytes) const {
      StoreFirst(destination, vectors, bytes);
    }
    /// Stores `count` pixels from pixel `first` on, to where the whole block begins at `destination`.
    void StorePixels(std::uint8_t* destination, std::ptrdiff_t first, std::ptrdiff_t count) const {
      StorePart(destination, vectors, first * To, count * To);
    }
    void StreamTo(std::uint8_t* destination) const {
      for (int i = 0; i < To; ++i) {
        Stream<V>::Do(destination + i * G::kWidth, vectors[i]);
      }
    }
  };

  BlockConverter(const Plan& plan, int geometry)
      : stage_(plan), colours_(plan.controls[geometry]), mask_(plan.maskControls[geometry]) {
    for (int i = 0; i < To; ++i) {
      rest_[i] = Colours::RestOf(plan.controls[geometry], i);
      if (rest == Rest::kFill) {
        rest_[i] &= Splat<V>(plan.fill);
      }
    }
  }

  template <typename Source, typename MaskSource, typename Destination>
  [[gnu::always_inline]] Block Convert(const Source& source, const MaskSource& mask,
                                       const Destination& destination) const {
    const auto& prepared = stage_.Prepare(source);
    Block block;
    for (int i = 0; i < To; ++i) {
      block.vectors[i] = colours_.Arrange(prepared, i);
      if constexpr (To == 4) {
        V rests = rest_[i];
        if constexpr (rest == Rest::kKept) {
          rests &= LoadFrom<V>(destination, i * G::kWidth);
        } else if constexpr (rest == Rest::kFromMask) {
          rests ^= mask_.Arrange(mask, i);
        }
        block.vectors[i] |= rests;
      }
    }
    return block;
  }

 private:
  S stage_;
  Colours colours_;
  Mask mask_;
  V rest_[To];
};

/// One run of rows, all of the same width. Everything is inlined, so that the constants stay in registers: as
/// an object in memory they would be loaded again after every store of bytes.
template <class G, class S, int To, Rest rest, int MaskBytes>
class RowConverter {
  using Blocks = BlockConverter<G, S, To, rest, MaskBytes>;
  using V = typename G::V;
  static constexpr std::ptrdiff_t kPixels = Blocks::kPixels;
  static constexpr std::ptrdiff_t kLine = 64;     // bytes of a cache line
  static constexpr std::ptrdiff_t kCutBytes = 3;  // what a byte alone lacks of four

 public:
  RowConverter(const Plan& plan, int geometry)
      : blocks_(plan, geometry),
        isSourceCut_(S::kFrom == 4 && plan.isSourceCut),
        isDestinationCut_(rest == Rest::kKept && plan.isDestinationCut) {}

  [[gnu::always_inline]] void Convert(const Rows& rows, bool stream) const {
    for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
      const Row row{rows.destination[y], rows.source[y], rows.mask[y], rows.width};
      const std::ptrdiff_t aligned = stream ? FirstAligned(row) : kLine;
      if (row.width < kPixels) {
        ConvertShort(row);
      } else if (aligned < kLine) {
        ConvertStreaming(row, aligned);
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
      BlockAt(row, x).StoreTo(row.destination + x * To);
    }
    const auto lastBlock = LastBlock(row);
    if (x < last) {
      BlockAt(row, x).StoreTo(row.destination + x * To);
    }
    if (isDestinationCut_) {
      lastBlock.StoreFirstBytes(row.destination + last * To, kPixels * To - kCutBytes);
    } else {
      lastBlock.StoreTo(row.destination + last * To);
    }
  }

  /// Cache lines of which all is written bypass the caches, from pixel `aligned` on. Those at either end are
  /// written once, in the ordinary way: one that has just bypassed the caches would be fetched again.
  [[gnu::always_inline]] void ConvertStreaming(const Row& row, std::ptrdiff_t aligned) const {
    std::ptrdiff_t x = 0;
    for (; x + kPixels <= aligned; x += kPixels) {
      BlockAt(row, x).StoreTo(row.destination + x * To);
    }
    BlockAt(row, x).StorePixels(row.destination + x * To, 0, aligned - x);
    const std::ptrdiff_t whole = isSourceCut_ ? row.width - 1 : row.width;
    for (x = aligned; x + kPixels <= whole; x += kPixels) {
      BlockAt(row, x).StreamTo(row.destination + x * To);
    }
    const std::ptrdiff_t last = row.width - kPixels;
    LastBlock(row).StorePixels(row.destination + last * To, x - last, row.width - x);
  }

  /// A row shorter than a block, which only in part is loaded and stored.
  [[gnu::always_inline]] void ConvertShort(const Row& row) const {
    const PartOfBlock<V, S::kFrom> source(row.source, row.width * S::kFrom - (isSourceCut_ ? kCutBytes : 0));
    const PartOfBlock<V, 4> mask(row.mask, row.width * MaskBytes);
    const std::ptrdiff_t bytes = row.width * To - (isDestinationCut_ ? kCutBytes : 0);
    const PartOfBlock<V, To> destination(row.destination, rest == Rest::kKept ? bytes : 0);
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
    constexpr int kSourceBytes = kPixels * S::kFrom;
    constexpr int kDestinationBytes = kPixels * To;
    const std::uint8_t* from = row.source + x * S::kFrom;
    const std::uint8_t* to = row.destination + x * To;
    const auto source = isSourceCut_ ? PartOfBlock<V, S::kFrom>(from, kSourceBytes - kCutBytes)
                                     : PartOfBlock<V, S::kFrom>(from, kSourceBytes);
    const auto destination = isDestinationCut_
                                 ? PartOfBlock<V, To>(to, kDestinationBytes - kCutBytes)
                                 : PartOfBlock<V, To>(to, rest == Rest::kKept ? kDestinationBytes : 0);
    return blocks_.Convert(source.Source(), row.mask + x * MaskBytes, destination.Source());
  }

  [[gnu::always_inline]] typename Blocks::Block BlockAt(const Row& row, std::ptrdiff_t x) const {
    return blocks_.Convert(row.source + x * S::kFrom, row.mask + x * MaskBytes, row.destination + x * To);
  }

  /// The first pixel that begins at a cache line; kLine if none does, or if the row is too short to gain by
  /// it.
  static std::ptrdiff_t FirstAligned(const Row& row) {
    const auto address = reinterpret_cast<std::uintptr_t>(row.destination);
    std::ptrdiff_t x = row.width < 8 * kLine ? kLine : 0;
    while (x < kLine && (address + static_cast<std::uintptr_t>(x * To)) % kLine != 0) {
      ++x;
    }
    return x;
  }

  Blocks blocks_;
  bool isSourceCut_;
  bool isDestinationCut_;
};

template <class G, template <class, int> class S, int From, int To, Rest rest, int MaskBytes>
void RunIn(const Plan& plan, int geometry, const Rows& rows, bool stream) {
  RowConverter<G, S<G, From>, To, rest, MaskBytes>(plan, geometry).Convert(rows, stream);
  if (stream) {
    FinishStreams();
  }
}

template <template <class, int> class S, int From, int To, Rest rest, int MaskBytes>
void Run(const Plan& plan, const Rows& rows, bool stream) {
  // Lanes in registers that are arranged into three bytes each are put together through memory where a vector
  // has several: half the speed of one lane at a time.
  constexpr bool kIsWide = Wide::kLanes == 1 || To == 4 || !S<Wide, From>::kInRegisters;
  using G = std::conditional_t<kIsWide, Wide, Narrow>;
  if constexpr (!kHasMaskedAccess<typename G::V> && !std::is_same_v<G, Narrow>) {
    if (rows.width < G::kWidth) {
      return RunIn<Narrow, S, From, To, rest, MaskBytes>(plan, 1, rows, false);
    }
  }
  if constexpr (kHasMaskedAccess<typename G::V> && !S<G, From>::kInRegisters) {
    if (stream || (From == 4 && rows.width >= 2 * G::kWidth)) {
      return RunIn<Narrow, S, From, To, rest, MaskBytes>(plan, 1, rows, stream);
    }
  }
  RunIn<G, S, From, To, rest, MaskBytes>(plan, kIsWide ? 0 : 1, rows, stream);
}

using RunFunction = void (*)(const Plan&, const Rows&, bool stream);

template <template <class, int> class S, int From, int To>
RunFunction PickRest(const KernelRequest& request) {
  if constexpr (To == 4) {
    if (request.rest == Rest::kKept) {
      return Run<S, From, To, Rest::kKept, 0>;
    }
    if (request.rest == Rest::kFromMask) {
      return ChannelsOf(request.mask).bytes == 3 ? Run<S, From, To, Rest::kFromMask, 3>
                                                 : Run<S, From, To, Rest::kFromMask, 4>;
    }
  }
  return Run<S, From, To, Rest::kFill, 0>;
}

template <template <class, int> class S, int From>
RunFunction PickTo(const KernelRequest& request) {
  switch (ChannelsOf(request.to).bytes) {
    case 1:
      return PickRest<S, From, 1>(request);
    case 3:
      return PickRest<S, From, 3>(request);
    default:
      return PickRest<S, From, 4>(request);
  }
}

/// Gray bytes that are weighted or looked up become colours with a fill.
template <template <class, int> class S, int From>
RunFunction PickGrayTo(const KernelRequest& request) {
  return ChannelsOf(request.to).bytes == 3 ? Run<S, From, 3, Rest::kFill, 0>
                                           : Run<S, From, 4, Rest::kFill, 0>;
}

RunFunction PickRun(const KernelRequest& request) {
  const int from = ChannelsOf(request.from).bytes;
  switch (request.stage) {
    case Stage::kWeights:
      return from == 1 ? PickGrayTo<WeightStage, 1>(request) : PickGrayTo<WeightStage, 4>(request);
    case Stage::kTables:
      return from == 1 ? PickGrayTo<TableStage, 1>(request) : PickGrayTo<TableStage, 4>(request);
    default:
      return from == 1   ? PickTo<PixelStage, 1>(request)
             : from == 3 ? PickTo<PixelStage, 3>(request)
                         : PickTo<PixelStage, 4>(request);
  }
}

/// Which byte of the source pixel goes to byte `byte` of the destination pixel.
constexpr int SourceOf(const Channels& from, const Channels& to, int byte) {
  return byte == to.red     ? from.red
         : byte == to.green ? from.green
         : byte == to.blue  ? from.blue
                            : Channels::kAbsent;
}

template <int To>
constexpr Bytes<To> ColourBytes(const Channels& from, const Channels& to) {
  Bytes<To> bytes{};
  for (int i = 0; i < To; ++i) {
    bytes.source[i] = SourceOf(from, to, i);
  }
  return bytes;
}

/// The mask's green goes where no channel is.
template <int To>
constexpr Bytes<To> MaskBytesOf(const Channels& mask, const Channels& to) {
  Bytes<To> bytes = ColourBytes<To>(mask, to);
  for (int& source : bytes.source) {
    source = source == Channels::kAbsent ? mask.green : Channels::kAbsent;
  }
  return bytes;
}

constexpr Channels kPlanes{0, 0, 1, 2};

constexpr bool IsColour(const Channels& layout) {
  return layout.red != Channels::kAbsent && layout.green != Channels::kAbsent &&
         layout.blue != Channels::kAbsent;
}

/// Several channels in one byte can be read, but not written.
constexpr bool IsGray(const Channels& layout) {
  return IsColour(layout) && layout.red == layout.green;
}

/// The controls of one pair of layouts, in one geometry.
template <class G, std::size_t from, std::size_t to>
struct Pair {
  static constexpr const Channels& kFrom = kLayouts[from];
  static constexpr const Channels& kTo = kLayouts[to];
  static constexpr bool kExists = IsColour(kFrom) && !IsGray(kTo);
  static constexpr auto kColours = MakeControls<G, kFrom.bytes>(ColourBytes<kTo.bytes>(kFrom, kTo));
  static constexpr auto kMask = MakeControls<G, kFrom.bytes>(MaskBytesOf<kTo.bytes>(kFrom, kTo));
};

template <class G, std::size_t to>
constexpr auto kPlaneControls = MakeControls<G, 0>(ColourBytes<kLayouts[to].bytes>(kPlanes, kLayouts[to]));

/// Controls by the numbers of the layouts; null where there is no kernel.
struct ControlsTable {
  const Controls* colours[kLayoutCount][kLayoutCount];
  const Controls* masks[kLayoutCount][kLayoutCount];
  const Controls* planes[kLayoutCount];
};

template <class G, std::size_t from, std::size_t to>
constexpr void AddPair(ControlsTable& table) {
  if constexpr (Pair<G, from, to>::kExists) {
    table.colours[from][to] = &Pair<G, from, to>::kColours;
    if constexpr (kLayouts[from].bytes >= 3 && kLayouts[to].bytes == 4) {
      table.masks[from][to] = &Pair<G, from, to>::kMask;
    }
  }
}

template <class G, std::size_t from, std::size_t... to>
constexpr void AddRow(ControlsTable& table, std::index_sequence<to...> /*all*/) {
  (AddPair<G, from, to>(table), ...);
}

template <class G, std::size_t... layouts>
constexpr ControlsTable MakeTable(std::index_sequence<layouts...> all) {
  ControlsTable table{};
  (AddRow<G, layouts>(table, all), ...);
  ((table.planes[layouts] = &kPlaneControls<G, layouts>), ...);
  return table;
}

template <class G>
constexpr ControlsTable kTable = MakeTable<G>(std::make_index_sequence<kLayoutCount>());

template <class G>
void PickControls(const KernelRequest& request, Plan& plan, int geometry) {
  const auto from = static_cast<std::size_t>(request.from);
  const auto to = static_cast<std::size_t>(request.to);
  const auto mask = static_cast<std::size_t>(request.mask);
  if (request.stage == Stage::kNone) {
    plan.controls[geometry] = kTable<G>.colours[from][to];
  } else if (kAsPlanes<G>) {
    plan.controls[geometry] = kTable<G>.planes[to];
  } else {
    plan.controls[geometry] = kTable<G>.colours[static_cast<std::size_t>(Layout::kRGBA)][to];
  }
  plan.maskControls[geometry] = kTable<G>.masks[mask][to];
}

}  // namespace

#define RASTEL_JOIN(a, b) a##b
#define RASTEL_FINDER(target) RASTEL_JOIN(FindKernel_, target)

void RASTEL_FINDER(RASTEL_TARGET)(const KernelRequest& request, Plan& plan) {
  PickControls<Wide>(request, plan, 0);
  PickControls<Narrow>(request, plan, 1);
  plan.run = plan.controls[0] == nullptr ? nullptr : PickRun(request);
}

}  // namespace rastel::pixels
