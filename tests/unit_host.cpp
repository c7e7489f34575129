#include "unit_host.h"

using tests::Callocs;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  Callocs::largestBytes = std::max(Callocs::largestBytes, count * size);
  if (Callocs::left-- <= 0) {
    return nullptr;
  }
  void* memory = __real_calloc(count, size);
  Callocs::inUse.insert(memory);
  return memory;
}

extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
  Callocs::inUse.erase(memory);
  __real_free(memory);
}
// NOLINTEND(bugprone-reserved-identifier)
