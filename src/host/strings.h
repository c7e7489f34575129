// Host strings from bytes, and elements of host arrays.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

// The host's text encodings.
inline constexpr std::uint32_t kUtf16 = 0x0100;  // in host byte order
inline constexpr std::uint32_t kAscii = 0x0600;
inline constexpr std::uint32_t kUtf8 = 0x08000100;
inline constexpr std::uint32_t kUtf32 = 0x0C000100;  // in host byte order

/// Makes a host string from `byteLength` bytes of text in `encoding`. UTF-16 and UTF-32 become UTF-8. Gives a
/// string with one reference for the caller, or null: for null `data`, for a length outside 1 to 0x7FFFFFFF
/// (an empty text is null on purpose), or when the host cannot make the string. Whatever is thrown meanwhile
/// is raised as a host exception, and the result is null.
REALstringStruct* REALBuildUnicodeString(const void* data, std::int64_t byteLength, std::uint32_t encoding);

/// Like REALBuildUnicodeString, but lets exceptions pass.
REALstringStruct* BuildUnicodeStringUnguarded(const void* data, std::int64_t byteLength,
                                              std::uint32_t encoding);

/// Makes a UTF-8 host string from UTF-16 code units in host byte order. Gives a string with one reference for
/// the caller, or null. Exceptions pass.
REALstringStruct* REALBuildUnicodeStringUTF16(const void* data, std::int64_t byteLength);

/// Element `index` of `array`. A null array, or one whose elements cannot be reached, reads as 0; so does an
/// index outside the array, for which an "OutOfBoundsException" is raised.
std::int32_t REALGetArrayInt(_REALarrayInteger* array, std::int32_t index);

}  // namespace rastel
