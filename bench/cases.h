// What is measured: families of conversions, through the methods that a host calls for them, at some sizes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace bench {

/// A method, with pictures of some pixel types.
struct Row {
  std::string family;    // in words: rows of one name are one family
  std::string method;    // as registered
  std::string overload;  // a piece of its declaration that no other overload has
  int step;              // bytes from pixel to pixel of the buffer
  std::vector<int> pixelTypes;
};

struct Size {
  std::int32_t width;
  std::int32_t height;
  std::int32_t offset;   // bytes ahead of the buffer's first row
  std::int32_t padding;  // bytes behind each row that a method writes to a buffer
  bool isComparedWithOthers;

  std::string Name() const;  // "640 × 480"
};

struct Case {
  const Row* row;
  int pixelType;
  const Size* size;

  std::string Name() const;
  bool MakesPicture() const { return !row->method.starts_with("Copy"); }
  bool HasMask() const { return row->overload == "MaskForAlpha"; }
};

std::span<const Size> Sizes();

/// Cases of one family follow each other.
std::vector<Case> Cases();

}  // namespace bench
