// The records in the shorter form that hosts below 2012.0 know.
#pragma once

#include <cstdint>

#include "abi/records.h"
#include "host/memory.h"

namespace rastel {

/// Makes `module` in the old form, null without memory. The tables are new as well: the host keeps them for
/// good.
CBuffer<OldModuleDefinition> FixModule(const REALmoduleDefinition* module);

/// Makes `definition` in the old form, like FixModule. Each of its events then leads to its old form.
CBuffer<OldClassDefinition> FixClass(const REALclassDefinition& definition);

/// Makes `count` properties in the old form, which the host keeps for good. Null for no properties, for too
/// many, or without memory.
OldProperty* FixProperties(const REALproperty* properties, std::uint32_t count);

/// Sets the version of the definition and brings it into the form that the host knows. False without memory.
bool TakeFormForHost(REALmoduleDefinition& module);
bool TakeFormForHost(REALclassDefinition& definition);

}  // namespace rastel
