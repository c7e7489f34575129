// What comes from the platform, if it has it: two clocks and the legacy graphics framework. Each function is
// a weak symbol that the running process may supply.
#pragma once

#include <cstdint>

#include "host/binding.h"

namespace rastel {

/// 1/60 seconds since some start, from "TickCount" or else from a monotonic clock. Wraps.
std::uint32_t SystemTicks();

/// Nanoseconds since some start, from the audio host time or else from a monotonic clock that begins again
/// after 2^31 milliseconds (24.8 days), more of which would not fit an integer.
std::uint64_t SystemNanoseconds();

/// The address of a function of the legacy graphics framework, or null. Loads the framework first if it is
/// not loaded yet; a failed load is tried again at the next use.
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
