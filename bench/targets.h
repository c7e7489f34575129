// The kernels of every CPU target beside the loops that people write.
#pragma once

#include <iosfwd>

namespace bench {

/// Measures kinds of conversions of 640 × 480 pixels, and writes a table of them. Throws std::runtime_error
/// if a kernel and its loop do not give the same bytes.
void WriteTargets(std::ostream& page);

}  // namespace bench
