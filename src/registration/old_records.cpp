#include "registration/old_records.h"

#include <cstring>
#include <utility>

#include "registration/version.h"

namespace rastel {
namespace {

/// True if `count` records can become a table of `Old` records.
template <typename Old>
bool HasTable(const void* records, std::uint32_t count) {
  return records != nullptr && count != 0 && count <= kMostBytes / sizeof(Old);
}

/// Makes a table of the first sizeof(Old) bytes of each of `count` records. Null without memory.
template <typename Old, typename New>
CBuffer<Old> CutTable(const New* records, std::uint32_t count) {
  static_assert(sizeof(Old) <= sizeof(New));
  CBuffer<Old> table = NewArray<Old>(count);
  for (std::uint32_t i = 0; table != nullptr && i < count; ++i) {
    std::memcpy(table.get() + i, records + i, sizeof(Old));
  }
  return table;
}

/// The tables of one definition in the old form.
class OldTables {
 public:
  /// Gives a table of `Old` records for a field that is declared as a pointer to New records. Null if there
  /// are no records, or no memory.
  template <typename Old, typename New>
  New* Cut(const New* records, std::uint32_t count) {
    if (!HasTable<Old>(records, count)) {
      return nullptr;
    }
    CBuffer<void>& table = tables_[count_++];
    table = CutTable<Old>(records, count);
    isComplete_ = isComplete_ && table != nullptr;
    return static_cast<New*>(table.get());
  }

  /// Gives `definition` with the tables that were made for it, or null if one of them could not be made.
  template <typename Definition>
  CBuffer<Definition> Finish(CBuffer<Definition> definition) {
    if (!isComplete_) {
      return nullptr;
    }
    // The host keeps them for good.
    for (CBuffer<void>& table : tables_) {
      static_cast<void>(table.release());
    }
    return definition;
  }

 private:
  static constexpr std::size_t kMostTables = 6;

  CBuffer<void> tables_[kMostTables];
  std::size_t count_ = 0;
  bool isComplete_ = true;
};

/// The second word of each event becomes the address of its old form, where hosts look for it.
void LinkEvents(HostRecord<4>* events, const OldClassDefinition& old) {
  const auto* cut = reinterpret_cast<const HostRecord<2>*>(old.events);
  for (std::uint32_t i = 0; cut != nullptr && i < old.eventCount; ++i) {
    events[i].words[1] = reinterpret_cast<HostWord>(&cut[i]);
  }
}

/// Hosts below 2012.0 are told the definition version 9.
bool KnowsOldRecordsOnly() {
  return CurrentREALControlVersion <= 9;
}

/// Writes `old` over the front of `definition`. False if it is null.
template <typename Definition, typename Old>
bool Overwrite(Definition& definition, const CBuffer<Old>& old) {
  if (old != nullptr) {
    definition.common = *old;
  }
  return old != nullptr;
}

}  // namespace

OldProperty* FixProperties(const REALproperty* properties, std::uint32_t count) {
  return HasTable<OldProperty>(properties, count) ? CutTable<OldProperty>(properties, count).release()
                                                  : nullptr;
}

CBuffer<OldModuleDefinition> FixModule(const REALmoduleDefinition* module) {
  CBuffer<OldModuleDefinition> old = NewRecord<OldModuleDefinition>();
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = module->common;
  old->version = CurrentREALControlVersion;
  old->methods = tables.Cut<OldMethodRow>(old->methods, old->methodCount);
  old->records4 = tables.Cut<HostRecord<3>>(old->records4, old->count5);
  old->properties = tables.Cut<OldProperty>(old->properties, old->propertyCount);
  old->rows8 = tables.Cut<OldMethodRow>(old->rows8, old->count9);
  old->records10 = tables.Cut<HostRecord<5>>(old->records10, old->count11);
  return tables.Finish(std::move(old));
}

CBuffer<OldClassDefinition> FixClass(const REALclassDefinition& definition) {
  CBuffer<OldClassDefinition> old = NewRecord<OldClassDefinition>();
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = definition.common;
  old->version = CurrentREALControlVersion;
  old->properties = tables.Cut<OldProperty>(old->properties, old->propertyCount);
  old->methods = tables.Cut<OldMethodRow>(old->methods, old->methodCount);
  old->events = tables.Cut<HostRecord<2>>(old->events, old->eventCount);
  old->words13to17[3] = 0;
  old->words13to17[4] = 0;
  old->records18 = tables.Cut<HostRecord<3>>(old->records18, old->count19);
  old->sharedProperties = tables.Cut<OldProperty>(old->sharedProperties, old->sharedPropertyCount);
  old->sharedMethods = tables.Cut<OldMethodRow>(old->sharedMethods, old->sharedMethodCount);
  CBuffer<OldClassDefinition> finished = tables.Finish(std::move(old));
  if (finished != nullptr) {
    LinkEvents(definition.common.events, *finished);
  }
  return finished;
}

bool TakeFormForHost(REALmoduleDefinition& module) {
  module.common.version = CurrentREALControlVersion;
  return !KnowsOldRecordsOnly() || Overwrite(module, FixModule(&module));
}

bool TakeFormForHost(REALclassDefinition& definition) {
  definition.common.version = CurrentREALControlVersion;
  return !KnowsOldRecordsOnly() || Overwrite(definition, FixClass(definition));
}

}  // namespace rastel
