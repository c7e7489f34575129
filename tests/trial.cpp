#include "trial.h"

#include <algorithm>

#include "devhost/state.h"

namespace tests {
namespace {

using devhost::Reaction;
using devhost::Ref;

constexpr std::int32_t kWidth = 3;
constexpr std::int32_t kHeight = 2;

/// Entries that give something back. One that does not act leaves something behind by its nature, and one
/// that throws may do so in a destructor.
const Names kReleases = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject", "REALUnlockString",
                         "CFRelease"};
/// Without these a host cannot keep its books either; constant strings are there from the start.
const Names kBookkeeping = {"REALLockObject", "Mask", "__CFStringMakeConstantString"};
/// Those whose absence or failure changes what a picture holds: single rows, no drawing, no palette, no mask.
const Names kShapingContents = {"GetPixRowBytes",
                                "RuntimeUBound",
                                "PluginIntegerArrayGetProc",
                                "RuntimeArrayDirectGetGetProc",
                                "IntegerArrayGetter",
                                "DrawPicture",
                                "pluginPictureGraphicsGetter",
                                "REALLoadObjectMethod",
                                "REALGetPictureMask",
                                "REALLockPictureDescription",
                                "CFBundleGetFunctionPointerForName"};
/// Those that change no result by being missing.
const Names kHarmless = {"SetGWorld",
                         "REALPictureClearCache",
                         "REALYieldToRB",
                         "memoryBlockGetSize",
                         "PluginPictureGetType",
                         "pluginObjectType",
                         "REALUnlockString",
                         "REALUnlockObject",
                         "UnlockPixels",
                         "unlockPictureDescription"};

bool Intersect(const Names& a, const Names& b) {
  return std::ranges::any_of(a, [&](const std::string& name) { return b.contains(name); });
}

bool HasAny(const Names& names, const Names& of, std::string_view prefix) {
  return Intersect(names, of) ||
         std::ranges::any_of(names, [&](const std::string& name) { return name.starts_with(prefix); });
}

/// A call that gives something back, or that finds the function for it.
bool IsRelease(const devhost::TracedCall& call) {
  const bool finds = !call.arguments.empty() && call.arguments.back() == "\"UnlockPixels\"";
  return finds || kReleases.contains(call.entry);
}

/// A call that a destructor may make: one that gives something back, clears the cache or gives a mask back.
bool IsAtClose(const devhost::TracedCall& call) {
  return IsRelease(call) || call.entry == "REALPictureClearCache" || call.entry == "Mask";
}

/// True if each byte is what it was before or what it has to become.
bool IsBetween(const Bytes& before, const Bytes& after, const Bytes& actual) {
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (actual[i] != before[i] && actual[i] != after[i]) {
      return false;
    }
  }
  return true;
}

/// The pixels of the picture's top-left corner.
Bytes CornerOf(REALpictureStruct& picture) {
  Bytes bytes;
  const auto length = static_cast<std::size_t>(kWidth * devhost::BytesPerPixel(picture.format));
  for (std::int32_t y = 0; y < std::min(kHeight, picture.height); ++y) {
    bytes.insert(bytes.end(), picture.Row(y), picture.Row(y) + std::min(length, picture.RowLength()));
  }
  return bytes;
}

devhost::HostOptions GuardedOptions(const HostCase& hostCase) {
  devhost::HostOptions options = hostCase.Options();
  options.guarded = true;
  return options;
}

}  // namespace

std::string Fault::Text() const {
  constexpr const char* kKinds[] = {"none", "fails", "throws", "missing"};
  std::string text = kKinds[static_cast<int>(kind)];
  if (kind == Kind::kMissing) {
    for (const std::string& name : missing) {
      text += "+" + name.substr(0, name.find('('));
    }
    return text;
  }
  if (kind != Kind::kNone) {
    text += (once ? "-once-" : "-from-") + std::to_string(from);
  }
  if (memoryFrom != WatchedPlugin::kNever) {
    text += (memoryOnce ? "-memory-once-" : "-memory-from-") + std::to_string(memoryFrom);
  }
  return text;
}

/// What the calls are about.
struct Trial::Objects {
  Objects(devhost::Host& host, devhost::PixelFormat format, bool hasMask)
      : picture(host.NewPicture(kWidth, kHeight, format)),
        mask(host.NewPicture(kWidth, kHeight)),
        dest(host.NewPicture(4, 4)),
        block(host.NewMemoryBlock(64)),
        array(host.NewIntegerArray({1, 2, 300})) {
    FillWithNoise(*picture, 1);
    FillWithNoise(*mask, 2);
    if (hasMask) {
      picture->SetMask(mask.get());
    }
    Refill();
  }

  /// What is there before each call.
  void Refill() {
    FillWithNoise(*dest, 3);
    FillWithNoise(*block, 4);
    // Some gray values that the array has elements for.
    for (int i = 0; i < 6; ++i) {
      block->bytes()[i] = static_cast<std::uint8_t>(i);
    }
    destBefore = BytesOf(*dest);
    blockBefore = BytesOf(*block);
  }

  Ref<REALpictureStruct> picture, mask, dest;
  Ref<REALmemoryBlockStruct> block;
  Ref<_REALarrayInteger> array;
  Bytes destBefore, blockBefore;
};

/// What a call gave.
struct Trial::Outcome {
  bool threw = false;
  bool isPicture = false, isDest = false, boolean = false;
  std::optional<devhost::RaisedException> exception;
  Bytes corner, dest, block;

  bool Succeeded() const { return isPicture || boolean; }
};

/// The fault at work.
class Trial::Injection {
 public:
  Injection(Trial& trial, const Fault& fault, Verdict& verdict)
      : trial_(trial), fault_(fault), verdict_(verdict) {
    devhost::Host& host = *trial.host_;
    host.hidden = fault.missing;
    if (fault.kind == Fault::Kind::kMissing) {
      hit = fault.missing;
      verdict.reached = true;
    }
    trial.plugin_->failFrom = fault.memoryFrom;
    trial.plugin_->failsOnce = fault.memoryOnce;
    host.onEntry = [this](std::string_view entry) { return OnEntry(entry); };
  }
  ~Injection() {
    trial_.host_->onEntry = nullptr;
    trial_.host_->hidden.clear();
    trial_.plugin_->failFrom = WatchedPlugin::kNever;
  }
  Injection(const Injection&) = delete;
  Injection& operator=(const Injection&) = delete;

  Names hit;      // the entries that the fault happened to
  int calls = 0;  // of the host

 private:
  Reaction OnEntry(std::string_view entry) {
    if (fault_.sabotage) {
      return fault_.sabotage(*trial_.host_, *trial_.objects_->picture, entry);
    }
    const int number = calls++;
    const bool isDue = fault_.once ? number == fault_.from : number >= fault_.from;
    const bool throws = fault_.kind == Fault::Kind::kThrows;
    if (!isDue || (!throws && fault_.kind != Fault::Kind::kFails)) {
      return Reaction::kAct;
    }
    const bool isRelease = IsRelease(trial_.host_->trace.back());
    if (throws) {
      const bool mayBeInDestructor = IsAtClose(trial_.host_->trace.back());
      if (mayBeInDestructor && !fault_.once) {
        return Reaction::kAct;
      }
      Hit(entry);
      const bool isInDestructor = entry == "CFRelease" || (mayBeInDestructor && number >= trial_.close_);
      verdict_.releaseThrew = verdict_.releaseThrew || isInDestructor;
      throw HostFault(std::string(entry));
    }
    if (isRelease || kBookkeeping.contains(entry)) {
      return Reaction::kAct;
    }
    Hit(entry);
    return Reaction::kFail;
  }

  void Hit(std::string_view entry) {
    hit.emplace(entry);
    verdict_.reached = true;
  }

  Trial& trial_;
  const Fault& fault_;
  Verdict& verdict_;
};

Trial::Trial(const HostCase& hostCase, Situation situation, const Method& method)
    : hostCase_(hostCase),
      situation_(situation),
      method_(method),
      host_(std::make_unique<devhost::Host>(GuardedOptions(hostCase))),
      plugin_(std::make_unique<WatchedPlugin>()),
      good_(std::make_unique<Outcome>()) {
  plugin_->Register(&devhost::Host::Resolve);
  plugin_->Save();
  Begin();
  LearnFromAGoodHost();
}

Trial::~Trial() = default;

Arguments Trial::ArgumentsOfCall() const {
  Arguments arguments =
      ArgumentsFor(method_, {objects_->picture.get(), objects_->mask.get(), objects_->dest.get(),
                             objects_->block.get(), objects_->array.get(), kWidth, kHeight});
  if (situation_ == Situation::kBadArgument) {
    arguments["offset"] = std::int32_t{-1};
  }
  return arguments;
}

Trial::Outcome Trial::CallOnce() {
  Outcome outcome;
  try {
    devhost::CallResult result = Call(*host_, method_, ArgumentsOfCall());
    outcome.boolean = result.boolean;
    outcome.exception = result.exception;
    outcome.isPicture = result.picture.get() != nullptr;
    outcome.isDest = result.picture.get() == objects_->dest.get();
    if (outcome.isPicture) {
      outcome.corner = CornerOf(*result.picture);
    }
    if (outcome.isDest && host_->Lacks("REALLockObject")) {
      result.picture.release();  // the reference that should have come with it was never counted
    }
  } catch (const HostFault&) {
    outcome.threw = true;
  }
  outcome.dest = BytesOf(*objects_->dest);
  outcome.block = BytesOf(*objects_->block);
  return outcome;
}

void Trial::LearnFromAGoodHost() {
  host_->trace.clear();
  host_->lookups.clear();
  plugin_->allocations = 0;
  *good_ = CallOnce();
  calls_ = static_cast<int>(host_->trace.size());
  allocations_ = plugin_->allocations;
  const auto last = std::find_if_not(host_->trace.rbegin(), host_->trace.rend(), IsAtClose);
  const bool closesInDestructors = method_.result == "boolean";
  close_ = closesInDestructors ? static_cast<int>(last.base() - host_->trace.begin()) : calls_;
  names_.insert(host_->lookups.begin(), host_->lookups.end());
  const auto add = [this](const char* ifHas, const char* added) {
    if (names_.contains(ifHas)) {
      names_.insert(added);
    }
  };
  add("REALGetPropValueInteger", "REALGetPropValueInt");
  add("REALSetPropValueInteger", "REALSetPropValueInt");
  add("PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc");
  if (names_.contains("REALLoadObjectMethod")) {
    for (const auto& method : devhost::ObjectMethods()) {
      if (method.name.starts_with("Draw")) {
        names_.emplace(method.name);
      }
    }
  }
}

bool Trial::IsHarmless(const Names& names) {
  return std::ranges::all_of(names, [](const std::string& name) { return kHarmless.contains(name); });
}

std::string Trial::JudgeException(const Fault& fault, const Injection& injection,
                                  const Outcome& outcome) const {
  if (!outcome.exception) {
    const bool isExpected = good_->exception && fault.kind != Fault::Kind::kThrows &&
                            !HasAny(injection.hit, {"RuntimeRaiseException", "PluginNewInstance"}, "\1");
    return isExpected ? "nothing was raised" : "";
  }
  const std::string& className = outcome.exception->className;
  const bool isGuarded =
      injection.hit.contains("REALBuildString") || injection.hit.contains("REALSetStringEncoding");
  if (!good_->exception) {
    // An array whose bound changes from one call to the next.
    const bool isOutOfBounds = className == "OutOfBoundsException" && injection.hit.contains("RuntimeUBound");
    return isOutOfBounds || isGuarded ? "" : "raised: " + className;
  }
  const bool isRight = className == good_->exception->className ||
                       (className == "RuntimeException" && injection.hit.contains("PluginNewInstance"));
  const auto& message = outcome.exception->message;
  const bool hasRightMessage = message ? message == good_->exception->message : !injection.hit.empty();
  return isRight && hasRightMessage ? "" : "raised: " + className + ", " + message.value_or("(null)");
}

std::string Trial::Judge(const Fault& fault, const Injection& injection, const Outcome& outcome) const {
  const bool isThrow = fault.kind == Fault::Kind::kThrows;
  if (outcome.threw) {
    if (!isThrow) {
      return "an exception passed";
    }
  } else if (isThrow && !injection.hit.empty() &&
             !Intersect(injection.hit, {"REALBuildString", "REALSetStringEncoding"})) {
    return "the host's exception was swallowed";
  }
  if (const std::string text = JudgeException(fault, injection, outcome); !text.empty()) {
    return text;
  }
  // Objects' methods are named with their declarations where they are missing.
  const bool mayDiffer = HasAny(injection.hit, kShapingContents, "DrawPicture(");
  if (!mayDiffer && (!IsBetween(objects_->blockBefore, good_->block, outcome.block) ||
                     !IsBetween(objects_->destBefore, good_->dest, outcome.dest))) {
    return "bytes of the block or of the destination are neither as before nor as they have to be";
  }
  if (outcome.Succeeded()) {
    if (!good_->Succeeded()) {
      return "it succeeded where a good host's call fails";
    }
    if (!mayDiffer && (outcome.corner != good_->corner || outcome.block != good_->block)) {
      return "it succeeded with wrong pixels";
    }
    return outcome.isDest && !good_->isDest ? "the destination was returned" : "";
  }
  const bool mayFail = isThrow || fault.kind == Fault::Kind::kFails || !IsHarmless(injection.hit);
  return good_->Succeeded() && !mayFail ? "it failed without a reason" : "";
}

std::string Trial::JudgeBalance(const Fault& fault, const devhost::Balance& before, bool isRecovery) const {
  devhost::Balance after = host_->CurrentBalance();
  // One is due for each picture that is read through a copy because its depth is not supported.
  const int strays = after.strayUnlocks - before.strayUnlocks;
  const int mostStrays = hostCase_.readFrom == devhost::PixelFormat::kWorld16 || !isRecovery ? 2 : 0;
  if (strays < 0 || strays > mostStrays) {
    return std::to_string(strays) + " pixel maps were unlocked that were not locked";
  }
  after.strayUnlocks = before.strayUnlocks;
  const bool losesByNature = !isRecovery && Intersect(fault.missing, kReleases);
  const bool isEven = losesByNature
                          ? after.objects >= before.objects && after.references >= before.references &&
                                after.descriptionLocks >= before.descriptionLocks &&
                                after.pixelLocks >= before.pixelLocks
                          : after == before;
  if (!isEven) {
    return testing::PrintToString(before) + " became " + testing::PrintToString(after);
  }
  for (const std::string& complaint : host_->complaints) {
    if (!(losesByNature && complaint.find("died while it was locked") != std::string::npos)) {
      return "the host complains: " + complaint;
    }
  }
  return objects_->picture->SurroundingsIntact() && objects_->dest->SurroundingsIntact() &&
                 objects_->block->SurroundingsIntact()
             ? ""
             : "bytes around a picture or the block were written";
}

void Trial::RunPoint(const Fault& fault, Verdict& verdict) {
  Begin();
  const auto live = plugin_->live.size();
  REALpictureStruct* const mask = objects_->picture->mask;
  const devhost::Balance before = host_->CurrentBalance();
  std::string failure;
  {
    Injection injection(*this, fault, verdict);
    const Outcome outcome = CallOnce();
    verdict.reached = verdict.reached || plugin_->allocations > fault.memoryFrom;
    failure = Judge(fault, injection, outcome);
  }
  if (failure.empty()) {
    failure = JudgeBalance(fault, before, false);
  }
  if (failure.empty() && (plugin_->live.size() != live || objects_->picture->mask != mask)) {
    failure = "memory was not freed, or the mask was not given back";
  }
  if (failure.empty()) {
    failure = JudgeNextCall(fault);
  }
  verdict.Fail(failure);
}

/// As if the plug-in had just been registered.
void Trial::Begin() {
  plugin_->Restore();
  objects_ = std::make_unique<Objects>(*host_, hostCase_.readFrom, situation_ == Situation::kMasked);
  host_->trace.clear();
  host_->complaints.clear();
  plugin_->allocations = 0;
}

/// The call on the same host when nothing is wrong any more.
std::string Trial::JudgeNextCall(const Fault& fault) {
  host_->complaints.clear();
  objects_->Refill();
  const devhost::Balance before = host_->CurrentBalance();
  const Outcome next = CallOnce();
  const bool isGood = next.Succeeded() == good_->Succeeded() && next.corner == good_->corner &&
                      next.block == good_->block && next.dest == good_->dest &&
                      next.exception.has_value() == good_->exception.has_value();
  // A desktop host that does not say what it is passes for another kind from the first picture on that only
  // the bitmap route reads.
  const bool mayDiffer = hostCase_.kind == devhost::Kind::kDesktop &&
                         fault.missing.contains("pluginObjectType") &&
                         hostCase_.readFrom == devhost::PixelFormat::kBitmap;
  const std::string failure =
      isGood || mayDiffer ? JudgeBalance(fault, before, true) : "it gives something else";
  return failure.empty() ? "" : "the next call, on a good host: " + failure;
}

std::vector<Verdict> Trial::Run(const std::vector<Fault>& faults) {
  return RunIsolated(faults.size(),
                     [&](std::size_t index, Verdict& verdict) { RunPoint(faults[index], verdict); });
}

}  // namespace tests
