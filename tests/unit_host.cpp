#include "unit_host.h"

#include <algorithm>

using tests::FailingCallocs;

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  FailingCallocs::largestBytes = std::max(FailingCallocs::largestBytes, count * size);
  void* memory = FailingCallocs::left-- > 0 ? __real_calloc(count, size) : nullptr;
  FailingCallocs::inUse += memory != nullptr ? 1 : 0;
  return memory;
}

extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
  FailingCallocs::inUse -= memory != nullptr ? 1 : 0;
  __real_free(memory);
}
// NOLINTEND(bugprone-reserved-identifier)
