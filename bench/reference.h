// The plainest way to convert.
#pragma once

#include "pixels/conversion.h"

namespace bench {

/// Converts one row, pixel by pixel, whatever `rows.count` is.
void ConvertPlainly(const rastel::pixels::Conversion& conversion, const rastel::pixels::Rows& rows);

/// Whether byte `offset` of a destination row belongs to a channel.
bool IsChannel(const rastel::pixels::Conversion& conversion, std::ptrdiff_t offset);

/// Loads and stores the bytes of the same pixels and arranges nothing, as a loop of whole vectors without any
/// care for what is left of a row: what no kernel of ordinary loads and stores can undercut by much.
void MoveAlone(const rastel::pixels::Conversion& conversion, const rastel::pixels::Rows& rows);

}  // namespace bench
