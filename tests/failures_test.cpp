// Everything goes back to the host when it lacks an entry, when a call fails, and when a call throws.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <set>
#include <stdexcept>
#include <tuple>

#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::HostOptions;
using devhost::PixelFormat;
using devhost::Reaction;
using Names = std::set<std::string, std::less<>>;

/// Entries that give something back. One that does not act leaves something behind by its nature, and one
/// that throws may do so in a destructor.
const Names kReleases = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject", "REALUnlockString",
                         "CFRelease"};
/// Without these a host cannot keep its books either.
const Names kBookkeeping = {"REALLockObject", "Mask"};

/// A call that gives something back, or that finds the function for it.
bool IsRelease(const devhost::TracedCall& call) {
  const bool finds = !call.arguments.empty() && call.arguments.back() == "\"UnlockPixels\"";
  return finds || kReleases.contains(call.entry);
}

struct HostFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class Situation {
  kCold,         // the first call since the plug-in was loaded
  kWarm,         // a later one, which finds everything bound
  kMasked,       // the first one, with a picture that has a mask
  kBadArgument,  // the first one, with an argument that is reported
};

using Parameter = std::tuple<HostCase, Situation, std::size_t>;

class Failures : public testing::TestWithParam<Parameter> {
 protected:
  struct Outcome {
    devhost::CallResult result;
    bool threw = false;
  };

  Failures()
      : hostCase(std::get<0>(GetParam())),
        situation(std::get<1>(GetParam())),
        method(AllMethods()[std::get<2>(GetParam())]) {}

  /// What the calls are about.
  struct Objects {
    Objects(devhost::Host& host, PixelFormat format, bool hasMask)
        : picture(host.NewPicture(3, 2, format)),
          mask(host.NewPicture(3, 2)),
          dest(host.NewPicture(4, 4)),
          block(host.NewMemoryBlock(256)),
          array(host.NewIntegerArray({1, 2, 300})) {
      if (hasMask) {
        picture->SetMask(mask.get());
      }
    }
    devhost::Ref<REALpictureStruct> picture, mask, dest;
    devhost::Ref<REALmemoryBlockStruct> block;
    devhost::Ref<_REALarrayInteger> array;
  };

  /// One call on a host that has just loaded the plug-in. `prepare` sets the host up before it. When all
  /// references are dropped the host has to be as before.
  template <typename Prepare>
  Outcome CallOnce(const HostOptions& options, Prepare prepare, bool checksBalance = true) {
    LoadedHost host(options);
    Outcome outcome;
    {
      const Objects objects(host, hostCase.readFrom, situation == Situation::kMasked);
      REALpictureStruct* const mask = objects.picture->mask;
      const Arguments arguments = ArgumentsFor(objects);
      if (situation == Situation::kWarm) {
        Call(host, method, arguments);
      }
      const devhost::Balance before = host.CurrentBalance();
      host.trace.clear();
      prepare(host);
      outcome = Try(host, arguments);
      EXPECT_EQ(mask, objects.picture->mask);
      CheckBalance(before, host.CurrentBalance(), checksBalance);
    }
    for (const std::string& complaint : host.complaints) {
      EXPECT_TRUE(!checksBalance && complaint.find("died while it was locked") != std::string::npos)
          << complaint;
    }
    return outcome;
  }

  Outcome Try(devhost::Host& host, const Arguments& arguments) {
    Outcome outcome;
    try {
      outcome.result = Call(host, method, arguments);
    } catch (const HostFault&) {
      outcome.threw = true;
    }
    host.onEntry = nullptr;
    calls = host.trace;
    outcome.result.picture.reset();
    return outcome;
  }

  void CheckBalance(const devhost::Balance& before, devhost::Balance after, bool checksAll) const {
    // One is due for each picture that is read through a copy because its depth is not supported.
    EXPECT_LE(after.strayUnlocks - before.strayUnlocks, method.Has("MaskForAlpha") ? 2 : 1);
    after.strayUnlocks = before.strayUnlocks;
    if (checksAll) {
      EXPECT_EQ(before, after);
    }
  }

  Arguments ArgumentsFor(const Objects& objects) const {
    Arguments arguments = {{"self", objects.picture.get()},
                           {"dest", objects.dest.get()},
                           {"source", objects.block.get()},
                           {"destination", objects.block.get()},
                           {"MaskForAlpha", objects.mask.get()},
                           {"FlipVertically", true},
                           {"LittleEndian", true},
                           {"Red()", objects.array.get()},
                           {"Blue()", nullptr},
                           {"Green()", objects.array.get()},
                           {"width", std::int32_t{3}},
                           {"height", std::int32_t{2}},
                           {"EndLine", std::int32_t{-1}}};
    for (const char* one :
         {"Yield", "StartLine", "DestRowBytes", "AlphaValue", "PixelByteSize", "Red", "Blue", "Green"}) {
      arguments[one] = std::int32_t{1};
    }
    if (method.ReadsPtr()) {
      arguments["source"] = devhost::Ptr{objects.block->bytes()};
    }
    arguments["offset"] = std::int32_t{situation == Situation::kBadArgument ? -1 : 0};
    return arguments;
  }

  static void ActAlways(devhost::Host&) {}

  /// Makes call `number` (from 0) of the host do what `act` does.
  template <typename Act>
  static auto AtCall(int number, Act act) {
    return [left = std::make_shared<int>(number), act](devhost::Host& host) {
      host.onEntry = [left, act](std::string_view entry) {
        return (*left)-- == 0 ? act(std::string(entry)) : Reaction::kAct;
      };
    };
  }

  std::vector<devhost::TracedCall> CallsOfAGoodHost() {
    CallOnce(hostCase.Options(), ActAlways);
    return calls;
  }

  /// The child's end as waitpid tells it; 0 also stands for an exception that passed.
  int ThrowInChild(int number) {
    const pid_t child = fork();
    if (child == 0) {
      const rlimit noCore = {0, 0};
      if (setrlimit(RLIMIT_CORE, &noCore) != 0 || std::freopen("/dev/null", "w", stderr) == nullptr) {
        _exit(2);
      }
      const Outcome outcome = CallOnce(hostCase.Options(), AtCall(number, Throw));
      _exit(outcome.threw && !HasFailure() ? 0 : 3);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  static Reaction Throw(const std::string& entry) { throw HostFault(entry); }
  static Reaction Fail(const std::string&) { return Reaction::kFail; }

  const HostCase hostCase;
  const Situation situation;
  const Method method;
  std::vector<devhost::TracedCall> calls;  // of the last CallOnce
};

TEST_P(Failures, OfSingleCallsLoseNothing) {
  const auto good = CallsOfAGoodHost();
  ASSERT_FALSE(good.empty());
  for (std::size_t i = 0; i < good.size(); ++i) {
    const std::string& entry = good[i].entry;
    // Constant strings are there from the start.
    if (!IsRelease(good[i]) && !kBookkeeping.contains(entry) && entry != "__CFStringMakeConstantString") {
      SCOPED_TRACE(testing::Message() << "call " << i << " of " << entry << " fails");
      EXPECT_FALSE(CallOnce(hostCase.Options(), AtCall(static_cast<int>(i), Fail)).threw);
    }
  }
}

TEST_P(Failures, OfLookupsLoseNothing) {
  Names names;
  for (const auto& call : CallsOfAGoodHost()) {
    names.insert(call.entry);
  }
  for (const std::string& name : names) {
    const bool isPlatform =
        name.starts_with("CF") || name.starts_with("FS") || name.starts_with("__CF") || name == "TickCount";
    const bool isOfAnObject = name == "DrawPicture" || name == "IntegerArrayGetter";
    if (isPlatform || isOfAnObject || kBookkeeping.contains(name)) {
      continue;
    }
    SCOPED_TRACE("without " + name);
    HostOptions options = hostCase.Options();
    options.without.insert(name);
    CallOnce(options, ActAlways, !kReleases.contains(name));
  }
}

TEST_P(Failures, ThatThrowLoseNothing) {
  const auto good = CallsOfAGoodHost();
  for (std::size_t i = 0; i < good.size(); ++i) {
    const std::string& entry = good[i].entry;
    const int number = static_cast<int>(i);
    SCOPED_TRACE(testing::Message() << "call " << good[i].Text() << " throws");
    if (IsRelease(good[i]) || entry == "REALPictureClearCache") {
      const int status = ThrowInChild(number);
      EXPECT_TRUE(status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT)) << status;
      continue;
    }
    const Outcome outcome = CallOnce(hostCase.Options(), AtCall(number, Throw));
    const bool isGuarded = entry == "REALBuildString" || entry == "REALSetStringEncoding";
    EXPECT_EQ(!isGuarded, outcome.threw);
    if (isGuarded) {
      // The exception of the text was raised and then replaced by the one that lacks its message.
      ASSERT_TRUE(outcome.result.exception);
      EXPECT_EQ("UnsupportedOperationException", outcome.result.exception->className);
      EXPECT_FALSE(outcome.result.exception->message);
    }
  }
}

std::string NameOf(const testing::TestParamInfo<Parameter>& info) {
  const std::size_t row = std::get<2>(info.param);
  constexpr const char* kSituations[] = {"Cold", "Warm", "Masked", "BadArgument"};
  return std::string(std::get<0>(info.param).name) +
         kSituations[static_cast<std::size_t>(std::get<1>(info.param))] + "_" +
         TestName(AllMethods()[row], row + 1);
}

INSTANTIATE_TEST_SUITE_P(Methods, Failures,
                         testing::Combine(testing::Values(kDesktop), testing::Values(Situation::kWarm),
                                          testing::Range(std::size_t{0}, std::size_t{50})),
                         NameOf);
// Some of either direction, with and without a mask, a destination, arrays.
INSTANTIATE_TEST_SUITE_P(
    Hosts, Failures,
    testing::Combine(testing::Values(kDesktop, kConsole, kUnknown, kDesktop16, kDesktopBitmap),
                     testing::Values(Situation::kCold), testing::Values(0U, 9U, 18U, 49U)),
    NameOf);
INSTANTIATE_TEST_SUITE_P(Masks, Failures,
                         testing::Combine(testing::Values(kUnknown, kDesktop16, kDesktopBitmap),
                                          testing::Values(Situation::kMasked), testing::Values(0U, 9U)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Checks, Failures,
                         testing::Combine(testing::Values(kDesktop), testing::Values(Situation::kBadArgument),
                                          testing::Values(0U, 49U)),
                         NameOf);

}  // namespace
}  // namespace tests
