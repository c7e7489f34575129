#include "unit_memory.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>

namespace {

std::optional<int> callocsLeft;
std::size_t largestBytes = 0;
auto& inUse = *new std::set<void*>;  // never destroyed: memory is freed to the end of the process

}  // namespace

// The linker leads calls of calloc and free here.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  largestBytes = std::max(largestBytes, count * size);
  if (callocsLeft && --*callocsLeft < 0) {
    return nullptr;
  }
  void* memory = __real_calloc(count, size);
  inUse.insert(memory);
  return memory;
}

extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
  inUse.erase(memory);
  __real_free(memory);
}

namespace tests {

FailingCallocs::FailingCallocs(int first) {
  callocsLeft = first;
  largestBytes = 0;
}

FailingCallocs::~FailingCallocs() {
  callocsLeft.reset();
}

std::size_t CallocsInUse() {
  return inUse.size();
}

std::size_t LargestCallocBytes() {
  return largestBytes;
}

}  // namespace tests
