// Memory of the C library: what is handed to the host for good, or freed on every way out.
#pragma once

#include <cstdlib>
#include <memory>

namespace rastel {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

/// An array or a record from `calloc` or `strdup`, freed with its holder.
template <typename T>
using CBuffer = std::unique_ptr<T, Free>;

}  // namespace rastel
