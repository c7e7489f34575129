// Declarations rewritten for hosts that take the methods of a class as "extends" methods of a module.
#pragma once

#include "host/memory.h"

namespace rastel {

/// "Name(…" becomes "Name(extends ref as className, …". Null without memory. A text of more than 999
/// characters is cut.
CBuffer<char> AddClassParameter(const char* declaration, const char* className);

/// "Name(…) as type" becomes "Name(…, assigns value as type)". Null if `declaration` has neither a list nor a
/// type, or without memory. A text of more than 998 characters is cut.
CBuffer<char> AddAssignsParameter(const char* declaration);

}  // namespace rastel
