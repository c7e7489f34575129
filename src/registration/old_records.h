// The records in the shorter form that hosts below 2012.0 know.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

/// Gives `module` with its tables in the old form, or null if there is no memory. The caller frees the
/// record; the tables are the host's for good.
OldModuleDefinition* FixModule(const REALmoduleDefinition* module);

/// Puts `module` into the form that the host knows, with FixModule if it has to. False if there is no memory.
bool TakeFormForHost(REALmoduleDefinition& module);

/// Gives `count` properties in the old form, for the host to keep; null for no properties or no memory.
OldProperty* FixProperties(const REALproperty* properties, std::uint32_t count);

/// Gives `definition` with its tables in the old form, or null if there is no memory. The caller frees the
/// record; the tables are the host's for good.
OldClassDefinition* FixClass(const REALclassDefinition& definition);

}  // namespace rastel
