// The one function that the plug-in exports. It adapts the tables of methods to the host and registers them.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>

#include "host/entries.h"
#include "host/memory.h"
#include "registration/declarations.h"
#include "registration/old_records.h"
#include "registration/tables.h"
#include "registration/version.h"

namespace rastel {
namespace {

constinit const char* gpartname = nullptr;

constexpr std::uint32_t kInModule = 0x10;
constexpr std::size_t kNameSize = 100;

std::int32_t ControlVersion(double hostVersion) {
  if (hostVersion >= 2013.04) {
    return 13;
  }
  if (hostVersion >= 2013.03) {
    return 12;
  }
  if (hostVersion >= 2013.0) {
    return 11;
  }
  return hostVersion >= 2012.0 ? 10 : 9;
}

/// Clears the bits 0x40000 and 0x80000. They become 0x4 and 0x8 for hosts that know these.
template <typename Word>
void AdaptFlags(Word& flags) {
  constexpr Word kNewHostBits = 0xC0000;
  if (rbversion_rbversion >= 2010.029) {
    flags |= (flags & kNewHostBits) >> 16;
  }
  flags &= ~kNewHostBits;
}

/// The records of a table. None if `records` is null.
template <typename Record>
std::span<Record> TableOf(Record* records, std::uint32_t count) {
  return records == nullptr ? std::span<Record>() : std::span(records, count);
}

void AdaptRows(std::span<REALmethodDefinition> rows) {
  for (REALmethodDefinition& row : rows) {
    AdaptFlags(row.flags);
  }
}

void AdaptProperties(std::span<REALproperty> properties) {
  for (REALproperty& property : properties) {
    AdaptFlags(property.words[3]);
  }
}

void AdaptTables() {
  OldClassDefinition& picture = pictureClass.common;
  AdaptFlags(picture.flags);
  AdaptRows(TableOf(picture.methods, picture.methodCount));
  AdaptRows(TableOf(picture.sharedMethods, picture.sharedMethodCount));
  AdaptProperties(TableOf(picture.properties, picture.propertyCount));
  AdaptProperties(TableOf(picture.sharedProperties, picture.sharedPropertyCount));
  AdaptRows(globalMethods);
}

bool UsesModules() {
  return rbversion_rbversion >= 2013.0 && rbversion_rbversion < 3000.0;
}

/// Registers a module of `count` rows. `rows` keeps them if that cannot be.
void RegisterModule(const char* name, CBuffer<REALmethodDefinition>& rows, std::uint32_t count) {
  CBuffer<REALmoduleDefinition> module = NewArray<REALmoduleDefinition>(1);
  CBuffer<char> ownName(strdup(name));
  if (module == nullptr || ownName == nullptr || !REALRegisterModule.IsAvailable()) {
    return;
  }
  module->common = {.name = ownName.get(), .methods = rows.get(), .methodCount = count};
  if (TakeFormForHost(*module)) {
    // The host owns all of it from here on, even if it throws: it may have kept the record.
    static_cast<void>(rows.release());
    static_cast<void>(ownName.release());
    REALRegisterModule(module.release());
  }
}

/// The rows of a module with the methods of a class. They own their declarations.
class ExtendsRows {
 public:
  explicit ExtendsRows(std::uint64_t capacity) : rows_(NewArray<REALmethodDefinition>(capacity)) {}
  ExtendsRows(const ExtendsRows&) = delete;
  ExtendsRows& operator=(const ExtendsRows&) = delete;
  ~ExtendsRows() {
    // There are no rows any more if the host owns them.
    for (const REALmethodDefinition& row : TableOf(rows_.get(), count_)) {
      std::free(const_cast<char*>(row.declaration));
    }
  }

  /// Appends a row for the setter and one for the function of `method`, if it has them. False without memory,
  /// or if the declaration has no place for the setter's value.
  bool Append(const REALmethodDefinition& method, const char* className) {
    if (rows_ == nullptr) {
      return false;
    }
    CBuffer<char> declaration = AddClassParameter(method.declaration, className);
    if (declaration == nullptr) {
      return false;
    }
    if (method.setter != nullptr &&
        !AppendRow(method, method.setter, AddAssignsParameter(declaration.get()))) {
      return false;
    }
    return method.function == nullptr || AppendRow(method, method.function, std::move(declaration));
  }

  void Register(const char* moduleName) { RegisterModule(moduleName, rows_, count_); }

 private:
  bool AppendRow(const REALmethodDefinition& method, void* function, CBuffer<char> declaration) {
    if (declaration == nullptr) {
      return false;
    }
    REALmethodDefinition& row = rows_.get()[count_++];
    row = method;
    row.function = function;
    row.setter = nullptr;
    row.declaration = declaration.release();
    row.flags |= kInModule;
    return true;
  }

  CBuffer<REALmethodDefinition> rows_;
  std::uint32_t count_ = 0;
};

/// Registers a module with the methods of `extended`. Their first parameter is the object.
void RegisterExtendsModule(const OldClassDefinition& extended) {
  const std::span<const REALmethodDefinition> methods = TableOf(extended.methods, extended.methodCount);
  std::uint64_t count = 0;
  for (const REALmethodDefinition& method : methods) {
    count += (method.function != nullptr ? 1 : 0) + (method.setter != nullptr ? 1 : 0);
  }
  if (count == 0) {
    return;
  }
  char name[kNameSize] = {};
  std::snprintf(name, kNameSize, "%s%s%s", extended.name, gpartname, "ExtensionKVZ");
  ExtendsRows rows(count);
  for (const REALmethodDefinition& method : methods) {
    if (!rows.Append(method, extended.name)) {
      return;
    }
  }
  rows.Register(name);
}

void RegisterClassExtension(REALclassDefinition& definition) {
  if (REALRegisterClassExtension.IsAvailable() && TakeFormForHost(definition)) {
    REALRegisterClassExtension(&definition);
  }
}

void RegisterGlobalModule() {
  char name[kNameSize] = {};
  std::snprintf(name, kNameSize, "%s%s", gpartname, "GlobalsKVZ");
  CBuffer<REALmethodDefinition> rows = NewArray<REALmethodDefinition>(kGlobalMethodCount);
  if (rows == nullptr) {
    return;
  }
  std::memcpy(rows.get(), globalMethods, sizeof globalMethods);
  for (REALmethodDefinition& row : std::span(rows.get(), kGlobalMethodCount)) {
    row.flags |= kInModule;
  }
  RegisterModule(name, rows, kGlobalMethodCount);
}

void RegisterMethods() {
  if (UsesModules()) {
    RegisterExtendsModule(pictureClass.common);
    RegisterGlobalModule();
    return;
  }
  RegisterClassExtension(pictureClass);
  for (REALmethodDefinition& method : globalMethods) {
    REALRegisterMethod(&method);
  }
}

}  // namespace
}  // namespace rastel

/// The host calls this once, after loading the library and before any method.
extern "C" __attribute__((visibility("default"))) void REALPluginMain(Resolver resolver) {
  using namespace rastel;
  gResolver = resolver;
  if (REALGetRBVersion.IsAvailable()) {
    rbversion_rbversion = REALGetRBVersion();
  }
  CurrentREALControlVersion = ControlVersion(rbversion_rbversion);
  RegisterPluginVersion(CurrentREALControlVersion);
  gpartname = "Rastel";
  AdaptTables();
  RegisterMethods();
}
