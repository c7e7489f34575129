// Host strings in every encoding and on every host, and elements of host arrays.
#include <array>
#include <limits>
#include <string_view>
#include <utility>

#include "host/strings.h"
#include "unit_host.h"

namespace tests {
namespace {

using rastel::REALBuildUnicodeString;

constexpr std::uint32_t kAscii = 0x600, kUtf16 = 0x100, kUtf8 = 0x08000100, kUtf32 = 0x0C000100;

template <typename Unit>
std::string BytesOfUnits(std::initializer_list<Unit> units) {
  return std::string(reinterpret_cast<const char*>(units.begin()), units.size() * sizeof(Unit));
}

/// What a text became.
using Made = std::pair<std::string, std::uint32_t>;
const Made kNull = {"(null)", 0};

Made Make(std::string_view bytes, std::uint32_t encoding) {
  REALstringStruct* made = REALBuildUnicodeString(bytes.data(), std::ssize(bytes), encoding);
  if (made == nullptr) {
    return kNull;
  }
  Made result = {made->bytes, made->encoding};
  EXPECT_EQ(1, made->references);
  rastel::REALUnlockString(made);
  return result;
}

using Route = std::vector<std::string>;
const Route kPlain = {"REALBuildString", "REALSetStringEncoding", "REALUnlockString"};
const Route kOldConversion = {"REALBuildString", "REALSetStringEncoding", "REALConvertString",
                              "REALUnlockString", "REALUnlockString"};
const Route kNewConversion = {"REALBuildStringWithEncoding", "REALConvertString", "REALUnlockString",
                              "REALUnlockString"};

struct Text {
  double version;
  std::string_view bytes;
  std::uint32_t encoding;
  Made made;
  Route route;
  std::size_t told = bytes.size();  // how many bytes the host gets
};

TEST(Strings, TakeTheRouteOfEncodingAndHost) {
  const std::string utf16 = BytesOfUnits<char16_t>({u'A', u'\u00E9', 0xD83D, 0xDE00});
  const std::string utf32 = BytesOfUnits<char32_t>({U'A', U'\u00E9', U'\U0001F600'});
  const Made emoji = {"A\xC3\xA9\xF0\x9F\x98\x80", kUtf8};
  const Made ascii = {"text", kAscii};
  for (const Text& text : {Text{2013.04, "text", kAscii, ascii, kPlain},
                           {2013.04, "t", 0, {"t", kAscii}, kPlain},
                           {2013.04, "text", 0x500, ascii, kPlain},
                           {2013.04, "text", 0xFFFF, ascii, kPlain},
                           {2013.04, "\xFFtext", 0x500, {"\xFFtext", 0x500}, kPlain},
                           {2013.04, "text\x80", 0xFFFF, {"text\x80", 0xFFFF}, kPlain},
                           {2013.04, "text\xC3\xA9", kUtf8, {"text\xC3\xA9", kUtf8}, kPlain},
                           {2012.0, utf16, kUtf16, emoji, kNewConversion},
                           {2011.9, utf16, kUtf16, emoji, kOldConversion},
                           {2013.0, utf32, kUtf32, emoji, kNewConversion},
                           {2012.5, utf32, kUtf32, emoji, kNewConversion, utf16.size()},
                           {2011.9, utf32, kUtf32, emoji, kOldConversion, utf16.size()}}) {
    SCOPED_TRACE(testing::Message() << text.version << ", encoding " << text.encoding);
    LinkedHost host({.version = text.version});
    const NothingLost watch(host);
    EXPECT_EQ(text.made, Make(text.bytes, text.encoding));
    EXPECT_EQ(text.route, Entries(host));
    EXPECT_EQ(std::to_string(text.told), host.trace.front().arguments.at(1));
  }
}

TEST(Strings, AreNullWhereTheHostMakesNone) {
  for (const auto& [version, entry] : {std::pair{2013.04, "REALBuildStringWithEncoding"},
                                       {2013.04, "REALConvertString"},
                                       {2011.0, "REALBuildString"}}) {
    LinkedHost host({.version = version});
    const NothingLost watch(host);
    host.FailAt(entry);
    EXPECT_EQ(kNull, Make(BytesOfUnits<char16_t>({u'A'}), kUtf16)) << entry;
  }
}

TEST(Strings, DropSurrogatesOfUtf32AndReplaceWhatIsNoCharacter) {
  LinkedHost host({.version = 2012.5});
  const NothingLost watch(host);
  const std::string bytes = BytesOfUnits<char32_t>(
      {U'a', 0xD800, 0xDFFF, 0xD7FF, 0xE000, 0xFFFF, 0x10FFFF, 0x110000, 0xFFFFFFFF, U'b'});
  const Made expected = {
      "a\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF4\x8F\xBF\xBF\xEF\xBF\xBD\xEF\xBF\xBD"
      "b",
      kUtf8};
  EXPECT_EQ(expected, Make(bytes, kUtf32));
  EXPECT_EQ(expected, Make(bytes + "xyz", kUtf32)) << "a rest below four bytes";
  EXPECT_EQ("", Make("xyz", kUtf32).first) << "no code point at all";
}

TEST(Strings, HoldTwoUnitsForEveryCodePoint) {
  LinkedHost host({.version = 2011.0});
  const NothingLost watch(host);
  for (const std::size_t count : {199U, 200U, 5000U}) {
    SCOPED_TRACE(count);
    std::string bytes;
    std::string expected;
    for (std::size_t i = 0; i < count; ++i) {
      bytes += BytesOfUnits<char32_t>({U'\U00010000'});
      expected += "\xF0\x90\x80\x80";
    }
    const bool needsMemory = count >= 200;
    const FailingCallocs failing(needsMemory ? 1 : 0);
    EXPECT_EQ(expected, Make(needsMemory ? bytes : bytes + "xyz", kUtf32).first);
    EXPECT_EQ(needsMemory ? (2 * count + 1) * sizeof(char16_t) : 0U, FailingCallocs::largestBytes);
    EXPECT_EQ(needsMemory ? "(null)" : expected, Make(bytes, kUtf32).first);
  }
}

TEST(Strings, AreNullForNoText) {
  LinkedHost host;
  constexpr std::int64_t kTooLong = 0x80000000;
  EXPECT_EQ(nullptr, REALBuildUnicodeString(nullptr, 4, kAscii));
  for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, kTooLong}) {
    EXPECT_EQ(nullptr, REALBuildUnicodeString("text", length, kAscii)) << length;
  }
  EXPECT_TRUE(host.trace.empty());
  // A text as long as can be reaches the host. Nothing of it is read unless its encoding has to be found out.
  host.FailAt("REALBuildString");
  EXPECT_EQ(nullptr, REALBuildUnicodeString("text", kTooLong - 1, kUtf8));
  EXPECT_EQ((Route{"REALBuildString"}), Entries(host));
}

TEST(Strings, LetExceptionsPassWhereTheyGiveBackTheUnconverted) {
  for (const double version : {2011.0, 2013.04}) {
    LinkedHost host({.version = version});
    const NothingLost watch(host);
    host.ThrowAt("REALUnlockString", std::make_exception_ptr(std::exception()));
    EXPECT_THROW(rastel::BuildUnicodeStringUnguarded(u"AB", 4, kUtf16), std::exception);
  }
}

TEST(Arrays, AreReadInTheStorageOfTheHostOrThroughTheGetter) {
  for (const double version : {2007.9, 2008.0, 2015.9, 2016.0}) {
    SCOPED_TRACE(version);
    LinkedHost host({.version = version});
    const auto array = host.NewIntegerArray({5, -7, 1 << 30});
    const auto element = [&](std::int32_t index) { return rastel::REALGetArrayInt(array.get(), index); };
    EXPECT_EQ((std::array{5, -7, 1 << 30}), (std::array{element(0), element(1), element(2)}));
    EXPECT_EQ(version < 2016.0 ? 0 : 3, CountCalls(host, "PluginIntegerArrayGetProc"));
    EXPECT_EQ(0, rastel::REALGetArrayInt(nullptr, 7));
    EXPECT_EQ(0, CountCalls(host, "RuntimeRaiseException"));
    EXPECT_EQ(0, element(3));
    ExpectRaised("OutOfBoundsException", "Parameter index  is too big. Range is 0 to 2, but value is 3.");
    EXPECT_EQ(0, element(-1));
    ExpectRaised("OutOfBoundsException", "Parameter index  is too small. Range is 0 to 2, but value is -1.");
    {
      const FailingCallocs failing(0);
      EXPECT_EQ(0, element(-1));
      ExpectRaised("OutOfBoundsException", "Out of Bounds");
    }
    if (version < 2016.0) {
      (version < 2008.0 ? array->before2008.elements : array->before2016.elements) = nullptr;
    }
    EXPECT_EQ(-7, element(1));
    host.FailAt("PluginIntegerArrayGetProc");
    EXPECT_EQ(0, element(1));
  }
}

}  // namespace
}  // namespace tests
