// One method on one kind of host, called again and again in processes of their own while something goes
// wrong.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "isolated.h"
#include "methods.h"
#include "support.h"
#include "watched_plugin.h"

namespace tests {

using Names = std::set<std::string, std::less<>>;

enum class Situation {
  kPlain,
  kMasked,       // the picture has a mask
  kBadArgument,  // an argument that is reported
};

/// What a host throws that cannot do what it is asked for.
struct HostFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What goes wrong during a call.
struct Fault {
  enum class Kind {
    kNone,
    kFails,    // host calls do nothing and give null, 0 or false
    kThrows,   // host calls throw
    kMissing,  // host entries, functions and methods are missing
  };

  Kind kind = Kind::kNone;
  int from = 0;      // the number of the first call it happens to, counted from 0
  bool once = true;  // false: it happens to all from there on
  Names missing = {};
  int memoryFrom = WatchedPlugin::kNever;  // likewise: the plug-in's allocations that fail
  bool memoryOnce = true;
  /// Asked at each host call besides; for faults that nobody accounts for.
  std::function<devhost::Reaction(devhost::Host&, REALpictureStruct&, std::string_view entry)> sabotage = {};

  std::string Text() const;
};

/// A host that has registered the plug-in, which no one has called yet, and the objects of a call.
class Trial {
 public:
  Trial(const HostCase& hostCase, Situation situation, const Method& method);
  ~Trial();
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Calls the method under each fault and once more when it has passed. Nothing may be lost, no result may
  /// be wrong, and the second call has to give what a good host gives. All this happens in a process of its
  /// own. It puts the plug-in's data back to what they were after the registration, so that each point is the
  /// first call; a process that ends at a point is blamed on that point and another one goes on behind it.
  std::vector<Verdict> Run(const std::vector<Fault>& faults);

  int calls() const { return calls_; }              // of a good host
  int allocations() const { return allocations_; }  // likewise
  /// What the method looks up, and what can take its place.
  const Names& names() const { return names_; }
  /// True if the result may be expected whatever entry of `names` is missing.
  static bool IsHarmless(const Names& names);

 private:
  struct Objects;
  struct Outcome;
  class Injection;

  void LearnFromAGoodHost();
  void Begin();
  void RunPoint(const Fault& fault, Verdict& verdict);
  std::string JudgeNextCall(const Fault& fault);
  Outcome CallOnce();
  Arguments ArgumentsOfCall() const;
  std::string Judge(const Fault& fault, const Injection& injection, const Outcome& outcome) const;
  std::string JudgeException(const Fault& fault, const Injection& injection, const Outcome& outcome) const;
  std::string JudgeBalance(const Fault& fault, const devhost::Balance& before, bool isRecovery) const;

  const HostCase hostCase_;
  const Situation situation_;
  const Method method_;
  std::unique_ptr<devhost::Host> host_;
  std::unique_ptr<WatchedPlugin> plugin_;
  std::unique_ptr<Objects> objects_;
  std::unique_ptr<Outcome> good_;
  int calls_ = 0;
  int close_ = 0;  // the first call that destructors may make, where an exception ends the process
  int allocations_ = 0;
  Names names_;
};

}  // namespace tests
