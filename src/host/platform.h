// What the process may have from its platform: two clocks and the legacy graphics framework. Each of their
// functions is a weak symbol.
#pragma once

#include <cstdint>

#include "host/binding.h"

namespace rastel {

/// The time in ticks of 1/60 second, from "TickCount" or else from a monotonic clock. Wraps.
std::uint32_t SystemTicks();

/// The time in nanoseconds, from the audio host time or else from a monotonic clock. That clock starts again
/// at 0 every 2^31 milliseconds (24.8 days), so that its milliseconds fit a 32-bit integer.
std::uint64_t SystemNanoseconds();

/// Gives the address of a function of the legacy graphics framework, or null. Loads the framework if it is
/// not loaded yet; if that fails, the next call tries again.
void* FindLegacyFunction(const char* name);

template <FixedText Name, typename Signature>
using LegacyFunction = Bound<FindLegacyFunction, Name, Signature>;

inline constinit LegacyFunction<"SetGWorld", void(void* port, void* device)> SetGWorld;
inline constinit LegacyFunction<"GetGWorldPixMap", void*(void* world)> GetGWorldPixMap;
inline constinit LegacyFunction<"GetPixDepth", std::int16_t(void* pixMap)> GetPixDepth;
inline constinit LegacyFunction<"LockPixels", std::uint8_t(void* pixMap)> LockPixels;
inline constinit LegacyFunction<"GetPixBaseAddr", char*(void* pixMap)> GetPixBaseAddr;
inline constinit LegacyFunction<"GetPixRowBytes", std::int32_t(void* pixMap)> GetPixRowBytes;
inline constinit LegacyFunction<"UnlockPixels", void(void* pixMap)> UnlockPixels;

}  // namespace rastel
