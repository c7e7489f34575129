// The exact calls of representative methods, and what is looked up when: traces.txt has both.
#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>

#include "call.h"

namespace tests {
namespace {

using devhost::Fault;
using devhost::Names;
using devhost::PixelFormat;

/// Calls of one method on a host that has just loaded the plug-in.
struct Scene {
  const char* title;
  HostCase host;
  std::string method;  // a part of the first declaration that has it
  CallSpec spec;
  Names without = {};
  std::string failing = {};  // the entry that does nothing
  int times = 1;
  bool showsFramework = false;  // the calls that find the legacy framework
};

CallSpec Of(Size size, PixelFormat format = PixelFormat::kWorld32) {
  return {.picture = {size, format}};
}

std::vector<Scene> Scenes() {
  constexpr Size kPictureSize = {3, 2};
  const CallSpec bitmap = Of(kPictureSize, PixelFormat::kBitmap);
  CallSpec masked = bitmap;
  masked.isMasked = true;
  CallSpec toDest = Of({2, 1});
  toDest.dest = {{2, 1}, PixelFormat::kBitmap};
  CallSpec nil = bitmap;
  nil.nil = {"destination"};
  CallSpec yields = Of({1, 3}, PixelFormat::kBitmap);
  yields.integers = {{"Yield", 5}};
  CallSpec looksUp = Of({40000, 1});
  looksUp.palettes = {std::vector{1, 2}, std::vector{3}, std::vector{4}};
  const auto consoleOf = [](double version) {
    HostCase hostCase = kConsole;
    hostCase.version = version;
    return hostCase;
  };
  constexpr const char* kLock = "REALLockPictureDescription";
  const Names firstGetter = {"PluginIntegerArrayGetProc"};
  const Names bounds = {"RuntimeUBound"};
  const Names firstNames = {"REALGetPropValueInteger", "REALSetPropValueInteger"};
  const std::string toBlock = "CopyRGBto";
  const std::string toPicture = "MemoryblockRGBtoPictureKVZ(source";
  const std::string ontoPicture = "MemoryblockRGBtoPictureKVZ(dest";
  return {
      {.title = "a new picture on a desktop host, twice",
       .host = kDesktop,
       .method = toPicture,
       .spec = Of({2, 1}),
       .times = 2,
       .showsFramework = true},
      {"a bitmap is read", kConsole, toBlock, bitmap},
      {"a mask is read beside the picture", kConsole, "MaskForAlpha", bitmap},
      {"a world of 16 bits is read through a copy", kDesktop, toBlock,
       Of(kPictureSize, PixelFormat::kWorld16)},
      {"a copy is made without the mask", kDesktopBitmap, toBlock, masked},
      {"a copy is made row by row where nothing can be drawn", kUnknown, toBlock, bitmap, {kDrawPicture}},
      {"a failed lock is undone before 2012", consoleOf(2011.9), toBlock, bitmap, {}, kLock},
      {"a failed lock is left alone from 2012 on", consoleOf(2012.0), toBlock, bitmap, {}, kLock},
      {"a world without an address is given back", kDesktop, toBlock, Of(kPictureSize), {}, "GetPixBaseAddr"},
      {"the kind of host is asked for until a picture shows it", kUnknown, toBlock, bitmap, {}, {}, 2},
      {"a missing entry is looked up at every use", kUnknown, toBlock, bitmap, {kLock}, {}, 2},
      {"second names, of the getter", kConsole, ontoPicture, toDest, firstNames, {}, 2},
      {"second names, of the setter", kConsole, toBlock, nil, firstNames},
      {"a host that takes no control is asked for the time", kConsole, toBlock, yields, {"REALYieldToRB"}},
      {"palettes are asked for their bounds first", consoleOf(2016.0), "Red() as", looksUp, firstGetter},
      {"palettes are read without a call before 2016", consoleOf(2015.9), "Red() as", looksUp},
      {"palettes without bounds have one element", consoleOf(2016.0), "Red() as", looksUp, bounds}};
}

bool FindsFramework(const std::string& entry) {
  return entry.starts_with("CF") || entry.starts_with("FS") || entry.starts_with("__CF");
}

std::string Play(const Scene& scene) {
  devhost::HostOptions options = scene.host.Options();
  options.without = scene.without;
  LoadedHost host(options);
  const auto method = std::ranges::find_if(
      host.all, [&](const Method& each) { return each.declaration.find(scene.method) != std::string::npos; });
  Call call(host, *method, scene.spec);
  devhost::Injection injection(host,
                               {{.kind = scene.failing.empty() ? Fault::Kind::kNone : Fault::Kind::kFails,
                                 .entry = scene.failing,
                                 .once = false}});
  host.onEntry = std::ref(injection);
  std::string text;
  for (int i = 0; i < scene.times; ++i) {
    host.trace.clear();
    host.lookups.clear();
    EXPECT_EQ("", call.Run(&injection));
    for (const devhost::TracedCall& each : host.trace) {
      text += scene.showsFramework || !FindsFramework(each.entry) ? each.Text() + "\n" : "";
    }
    text += "looked up:";
    for (const std::string& name : host.lookups) {
      text += " " + name;
    }
    text += "\n";
  }
  return text;
}

TEST(Trace, HasEachCallInItsPlace) {
  std::ifstream file(RASTEL_TRACES);
  std::string traces(std::istreambuf_iterator<char>(file), {});
  traces += "\n== ";
  for (const Scene& scene : Scenes()) {
    const std::string played = std::string("== ") + scene.title + "\n" + Play(scene) + "\n";
    const std::size_t found = traces.find(played + "== ");
    EXPECT_NE(std::string::npos, found) << "it was\n" << played;
    traces.erase(std::min(found, traces.size()), played.size());
  }
  EXPECT_EQ(traces.find("== "), traces.rfind("== ")) << "traces of no scene";
}

}  // namespace
}  // namespace tests
