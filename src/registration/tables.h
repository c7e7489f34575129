// Every method with its declaration, in the order in which they are registered.
#pragma once

#include <cstddef>

#include "abi/records.h"

namespace rastel {

inline constexpr std::size_t kGlobalMethodCount = 32;
inline constexpr std::size_t kPictureMethodCount = 18;

/// A flag for hosts from 2010.029 on. REALPluginMain replaces it by the one that they know.
inline constexpr std::uint32_t kNewHostsOnly = 0x40000;

// REALPluginMain adapts these to the host, which may then keep pointers to them.
extern REALmethodDefinition globalMethods[kGlobalMethodCount];
extern REALmethodDefinition pictureMethods[kPictureMethodCount];
extern REALclassDefinition pictureClass;

}  // namespace rastel
