// What a CPU target's kernel offers to the rest of the room, and what it gets.
#pragma once

#include "pixels/conversion.h"

namespace rastel::pixels {

/// What becomes of the source's bytes before a kernel arranges them into pixels.
enum class Stage : unsigned char {
  kNone,     // nothing: they are pixels already
  kWeights,  // gray bytes are multiplied by a weight for each channel over 256, to at most 255
  kTables,   // gray bytes are looked up in a table for each channel
};

/// The constants with which a kernel moves bytes. Made by the target, for it alone.
struct Controls;

/// The controls for one width of vectors.
struct WidthControls {
  const Controls* colours = nullptr;
  const Controls* mask = nullptr;
};

/// All that a kernel needs besides the rows: a conversion of pixels side by side, and how the target does it.
struct Plan : Conversion {
  Stage stage = Stage::kNone;
  // Bytes four apart are read, or written, as 4-byte pixels; of a row's last pixel only the first byte is in
  // memory.
  bool isSourceCut = false;
  bool isDestinationCut = false;
  const std::uint8_t (*readyPixels)[4] = nullptr;  // with Stage::kTables: red, green, blue, 0 by gray value

  // The rest is the target's.
  /// Converts rows; `pastCaches`: the destination is written past the caches where that is possible.
  void (*run)(const Plan&, const Rows&, bool pastCaches) = nullptr;
  WidthControls wide;
  WidthControls narrow;
};

/// A target: fills in how `plan` is done.
using KernelFinder = void (*)(Plan& plan);

}  // namespace rastel::pixels
