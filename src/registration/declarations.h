// Rewrites declarations of a class's methods for hosts that take these as "extends" methods of a module.
#pragma once

#include "host/memory.h"

namespace rastel {

/// "Name(…" becomes "Name(extends ref as className, …". Texts longer than 999 characters are cut. Null
/// without memory.
CBuffer<char> AddClassParameter(const char* declaration, const char* className);

/// "Name(…) as type" becomes "Name(…, assigns value as type)". Texts longer than 998 characters are cut. Null
/// if `declaration` has neither a ")" nor a blank, or without memory.
CBuffer<char> AddAssignsParameter(const char* declaration);

}  // namespace rastel
