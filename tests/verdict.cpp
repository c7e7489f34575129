// What is wrong with what came of a call.
#include <algorithm>
#include <sstream>

#include "call.h"

namespace tests {
namespace {

std::string Text(const char* what, const Bytes& expected, std::span<const std::uint8_t> actual) {
  const std::string difference = Difference(expected, actual);
  return difference.empty() ? "" : std::string(what) + ": " + difference;
}

std::string Misplaced(const char* where, std::ptrdiff_t index) {
  return "byte " + std::to_string(index) + " of " + where + " is neither as before nor as it has to become";
}

}  // namespace

struct Call::Outcome {
  devhost::CallResult result;
  bool isDest = false;  // the picture returned is the one passed
  bool threw = false;
  bool swallowed = false;  // an exception of the host

  bool Succeeded() const { return result.picture || isDest || result.boolean; }
};

std::string Call::Run(const devhost::Injection* faults) {
  Refill();
  faults_ = faults;
  before_ = host_.CurrentBalance();
  traceBefore_ = host_.trace.size();
  complaintsBefore_ = host_.complaints.size();
  Outcome outcome = Invoke();
  succeeded = outcome.Succeeded();
  LearnTroubles();
  std::string verdict = Judge(outcome);
  outcome.result.picture.reset();
  if (memory_ != nullptr && outcome.result.boolean) {
    std::ranges::copy(blockBefore_, memory_->bytes());
  }
  return verdict.empty() ? JudgeBalance() : verdict;
}

std::string Call::Judge(const Outcome& outcome) const {
  for (const auto judge : {&Call::JudgeRaised, &Call::JudgeSuccess, &Call::JudgeRefused,
                           method_.copies ? &Call::JudgeCopy : &Call::JudgePicture, &Call::JudgeSources}) {
    if (std::string verdict = (this->*judge)(outcome); !verdict.empty()) {
      return verdict;
    }
  }
  return "";
}

Call::Outcome Call::Invoke() {
  std::vector<devhost::Value> arguments;
  for (const Parameter& parameter : method_.parameters) {
    arguments.push_back(Argument(parameter));
  }
  const int thrownBefore = faults_ == nullptr ? 0 : faults_->thrown;
  Outcome outcome;
  try {
    outcome.result = host_.Call(method_.registration, arguments);
  } catch (const devhost::HostFault&) {
    outcome.threw = true;
  }
  outcome.swallowed = !outcome.threw && faults_ != nullptr && faults_->thrown > thrownBefore;
  outcome.isDest = dest && outcome.result.picture.get() == dest.get();
  if (outcome.isDest && host_.Lacks("REALLockObject")) {
    outcome.result.picture.release();  // the reference that should have come with it was never counted
  }
  return outcome;
}

std::string Call::JudgeRaised(const Outcome& outcome) const {
  const bool isGuarded = LostAny({"REALBuildString", "REALSetStringEncoding"});
  if (outcome.threw && !IsInDoubt()) {
    return "an exception of the host without a fault";
  }
  if (outcome.swallowed && !isGuarded) {
    return "the host's exception was swallowed";
  }
  const bool isExpected = refusal_ != nullptr && refusal_->className != nullptr;
  const auto& raised = outcome.result.exception;
  if (!raised) {
    const bool isExcused = outcome.threw || LostAny({"RuntimeRaiseException", "PluginNewInstance"});
    return isExpected && !isExcused ? "nothing was raised" : "";
  }
  const std::string text = "raised: " + raised->className + ", " + raised->message.value_or("(null)");
  if (!isExpected) {
    // An array whose bound changes from one call to the next.
    const bool isOutOfBounds = raised->className == "OutOfBoundsException" && LostAny({"RuntimeUBound"});
    return isOutOfBounds || (isGuarded && IsInDoubt()) ? "" : text;
  }
  const bool isRight = raised->className == refusal_->className ||
                       (raised->className == "RuntimeException" && LostAny({"PluginNewInstance"}));
  const bool hasMessage = raised->message ? raised->message == refusal_->message : IsInDoubt();
  return isRight && hasMessage && raised->errorNumber == 0 ? "" : text;
}

std::string Call::JudgeSuccess(const Outcome& outcome) const {
  if (outcome.Succeeded()) {
    return CanSucceed() ? "" : "it succeeded with arguments that it has to refuse";
  }
  return CanSucceed() && !outcome.threw && !HasReasonToFail() ? "it failed without a reason" : "";
}

/// On a good host a call that is refused does no more than to say so, and one of too large a picture makes
/// none.
std::string Call::JudgeRefused(const Outcome& /*outcome*/) const {
  static const std::vector<std::string> kRaising = {
      "REALBuildString",         "REALSetStringEncoding", "PluginNewInstance", "REALSetPropValueString",
      "REALSetPropValueInteger", "RuntimeRaiseException", "REALUnlockObject",  "REALUnlockString"};
  if (CanSucceed() || IsInDoubt() || !host_.options().recorded) {
    return "";
  }
  const std::vector<std::string> all = Entries(host_);
  std::vector<std::string> entries(all.begin() + static_cast<std::ptrdiff_t>(traceBefore_), all.end());
  // The name that was found once stays.
  std::ranges::replace(entries, "REALSetPropValueInt", "REALSetPropValueInteger");
  if (refusal_ != nullptr) {
    const bool isRight = refusal_->className == nullptr ? entries.empty() : entries == kRaising;
    return isRight ? "" : "other calls of the host than those that raise";
  }
  const bool makes = std::ranges::any_of(entries, [](const std::string& entry) {
    return entry == "newPicture" || entry == "RuntimeRaiseException" || entry.ends_with("PictureDescription");
  });
  return makes ? "calls of the host for a picture that is too large" : "";
}

std::string Call::JudgeCopy(const Outcome& outcome) const {
  if (!CanSucceed() || (!outcome.result.boolean && !outcome.threw)) {
    return Text("the block, though nothing was copied", blockBefore_, BlockBytes());
  }
  if (outcome.threw || MayHoldAnything() || MayBeBlack() || MayHaveOneRow()) {
    return JudgePartialCopy();
  }
  return Text("the block", Copied(blockBefore_, shown_, shownByMask_, copy_.lines), BlockBytes());
}

/// A copy that did not come to its end, or of pictures that could not be read as they are: each byte is as
/// before, or as it had to become when one of the rows was copied.
std::string Call::JudgePartialCopy() const {
  const auto now = BlockBytes();
  Bytes isRight(now.size());
  const auto allow = [&](const Bytes& bytes) {
    for (std::size_t i = 0; i < now.size(); ++i) {
      isRight[i] |= now[i] == bytes[i] ? 1 : 0;
    }
  };
  allow(blockBefore_);
  const auto masks = Readings(shownByMask_);
  for (const oracle::Image& from : Readings(shown_)) {
    for (const oracle::Image& alpha : masks) {
      Bytes bytes = blockBefore_;
      for (std::int64_t line = copy_.lines.first; line <= copy_.lines.last; ++line) {
        bytes = Copied(std::move(bytes), from, alpha, {line, line});
        allow(bytes);
      }
    }
  }
  if (MayHoldAnything()) {
    // What is written is the same whatever was there before.
    const Bytes onZeros = Copied(Bytes(now.size(), 0), shown_, shownByMask_, copy_.lines);
    const Bytes onOnes = Copied(Bytes(now.size(), 255), shown_, shownByMask_, copy_.lines);
    for (std::size_t i = 0; i < now.size(); ++i) {
      isRight[i] |= onZeros[i] == onOnes[i] ? 1 : 0;
    }
  }
  const auto wrong = std::ranges::find(isRight, 0);
  return wrong == isRight.end() ? "" : Misplaced("the block", wrong - isRight.begin());
}

std::string Call::JudgePicture(const Outcome& outcome) const {
  const bool isNew = outcome.result.picture && !outcome.isDest;
  const std::string verdict = isNew ? JudgeMade(*outcome.result.picture) : "";
  return verdict.empty() && dest ? JudgeDest(outcome) : verdict;
}

std::string Call::JudgeMade(REALpictureStruct& made) const {
  if (made.width != buffer_.width || made.height != buffer_.height) {
    return "a picture of a wrong size";
  }
  if (!IsInDoubt() && (made.references != 1 || PixelTypeOf(made.format) != host_.options().pixelType)) {
    return "a picture with too many references or of a wrong type";
  }
  const Bytes now = BytesOf(made);
  return MayHoldAnything() ? "" : Text("the picture", Written(made, now), now);
}

std::string Call::JudgeDest(const Outcome& outcome) const {
  const Bytes now = BytesOf(*dest);
  if (outcome.isDest && !IsDestUsed()) {
    return "dest was used";
  }
  if (!IsInDoubt()) {
    const bool isDue = IsDestUsed() && CanSucceed();
    return isDue && !outcome.isDest ? "dest was not used"
                                    : Text("dest", isDue ? Written(*dest, destBefore_) : destBefore_, now);
  }
  if (!CanSucceed() || !IsDestLargeEnough() || PixelTypeOf(dest->format) == 0) {
    return Text("dest, though of no use", destBefore_, now);
  }
  const Bytes written = Written(*dest, destBefore_);
  if (outcome.isDest && !MayHoldAnything()) {
    return Text("dest", written, now);
  }
  const Bytes onZeros = Written(*dest, Bytes(now.size(), 0));
  const Bytes onOnes = Written(*dest, Bytes(now.size(), 255));
  for (std::size_t i = 0; i < now.size(); ++i) {
    const bool isAllowed = now[i] == written[i] || (MayHoldAnything() && onZeros[i] == onOnes[i]);
    if (now[i] != destBefore_[i] && !isAllowed) {
      return Misplaced("dest", static_cast<std::ptrdiff_t>(i));
    }
  }
  return "";
}

std::string Call::JudgeSources(const Outcome& outcome) const {
  for (const auto* each : {&picture, &mask, &dest, &outcome.result.picture}) {
    if (*each && !(*each)->SurroundingsIntact()) {
      return "bytes around a picture were written";
    }
  }
  if (!block->SurroundingsIntact()) {
    return "bytes around the block were written";
  }
  if (picture && (picture->mask != maskBefore_ || BytesOf(*picture) != pictureBefore_)) {
    return "the picture or its mask was changed";
  }
  return method_.copies || memory_ != nullptr ? "" : Text("the buffer", blockBefore_, BlockBytes());
}

std::string Call::JudgeBalance() const {
  devhost::Balance after = host_.CurrentBalance();
  const int strays = after.strayUnlocks - before_.strayUnlocks - straysMeanwhile;
  if (IsInDoubt() ? strays < 0 || strays > 2 : strays != StraysDue()) {
    return std::to_string(strays) + " pixel maps were unlocked that were not locked";
  }
  after.strayUnlocks = before_.strayUnlocks;
  const bool isMore = after.objects >= before_.objects && after.references >= before_.references &&
                      after.descriptionLocks >= before_.descriptionLocks &&
                      after.pixelLocks >= before_.pixelLocks;
  if (LosesByNature() ? !isMore : after != before_) {
    std::ostringstream text;
    text << before_ << " became " << after;
    return text.str();
  }
  for (std::size_t i = complaintsBefore_; i < host_.complaints.size(); ++i) {
    const std::string& complaint = host_.complaints[i];
    if (!LosesByNature() || complaint.find("died while it was locked") == std::string::npos) {
      return "the host complains: " + complaint;
    }
  }
  return "";
}

}  // namespace tests
