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
/// string with one reference for the caller. Gives null if `data` is null, if `byteLength` is not in 1 to
/// kMostBytes, or if the host cannot make the string. A C++ exception is raised as a host exception; the
/// result is null then.
REALstringStruct* REALBuildUnicodeString(const void* data, std::int64_t byteLength, std::uint32_t encoding);

/// Like REALBuildUnicodeString, but lets exceptions pass.
REALstringStruct* BuildUnicodeStringUnguarded(const void* data, std::int64_t byteLength,
                                              std::uint32_t encoding);

/// Makes a UTF-8 host string from `byteLength` bytes of UTF-16. Gives a string with one reference for the
/// caller, or null if the host cannot make it. Exceptions pass.
REALstringStruct* REALBuildUnicodeStringUTF16(const void* data, std::int64_t byteLength);

/// Gives element `index` of `array`. Gives 0 if `array` is null or the host does not tell where its elements
/// are. For an index outside the array it raises an "OutOfBoundsException" and gives 0.
std::int32_t REALGetArrayInt(_REALarrayInteger* array, std::int32_t index);

}  // namespace rastel
