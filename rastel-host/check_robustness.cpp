// How a plug-in gets on with hosts of every version, and with hosts that lack entries, fail and throw.
#include <algorithm>
#include <iterator>
#include <set>

#include "rastel-host/check.h"
#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

using Names = std::set<std::string, std::less<>>;

/// What registers with a host of a version.
struct Threshold {
  const char* version;  // "unknown": the host does not tell
  std::int32_t definition;
  bool usesModules;
  std::uint32_t flags;
};

constexpr Threshold kThresholds[] = {
    {"unknown", 9, false, 0},  {"2007.5", 9, false, 0},  {"2010.028", 9, false, 0},
    {"2010.029", 9, false, 4}, {"2011.9", 9, false, 4},  {"2012.0", 10, false, 4},
    {"2012.5", 10, false, 4},  {"2013.0", 11, true, 20}, {"2013.03", 12, true, 20},
    {"2013.04", 13, true, 20}, {"2016.0", 13, true, 20}, {"2999.9", 13, true, 20},
    {"3000.0", 13, false, 4}};

void CheckRegistration(Trial& trial, const Threshold& threshold) {
  if (threshold.version == std::string_view("unknown")) {
    trial.host.without.insert("REALGetRBVersion");
  } else {
    trial.host.version = ParseVersion("version", threshold.version);
  }
  const auto host = OpenHost(trial.host);
  trial.Expect(host->pluginVersion() == threshold.definition,
               "the definition version is " + std::to_string(host->pluginVersion()));
  std::multiset<std::string> registered;
  for (const Registration& method : host->methods()) {
    const std::string key = KeyOf(method.declaration);
    const bool ofPicture = key.starts_with("Copy");
    const std::string route = threshold.usesModules ? "PluginRegisterModule"
                              : ofPicture           ? "PluginRegisterClassExtension"
                                                    : "PluginRegisterMethod";
    registered.insert(key);
    trial.Expect(method.route == route, key + " was registered through " + method.route);
    trial.Expect(method.flags == threshold.flags, key + " has the flags " + std::to_string(method.flags));
    trial.Expect(method.extendsPicture == ofPicture, key + " takes the wrong first argument");
  }
  for (const Form& form : AllForms()) {
    const auto count = registered.erase(form.Key());
    trial.Expect(count == 1, form.Key() + " was registered " + std::to_string(count) + " times");
  }
  for (const std::string& key : registered) {
    trial.Expect(false, key + " is not known");
  }
  trial.Expect(host->complaints);
}

/// Entries that give something back. One that fails leaves something behind by its nature, and one that
/// throws while an exception passes ends the process, as a host has to expect.
const Names kReleases = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject", "REALUnlockString",
                         "CFRelease",    "REALPictureClearCache"};
/// Without these a host cannot keep its books either; constant strings are there from the start.
const Names kBookkeeping = {"REALLockObject", "Mask", "__CFStringMakeConstantString"};

bool IsSpared(const TracedCall& call) {
  const bool finds = !call.arguments.empty() && call.arguments.back() == "\"UnlockPixels\"";
  return finds || kReleases.contains(call.entry) || kBookkeeping.contains(call.entry);
}

struct Outcome {
  bool passed = false;  // an exception of the host came through
  std::optional<RaisedException> raised;
  std::vector<std::string> losses;
  std::vector<TracedCall> trace;
};

/// What call `number` of the host, from 0, does instead of acting.
struct Upset {
  std::size_t number;
  bool throws;
};

/// A plug-in that is called again and again; anew after a load for each call of a few methods, which find the
/// legacy framework and all entries that methods share, and in one that has found them for the others.
class Subject {
 public:
  Subject(const Trial& trial, const Form& form) : trial_(trial), form_(form) {
    if (!IsCold()) {
      host_ = OpenHost(trial.host);
      CallOnce();
    }
  }

  /// One call, and whether all came back.
  Outcome CallOnce(std::optional<Upset> upset = {});

 private:
  bool IsCold() const { return form_.layout->name == "BGR" || form_.variant == Variant::kPalettes; }

  const Trial& trial_;
  const Form& form_;
  std::unique_ptr<Host> host_;
};

Outcome Subject::CallOnce(std::optional<Upset> upset) {
  if (IsCold()) {
    host_.reset();
    host_ = OpenHost(trial_.host);
  }
  Host& host = *host_;
  Outcome outcome;
  const Plan plan;
  const Scene scene(host, form_, plan, SourceFormat(trial_.host), 1);
  const Balance before = host.CurrentBalance();
  host.trace.clear();
  host.complaints.clear();
  if (upset) {
    host.onEntry = [&host, upset](std::string_view entry) {
      if (host.trace.size() != upset->number + 1) {
        return Reaction::kAct;
      }
      if (upset->throws) {
        throw HostFault("the host's entry " + std::string(entry) + " threw");
      }
      return Reaction::kFail;
    };
  }
  try {
    outcome.raised = host.Call(form_.method, ArgumentsOf(form_, plan, scene)).exception;
  } catch (const HostFault&) {
    outcome.passed = true;
  }
  host.onEntry = nullptr;
  outcome.trace = host.trace;
  outcome.losses = Losses(host, before);
  return outcome;
}

void CheckBalance(Trial& trial, const Form& form) {
  const auto host = OpenHost(trial.host);
  const Plan plan;
  const Scene scene(*host, form, plan, SourceFormat(trial.host), 1);
  const Balance before = host->CurrentBalance();
  constexpr int kCalls = 20;
  for (int i = 0; i < kCalls; ++i) {
    const CallResult result = host->Call(form.method, ArgumentsOf(form, plan, scene));
    trial.Expect(result.boolean || result.picture, "call " + std::to_string(i + 1) + " gave nothing");
  }
  trial.Expect(Losses(*host, before));
}

void CheckMissing(Trial& trial, const Form& form) {
  Names names;
  for (const TracedCall& call : Subject(trial, form).CallOnce().trace) {
    if (!IsSpared(call)) {
      names.insert(call.entry);
    }
  }
  const HostSettings settings = trial.host;
  for (const std::string& name : names) {
    const bool isEntry = !name.starts_with("CF") && !name.starts_with("FS") && name != "IntegerArrayGetter" &&
                         name != "DrawPicture";
    if (isEntry) {
      trial.where = "without " + name + ": ";
      trial.host.without = settings.without;
      trial.host.without.insert(name);
      trial.Expect(Subject(trial, form).CallOnce().losses);
    }
  }
}

/// Upsets each call in turn.
void CheckUpset(Trial& trial, const Form& form, bool throws) {
  Subject subject(trial, form);
  const auto good = subject.CallOnce().trace;
  for (std::size_t i = 0; i < good.size(); ++i) {
    if (IsSpared(good[i])) {
      continue;
    }
    trial.where = "at call " + std::to_string(i + 1) + ", " + good[i].Text() + ": ";
    const Outcome outcome = subject.CallOnce(Upset{i, throws});
    trial.Expect(outcome.losses);
    trial.Expect(!throws || outcome.passed || outcome.raised, "the exception was swallowed");
  }
}

}  // namespace

void AddRobustness(std::vector<Check>& checks) {
  for (const Threshold& threshold : kThresholds) {
    checks.push_back({std::string("registration/") + threshold.version,
                      std::string("A host of version ") + threshold.version +
                          " gets to know each method, by the way and with the flags that fit it.",
                      [&threshold](Trial& trial) { CheckRegistration(trial, threshold); }});
  }
  for (const Form& form : AllForms()) {
    const std::string key = form.Key();
    checks.push_back({"balance/" + key, "Every object, reference and lock is given back after each call.",
                      [&form](Trial& trial) { CheckBalance(trial, form); }});
    checks.push_back({"missing/" + key, "Nothing is lost on a host that lacks any one entry.",
                      [&form](Trial& trial) { CheckMissing(trial, form); }});
    checks.push_back({"failing/" + key, "Nothing is lost when any one call of the host fails.",
                      [&form](Trial& trial) { CheckUpset(trial, form, false); }});
    checks.push_back(
        {"throwing/" + key,
         "Nothing is lost when any one call of the host throws, and the exception is not swallowed.",
         [&form](Trial& trial) { CheckUpset(trial, form, true); }});
  }
}

}  // namespace devhost::program
