#include "registration/old_records.h"

#include <cstdlib>
#include <cstring>

#include "host/memory.h"
#include "registration/version.h"

namespace rastel {
namespace {

/// Tables in the old form for one definition. They are freed together unless the host gets them.
class OldTables {
 public:
  OldTables() = default;
  OldTables(const OldTables&) = delete;
  OldTables& operator=(const OldTables&) = delete;
  ~OldTables() {
    for (std::size_t i = 0; i < count_; ++i) {
      std::free(tables_[i]);
    }
  }

  /// Gives the first sizeof(Old) bytes of each of `count` records; null for no records or too many.
  template <typename Old, typename New>
  Old* Cut(const New* source, std::uint32_t count) {
    static_assert(sizeof(Old) <= sizeof(New));
    constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;
    if (source == nullptr || count == 0 || std::uint64_t{count} * sizeof(Old) > kMostBytes) {
      return nullptr;
    }
    auto* table = static_cast<Old*>(std::calloc(count, sizeof(Old)));
    if (table == nullptr) {
      isComplete_ = false;
      return nullptr;
    }
    tables_[count_++] = table;
    for (std::uint32_t i = 0; i < count; ++i) {
      std::memcpy(&table[i], &source[i], sizeof(Old));
    }
    return table;
  }

  /// Like Cut, as the field of an old definition, which is declared with the type of the new records.
  template <typename Old, typename New>
  New* CutField(const New* source, std::uint32_t count) {
    return reinterpret_cast<New*>(Cut<Old>(source, count));
  }

  /// Gives `definition` and leaves the tables to it, or gives null if a table could not be made.
  template <typename Definition>
  Definition* Finish(CBuffer<Definition>& definition) {
    if (!isComplete_) {
      return nullptr;
    }
    count_ = 0;
    return definition.release();
  }

 private:
  static constexpr std::size_t kMostTables = 6;

  void* tables_[kMostTables] = {};
  std::size_t count_ = 0;
  bool isComplete_ = true;
};

/// Every event gets a pointer to the two words that it has become as its second word: hosts that know the
/// short form find the one through the other.
void LinkEvents(HostRecord<4>* events, const OldClassDefinition& old) {
  const auto* cut = reinterpret_cast<const HostRecord<2>*>(old.events);
  for (std::uint32_t i = 0; cut != nullptr && i < old.eventCount; ++i) {
    events[i].words[1] = reinterpret_cast<HostWord>(&cut[i]);
  }
}

template <typename Definition>
CBuffer<Definition> NewRecord() {
  return CBuffer<Definition>(static_cast<Definition*>(std::calloc(1, sizeof(Definition))));
}

}  // namespace

OldProperty* FixProperties(const REALproperty* properties, std::uint32_t count) {
  OldTables tables;
  CBuffer<OldProperty> cut(tables.Cut<OldProperty>(properties, count));
  return tables.Finish(cut);
}

OldModuleDefinition* FixModule(const REALmoduleDefinition* module) {
  auto old = NewRecord<OldModuleDefinition>();
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = module->common;
  old->version = CurrentREALControlVersion;
  old->methods = tables.CutField<OldMethodRow>(old->methods, old->methodCount);
  old->records4 = tables.CutField<HostRecord<3>>(old->records4, old->count5);
  old->properties = tables.CutField<OldProperty>(old->properties, old->propertyCount);
  old->rows8 = tables.CutField<OldMethodRow>(old->rows8, old->count9);
  old->records10 = tables.CutField<HostRecord<5>>(old->records10, old->count11);
  return tables.Finish(old);
}

bool TakeFormForHost(REALmoduleDefinition& module) {
  if (CurrentREALControlVersion > 9) {
    return true;
  }
  const CBuffer<OldModuleDefinition> old(FixModule(&module));
  if (old != nullptr) {
    module.common = *old;
  }
  return old != nullptr;
}

OldClassDefinition* FixClass(const REALclassDefinition& definition) {
  auto old = NewRecord<OldClassDefinition>();
  if (old == nullptr) {
    return nullptr;
  }
  OldTables tables;
  *old = definition.common;
  old->version = CurrentREALControlVersion;
  old->properties = tables.CutField<OldProperty>(old->properties, old->propertyCount);
  old->methods = tables.CutField<OldMethodRow>(old->methods, old->methodCount);
  old->events = tables.CutField<HostRecord<2>>(old->events, old->eventCount);
  old->words13to17[3] = 0;
  old->words13to17[4] = 0;
  old->records18 = tables.CutField<HostRecord<3>>(old->records18, old->count19);
  old->sharedProperties = tables.CutField<OldProperty>(old->sharedProperties, old->sharedPropertyCount);
  old->sharedMethods = tables.CutField<OldMethodRow>(old->sharedMethods, old->sharedMethodCount);
  OldClassDefinition* finished = tables.Finish(old);
  if (finished != nullptr) {
    LinkEvents(definition.common.events, *finished);
  }
  return finished;
}

}  // namespace rastel
