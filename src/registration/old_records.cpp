#include "registration/old_records.h"

#include <cstring>
#include <utility>

#include "host/memory.h"
#include "registration/version.h"

namespace rastel {
namespace {

/// The tables of one definition in the old form.
class OldTables {
 public:
  /// Replaces the records that a field points to by the first sizeof(Old) bytes of each. The field becomes
  /// null if there are no records or too many, or without memory.
  template <typename Old, typename New>
  void Cut(New*& field, std::uint32_t count) {
    static_assert(sizeof(Old) <= sizeof(New));
    const New* const records = std::exchange(field, nullptr);
    if (records == nullptr || count == 0 || count > kMostBytes / sizeof(Old)) {
      return;
    }
    CBuffer<Old> table = NewArray<Old>(count);
    isComplete_ = isComplete_ && table != nullptr;
    for (std::uint32_t i = 0; table != nullptr && i < count; ++i) {
      std::memcpy(table.get() + i, records + i, sizeof(Old));
    }
    field = reinterpret_cast<New*>(table.get());
    tables_[count_++] = std::move(table);
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

CBuffer<OldModuleDefinition> OldFormOf(const REALmoduleDefinition& module) {
  CBuffer<OldModuleDefinition> old = NewArray<OldModuleDefinition>(1);
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = module.common;
  tables.Cut<OldMethodRow>(old->methods, old->methodCount);
  tables.Cut<HostRecord<3>>(old->records4, old->count5);
  tables.Cut<OldProperty>(old->properties, old->propertyCount);
  tables.Cut<OldMethodRow>(old->rows8, old->count9);
  tables.Cut<HostRecord<5>>(old->records10, old->count11);
  return tables.Finish(std::move(old));
}

CBuffer<OldClassDefinition> OldFormOf(const REALclassDefinition& definition) {
  CBuffer<OldClassDefinition> old = NewArray<OldClassDefinition>(1);
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = definition.common;
  tables.Cut<OldProperty>(old->properties, old->propertyCount);
  tables.Cut<OldMethodRow>(old->methods, old->methodCount);
  tables.Cut<HostRecord<2>>(old->events, old->eventCount);
  old->words13to17[3] = 0;
  old->words13to17[4] = 0;
  tables.Cut<HostRecord<3>>(old->records18, old->count19);
  tables.Cut<OldProperty>(old->sharedProperties, old->sharedPropertyCount);
  tables.Cut<OldMethodRow>(old->sharedMethods, old->sharedMethodCount);
  CBuffer<OldClassDefinition> finished = tables.Finish(std::move(old));
  if (finished != nullptr) {
    LinkEvents(definition.common.events, *finished);
  }
  return finished;
}

/// Hosts below 2012.0, which are told the definition version 9, know the old form alone.
template <typename Definition>
bool TakeForm(Definition& definition) {
  definition.common.version = CurrentREALControlVersion;
  if (CurrentREALControlVersion > 9) {
    return true;
  }
  const auto old = OldFormOf(definition);
  if (old != nullptr) {
    definition.common = *old;
  }
  return old != nullptr;
}

}  // namespace

bool TakeFormForHost(REALmoduleDefinition& module) {
  return TakeForm(module);
}

bool TakeFormForHost(REALclassDefinition& definition) {
  return TakeForm(definition);
}

}  // namespace rastel
