// Gigabytes of addresses on a few pages of memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tests {

/// A few pages, mapped over and over.
class AliasedMemory {
 public:
  /// An odd number of pages, so that addresses a power of two apart are different bytes.
  static constexpr std::size_t kPages = 509;

  /// At least `before` bytes before base() and `behind` bytes behind it, which has to be all of the address
  /// space that is needed. Throws std::bad_alloc.
  AliasedMemory(std::uint64_t before, std::uint64_t behind);
  ~AliasedMemory();
  AliasedMemory(const AliasedMemory&) = delete;
  AliasedMemory& operator=(const AliasedMemory&) = delete;

  std::uint8_t* base() const { return base_; }
  std::uint8_t* bytes() const { return start_; }  // size() bytes: each byte once
  std::size_t size() const { return size_; }

  /// The place in bytes() of the byte at base() + `position`.
  std::size_t Place(std::int64_t position) const;

  /// Maps the pages over other memory, too, from one page's start to another's; that memory must not outlive
  /// this.
  void MapOver(std::uint8_t* first, std::uint8_t* end) const;

 private:
  std::size_t size_;
  std::size_t length_;
  int file_;
  std::uint8_t* start_;
  std::uint8_t* base_;
};

}  // namespace tests
