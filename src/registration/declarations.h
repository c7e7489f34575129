// Declarations rewritten for hosts that take the methods of a class as "extends" methods of a module.
#pragma once

#include "host/memory.h"

namespace rastel {

/// "Name(…" becomes "Name(extends ref as className, …". Gives a text that the caller frees, or null if there
/// is no memory. Longer texts than 999 characters are cut.
char* AddClassParameter(const char* declaration, const char* className);

/// "Name(…) as type" becomes "Name(…, assigns value as type)", for a `declaration` that AddClassParameter
/// made. Null if there is no place for the value, or no memory.
CBuffer<char> AddAssignsParameter(const char* declaration);

}  // namespace rastel
