// A host in a process that supplies none of the platform's functions: no clocks, no legacy framework; or
// (with RASTEL_FINDS_FOLDERS) the first of those that the framework is found with, and no more. Takes the
// plug-in's path and ends with 0 if pixels make the way into a picture and back on two threads at once, with
// yields on both clocks.
#include <dlfcn.h>
#include <time.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <span>
#include <string_view>
#include <thread>
#include <vector>

#include "abi/records.h"

using Pixels = std::array<std::uint8_t, 18>;  // 3 × 2

struct REALmemoryBlockStruct {
  Pixels bytes;
};

struct REALpictureStruct {
  std::array<std::uint8_t, 24> pixels;
  std::array<std::uint8_t*, 2> rows = {pixels.data(), pixels.data() + 12};
  BitmapRecord bitmap = {.width = 3, .height = 2, .word1806 = 1, .rowTable = rows.data()};
};

#ifdef RASTEL_FINDS_FOLDERS
extern "C" std::int16_t FSFindFolder(std::int16_t, std::uint32_t, std::uint8_t, void*) {
  return 0;
}
#endif

thread_local std::chrono::hours extraUptime{0};

/// The clock that the plug-in takes where there is none of the platform, on a system that is up for longer.
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return time_point(seconds(now.tv_sec) + nanoseconds(now.tv_nsec) + extraUptime);
}

namespace {

constexpr Pixels kPixels = {1, 2, 3, 40, 50, 60, 7, 8, 9, 10, 20, 30, 4, 5, 6, 70, 80, 255};
constexpr std::array<std::uint8_t, 24> kInPicture = {3,  2,  1,  0, 60, 50, 40, 0, 9,   8,  7,  0,
                                                     30, 20, 10, 0, 6,  5,  4,  0, 255, 80, 70, 0};

thread_local REALpictureStruct onlyPicture;
thread_local int held = 0;  // references and locks
thread_local int yields = 0;

bool isDesktop = false;
std::atomic<int> failures = 0;

// The methods that are called.
REALpictureStruct* (*toPicture)(REALmemoryBlockStruct*, std::int32_t offset, std::int32_t width,
                                std::int32_t height);
Boolean (*toBlock)(REALpictureStruct*, REALmemoryBlockStruct*, std::int32_t offset, std::int32_t startLine,
                   std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);

/// The host's for good: never destroyed.
auto& modules = *new std::vector<const REALmoduleDefinition*>;

void RegisterModule(REALmoduleDefinition* module) {
  modules.push_back(module);
  for (const REALmethodDefinition& row : std::span(module->common.methods, module->common.methodCount)) {
    const std::string_view declaration = row.declaration;
    if (declaration.starts_with("MemoryblockRGBtoPictureKVZ(source")) {
      toPicture = reinterpret_cast<decltype(toPicture)>(row.function);
    }
    if (declaration.starts_with("CopyRGBtoMemoryblockKVZ(")) {
      toBlock = reinterpret_cast<decltype(toBlock)>(row.function);
    }
  }
}

REALpictureStruct* NewPicture(std::int32_t, std::int32_t, std::int32_t) {
  onlyPicture.pixels.fill(0xEE);
  ++held;
  return &onlyPicture;
}

Boolean LockBitmap(REALpictureStruct* picture, REALpictureDescription* description, std::int32_t type) {
  *description = {type, &picture->bitmap, 3, 2, 0, 0, nullptr};
  ++held;
  return 1;
}

void LockWorld(REALpictureStruct* picture, REALpictureDescription* description) {
  *description = {kLegacyWorldDescription, picture, 3, 2, 0, 0, nullptr};
  ++held;
}

const void* FindClass(const char* name) {
  return std::strcmp(name, isDesktop ? "Application" : "ConsoleApplication") == 0 ? name : nullptr;
}

/// A function without a state of its own, as an address.
template <typename Function>
void* Address(Function function) {
  return reinterpret_cast<void*>(+function);
}

void* Resolve(const char* name) {
  static const std::map<std::string_view, void*> entries = {
      {"REALGetRBVersion", Address([] { return 2013.04; })},
      {"PluginRegisterModule", Address(RegisterModule)},
      {"pluginObjectType", Address(FindClass)},
      {"newPicture", Address(NewPicture)},
      {"lockPictureDescription", Address(LockWorld)},
      {"REALLockPictureDescription", Address(LockBitmap)},
      {"unlockPictureDescription", Address([](REALpictureStruct*) { --held; })},
      {"REALLockObject", Address([](REALobjectStruct*) { ++held; })},
      {"REALUnlockObject", Address([](REALobjectStruct*) { --held; })},
      {"memoryBlockGetPtr",
       Address([](REALmemoryBlockStruct* block) -> void* { return block->bytes.data(); })},
      {"REALYieldToRB", Address([] { ++yields; })}};
  const auto entry = entries.find(name);
  return entry == entries.end() ? nullptr : entry->second;
}

void Expect(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "not so: %s\n", what);
    ++failures;
  }
}

REALpictureStruct* MakePicture() {
  REALmemoryBlockStruct block{kPixels};
  return toPicture(&block, 0, 3, 2);
}

/// Copies the pixels back, and gives how often the copy yielded.
int YieldsOfCopy(std::int32_t yield) {
  REALmemoryBlockStruct block{};
  yields = 0;
  const Boolean isCopied = toBlock(&onlyPicture, &block, 0, 0, -1, yield, 0);
  Expect(isCopied != 0 && block.bytes == kPixels, "the pixels come back");
  return yields;
}

/// The ticks that the machine has run, times `factor`.
std::int32_t Ticks(double factor) {
  const std::chrono::duration<double, std::ratio<1, 60>> now =
      std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::int32_t>(now.count() * factor);
}

void CheckConsole() {
  Expect(MakePicture() == &onlyPicture && onlyPicture.pixels == kInPicture,
         "the pixels get into the picture");
  Expect(YieldsOfCopy(Ticks(0.99)) == 1 && YieldsOfCopy(Ticks(1.01)) == 0,
         "the clock counts 1/60 s since the start of the machine");
  Expect(YieldsOfCopy(1) > 0 && YieldsOfCopy(-1) > 0, "both clocks run");
  extraUptime = std::chrono::hours(25 * 24);  // more milliseconds than an integer holds
  Expect(YieldsOfCopy(-1) > 0, "the clock runs after 25 days");
  Expect(held == 1, "nothing is held but the picture");
}

void CheckDesktop() {
  held = 0;
  Expect(MakePicture() == nullptr, "no legacy world is written without its framework");
  Expect(held == 0, "nothing is held on the desktop");
}

}  // namespace

int main(int, char** arguments) {
  Expect(dlsym(RTLD_DEFAULT, "TickCount") == nullptr, "the process has no clock of the platform");
  for (const auto check : {CheckConsole, CheckDesktop}) {
    isDesktop = check == CheckDesktop;
    void* library = dlopen(arguments[1], RTLD_NOW);
    if (library == nullptr) {
      std::fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    const auto load = reinterpret_cast<void (*)(Resolver)>(dlsym(library, "REALPluginMain"));
    load(nullptr);  // nothing can be looked up: nothing happens
    load(Resolve);
    // On two threads at once, which both find everything for the first time.
    std::thread other(check);
    check();
    other.join();
    dlclose(library);
  }
  return failures == 0 ? 0 : 1;
}
