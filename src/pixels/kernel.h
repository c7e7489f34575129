// What a CPU target's kernel offers to the rest of the room.
#pragma once

#include "pixels/convert.h"

namespace rastel::pixels {

/// How the source's bytes become what the kernel arranges into pixels.
enum class Stage : unsigned char {
  kNone,     // they are pixels already
  kWeights,  // gray bytes, times a weight for each channel over 256, at most 255
  kTables,   // gray bytes, looked up in a table for each channel
};

/// Where a block's bytes go. Made by the target, for it alone.
struct Controls;

/// All that a kernel needs besides the rows.
struct Plan {
  /// Converts rows; true: the destination is written past the caches. Null if the target has no kernel for
  /// this.
  void (*run)(const Plan&, const Rows&, bool stream) = nullptr;
  const Controls* controls[2] = {};      // for the wide geometry and for the narrow one
  const Controls* maskControls[2] = {};  // likewise
  /// A byte alone is taken for a pixel of four, so that the last pixel of each row ends with its first byte.
  bool isSourceCut = false;
  bool isDestinationCut = false;
  std::uint8_t fill = 0;
  std::uint16_t weights[3] = {};                   // with Stage::kWeights: 0 to 32767
  const ChannelTables* tables = nullptr;           // with Stage::kTables
  const std::uint8_t (*readyPixels)[4] = nullptr;  // likewise: red, green, blue, 0 by gray value
};

/// Which kernel is wanted.
struct KernelRequest {
  Layout from;
  Layout to;
  Rest rest;
  Layout mask;
  Stage stage;
};

/// Fills in `run` and the controls of `plan`, if the target has that kernel.
using KernelFinder = void (*)(const KernelRequest&, Plan&);

}  // namespace rastel::pixels
