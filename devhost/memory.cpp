#include "devhost/memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <new>

namespace devhost {
namespace {

constexpr std::uint8_t kSurroundings = 0xA5;

std::size_t PageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

std::size_t WholePages(std::size_t bytes) {
  const std::size_t pages = std::max<std::size_t>(1, (bytes + PageSize() - 1) / PageSize());
  return pages * PageSize();
}

std::size_t LengthOfAll(const MemoryShape& shape, std::size_t slotBytes, std::size_t ends) {
  const std::uint64_t length = std::uint64_t{shape.rows} * slotBytes + ends;
  if (length > std::numeric_limits<std::size_t>::max()) {
    throw std::bad_alloc();
  }
  return static_cast<std::size_t>(length);
}

bool Untouched(const std::uint8_t* bytes, std::size_t count) {
  return std::all_of(bytes, bytes + count, [](std::uint8_t byte) { return byte == kSurroundings; });
}

}  // namespace

Memory::Memory(const MemoryShape& shape)
    : shape_(shape),
      before_(shape.guarded ? WholePages(shape.rowLength) - shape.rowLength : shape.gap),
      behind_(shape.guarded ? 0 : shape.gap),
      slotBytes_(before_ + shape.rowLength + (shape.guarded ? PageSize() : 0)),
      firstRow_(before_ + (shape.guarded ? PageSize() : 0)),
      length_(LengthOfAll(shape, slotBytes_, shape.guarded ? PageSize() : behind_)) {
  const int access = shape.guarded ? PROT_NONE : PROT_READ | PROT_WRITE;
  void* mapped = mmap(nullptr, length_, access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  start_ = static_cast<std::uint8_t*>(mapped);
  try {
    if (shape.guarded) {
      OpenGuardedSlots();
    }
  } catch (...) {
    munmap(start_, length_);
    throw;
  }
  for (std::size_t slot = 0; slot < shape.rows; ++slot) {
    std::fill_n(RowInSlot(slot) - before_, before_, kSurroundings);
  }
  std::fill_n(start_ + length_ - behind_, behind_, kSurroundings);
}

Memory::~Memory() {
  munmap(start_, length_);
}

/// Gives access to everything from the first byte of slot `first` to the row's end in slot `last`.
void Memory::OpenSlots(std::size_t first, std::size_t last) {
  const std::size_t bytes = (last - first) * slotBytes_ + before_ + shape_.rowLength;
  if (mprotect(RowInSlot(first) - before_, bytes, PROT_READ | PROT_WRITE) != 0) {
    throw std::bad_alloc();
  }
}

void Memory::OpenGuardedSlots() {
  const std::size_t rows = shape_.rows;
  for (std::size_t slot = 0; slot < rows; ++slot) {
    const bool tall = rows > 2 * kGuardedRows;
    const std::size_t last = tall && slot == kGuardedRows ? rows - kGuardedRows - 1 : slot;
    OpenSlots(slot, last);
    slot = last;
  }
}

std::uint8_t* Memory::RowInSlot(std::size_t slot) const {
  return start_ + firstRow_ + slot * slotBytes_;
}

std::uint8_t* Memory::Row(std::size_t row) const {
  if (shape_.rows == 0) {
    return start_;
  }
  if (!shape_.scattered) {
    return RowInSlot(row);
  }
  // Odd rows from the front, even rows from the back.
  return RowInSlot(row % 2 == 0 ? shape_.rows - 1 - row / 2 : row / 2);
}

bool Memory::SurroundingsIntact() const {
  for (std::size_t slot = 0; slot < shape_.rows; ++slot) {
    if (!Untouched(RowInSlot(slot) - before_, before_)) {
      return false;
    }
  }
  return Untouched(start_ + length_ - behind_, behind_);
}

}  // namespace devhost
