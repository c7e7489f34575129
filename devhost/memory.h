// The memory of pictures and memory blocks: rows with watched surroundings.
#pragma once

#include <cstddef>
#include <cstdint>

namespace devhost {

struct MemoryShape {
  std::size_t rows;
  std::size_t rowLength;  // bytes of one row
  std::size_t gap;  // bytes ahead of each row and behind the last one; in guarded memory pages take its place
  bool scattered;   // rows lie neither in order nor equally spaced
  bool guarded;     // each row ends right before a page without access, as far as kGuardedRows goes
};

/// Rows of bytes, zero at first. The bytes around them hold a fixed value, so that a stray write shows; in
/// builds with the address sanitizer those of small memory without guards cannot be read either, as far as
/// its grain of eight bytes goes.
class Memory {
 public:
  /// The system maps a limited number of areas: in taller memory only this many rows at either end are
  /// followed by a page without access, and the rows between them by a spare page.
  static constexpr std::size_t kGuardedRows = 2048;

  /// Throws std::bad_alloc if there is not that much memory.
  explicit Memory(const MemoryShape& shape);
  ~Memory();
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  /// The start of row `row`: shape.rowLength bytes. With no rows, an address without bytes.
  std::uint8_t* Row(std::size_t row) const;

  /// Bytes from one row to the next, unless they are scattered.
  std::size_t rowBytes() const { return slotBytes_; }

  /// True if no byte around the rows was written.
  bool SurroundingsIntact() const;

 private:
  std::uint8_t* RowInSlot(std::size_t slot) const;
  void OpenSlots(std::size_t first, std::size_t last);
  void OpenGuardedSlots();
  void Map();
  void CloseSurroundings() const;

  MemoryShape shape_;
  std::size_t before_;     // bytes ahead of the row in its slot
  std::size_t behind_;     // bytes behind the row in the last slot
  std::size_t slotBytes_;  // from one slot's row to the next slot's
  std::size_t firstRow_;   // offset of the first slot's row
  std::size_t length_;
  bool isMapped_;  // or else from the heap
  std::uint8_t* start_ = nullptr;
};

}  // namespace devhost
