// The version of the host's records that the plug-in speaks.
#pragma once

#include <cstdint>

namespace rastel {

/// The definition version written into every definition that is registered, 9 to 13: set from the host's
/// version before anything is registered.
inline constinit std::int32_t CurrentREALControlVersion = 13;

}  // namespace rastel
