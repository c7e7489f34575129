#include "fuzz/faulty_host.h"

#include <algorithm>
#include <iterator>

namespace tests {

using devhost::Reaction;

bool IsRelease(std::string_view entry) {
  constexpr std::string_view kReleases[] = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject",
                                            "REALUnlockString", "CFRelease"};
  return std::ranges::find(kReleases, entry) != std::end(kReleases);
}

namespace {

/// True if a host can be expected to fail there: not in what a release needs as well.
bool MayFail(std::string_view entry, FaultKind kind) {
  constexpr std::string_view kNeeded[] = {"CFBundleGetFunctionPointerForName", "__CFStringMakeConstantString",
                                          "Mask", "REALPictureClearCache"};
  const bool isBookkeeping = kind == FaultKind::kFails && entry == "REALLockObject";
  return !IsRelease(entry) && !isBookkeeping && std::ranges::find(kNeeded, entry) == std::end(kNeeded);
}

}  // namespace

FaultyHost::FaultyHost(devhost::Host& host, const Fault& fault, bool keepsLocks)
    : host_(host), fault_(fault), keepsLocks_(keepsLocks) {
  if (fault.kind != FaultKind::kNone || keepsLocks) {
    host.onEntry = [this](std::string_view entry) { return React(entry); };
  }
}

Reaction FaultyHost::React(std::string_view entry) {
  if (keepsLocks_ && entry == "unlockPictureDescription") {
    return Reaction::kFail;
  }
  if (fault_.kind == FaultKind::kNone || !MayFail(entry, fault_.kind)) {
    return Reaction::kAct;
  }
  const int number = count_++;
  if (number < fault_.number || (number > fault_.number && !fault_.lasts)) {
    return Reaction::kAct;
  }
  hasFailed_ = true;
  failed_ = entry;
  if (fault_.kind == FaultKind::kThrows) {
    throw HostFault();
  }
  return Reaction::kFail;
}

}  // namespace tests
