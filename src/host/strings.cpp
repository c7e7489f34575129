#include "host/strings.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "host/entries.h"
#include "host/errors.h"
#include "host/held.h"
#include "host/memory.h"

namespace rastel {
namespace {

bool IsAscii(const void* data, std::int64_t byteLength) {
  const std::span bytes(static_cast<const unsigned char*>(data), static_cast<std::size_t>(byteLength));
  return std::ranges::all_of(bytes, [](unsigned char byte) { return byte < 0x80; });
}

bool IsUnspecified(std::uint32_t encoding) {
  return encoding == 0 || encoding == 0x0500 || encoding == 0xFFFF;
}

/// Gives `source`, which may be null, in UTF-8, and gives `source` itself back.
REALstringStruct* ConvertToUtf8(REALstringStruct* source) {
  Reference<REALstringStruct> string(source);
  Reference<REALstringStruct> result(REALConvertString(string.Get(), kUtf8));
  string.GiveBack();
  return result.HandOver();
}

/// Makes a string in `encoding` and converts it to UTF-8.
REALstringStruct* BuildAndConvert(const void* data, std::int64_t byteLength, std::uint32_t encoding) {
  return ConvertToUtf8(REALBuildStringWithEncoding(data, static_cast<std::int32_t>(byteLength), encoding));
}

/// Makes a string of which the host is told the encoding afterwards. Null if it cannot make it.
REALstringStruct* BuildThenSetEncoding(const void* data, std::int64_t byteLength, std::uint32_t encoding) {
  Reference<REALstringStruct> string(originalREALBuildString(data, static_cast<std::int32_t>(byteLength)));
  if (string.Get() != nullptr) {
    REALSetStringEncoding(string.Get(), encoding);
  }
  return string.HandOver();
}

/// Writes a code point as UTF-16 to `units`, at most two of them. A surrogate is left out, and a value above
/// 0x10FFFF becomes U+FFFD. Gives the position behind what was written.
char16_t* AppendUtf16(char16_t* units, std::uint32_t codePoint) {
  if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
    return units;
  }
  if (codePoint < 0x10000) {
    *units++ = static_cast<char16_t>(codePoint);
  } else if (codePoint <= 0x10FFFF) {
    *units++ = static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10));
    *units++ = static_cast<char16_t>(0xDC00 + ((codePoint - 0x10000) & 0x03FF));
  } else {
    *units++ = 0xFFFD;
  }
  return units;
}

/// Makes a UTF-8 string from UTF-32 on hosts that cannot convert that themselves.
REALstringStruct* BuildFromUtf32(const void* data, std::int64_t byteLength) {
  constexpr std::int64_t kMostBytesOnStack = 799;
  char16_t onStack[(kMostBytesOnStack / 4) * 2 + 1];
  CBuffer<char16_t> onHeap;

  const std::int64_t codePoints = byteLength / 4;
  char16_t* units = onStack;
  if (byteLength > kMostBytesOnStack) {
    // Two units for each code point, and one for the end.
    onHeap = NewArray<char16_t>(static_cast<std::uint64_t>(codePoints * 2 + 1));
    if (onHeap == nullptr) {
      return nullptr;
    }
    units = onHeap.get();
  }

  char16_t* end = units;
  const auto* source = static_cast<const unsigned char*>(data);
  for (std::int64_t i = 0; i < codePoints; ++i) {
    std::uint32_t codePoint = 0;
    std::memcpy(&codePoint, source + i * 4, sizeof codePoint);
    end = AppendUtf16(end, codePoint);
  }
  *end = 0;
  return REALBuildUnicodeStringUTF16(units, (end - units) * static_cast<std::int64_t>(sizeof(char16_t)));
}

/// Where hosts below 2016.0 have the elements of an array, or null.
const std::int32_t* ElementsOf(const _REALarrayInteger* array) {
  return rbversion_rbversion < 2008.0 ? reinterpret_cast<const ArrayBefore2008*>(array)->elements
                                      : reinterpret_cast<const ArrayBefore2016*>(array)->elements;
}

}  // namespace

REALstringStruct* REALBuildUnicodeString(const void* data, std::int64_t byteLength, std::uint32_t encoding) {
  try {
    return BuildUnicodeStringUnguarded(data, byteLength, encoding);
  } catch (...) {
    RaiseCurrentException();
    return nullptr;
  }
}

REALstringStruct* BuildUnicodeStringUnguarded(const void* data, std::int64_t byteLength,
                                              std::uint32_t encoding) {
  if (data == nullptr || byteLength < 1 || byteLength > kMostBytes) {
    return nullptr;
  }
  if (encoding == kUtf16) {
    return REALBuildUnicodeStringUTF16(data, byteLength);
  }
  if (encoding == kUtf32) {
    return rbversion_rbversion >= 2013.0 ? BuildAndConvert(data, byteLength, kUtf32)
                                         : BuildFromUtf32(data, byteLength);
  }
  if (IsUnspecified(encoding) && IsAscii(data, byteLength)) {
    encoding = kAscii;
  }
  return BuildThenSetEncoding(data, byteLength, encoding);
}

REALstringStruct* REALBuildUnicodeStringUTF16(const void* data, std::int64_t byteLength) {
  if (rbversion_rbversion >= 2012.0) {
    return BuildAndConvert(data, byteLength, kUtf16);
  }
  REALstringStruct* string = BuildThenSetEncoding(data, byteLength, kUtf16);
  return string == nullptr ? nullptr : ConvertToUtf8(string);
}

std::int32_t REALGetArrayInt(_REALarrayInteger* array, std::int32_t index) {
  if (array == nullptr) {
    return 0;
  }
  const std::int32_t upperBound = REALGetArrayUBound(array);
  if (index < 0 || index > upperBound) {
    RaiseOutOfBoundsException(index, std::int64_t{upperBound} + 1);
    return 0;
  }
  if (rbversion_rbversion < 2016.0) {
    if (const std::int32_t* elements = ElementsOf(array); elements != nullptr) {
      return elements[index];
    }
  }
  const ArrayGetter getter = REALGetArrayValueInteger(array);
  return getter == nullptr ? 0 : getter(array, index);
}

}  // namespace rastel
