#include "registration/declarations.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace rastel {
namespace {

constexpr std::size_t kBufferSize = 1000;
constexpr std::size_t kMostInsertedAt = kBufferSize - 1;  // where nothing can be inserted any more

/// A text that begins like another one.
struct TextBuffer {
  char text[kBufferSize] = {};

  /// Copies the first `length` characters of `source` and gives the place behind them.
  char* Keep(std::string_view source, std::size_t length) {
    std::copy_n(source.data(), length, text);
    return text + length;
  }
};

/// The position of the first of `characters` in `text`. kMostInsertedAt if it is there or behind, or nowhere.
std::size_t FirstOf(std::string_view text, const char* characters) {
  return std::min(text.find_first_of(characters), kMostInsertedAt);
}

}  // namespace

CBuffer<char> AddClassParameter(const char* declaration, const char* className) {
  TextBuffer buffer;
  const std::size_t position = FirstOf(declaration, " (");
  if (position == kMostInsertedAt) {
    std::snprintf(buffer.text, kBufferSize, "%s(extends ref as %s)", declaration, className);
    return CBuffer<char>(strdup(buffer.text));
  }
  char* place = buffer.Keep(declaration, position);
  const std::size_t limit = kBufferSize - 1 - position;
  const char* rest = declaration + position;
  if (*rest == '(') {
    std::snprintf(place, limit, "(extends ref as %s, %s", className, rest + 1);
  } else {
    std::snprintf(place, limit, "(extends ref as %s)%s", className, rest);
  }
  return CBuffer<char>(strdup(buffer.text));
}

CBuffer<char> AddAssignsParameter(const char* declaration) {
  TextBuffer buffer;
  std::size_t position = FirstOf(declaration, ")");
  const bool hasList = position != kMostInsertedAt;
  if (!hasList) {
    position = FirstOf(declaration, " ");
  }
  if (position == kMostInsertedAt) {
    return nullptr;
  }
  char* place = buffer.Keep(declaration, position);
  const std::size_t limit = kBufferSize - 1 - position;
  if (hasList) {
    std::snprintf(place, limit, ", assigns value%s)", declaration + position + 1);
  } else {
    std::snprintf(place, limit, "(assigns value%s)", declaration + position);
  }
  return CBuffer<char>(strdup(buffer.text));
}

}  // namespace rastel
