// The conversion of rows, ready to run.
#pragma once

#include "pixels/conversion.h"
#include "pixels/kernel.h"

namespace rastel::pixels {

/// From how many bytes read and written on the destination bypasses the caches: as many as the last cache
/// holds, as far as the system says, since then neither side would stay in it.
std::int64_t StreamingThreshold();

/// Converts rows in one way, with the best kernel that the CPU has.
class Converter {
 public:
  /// `conversion` has to be possible (IsPossible).
  explicit Converter(const Conversion& conversion);
  /// With the kernels of one target, which the CPU must be able to run, past the caches from `threshold`
  /// bytes read and written on.
  Converter(const Conversion& conversion, KernelFinder target, std::int64_t threshold = StreamingThreshold());
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  /// Converts `rows`, first to last and each from left to right. Nothing before the first or after the last
  /// byte of a row's pixels is read or written, and the kept bytes in between keep their values. Source and
  /// destination may be the same rows if their pixels have the same size.
  void Convert(const Rows& rows) const;

 private:
  void ReadBytesFourApart();
  Rows Joined(const Rows& rows) const;
  void ConvertApart(const Rows& rows) const;
  void RunKernel(const Rows& rows) const;

  Conversion conversion_;
  std::int64_t threshold_;
  Plan plan_;
  bool isApart_ = false;  // pixels at distances that no kernel knows; `plan_` is for pixels side by side
  std::uint8_t readyPixels_[256][4];
};

}  // namespace rastel::pixels
