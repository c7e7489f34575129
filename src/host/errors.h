// Errors as the application sees them: host exceptions. They are raised here, and the host throws them when
// the plug-in's method has returned.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace rastel {

/// A class of host exceptions and a message, both in ASCII and ended by NUL.
struct HostError {
  const char* className;
  const char* message;
};

inline constexpr HostError kPictureIsNil{"NilObjectException", "Picture is nil"};
inline constexpr HostError kMemoryblockIsNil{"NilObjectException", "Memoryblock is nil"};
inline constexpr HostError kMaskIsNil{"NilObjectException", "Mask Picture is nil"};
inline constexpr HostError kWidthTooSmall{"UnsupportedOperationException", "width is too small. Must be >0."};
inline constexpr HostError kHeightTooSmall{"UnsupportedOperationException",
                                           "height is too small. Must be >0."};
inline constexpr HostError kOffsetTooSmall{"UnsupportedOperationException",
                                           "offset is too small. Must be >=0."};

/// What must hold of an argument, and what is raised when it does not.
struct Check {
  bool holds;
  HostError error;
};

/// Raises the error of the first check that does not hold. True if all hold.
bool CheckArguments(std::initializer_list<Check> checks);

/// Raises an exception of the class `className` with error number 0. If the host has no such class, it is a
/// "RuntimeException"; without that class nothing is raised. If `message` is null, so is the exception's
/// message. A host entry that is missing is left out.
void RaiseException(const char* className, const char* message);

/// Raises an "OutOfBoundsException" which says that the index `value` is not in 0 to `count` - 1.
void RaiseOutOfBoundsException(std::int64_t value, std::int64_t count);

/// Raises a host exception for the C++ exception that is being handled. Only called in a catch clause.
void RaiseCurrentException();

}  // namespace rastel
