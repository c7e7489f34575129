#include <cstring>
#include <string>
#include <vector>

#include "devhost/state.h"

namespace devhost {
namespace {

constexpr std::uint32_t kUtf16 = 0x0100;
constexpr std::uint32_t kAscii = 0x0600;
constexpr std::uint32_t kUtf8 = 0x08000100;
constexpr std::uint32_t kUtf32 = 0x0C000100;
constexpr char32_t kReplacement = 0xFFFD;

template <typename Unit>
std::vector<Unit> UnitsOf(const std::string& bytes) {
  std::vector<Unit> units(bytes.size() / sizeof(Unit));
  if (!units.empty()) {
    std::memcpy(units.data(), bytes.data(), units.size() * sizeof(Unit));
  }
  return units;
}

void AppendUtf8(std::string& text, char32_t point) {
  if (point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
    point = kReplacement;
  }
  const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) {
    append(point);
    return;
  }
  if (point < 0x800) {
    append(0xC0 | point >> 6);
  } else if (point < 0x10000) {
    append(0xE0 | point >> 12);
    append(0x80 | (point >> 6 & 0x3F));
  } else {
    append(0xF0 | point >> 18);
    append(0x80 | (point >> 12 & 0x3F));
    append(0x80 | (point >> 6 & 0x3F));
  }
  append(0x80 | (point & 0x3F));
}

std::string FromUtf32(const std::string& bytes) {
  std::string text;
  for (const char32_t point : UnitsOf<char32_t>(bytes)) {
    AppendUtf8(text, point);
  }
  return text;
}

bool IsPair(char32_t high, char32_t low) {
  return high >= 0xD800 && high <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF;
}

std::string FromUtf16(const std::string& bytes) {
  std::string text;
  const auto units = UnitsOf<char16_t>(bytes);
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t point = units[i];
    if (i + 1 < units.size() && IsPair(point, units[i + 1])) {
      ++i;
      point = 0x10000 + ((point - 0xD800) << 10) + (char32_t{units[i]} - 0xDC00);
    }
    AppendUtf8(text, point);
  }
  return text;
}

}  // namespace

REALstringStruct* ConvertString(REALstringStruct* text, std::uint32_t encoding) {
  if (text == nullptr) {
    return nullptr;  // the empty string
  }
  if (Require(text) == nullptr) {
    return nullptr;
  }
  if (encoding == kUtf8 && text->encoding == kUtf16) {
    return new REALstringStruct(FromUtf16(text->bytes), encoding);
  }
  if (encoding == kUtf8 && text->encoding == kUtf32) {
    return new REALstringStruct(FromUtf32(text->bytes), encoding);
  }
  if (encoding == text->encoding || (encoding == kUtf8 && text->encoding == kAscii)) {
    return new REALstringStruct(text->bytes, encoding);
  }
  Complain("no such conversion is known");
  return nullptr;
}

}  // namespace devhost
