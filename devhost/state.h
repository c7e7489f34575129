// What the parts of the development host share, and neither applications nor plug-ins see.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devhost/host.h"

/// A class that the host knows.
struct REALclassRefStruct {
  const char* name;
};

/// What a plug-in sees of an integer array: words in the layout of the host's version.
struct _REALarrayInteger {  // NOLINT(bugprone-reserved-identifier)
  union {
    ArrayBefore2008 before2008;
    ArrayBefore2016 before2016;
    HostWord words[sizeof(ArrayBefore2016) / sizeof(HostWord)];
  };
};

namespace devhost {

struct IntegerArray final : REALobjectStruct, _REALarrayInteger {
  IntegerArray(std::vector<std::int32_t> values, double hostVersion);
  std::vector<std::int32_t> elements;
};

struct ExceptionObject final : REALobjectStruct {
  explicit ExceptionObject(std::string name);
  std::string className;
  std::optional<std::string> message;
  std::int32_t errorNumber = 0;
};

struct GraphicsObject final : REALobjectStruct {
  explicit GraphicsObject(REALpictureStruct* drawnOn);
  ~GraphicsObject() override;
  REALpictureStruct* picture;  // with a reference of its own
};

/// A "url" or a "bundle" of the platform.
struct PlatformObject final : REALobjectStruct {
  PlatformObject(const char* kindName, std::string fileName);
  std::string name;
  bool loaded = false;  // a loaded bundle stays for good
};

struct CloseLibrary {
  void operator()(void* handle) const;
};

/// A shared library in memory.
using Library = std::unique_ptr<void, CloseLibrary>;

struct Host::State {
  double version;         // 0 if the host does not tell
  PixelFormat ownFormat;  // of the pictures that the host makes
  const char* runningEntry = "";
  std::set<REALobjectStruct*> live;
  int lastNumber = 0;
  int strayUnlocks = 0;
  int refusedLocks = 0;               // type-10 locks that Host::onEntry made fail
  ExceptionObject* raised = nullptr;  // with a reference of its own
  Library library;
};

/// The way to the host's private parts.
struct Entries {
  static Host::State& State() { return *Host::Current().state_; }
  static std::vector<Registration>& Methods() { return Host::Current().methods_; }
  static void SetPluginVersion(std::int32_t version) { Host::Current().pluginVersion_ = version; }
};

bool HostExists();

/// Records that the host's rules were broken by the entry that runs.
void Complain(const std::string& text);

/// Adds a reference to a live object.
void Retain(REALobjectStruct* object);

/// Drops a reference; the object dies with the last one. A complaint if it is dead already.
void Release(REALobjectStruct* object);

inline REALobjectStruct* AsObject(REALobjectStruct* object) {
  return object;
}
inline REALobjectStruct* AsObject(_REALarrayInteger* array) {
  return static_cast<IntegerArray*>(array);
}

/// `object` if it is alive, or else null. Dead objects are not touched.
inline REALobjectStruct* FindLive(REALobjectStruct* object) {
  const bool isTrusted = !Host::Current().options().watched;
  return isTrusted || Entries::State().live.contains(object) ? object : nullptr;
}

/// `object` as what it has to be, or null and a complaint.
template <typename Wanted, typename Object>
Wanted* RequireAs(Object* object) {
  if (!Host::Current().options().watched) {
    return static_cast<Wanted*>(AsObject(object));
  }
  auto* wanted = dynamic_cast<Wanted*>(FindLive(AsObject(object)));
  if (wanted == nullptr) {
    Complain(object == nullptr ? "nil was passed" : "what was passed does not exist or is of another kind");
  }
  return wanted;
}

template <typename Object>
Object* Require(Object* object) {
  return RequireAs<Object>(object);
}

inline IntegerArray* Require(_REALarrayInteger* array) {
  return RequireAs<IntegerArray>(array);
}

/// True if `address` is not null; a complaint otherwise.
bool RequireAddress(const void* address);

struct NamedAddress {
  std::string_view name;
  void* address;
};

/// The picture entries, the methods of host objects by their declarations, and the functions of the legacy
/// framework.
const std::vector<NamedAddress>& PictureEntries();
const std::vector<NamedAddress>& ObjectMethods();
const std::vector<NamedAddress>& LegacyFunctions();

/// The address that `table` has for `name`, or null; null as well if the host is set up without it.
void* FindAddress(const std::vector<NamedAddress>& table, std::string_view name);

/// True if a table of the host has that name.
bool IsOffered(std::string_view name);

/// The legacy graphics world that stands for a picture.
void* WorldOf(REALpictureStruct* picture);

/// Draws on `graphics`: the rectangle (sx, sy, sw, sh) of `image`, unscaled, at (x, y).
void DrawPicture(REALobjectStruct* graphics, REALpictureStruct* image, std::int32_t x, std::int32_t y,
                 std::int32_t w, std::int32_t h, std::int32_t sx, std::int32_t sy, std::int32_t sw,
                 std::int32_t sh);

/// `text` in another encoding, or null and a complaint if the host does not know how.
REALstringStruct* ConvertString(REALstringStruct* text, std::uint32_t encoding);

void RegisterMethod(REALmethodDefinition* method);
void RegisterClassExtension(REALclassDefinition* definition);
void RegisterModule(REALmoduleDefinition* definition);

}  // namespace devhost
