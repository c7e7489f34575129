// The exact calls of representative methods, and what is looked up when.
#include <algorithm>
#include <functional>
#include <memory>

#include "devhost/faults.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Fault;
using devhost::PixelFormat;

constexpr const char* kDraw =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

using Lines = std::vector<std::string>;

Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

class Trace : public testing::Test {
 protected:
  void Start(const HostCase& hostCase, const devhost::Names& without = {}, double version = 0) {
    devhost::HostOptions options = hostCase.Options();
    options.version = version == 0 ? options.version : version;
    options.without = without;
    host.reset();
    host = std::make_unique<LoadedHost>(options);
    host->trace.clear();
    host->lookups.clear();
  }

  devhost::CallResult ToPicture(REALpictureStruct* dest = nullptr) {
    const auto block = host->NewMemoryBlock(6);
    return host->Call("MemoryblockRGBtoPictureKVZ",
                      {dest, block.get(), std::int32_t{0}, std::int32_t{2}, std::int32_t{1}});
  }

  /// The entry `throwing` throws at its first call; `failing` does nothing.
  void LetFail(const std::string& throwing, const std::string& failing = "none") {
    injection_ = std::make_unique<devhost::Injection>(
        *host, std::vector<Fault>{{.kind = Fault::Kind::kThrows, .entry = throwing},
                                  {.kind = Fault::Kind::kFails, .entry = failing, .once = false}});
    host->onEntry = std::ref(*injection_);
  }

  bool ToBlock(REALpictureStruct& picture) {
    const auto block = host->NewMemoryBlock(64);
    return host->Call("CopyRGBtoMemoryblockKVZ", {&picture, block.get(), std::int32_t{0}}).boolean;
  }

  std::unique_ptr<LoadedHost> host;

 private:
  std::unique_ptr<devhost::Injection> injection_;
};

/// A world of `depth` bits is opened as far as its depth is known.
Lines NativeLock(const std::string& picture, int depth) {
  return {"PluginPictureGetType(" + picture + ") = 2", "lockPictureDescription(" + picture + ", address)",
          "GetGWorldPixMap(world of " + picture + ") = pixels of " + picture,
          "GetPixDepth(pixels of " + picture + ") = " + std::to_string(depth)};
}

Lines LockedWorld(const std::string& picture, std::ptrdiff_t rowBytes) {
  return {"LockPixels(pixels of " + picture + ") = 1", "GetPixBaseAddr(pixels of " + picture + ") = address",
          "REALLockObject(" + picture + ")",
          "GetPixRowBytes(pixels of " + picture + ") = " + std::to_string(rowBytes)};
}

/// The host is asked for three classes, of which it knows `known`.
Lines ClassesOf(const std::string& known) {
  Lines lines;
  for (const std::string name : {"\"Application\"", "\"WebApplication\"", "\"ConsoleApplication\""}) {
    lines.push_back("pluginObjectType(" + name + ") = " + (name == known ? name : "nil"));
  }
  return lines;
}

const Lines kDesktopClasses = ClassesOf("\"Application\"");
const Lines kConsoleClasses = ClassesOf("\"ConsoleApplication\"");
const Lines kBlock = {"memoryBlockGetPtr(memoryblock#1) = address", "memoryBlockGetSize(memoryblock#1) = 64"};

TEST_F(Trace, WritesANewPictureThroughTheLegacyRoute) {
  Start(kDesktop);
  const auto result = ToPicture();
  const Lines expected =
      Lines{"SetGWorld(nil, nil)", "newPicture(2, 1, 32) = picture#1"} + kDesktopClasses +
      NativeLock("picture#1", 32) + LockedWorld("picture#1", result.picture->rowBytes) +
      Lines{"REALUnlockObject(picture#1)",       "memoryBlockGetPtr(memoryblock#1) = address",
            "REALLockObject(picture#1)",         "REALPictureClearCache(picture#1)",
            "UnlockPixels(pixels of picture#1)", "unlockPictureDescription(picture#1)",
            "REALPictureClearCache(picture#1)",  "REALUnlockObject(picture#1)"};
  EXPECT_EQ(expected, Calls(*host));
}

TEST_F(Trace, FindsTheLegacyFrameworkOnce) {
  Start(kDesktop);
  ToPicture();
  Lines framework;
  for (std::size_t i = 0; i < 11; ++i) {
    framework.push_back(host->trace.at(i).Text());
  }
  const std::string name = "\"ApplicationServices.framework\"";
  const Lines expected = {"FSFindFolder(-32767, 1718772077, 1, address) = 0",
                          "CFURLCreateFromFSRef(nil, address) = url#2",
                          "__CFStringMakeConstantString(" + name + ") = " + name,
                          "CFURLCreateCopyAppendingPathComponent(nil, url#2, " + name + ", 0) = url#3",
                          "CFBundleCreate(nil, url#3) = bundle#4",
                          "CFBundleLoadExecutable(bundle#4) = 1",
                          "CFRelease(url#3)",
                          "CFRelease(url#2)",
                          "__CFStringMakeConstantString(\"SetGWorld\") = \"SetGWorld\"",
                          "CFBundleGetFunctionPointerForName(bundle#4, \"SetGWorld\") = address",
                          "SetGWorld(nil, nil)"};
  EXPECT_EQ(expected, framework);
  ToPicture();
  EXPECT_EQ(1, CountCalls(*host, "FSFindFolder"));
  EXPECT_EQ(1, CountLookups(*host, "LockPixels"));
}

TEST_F(Trace, ReadsAPictureThroughTheBitmapRoute) {
  Start(kConsole);
  const auto picture = host->NewPicture(3, 2);
  EXPECT_TRUE(ToBlock(*picture));
  const Lines open = {"PluginPictureGetType(picture#1) = 2",
                      "REALLockPictureDescription(picture#1, address, 10) = 1", "REALLockObject(picture#1)"};
  const Lines close = {"unlockPictureDescription(picture#1)", "REALUnlockObject(picture#1)"};
  EXPECT_EQ(kConsoleClasses + open + kBlock + close, Calls(*host));
}

TEST_F(Trace, ReadsUnsupportedDepthsThroughAnOpaqueCopy) {
  Start(kDesktop);
  const auto picture = host->NewPicture(3, 2, PixelFormat::kWorld16);
  const auto likeTheCopy = host->NewPicture(3, 2);
  host->trace.clear();
  EXPECT_TRUE(ToBlock(*picture));
  const Lines expected = kDesktopClasses + NativeLock("picture#1", 16) +
                         Lines{"unlockPictureDescription(picture#1)",
                               "REALGetPictureMask(picture#1, 0) = nil",
                               "SetGWorld(nil, nil)",
                               "newPicture(3, 2, 32) = picture#2",
                               "pluginPictureGraphicsGetter(picture#2) = graphics#1",
                               "REALLoadObjectMethod(graphics#1, \"" + std::string(kDraw) + "\") = address",
                               "DrawPicture(graphics#1, picture#1, 0, 0, 3, 2, 0, 0, 3, 2)",
                               "REALUnlockObject(graphics#1)",
                               "UnlockPixels(pixels of picture#1)"} +
                         NativeLock("picture#2", 32) + LockedWorld("picture#2", likeTheCopy->rowBytes) +
                         Lines{"REALUnlockObject(picture#2)"} + kBlock +
                         Lines{"UnlockPixels(pixels of picture#2)", "unlockPictureDescription(picture#2)",
                               "REALUnlockObject(picture#2)"};
  EXPECT_EQ(expected, Calls(*host));
  EXPECT_EQ(1, host->CurrentBalance().strayUnlocks);
}

TEST_F(Trace, TakesAMaskAwayWhileItCopies) {
  Start(kDesktopBitmap);
  const auto picture = host->NewPicture(3, 2, PixelFormat::kBitmap);
  const auto mask = host->NewPicture(3, 2);
  picture->SetMask(mask.get());
  EXPECT_TRUE(ToBlock(*picture));
  EXPECT_EQ(mask.get(), picture->mask);
  Lines calls = Calls(*host);
  calls.resize(18);
  const Lines expected =
      kDesktopClasses +
      Lines{"PluginPictureGetType(picture#1) = 2",
            "lockPictureDescription(picture#1, address)",
            "REALGetPropValueInteger(picture#1, \"Width\", address) = 1",
            "REALGetPropValueInteger(picture#1, \"Height\", address) = 1",
            "REALGetPictureMask(picture#1, 0) = picture#2",
            "REALLoadObjectMethod(picture#1, \"Mask(assigns newMask As Picture)\") = address",
            "Mask(picture#1, nil)",
            "SetGWorld(nil, nil)",
            "newPicture(3, 2, 32) = picture#3",
            "pluginPictureGraphicsGetter(picture#3) = graphics#1",
            "REALLoadObjectMethod(graphics#1, \"" + std::string(kDraw) + "\") = address",
            "DrawPicture(graphics#1, picture#1, 0, 0, 3, 2, 0, 0, 3, 2)",
            "REALUnlockObject(graphics#1)",
            "Mask(picture#1, picture#2)",
            "REALUnlockObject(picture#2)"};
  EXPECT_EQ(expected, calls);
}

TEST_F(Trace, CopiesRowsWhereNothingCanBeDrawn) {
  Start(kUnknown, {kDraw});
  const auto picture = host->NewPicture(3, 2);
  EXPECT_TRUE(ToBlock(*picture));
  Lines calls = Calls(*host);
  const auto fallback = std::ranges::find(calls, "pluginPictureGraphicsGetter(picture#2) = graphics#1");
  calls.erase(calls.begin(), fallback);
  calls.resize(8 + 3);
  const Lines expected = {"pluginPictureGraphicsGetter(picture#2) = graphics#1",
                          "REALLoadObjectMethod(graphics#1, \"" + std::string(kDraw) + "\") = nil",
                          "REALLockPictureDescription(picture#1, address, 10) = 1",
                          "REALLockPictureDescription(picture#2, address, 10) = 1",
                          "unlockPictureDescription(picture#2)",
                          "unlockPictureDescription(picture#1)",
                          "REALPictureClearCache(picture#2)",
                          "REALUnlockObject(graphics#1)"};
  EXPECT_EQ(expected + ClassesOf("nothing"), calls);
}

TEST_F(Trace, UnlocksAfterAFailedLockBefore2012Only) {
  for (const double version : {2011.9, 2012.0}) {
    SCOPED_TRACE(version);
    Start(kConsole, {}, version);
    const auto picture = host->NewPicture(3, 2);
    LetFail("none", "REALLockPictureDescription");
    EXPECT_FALSE(ToBlock(*picture));
    Lines expected = kConsoleClasses + Lines{"PluginPictureGetType(picture#1) = 2",
                                             "REALLockPictureDescription(picture#1, address, 10) = 0"};
    if (version < 2012.0) {
      expected.emplace_back("unlockPictureDescription(picture#1)");
    }
    EXPECT_EQ(expected, Calls(*host));
    EXPECT_TRUE(host->complaints.empty());
  }
}

TEST_F(Trace, RefusesUnusableBitmapsAndUnlocksThem) {
  const std::vector<std::function<void(BitmapRecord&)>> faults = {
      [](BitmapRecord& bitmap) { bitmap.word0 = 1; }, [](BitmapRecord& bitmap) { bitmap.word1806 = 0; },
      [](BitmapRecord& bitmap) { bitmap.rowTable = nullptr; }};
  for (const auto& spoil : faults) {
    Start(kConsole);
    const NothingLost watch(*host);
    const auto picture = host->NewPicture(3, 2);
    spoil(*picture->bitmap);
    EXPECT_FALSE(ToBlock(*picture));
    EXPECT_EQ("unlockPictureDescription(picture#1)", Calls(*host).back());
    LetFail("unlockPictureDescription");
    EXPECT_THROW(ToBlock(*picture), devhost::HostFault);
  }
}

TEST_F(Trace, UnlocksWorldsWithoutAddressesFromTheInsideOut) {
  const Lines expected = {"UnlockPixels(pixels of picture#1)", "unlockPictureDescription(picture#1)"};
  Start(kDesktop);
  const auto picture = host->NewPicture(3, 2);
  LetFail("none", "GetPixBaseAddr");
  EXPECT_FALSE(ToBlock(*picture));
  const Lines calls = Calls(*host);
  EXPECT_EQ(expected, Lines(calls.end() - 2, calls.end()));
  // Exceptions pass there, too.
  for (const char* entry : {"UnlockPixels", "unlockPictureDescription"}) {
    LetFail(entry, "GetPixBaseAddr");
    EXPECT_THROW(ToBlock(*picture), devhost::HostFault);
  }
}

TEST_F(Trace, LooksTheKindOfHostUpUntilItIsKnown) {
  Start(kDesktop);
  ToPicture();
  ToPicture();
  EXPECT_EQ(3, CountCalls(*host, "pluginObjectType"));
  EXPECT_EQ(1, CountLookups(*host, "pluginObjectType"));
  Start(kUnknown);
  const auto picture = host->NewPicture(3, 2);
  // Unknown for the picture and its copy; the copy is opened as a bitmap, and that decides.
  EXPECT_TRUE(ToBlock(*picture));
  EXPECT_EQ(6, CountCalls(*host, "pluginObjectType"));
  EXPECT_TRUE(ToBlock(*picture));
  EXPECT_EQ(6, CountCalls(*host, "pluginObjectType"));
  EXPECT_EQ(2, CountCalls(*host, "lockPictureDescription"));
}

TEST_F(Trace, LooksMissingEntriesUpAtEveryUse) {
  Start(kUnknown, {"REALLockPictureDescription"});
  const auto picture = host->NewPicture(3, 2);
  EXPECT_FALSE(ToBlock(*picture));
  EXPECT_EQ(6, CountCalls(*host, "pluginObjectType"));
  EXPECT_EQ(1, CountLookups(*host, "REALLockPictureDescription"));
  EXPECT_FALSE(ToBlock(*picture));
  EXPECT_EQ(12, CountCalls(*host, "pluginObjectType"));
  EXPECT_EQ(2, CountLookups(*host, "REALLockPictureDescription"));
  EXPECT_EQ(1, CountLookups(*host, "lockPictureDescription"));
}

TEST_F(Trace, UsesTheSecondNames) {
  Start(kConsole, {"REALGetPropValueInteger", "REALSetPropValueInteger"});
  const auto dest = host->NewPicture(2, 1);
  EXPECT_EQ(dest.get(), ToPicture(dest.get()).picture.get());
  EXPECT_EQ(dest.get(), ToPicture(dest.get()).picture.get());
  EXPECT_EQ(4, CountCalls(*host, "REALGetPropValueInt"));
  EXPECT_EQ(1, CountLookups(*host, "REALGetPropValueInteger"));
  EXPECT_EQ(1, CountLookups(*host, "REALGetPropValueInt"));
  host->Call("CopyRGBtoMemoryblockKVZ", {dest.get(), nullptr, std::int32_t{0}});
  EXPECT_EQ(1, CountCalls(*host, "REALSetPropValueInt"));
}

TEST_F(Trace, AsksForAllPaletteBoundsFirst) {
  Start(kConsole, {"PluginIntegerArrayGetProc"}, 2016.0);
  const auto block = host->NewMemoryBlock(1);
  const auto red = host->NewIntegerArray({1, 2});
  const auto blue = host->NewIntegerArray({3});
  const auto green = host->NewIntegerArray({4});
  host->Call("MemoryblockGrayToPictureKVZ",
             {block.get(), std::int32_t{0}, std::int32_t{40000}, std::int32_t{1}, std::int32_t{1}, red.get(),
              blue.get(), green.get()});
  const auto element = [](const std::string& array, const std::string& bound, const std::string& get) {
    return Lines{"RuntimeUBound(" + array + ") = " + bound,
                 "RuntimeArrayDirectGetGetProc(" + array + ") = address",
                 "IntegerArrayGetter(" + array + ", " + get};
  };
  const Lines bounds = {"RuntimeUBound(array#1) = 1", "RuntimeUBound(array#2) = 0",
                        "RuntimeUBound(array#3) = 0"};
  EXPECT_EQ(bounds + element("array#1", "1", "0) = 1") + element("array#1", "1", "1) = 2") +
                element("array#2", "0", "0) = 3") + element("array#3", "0", "0) = 4"),
            Calls(*host));
}

}  // namespace
}  // namespace tests
