// The plug-in's public interface: every method with its declaration, in the order of registration.
#pragma once

#include <cstddef>

#include "abi/records.h"

namespace rastel {

inline constexpr std::size_t kGlobalMethodCount = 32;
inline constexpr std::size_t kPictureMethodCount = 18;

/// A flag of a member that only hosts from 2010.029 on understand; Register replaces it.
inline constexpr std::uint32_t kNewHostsOnly = 0x40000;

// Writable, complete when the library is loaded, adapted once to the host, and then the host's for good.
extern REALmethodDefinition globalMethods[kGlobalMethodCount];
extern REALmethodDefinition pictureMethods[kPictureMethodCount];
extern REALclassDefinition pictureClass;

}  // namespace rastel
