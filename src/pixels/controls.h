// The constants of all pairs of layouts, made by the compiler. Internal to the object that includes it.
#pragma once

#include <utility>

#include "pixels/arrange.h"
#include "pixels/layout.h"

namespace rastel::pixels {
namespace {

/// Which byte of the source pixel goes to byte `byte` of the destination pixel.
constexpr int SourceOf(const Channels& from, const Channels& to, int byte) {
  return byte == to.red     ? from.red
         : byte == to.green ? from.green
         : byte == to.blue  ? from.blue
                            : Channels::kAbsent;
}

template <int To>
constexpr ByteMap<To> ColourMap(const Channels& from, const Channels& to) {
  ByteMap<To> map{};
  for (int i = 0; i < To; ++i) {
    map.source[i] = SourceOf(from, to, i);
  }
  return map;
}

/// The mask's green goes where no channel is.
template <int To>
constexpr ByteMap<To> MaskMap(const Channels& mask, const Channels& to) {
  ByteMap<To> map = ColourMap<To>(mask, to);
  for (int& source : map.source) {
    source = source == Channels::kAbsent ? mask.green : Channels::kAbsent;
  }
  return map;
}

/// The controls of one pair of layouts.
template <class G, std::size_t from, std::size_t to>
struct LayoutPair {
  static constexpr const Channels& kFrom = kLayouts[from];
  static constexpr const Channels& kTo = kLayouts[to];
  static constexpr bool kIsPossible = HasAllChannels(kFrom) && !IsGray(kTo);
  static constexpr bool kTakesMask = kIsPossible && kFrom.bytes >= 3 && kTo.bytes == 4;
  static constexpr auto kColours = MakeControls<G, kFrom.bytes>(ColourMap<kTo.bytes>(kFrom, kTo));
  static constexpr auto kMask = MakeControls<G, kFrom.bytes>(MaskMap<kTo.bytes>(kFrom, kTo));
};

constexpr Channels kPlanesOfColours{0, 0, 1, 2};

template <class G, std::size_t to>
constexpr auto kPlaneControls = MakeControls<G, kPlanes>(ColourMap<kLayouts[to].bytes>(kPlanesOfColours,
                                                                                       kLayouts[to]));

/// Controls by the numbers of the layouts; null for what is no conversion.
struct ControlsTable {
  const Controls* colours[kLayoutCount][kLayoutCount];
  const Controls* masks[kLayoutCount][kLayoutCount];  // by the mask's layout and the destination's
  const Controls* planes[kLayoutCount];
};

template <class G, std::size_t from, std::size_t to>
constexpr void AddPair(ControlsTable& table) {
  using Pair = LayoutPair<G, from, to>;
  if constexpr (Pair::kIsPossible) {
    table.colours[from][to] = &Pair::kColours;
  }
  if constexpr (Pair::kTakesMask) {
    table.masks[from][to] = &Pair::kMask;
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

}  // namespace
}  // namespace rastel::pixels
