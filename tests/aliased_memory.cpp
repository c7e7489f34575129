#include "aliased_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <new>

namespace tests {

AliasedMemory::AliasedMemory(std::uint64_t before, std::uint64_t behind)
    : size_(kPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), length_(0), file_(-1) {
  const std::uint64_t timesBefore = (before + size_ - 1) / size_;
  const std::uint64_t times = timesBefore + (behind + size_ - 1) / size_;
  if (times * size_ > std::numeric_limits<std::size_t>::max() / 2) {
    throw std::bad_alloc();
  }
  length_ = static_cast<std::size_t>(times) * size_;
  file_ = memfd_create("aliased", 0);
  void* mapped = mmap(nullptr, length_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (file_ < 0 || ftruncate(file_, static_cast<off_t>(size_)) != 0 || mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  start_ = static_cast<std::uint8_t*>(mapped);
  base_ = start_ + static_cast<std::size_t>(timesBefore) * size_;
  MapOver(start_, start_ + length_);
}

AliasedMemory::~AliasedMemory() {
  munmap(start_, length_);
  close(file_);
}

std::size_t AliasedMemory::Place(std::int64_t position) const {
  const auto size = static_cast<std::int64_t>(size_);
  return static_cast<std::size_t>((position % size + size) % size);
}

void AliasedMemory::MapOver(std::uint8_t* first, std::uint8_t* end) const {
  for (std::uint8_t* at = first; at < end;) {
    const std::size_t length = std::min(size_, static_cast<std::size_t>(end - at));
    if (mmap(at, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file_, 0) == MAP_FAILED) {
      throw std::bad_alloc();
    }
    at += length;
  }
}

}  // namespace tests
