#include "devhost/faults.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace devhost {
namespace {

constexpr std::string_view kReleases[] = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject",
                                          "REALUnlockString", "CFRelease"};

/// Where these fail a host cannot keep its books; constant strings are there from the start.
constexpr std::string_view kBookkeeping[] = {"REALLockObject", "Mask", "__CFStringMakeConstantString"};

constexpr const char* kUnlock = "\"UnlockPixels\"";  // as it is recorded

template <std::size_t Count>
bool Contains(const std::string_view (&names)[Count], std::string_view name) {
  return std::ranges::find(names, name) != std::end(names);
}

/// True if the call finds a function that gives something back.
bool FindsRelease(const TracedCall& call) {
  return !call.arguments.empty() && call.arguments.back() == kUnlock;
}

}  // namespace

std::string Fault::Text() const {
  constexpr const char* kKinds[] = {"none", "fails", "throws", "missing"};
  std::string text = kKinds[static_cast<int>(kind)];
  for (const std::string& name : missing) {
    text.append("+").append(name, 0, name.find('('));
  }
  if (!entry.empty()) {
    text.append("-").append(entry);
  }
  if (kind == Kind::kFails || kind == Kind::kThrows) {
    text.append(once ? "-once-" : "-from-").append(std::to_string(from));
  }
  return text;
}

bool IsRelease(std::string_view entry) {
  return Contains(kReleases, entry);
}

bool IsAtClose(const TracedCall& call) {
  return IsRelease(call.entry) || FindsRelease(call) || call.entry == "REALPictureClearCache" ||
         call.entry == "Mask";
}

Injection::Injection(Host& host, const std::vector<Fault>& faults) : host_(host) {
  std::ranges::for_each(faults, [this](const Fault& fault) { Add(fault); });
}

void Injection::Add(const Fault& fault) {
  host_.hidden.insert(fault.missing.begin(), fault.missing.end());
  armed_.push_back({fault});
}

/// A fault of any entry passes over calls that a host cannot do without.
bool Injection::IsSpared(const Fault& fault, std::string_view entry) const {
  if (!fault.entry.empty()) {
    return false;
  }
  const bool isFinding =
      entry == "__CFStringMakeConstantString" || entry == "CFBundleGetFunctionPointerForName";
  // Where calls are not recorded, one that finds a function may find any.
  const TracedCall call = host_.options().recorded
                              ? host_.trace.back()
                              : TracedCall{std::string(entry), {isFinding ? kUnlock : ""}, {}};
  if (fault.kind == Fault::Kind::kThrows) {
    return !fault.mayEnd && IsAtClose(call);
  }
  return IsRelease(entry) || Contains(kBookkeeping, entry) || FindsRelease(call);
}

Reaction Injection::operator()(std::string_view entry) {
  ++calls;
  Reaction reaction = Reaction::kAct;
  for (auto& [fault, counted, happened] : armed_) {
    if (!fault.entry.empty() && fault.entry != entry) {
      continue;
    }
    const int number = counted++;
    const bool isDue = fault.once ? number == fault.from : number >= fault.from;
    const bool acts = fault.kind != Fault::Kind::kFails && fault.kind != Fault::Kind::kThrows;
    if (!isDue || acts || IsSpared(fault, entry)) {
      continue;
    }
    happened = true;
    hit.emplace(entry);
    if (onHit) {
      onHit(entry);
    }
    if (fault.kind == Fault::Kind::kThrows) {
      ++thrown;
      throw HostFault("the host's entry " + std::string(entry) + " threw");
    }
    reaction = Reaction::kFail;
  }
  return reaction;
}

void Repair(Host& host) {
  host.onEntry = nullptr;
  host.hidden.clear();
}

}  // namespace devhost
