#include "unit_memory.h"

#include <cstdlib>
#include <optional>

namespace {

std::optional<int> callocsLeft;
std::size_t lastBytes = 0;

}  // namespace

// The linker leads calls of calloc here.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  lastBytes = count * size;
  return callocsLeft && --*callocsLeft < 0 ? nullptr : __real_calloc(count, size);
}

namespace tests {

FailingCallocs::FailingCallocs(int first) {
  callocsLeft = first;
}

FailingCallocs::~FailingCallocs() {
  callocsLeft.reset();
}

std::size_t LastCallocBytes() {
  return lastBytes;
}

}  // namespace tests
