#include "host/platform.h"

#include <chrono>

#include "host/held.h"

namespace {

struct FSRef {
  unsigned char bytes[80];
};

}  // namespace

#ifdef __APPLE__
#define RASTEL_FROM_SYSTEM
#else
#define RASTEL_FROM_SYSTEM __attribute__((weak, visibility("default")))
#endif

// Every CoreFoundation object is a plain address here; the allocator is null, the default one.
extern "C" {
RASTEL_FROM_SYSTEM std::int16_t FSFindFolder(std::int16_t volume, std::uint32_t type, std::uint8_t create,
                                             FSRef* folder);
RASTEL_FROM_SYSTEM const void* CFURLCreateFromFSRef(const void* allocator, const FSRef* file);
RASTEL_FROM_SYSTEM const void* CFURLCreateCopyAppendingPathComponent(const void* allocator, const void* url,
                                                                     const void* component,
                                                                     std::uint8_t isDirectory);
RASTEL_FROM_SYSTEM const void* CFBundleCreate(const void* allocator, const void* url);
RASTEL_FROM_SYSTEM std::uint8_t CFBundleLoadExecutable(const void* bundle);
RASTEL_FROM_SYSTEM void* CFBundleGetFunctionPointerForName(const void* bundle, const void* name);
RASTEL_FROM_SYSTEM void CFRelease(const void* object);
// NOLINTNEXTLINE(bugprone-reserved-identifier): the system's name
RASTEL_FROM_SYSTEM const void* __CFStringMakeConstantString(const char* text);
RASTEL_FROM_SYSTEM std::uint32_t TickCount();
RASTEL_FROM_SYSTEM std::uint64_t AudioGetCurrentHostTime();
RASTEL_FROM_SYSTEM std::uint64_t AudioConvertHostTimeToNanos(std::uint64_t hostTime);
}

namespace rastel {
namespace {

/// The bundle of the legacy graphics framework once it is loaded.
constinit const void* ApplicationServicesFramework = nullptr;

/// Calls `function`, or gives 0 or null if the process does not supply it.
template <typename Result, typename... Parameters, typename... Arguments>
Result CallIfPresent(Result (*function)(Parameters...), Arguments... arguments) {
  return function == nullptr ? Result() : function(arguments...);
}

void ReleaseCoreFoundationObject(const void* object) {
  CallIfPresent(CFRelease, object);
}

using CoreFoundationObject = Held<const void, ReleaseCoreFoundationObject>;

const void* ConstantString(const char* text) {
  return CallIfPresent(__CFStringMakeConstantString, text);
}

const void* FrameworksFolder() {
  constexpr std::int16_t kSystemDisk = -32767;
  constexpr std::uint32_t kFrameworksFolder = 0x6672616D;  // 'fram'
  FSRef folder{};
  if (FSFindFolder == nullptr || FSFindFolder(kSystemDisk, kFrameworksFolder, 1, &folder) != 0) {
    return nullptr;
  }
  return CallIfPresent(CFURLCreateFromFSRef, nullptr, &folder);
}

/// Loads a bundle of the system's frameworks folder. Gives null if there is none of that name.
const void* LoadFrameworkBundle(const char* frameworkName) {
  const CoreFoundationObject folder(FrameworksFolder());
  if (folder.Get() == nullptr) {
    return nullptr;
  }
  const void* name = ConstantString(frameworkName);
  const CoreFoundationObject framework(name == nullptr
                                           ? nullptr
                                           : CallIfPresent(CFURLCreateCopyAppendingPathComponent, nullptr,
                                                           folder.Get(), name, std::uint8_t{0}));
  if (framework.Get() == nullptr) {
    return nullptr;
  }
  CoreFoundationObject bundle(CallIfPresent(CFBundleCreate, nullptr, framework.Get()));
  if (bundle.Get() == nullptr || CallIfPresent(CFBundleLoadExecutable, bundle.Get()) == 0) {
    return nullptr;
  }
  return bundle.HandOver();
}

std::chrono::nanoseconds MonotonicTime() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace

std::uint32_t SystemTicks() {
  if (TickCount != nullptr) {
    return TickCount();
  }
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 60>>;
  return static_cast<std::uint32_t>(std::chrono::duration_cast<Ticks>(MonotonicTime()).count());
}

std::uint64_t SystemNanoseconds() {
  const std::uint64_t hostTime = AudioGetCurrentHostTime == nullptr
                                     ? static_cast<std::uint64_t>(MonotonicTime().count())
                                     : AudioGetCurrentHostTime();
  return AudioConvertHostTimeToNanos == nullptr ? hostTime : AudioConvertHostTimeToNanos(hostTime);
}

void* FindLegacyFunction(const char* name) {
  if (ApplicationServicesFramework == nullptr) {
    ApplicationServicesFramework = LoadFrameworkBundle("ApplicationServices.framework");
  }
  if (ApplicationServicesFramework == nullptr) {
    return nullptr;
  }
  const void* key = ConstantString(name);
  return CallIfPresent(CFBundleGetFunctionPointerForName, ApplicationServicesFramework, key);
}

}  // namespace rastel
