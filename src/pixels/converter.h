// The conversion of rows, ready to run.
#pragma once

#include "pixels/convert.h"
#include "pixels/kernel.h"

namespace rastel::pixels {

/// Converts rows in one way, with the best kernel that the CPU has.
class Converter {
 public:
  explicit Converter(const Conversion& conversion);
  /// With the kernels of one target, which the CPU must be able to run.
  Converter(const Conversion& conversion, KernelFinder target);
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  /// Converts `rows`, first to last and each from left to right. Nothing before the first or after the last
  /// byte of a row's pixels is read or written, and the kept bytes in between keep their values. Source and
  /// destination may be the same rows if their pixels have the same size.
  void Convert(const Rows& rows) const;

 private:
  Rows Joined(const Rows& rows) const;
  void ConvertStepped(const Rows& rows) const;
  void ConvertApart(const Rows& pixels) const;
  void RunKernel(const Rows& rows) const;

  Conversion conversion_;
  Plan plan_;     // for pixels next to each other
  Plan stepped_;  // for gray bytes or single channels four bytes apart
  std::uint8_t readyPixels_[256][4];
};

}  // namespace rastel::pixels
