#include "devhost/memory.h"

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace devhost {
namespace {

constexpr std::uint8_t kSurroundings = 0xA5;

/// Memory of up to so many bytes comes from the heap, which takes less time than a mapping.
constexpr std::size_t kMostFromHeap = 65536;

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
      length_(LengthOfAll(shape, slotBytes_, shape.guarded ? PageSize() : behind_)),
      isMapped_(shape.guarded || length_ > kMostFromHeap) {
  if (isMapped_) {
    Map();
  } else {
    start_ = static_cast<std::uint8_t*>(std::calloc(length_, 1));
    if (start_ == nullptr) {
      throw std::bad_alloc();
    }
  }
  for (std::size_t slot = 0; slot < shape.rows; ++slot) {
    std::fill_n(RowInSlot(slot) - before_, before_, kSurroundings);
  }
  std::fill_n(start_ + length_ - behind_, behind_, kSurroundings);
  CloseSurroundings();
}

Memory::~Memory() {
  if (isMapped_) {
    munmap(start_, length_);
  } else {
    ASAN_UNPOISON_MEMORY_REGION(start_, length_);
    std::free(start_);
  }
}

void Memory::Map() {
  const int access = shape_.guarded ? PROT_NONE : PROT_READ | PROT_WRITE;
  void* mapped = mmap(nullptr, length_, access, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  start_ = static_cast<std::uint8_t*>(mapped);
  try {
    if (shape_.guarded) {
      OpenGuardedSlots();
    }
  } catch (...) {
    munmap(start_, length_);
    throw;
  }
}

/// Takes access to the bytes around the rows away, where the address sanitizer can.
void Memory::CloseSurroundings() const {
  if (isMapped_) {
    return;
  }
  for (std::size_t slot = 0; slot < shape_.rows; ++slot) {
    ASAN_POISON_MEMORY_REGION(RowInSlot(slot) - before_, before_);
  }
  ASAN_POISON_MEMORY_REGION(start_ + length_ - behind_, behind_);
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
  if (!isMapped_) {
    ASAN_UNPOISON_MEMORY_REGION(start_, length_);
  }
  bool intact = Untouched(start_ + length_ - behind_, behind_);
  for (std::size_t slot = 0; intact && slot < shape_.rows; ++slot) {
    intact = Untouched(RowInSlot(slot) - before_, before_);
  }
  CloseSurroundings();
  return intact;
}

}  // namespace devhost
