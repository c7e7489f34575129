#include "fuzz/call_run.h"

#include <algorithm>
#include <sstream>

namespace tests {

using devhost::Balance;
using devhost::Host;
using devhost::PixelFormat;
using devhost::Ref;
using devhost::Value;

CallRun::CallRun(Host& host, const CallSpec& spec, const FaultyHost& fault)
    : host_(host), spec_(spec), method_(AllMethods()[spec.method]), fault_(fault) {}

void CallRun::Run(const devhost::Registration& registration, std::string_view sabotage) {
  Prepare();
  const std::vector<Value> arguments = Arguments();
  const Balance before = host_.CurrentBalance();
  devhost::CallResult result;
  bool threw = false;
  try {
    result = host_.Call(registration, arguments);
  } catch (const HostFault&) {
    threw = true;
  }
  Sabotage(sabotage, result.picture.get());
  const Outcome outcome{result, threw, IsExact()};
  Require(!outcome.isExact || !threw, "an exception of the host without a fault");
  CheckRaised(outcome);
  Check(outcome);
  CheckSurroundings(result.picture.get());
  result.picture.reset();
  CheckBalance(before, outcome.isExact);
}

bool CallRun::IsExact() const {
  return host_.options().without.empty() && !fault_.HasFailed() && ArePicturesUsable();
}

bool CallRun::IsWorld(const PictureSpec& picture) {
  return picture.format == PixelFormat::kWorld32 || picture.format == PixelFormat::kWorld24;
}

bool CallRun::Misses(const char* name) const {
  return host_.options().without.contains(name) || fault_.HasFailedIn(name);
}

Ref<REALpictureStruct> CallRun::MakePicture(const PictureSpec& spec, std::uint64_t seed) {
  auto picture = host_.NewPicture(spec.size.width, spec.size.height, spec.format);
  FillWithNoise(*picture, seed);
  return picture;
}

void CallRun::MakeBlock(std::int64_t size) {
  block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(size));
  FillWithNoise(*block_, 4242);
  blockBefore_ = BytesOf(*block_);
}

std::vector<Value> CallRun::Arguments() {
  std::vector<Value> arguments;
  if (method_.result == "boolean") {
    arguments.push_back(Argument("self"));
  }
  for (const std::string& name : method_.ParameterNames()) {
    arguments.push_back(Argument(name));
  }
  return arguments;
}

namespace {

/// Writes where the address sanitizer would not let anyone write.
__attribute__((no_sanitize("address"))) void FlipByte(std::uint8_t* byte) {
  *byte ^= 0xFF;
}

}  // namespace

void CallRun::Sabotage(std::string_view sabotage, REALpictureStruct* made) const {
  if (sabotage == "over") {
    FlipByte(block_->bytes() + block_->size);
  } else if (sabotage == "under") {
    FlipByte(block_->bytes() - 1);
  } else if (sabotage == "channel" && ChangedByte(made) != nullptr) {
    FlipByte(ChangedByte(made));
  } else if (sabotage == "double-unlock" && Locked() != nullptr) {
    void* address = Host::Resolve("unlockPictureDescription");
    if (address != nullptr) {
      reinterpret_cast<void (*)(REALpictureStruct*)>(address)(Locked());
    }
  }
}

void CallRun::CheckRaised(const Outcome& outcome) const {
  if (!outcome.isExact) {
    return;
  }
  const auto& raised = outcome.result.exception;
  const char* expected = IsSilentlyRefused() ? nullptr : ExpectedException();
  Require(raised.has_value() == (expected != nullptr), "an exception was raised or missing");
  Require(expected == nullptr || raised->className == expected, "an exception of another class was raised");
}

void CallRun::CheckSurroundings(REALpictureStruct* made) const {
  std::vector<REALpictureStruct*> pictures = Pictures();
  pictures.push_back(made);
  const bool areIntact = std::ranges::all_of(pictures, [](const REALpictureStruct* picture) {
    return picture == nullptr || picture->SurroundingsIntact();
  });
  Require(areIntact && block_->SurroundingsIntact(), "bytes around a picture or a block were written");
}

void CallRun::CheckBalance(Balance before, bool isExact) const {
  const Balance after = host_.CurrentBalance();
  const int strays = after.strayUnlocks - before.strayUnlocks;
  Require(isExact ? strays == StraysDue() : strays <= 2, "a wrong number of stray unlocks");
  before.strayUnlocks = after.strayUnlocks;
  if (std::ranges::any_of(host_.options().without, IsRelease)) {
    return;
  }
  if (before != after) {
    std::ostringstream text;
    text << before << " became " << after;
    throw ScenarioFailure(text.str());
  }
  if (!host_.complaints.empty()) {
    throw ScenarioFailure(host_.complaints.front());
  }
}

void CallRun::Require(bool holds, const char* what) {
  if (!holds) {
    throw ScenarioFailure(what);
  }
}

void CallRun::RequireSame(const Bytes& expected, const Bytes& actual, const char* what) {
  if (expected != actual) {
    throw ScenarioFailure(std::string(what) + ": " + SameBytes(expected, actual).message());
  }
}

}  // namespace tests
