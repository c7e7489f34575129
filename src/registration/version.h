// The version of the records that are registered.
#pragma once

#include <cstdint>

namespace rastel {

/// The version in every definition that is registered, 9 to 13. REALPluginMain sets it by the host's version.
inline constinit std::int32_t CurrentREALControlVersion = 13;

}  // namespace rastel
