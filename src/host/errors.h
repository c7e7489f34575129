// How errors reach the application: as host exceptions, raised here and thrown by the host as soon as the
// plug-in's method has returned.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace rastel {

/// A class of host exceptions and the message that goes with it, both NUL-terminated ASCII.
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

/// Raises an exception of the class `className`, or a "RuntimeException" if the host has no such class, with
/// error number 0. `message` may be null: the exception then has a null message. Where the host lacks an
/// entry that is needed, that step is left out; nothing is raised if no exception object can be made.
void RaiseException(const char* className, const char* message);

/// Raises an "OutOfBoundsException" which says that index `value` is outside 0 to `count` - 1.
void RaiseOutOfBoundsException(std::int64_t value, std::int64_t count);

/// To be called inside a catch clause: raises the host exception that stands for the one being handled.
void RaiseCurrentException();

}  // namespace rastel
