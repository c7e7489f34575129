// The CPU targets that the kernel was compiled for.
#pragma once

#include <span>

#include "pixels/kernel.h"

namespace rastel::pixels {

struct Target {
  const char* name;
  bool (*isSupported)();  // by the CPU this runs on
  KernelFinder find;
};

/// All targets, best first. The last one runs everywhere.
std::span<const Target> Targets();

/// The first target that the CPU supports.
const Target& BestTarget();

}  // namespace rastel::pixels
