#include "host/platform.h"

#include <atomic>
#include <chrono>

#include "host/held.h"

namespace {

struct FSRef {
  unsigned char bytes[80];
};

}  // namespace

#define RASTEL_WEAK __attribute__((weak, visibility("default")))

// CoreFoundation objects are untyped addresses here. The allocator is null: the default one.
extern "C" {
RASTEL_WEAK std::int16_t FSFindFolder(std::int16_t volume, std::uint32_t type, std::uint8_t create,
                                      FSRef* folder);
RASTEL_WEAK const void* CFURLCreateFromFSRef(const void* allocator, const FSRef* file);
RASTEL_WEAK const void* CFURLCreateCopyAppendingPathComponent(const void* allocator, const void* url,
                                                              const void* component,
                                                              std::uint8_t isDirectory);
RASTEL_WEAK const void* CFBundleCreate(const void* allocator, const void* url);
RASTEL_WEAK std::uint8_t CFBundleLoadExecutable(const void* bundle);
RASTEL_WEAK void* CFBundleGetFunctionPointerForName(const void* bundle, const void* name);
RASTEL_WEAK void CFRelease(const void* object);
// NOLINTNEXTLINE(bugprone-reserved-identifier): the system's name
RASTEL_WEAK const void* __CFStringMakeConstantString(const char* text);
RASTEL_WEAK std::uint32_t TickCount();
RASTEL_WEAK std::uint64_t AudioGetCurrentHostTime();
RASTEL_WEAK std::uint64_t AudioConvertHostTimeToNanos(std::uint64_t hostTime);
}

namespace rastel {
namespace {

/// The bundle of the legacy graphics framework. Null until it is loaded.
constinit std::atomic<const void*> ApplicationServicesFramework = nullptr;

/// Calls `function`, or gives 0 or null if the process does not have it.
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

/// Loads a bundle from the system's frameworks folder. Gives it with one reference for the caller, or null if
/// there is none of that name.
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
  constexpr std::chrono::milliseconds kPeriod(std::int64_t{1} << 31);
  const std::uint64_t hostTime = AudioGetCurrentHostTime == nullptr
                                     ? static_cast<std::uint64_t>((MonotonicTime() % kPeriod).count())
                                     : AudioGetCurrentHostTime();
  return AudioConvertHostTimeToNanos == nullptr ? hostTime : AudioConvertHostTimeToNanos(hostTime);
}

void* FindLegacyFunction(const char* name) {
  const void* framework = ApplicationServicesFramework;
  if (framework == nullptr) {
    framework = LoadFrameworkBundle("ApplicationServices.framework");
    ApplicationServicesFramework = framework;
  }
  if (framework == nullptr) {
    return nullptr;
  }
  return CallIfPresent(CFBundleGetFunctionPointerForName, framework, ConstantString(name));
}

}  // namespace rastel
