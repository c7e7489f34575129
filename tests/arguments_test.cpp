// Bad arguments: which one is reported, in each method's order, and that nothing else happens.
#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Value;

struct BadArgument {
  const char* parameter;
  Value value;
  const char* className;  // null: false without an exception
  const char* message;
};

constexpr const char* kNil = "NilObjectException";
constexpr const char* kUnsupported = "UnsupportedOperationException";

/// A method's bad arguments in the order in which they are reported.
std::vector<BadArgument> BadArgumentsOf(const Method& method) {
  const BadArgument offset{"offset", std::int32_t{-1}, kUnsupported, "offset is too small. Must be >=0."};
  if (method.result == "picture") {
    return {{"source", nullptr, kNil, "Memoryblock is nil"},
            {"width", std::int32_t{0}, kUnsupported, "width is too small. Must be >0."},
            {"height", std::int32_t{-3}, kUnsupported, "height is too small. Must be >0."},
            offset};
  }
  std::vector<BadArgument> bad = {{"EndLine", std::int32_t{-2}, nullptr, nullptr},
                                  {"StartLine", std::int32_t{-1}, nullptr, nullptr},
                                  {"DestRowBytes", std::int32_t{-1}, nullptr, nullptr},
                                  {"self", nullptr, kNil, "Picture is nil"}};
  const BadArgument block{"destination", nullptr, kNil, "Memoryblock is nil"};
  const BadArgument mask{"MaskForAlpha", nullptr, kNil, "Mask Picture is nil"};
  // The BGRA form alone looks at the mask before the block.
  if (method.layout == "BGRM") {
    bad.insert(bad.end(), {mask, block});
  } else if (method.Has("MaskForAlpha")) {
    bad.insert(bad.end(), {block, mask});
  } else {
    bad.push_back(block);
  }
  bad.push_back(offset);
  return bad;
}

class BadArguments : public testing::TestWithParam<std::size_t> {
 protected:
  BadArguments() : method(AllMethods()[GetParam()]) {}

  Arguments GoodArguments() {
    return ArgumentsFor(method, {picture.get(), mask.get(), picture.get(), block.get(), array.get(), 2, 2});
  }

  void ExpectReported(const Arguments& arguments, const BadArgument& reported) {
    const NothingLost watch(host);
    host.trace.clear();
    const auto result = Call(host, method, arguments);
    EXPECT_EQ(nullptr, result.picture.get());
    EXPECT_FALSE(result.boolean);
    for (const char* entry : {"newPicture", "lockPictureDescription", "REALLockPictureDescription",
                              "memoryBlockGetPtr", "RuntimeUBound", "PluginPictureGetType"}) {
      EXPECT_EQ(0, CountCalls(host, entry)) << entry;
    }
    if (reported.className == nullptr) {
      EXPECT_FALSE(result.exception);
      EXPECT_TRUE(host.trace.empty());
      return;
    }
    ASSERT_TRUE(result.exception);
    EXPECT_EQ(reported.className, result.exception->className);
    EXPECT_EQ(reported.message, result.exception->message.value_or("(null)"));
    EXPECT_EQ(0, result.exception->errorNumber);
    EXPECT_EQ(1, CountCalls(host, "RuntimeRaiseException"));
  }

  LoadedHost host;
  const Method method;
  devhost::Ref<REALpictureStruct> picture = host.NewPicture(2, 2);
  devhost::Ref<REALpictureStruct> mask = host.NewPicture(2, 2);
  devhost::Ref<REALmemoryBlockStruct> block = host.NewMemoryBlock(64);
  devhost::Ref<_REALarrayInteger> array = host.NewIntegerArray({1, 2});
};

TEST_P(BadArguments, AreReportedOneByOneAndInOrder) {
  const auto good = Call(host, method, GoodArguments());
  EXPECT_TRUE(good.boolean || good.picture.get() != nullptr);
  const std::vector<BadArgument> bad = BadArgumentsOf(method);
  for (std::size_t first = 0; first < bad.size(); ++first) {
    for (std::size_t second = first; second < bad.size(); ++second) {
      SCOPED_TRACE(testing::Message() << bad[first].parameter << " and " << bad[second].parameter);
      Arguments arguments = GoodArguments();
      arguments[bad[first].parameter] = bad[first].value;
      arguments[bad[second].parameter] = bad[second].value;
      ExpectReported(arguments, bad[first]);
    }
  }
}

std::string NameOf(const testing::TestParamInfo<std::size_t>& info) {
  return TestName(AllMethods()[info.param], info.param + 1);
}

INSTANTIATE_TEST_SUITE_P(, BadArguments, testing::Range(std::size_t{0}, std::size_t{50}), NameOf);

}  // namespace
}  // namespace tests
