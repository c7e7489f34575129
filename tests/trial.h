// One method on one kind of host, called again and again in processes of their own while something goes
// wrong.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "call.h"
#include "isolated.h"
#include "plugin.h"

namespace tests {

enum class Situation {
  kPlain,
  kMasked,       // the picture has a mask
  kBadArgument,  // an argument that is reported
};

/// What goes wrong: host calls, and the plug-in's own allocations.
struct Trouble {
  devhost::Fault fault = {};
  int memoryFrom = Plugin::kNever;  // the number of the first allocation that fails
  bool memoryOnce = true;           // false: all from there on fail

  std::string Text() const;
};

/// A host that has registered the plug-in, which no one has called yet, and the objects of a call.
class Trial {
 public:
  Trial(const HostCase& hostCase, Situation situation, std::size_t method);
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Calls the method in each trouble and once more when it has passed, each time as the plug-in's first
  /// call. All this happens in a process of its own. One that ends at a point is blamed on that point and
  /// another one goes on behind it.
  std::vector<Verdict> Run(const std::vector<Trouble>& troubles);

  int calls() const { return calls_; }              // of a good host
  int allocations() const { return allocations_; }  // likewise
  /// What the method looks up, and what can take its place.
  const devhost::Names& names() const { return names_; }

 private:
  void LearnFromAGoodHost();
  void RunPoint(const Trouble& trouble, Verdict& verdict);
  std::string RunInTrouble(const Trouble& trouble, Verdict& verdict);
  bool MayDifferAfter(const devhost::Fault& fault) const;

  const HostCase hostCase_;
  devhost::Host host_;
  Plugin plugin_;
  Plugin::State registered_;
  std::vector<Method> methods_;
  const Method& method_;
  CallSpec spec_;
  int calls_ = 0;
  int close_ = 0;  // the first call that destructors may make, where an exception ends the process
  int allocations_ = 0;
  devhost::Names names_;
};

}  // namespace tests
