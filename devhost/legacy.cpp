// The legacy framework and what plug-ins need of the platform to find it, with the platform's clocks.
// Plug-ins know the platform functions as C symbols of the process, so programs with this library export
// them.
#include <bit>
#include <set>
#include <string>
#include <utility>

#include "devhost/trace.h"

namespace devhost {
namespace {

constexpr const char* kFramework = "ApplicationServices.framework";

// Opaque addresses of worlds and pixel maps: neither is the picture's own, so that none passes for another.
constexpr std::uintptr_t kWorldTag = 1;
constexpr std::uintptr_t kPixMapTag = 2;

template <typename Target>
Target* Tagged(const void* address, std::uintptr_t offset) {
  return std::bit_cast<Target*>(std::bit_cast<std::uintptr_t>(address) + offset);
}

// The legacy framework's functions.

void SetWorld(LegacyWorld* port, void* device) {
  if (port != nullptr || device != nullptr) {
    Complain("only the null port is known");
  }
}

LegacyPixMap* GetPixMap(LegacyWorld* world) {
  REALpictureStruct* picture = Require(PictureOf(world));
  return picture == nullptr ? nullptr : Tagged<LegacyPixMap>(picture, kPixMapTag);
}

std::int16_t GetDepth(LegacyPixMap* pixMap) {
  REALpictureStruct* picture = Require(PictureOf(pixMap));
  return picture == nullptr ? std::int16_t{0} : static_cast<std::int16_t>(8 * BytesPerPixel(picture->format));
}

std::uint8_t LockPixels(LegacyPixMap* pixMap) {
  REALpictureStruct* picture = Require(PictureOf(pixMap));
  if (picture == nullptr) {
    return 0;
  }
  ++picture->pixelLocks;
  return 1;
}

char* GetBaseAddress(LegacyPixMap* pixMap) {
  REALpictureStruct* picture = Require(PictureOf(pixMap));
  if (picture == nullptr) {
    return nullptr;
  }
  if (picture->pixelLocks == 0) {
    Complain("the pixels are not locked");
  }
  return reinterpret_cast<char*>(picture->Row(0));
}

std::int32_t GetRowBytes(LegacyPixMap* pixMap) {
  REALpictureStruct* picture = Require(PictureOf(pixMap));
  return picture == nullptr ? 0 : static_cast<std::int32_t>(picture->rowBytes);
}

void UnlockPixels(LegacyPixMap* pixMap) {
  REALpictureStruct* picture = Require(PictureOf(pixMap));
  if (picture == nullptr) {
    return;
  }
  if (picture->pixelLocks == 0) {
    ++Entries::State().strayUnlocks;
  } else {
    --picture->pixelLocks;
  }
}

// The platform's functions.

struct FileReference;

std::int16_t FindFolder(std::int16_t volume, std::uint32_t type, std::uint8_t, FileReference* folder) {
  constexpr std::int16_t kSystemDisk = -32767;
  constexpr std::uint32_t kFrameworks = 0x6672616D;  // "fram"
  constexpr std::int16_t kNotFound = -43;
  const bool has =
      Host::Current().options().kind == Kind::kDesktop && volume == kSystemDisk && type == kFrameworks;
  return has && RequireAddress(folder) ? std::int16_t{0} : kNotFound;
}

PlatformObject* CreateFolderUrl(const void*, const FileReference* folder) {
  return RequireAddress(folder) ? new PlatformObject("url", "Frameworks") : nullptr;
}

PlatformObject* CreateFileUrl(const void*, PlatformObject* folder, const ConstantString* name, std::uint8_t) {
  if (Require(folder) == nullptr || !RequireAddress(name)) {
    return nullptr;
  }
  return new PlatformObject("url", folder->name + "/" + name->text);
}

PlatformObject* CreateBundle(const void*, PlatformObject* url) {
  if (Require(url) == nullptr || url->name != std::string("Frameworks/") + kFramework) {
    return nullptr;
  }
  return new PlatformObject("bundle", kFramework);
}

std::uint8_t LoadBundle(PlatformObject* bundle) {
  if (Require(bundle) == nullptr) {
    return 0;
  }
  bundle->loaded = true;
  return 1;
}

void* FindFunction(PlatformObject* bundle, const ConstantString* name) {
  if (Require(bundle) == nullptr || !RequireAddress(name)) {
    return nullptr;
  }
  if (Host::Current().options().recorded) {
    Host::Current().lookups.push_back(name->text);
  }
  return FindAddress(LegacyFunctions(), name->text);
}

std::uint32_t Ticks() {
  Clock& clock = Host::Current().clock;
  return std::exchange(clock.ticks, clock.ticks + clock.ticksPerReading);
}

// Not one, so that a forgotten conversion shows.
constexpr std::uint64_t kHostTimePerNanosecond = 3;

std::uint64_t HostTime() {
  Clock& clock = Host::Current().clock;
  return kHostTimePerNanosecond *
         std::exchange(clock.nanoseconds, clock.nanoseconds + clock.nanosecondsPerReading);
}

std::uint64_t NanosecondsOf(std::uint64_t hostTime) {
  return hostTime / kHostTimePerNanosecond;
}

/// Constant strings last as long as the process.
const ConstantString* MakeConstantString(const char* text) {
  const auto byText = [](const ConstantString& a, const ConstantString& b) { return a.text < b.text; };
  static std::set<ConstantString, decltype(byText)> strings;
  return RequireAddress(text) ? &*strings.insert({text}).first : nullptr;
}

}  // namespace

void* WorldOf(REALpictureStruct* picture) {
  return Tagged<void>(picture, kWorldTag);
}

REALpictureStruct* PictureOf(LegacyWorld* world) {
  return world == nullptr ? nullptr : Tagged<REALpictureStruct>(world, -kWorldTag);
}

REALpictureStruct* PictureOf(LegacyPixMap* pixMap) {
  return pixMap == nullptr ? nullptr : Tagged<REALpictureStruct>(pixMap, -kPixMapTag);
}

const std::vector<NamedAddress>& LegacyFunctions() {
  static const std::vector<NamedAddress> functions = {
      Row<"SetGWorld", SetWorld>(),
      Row<"GetGWorldPixMap", GetPixMap>(),
      Row<"GetPixDepth", GetDepth>(),
      Row<"LockPixels", LockPixels>(),
      Row<"GetPixBaseAddr", GetBaseAddress>(),
      Row<"GetPixRowBytes", GetRowBytes>(),
      Row<"UnlockPixels", UnlockPixels>(),
  };
  return functions;
}

}  // namespace devhost

using namespace devhost;

extern "C" {

std::int16_t FSFindFolder(std::int16_t volume, std::uint32_t type, std::uint8_t create,
                          FileReference* folder) {
  return Traced<"FSFindFolder", FindFolder>::Call(volume, type, create, folder);
}

PlatformObject* CFURLCreateFromFSRef(const void* allocator, const FileReference* folder) {
  return Traced<"CFURLCreateFromFSRef", CreateFolderUrl>::Call(allocator, folder);
}

PlatformObject* CFURLCreateCopyAppendingPathComponent(const void* allocator, PlatformObject* url,
                                                      const ConstantString* component,
                                                      std::uint8_t isDirectory) {
  return Traced<"CFURLCreateCopyAppendingPathComponent", CreateFileUrl>::Call(allocator, url, component,
                                                                              isDirectory);
}

PlatformObject* CFBundleCreate(const void* allocator, PlatformObject* url) {
  return Traced<"CFBundleCreate", CreateBundle>::Call(allocator, url);
}

std::uint8_t CFBundleLoadExecutable(PlatformObject* bundle) {
  return Traced<"CFBundleLoadExecutable", LoadBundle>::Call(bundle);
}

void* CFBundleGetFunctionPointerForName(PlatformObject* bundle, const ConstantString* name) {
  return Traced<"CFBundleGetFunctionPointerForName", FindFunction>::Call(bundle, name);
}

void CFRelease(PlatformObject* object) {
  Traced<"CFRelease", RequireAndRelease<PlatformObject>>::Call(object);
}

const ConstantString* __CFStringMakeConstantString(const char* text) {
  return Traced<"__CFStringMakeConstantString", MakeConstantString>::Call(text);
}

std::uint32_t TickCount() {
  return Traced<"TickCount", Ticks>::Call();
}

std::uint64_t AudioGetCurrentHostTime() {
  return Traced<"AudioGetCurrentHostTime", HostTime>::Call();
}

std::uint64_t AudioConvertHostTimeToNanos(std::uint64_t hostTime) {
  return Traced<"AudioConvertHostTimeToNanos", NanosecondsOf>::Call(hostTime);
}
}
