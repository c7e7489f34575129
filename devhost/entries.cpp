// The host entries, except those that deal with pictures: what a plug-in finds by name through the resolver.
#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "abi/declaration.h"
#include "devhost/trace.h"

namespace devhost {
namespace {

using rastel::abi::SameName;

// What the host is.

double GetVersion() {
  return Entries::State().version;
}

void RegisterPluginVersion(std::int32_t version) {
  Entries::SetPluginVersion(version);
}

/// Each kind of application has one of the classes, or none.
const REALclassRefStruct* FindClass(const char* className) {
  static constexpr REALclassRefStruct kApplications[] = {
      {"Application"}, {"ConsoleApplication"}, {"WebApplication"}};  // in the order of Kind
  const auto kind = static_cast<std::size_t>(Host::Current().options().kind);
  const bool isKnown = RequireAddress(className) && kind < std::size(kApplications) &&
                       SameName(className, kApplications[kind].name);
  return isKnown ? &kApplications[kind] : nullptr;
}

void Yield() {
  if (const auto onYield = Host::Current().onYield) {
    onYield();
  }
}

// Objects, exceptions and properties.

REALobjectStruct* NewInstance(const char* className) {
  constexpr std::array<std::string_view, 6> kClasses = {
      "NilObjectException",   "UnsupportedOperationException", "OutOfBoundsException",
      "OutOfMemoryException", "IllegalCastException",          "RuntimeException"};
  if (!RequireAddress(className)) {
    return nullptr;
  }
  const auto* const known = std::ranges::find_if(
      kClasses, [className](std::string_view name) { return SameName(className, name); });
  return known == kClasses.end() ? nullptr : new ExceptionObject(std::string(*known));
}

/// The exception that has the property `wanted`, if `property` is that; else null and a complaint.
ExceptionObject* WithProperty(REALobjectStruct* object, const char* property, std::string_view wanted) {
  auto* exception = RequireAs<ExceptionObject>(object);
  if (exception == nullptr || !RequireAddress(property)) {
    return nullptr;
  }
  if (!SameName(property, wanted)) {
    Complain("there is no property '" + std::string(property) + "' of that type");
    return nullptr;
  }
  return exception;
}

void SetStringProperty(REALobjectStruct* object, const char* property, REALstringStruct* value) {
  ExceptionObject* exception = WithProperty(object, property, "Message");
  if (exception == nullptr) {
    return;
  }
  exception->message.reset();
  if (value != nullptr && Require(value) != nullptr) {
    exception->message = value->bytes;
  }
}

void SetIntegerProperty(REALobjectStruct* object, const char* property, std::int32_t value) {
  if (ExceptionObject* exception = WithProperty(object, property, "ErrorNumber")) {
    exception->errorNumber = value;
  }
}

Boolean GetIntegerProperty(REALobjectStruct* object, const char* property, std::int32_t* value) {
  const auto* picture = RequireAs<REALpictureStruct>(object);
  if (picture == nullptr || !RequireAddress(property) || !RequireAddress(value)) {
    return 0;
  }
  const bool isWidth = SameName(property, "Width");
  if (!isWidth && !SameName(property, "Height")) {
    return 0;
  }
  *value = isWidth ? picture->width : picture->height;
  return 1;
}

void RaiseException(REALobjectStruct* object) {
  auto* exception = RequireAs<ExceptionObject>(object);
  if (exception == nullptr) {
    return;
  }
  Retain(exception);
  if (ExceptionObject* replaced = std::exchange(Entries::State().raised, exception)) {
    Release(replaced);
  }
}

void LockObject(REALobjectStruct* object) {
  if (Require(object) != nullptr) {
    Retain(object);
  }
}

void UnlockObject(REALobjectStruct* object) {
  if (Require(object) != nullptr) {
    Release(object);
  }
}

// Strings and arrays.

REALstringStruct* BuildEncodedString(const void* bytes, std::int32_t length, std::uint32_t encoding) {
  if (!RequireAddress(bytes)) {
    return nullptr;
  }
  if (length < 0) {
    Complain("a string has no negative length");
    return nullptr;
  }
  return new REALstringStruct(std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(length)),
                              encoding);
}

REALstringStruct* BuildString(const void* bytes, std::int32_t length) {
  return BuildEncodedString(bytes, length, 0);
}

void SetStringEncoding(REALstringStruct* text, std::uint32_t encoding) {
  if (Require(text) != nullptr) {
    text->encoding = encoding;
  }
}

void UnlockString(REALstringStruct* text) {
  if (Require(text) != nullptr) {
    Release(text);
  }
}

std::int32_t UpperBound(_REALarrayInteger* array) {
  const IntegerArray* integers = Require(array);
  return integers == nullptr ? 0 : static_cast<std::int32_t>(integers->elements.size()) - 1;
}

std::int32_t GetElement(_REALarrayInteger* array, std::int32_t index) {
  const IntegerArray* integers = Require(array);
  if (integers == nullptr) {
    return 0;
  }
  if (index < 0 || static_cast<std::size_t>(index) >= integers->elements.size()) {
    Complain("there is no element " + std::to_string(index));
    return 0;
  }
  return integers->elements[static_cast<std::size_t>(index)];
}

using ElementGetter = std::int32_t (*)(_REALarrayInteger*, std::int32_t);

ElementGetter GetElementGetter(_REALarrayInteger* array) {
  return Require(array) == nullptr ? nullptr : &Traced<"IntegerArrayGetter", GetElement>::Call;
}

// Memory blocks.

void* BlockAddress(REALmemoryBlockStruct* block) {
  return Require(block) == nullptr ? nullptr : block->bytes();
}

std::int32_t BlockSize(REALmemoryBlockStruct* block) {
  return Require(block) == nullptr ? 0 : block->size;
}

const std::vector<NamedAddress>& GeneralEntries() {
  static const std::vector<NamedAddress> entries = {
      Row<"REALGetRBVersion", GetVersion>(),
      Row<"RegisterPluginVersion", RegisterPluginVersion>(),
      Row<"PluginRegisterMethod", RegisterMethod>(),
      Row<"PluginRegisterClassExtension", RegisterClassExtension>(),
      Row<"PluginRegisterModule", RegisterModule>(),
      Row<"PluginNewInstance", NewInstance>(),
      Row<"REALSetPropValueString", SetStringProperty>(),
      Row<"REALSetPropValueInteger", SetIntegerProperty>(),
      Row<"REALSetPropValueInt", SetIntegerProperty>(),
      Row<"REALGetPropValueInteger", GetIntegerProperty>(),
      Row<"REALGetPropValueInt", GetIntegerProperty>(),
      Row<"RuntimeRaiseException", RaiseException>(),
      Row<"REALLockObject", LockObject>(),
      Row<"REALUnlockObject", UnlockObject>(),
      Row<"REALUnlockString", UnlockString>(),
      Row<"REALBuildString", BuildString>(),
      Row<"REALBuildStringWithEncoding", BuildEncodedString>(),
      Row<"REALConvertString", ConvertString>(),
      Row<"REALSetStringEncoding", SetStringEncoding>(),
      Row<"RuntimeUBound", UpperBound>(),
      Row<"PluginIntegerArrayGetProc", GetElementGetter>(),
      Row<"RuntimeArrayDirectGetGetProc", GetElementGetter>(),
      Row<"REALYieldToRB", Yield>(),
      Row<"memoryBlockGetPtr", BlockAddress>(),
      Row<"memoryBlockGetSize", BlockSize>(),
      Row<"pluginObjectType", FindClass>(),
  };
  return entries;
}

}  // namespace

void* FindAddress(const std::vector<NamedAddress>& table, std::string_view name) {
  if (Host::Current().Lacks(name)) {
    return nullptr;
  }
  const auto row = std::ranges::find(table, name, &NamedAddress::name);
  return row == table.end() ? nullptr : row->address;
}

bool IsOffered(std::string_view name) {
  const auto has = [name](const std::vector<NamedAddress>& table) {
    return std::ranges::find(table, name, &NamedAddress::name) != table.end();
  };
  return has(GeneralEntries()) || has(PictureEntries()) || has(ObjectMethods()) || has(LegacyFunctions());
}

std::vector<std::string> Host::EntryNames() {
  // What the plug-in finds without a table of the host.
  std::vector<std::string> names = {"IntegerArrayGetter",
                                    "FSFindFolder",
                                    "CFURLCreateFromFSRef",
                                    "CFURLCreateCopyAppendingPathComponent",
                                    "CFBundleCreate",
                                    "CFBundleLoadExecutable",
                                    "CFBundleGetFunctionPointerForName",
                                    "CFRelease",
                                    "__CFStringMakeConstantString",
                                    "TickCount",
                                    "AudioGetCurrentHostTime",
                                    "AudioConvertHostTimeToNanos"};
  for (const auto* table : {&GeneralEntries(), &PictureEntries(), &ObjectMethods(), &LegacyFunctions()}) {
    for (const NamedAddress& entry : *table) {
      names.emplace_back(entry.name.substr(0, entry.name.find('(')));
    }
  }
  return names;
}

void* Host::Resolve(const char* entryName) {
  if (!RequireAddress(entryName)) {
    return nullptr;
  }
  if (Current().options().recorded) {
    Current().lookups.emplace_back(entryName);
  }
  void* address = FindAddress(GeneralEntries(), entryName);
  return address != nullptr ? address : FindAddress(PictureEntries(), entryName);
}

}  // namespace devhost
