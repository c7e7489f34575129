// The records in the shorter form that hosts below 2012.0 know.
#pragma once

#include "abi/records.h"

namespace rastel {

/// Sets the version of the definition and brings it into the form that the host knows. For an old form the
/// tables are made anew, which the host then keeps for good, and each event of a class leads to its old form.
/// False without memory: only the version has changed then.
bool TakeFormForHost(REALmoduleDefinition& module);
bool TakeFormForHost(REALclassDefinition& definition);

}  // namespace rastel
