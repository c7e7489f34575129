// The one way to let a host's calls fail or throw, and its entries be missing.
#pragma once

#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/host.h"

namespace devhost {

using Names = std::set<std::string, std::less<>>;

/// What a host throws that cannot do what it is asked for.
struct HostFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Calls that go wrong.
struct Fault {
  enum class Kind {
    kNone,
    kFails,    // the call does nothing and gives null, 0 or false
    kThrows,   // the call throws a HostFault, which passes through the plug-in
    kMissing,  // the host lacks the names in `missing`
  };

  Kind kind = Kind::kNone;
  std::string entry = {};  // calls of this entry; empty: of any, but for those that a host cannot do without
  int from = 0;            // the number of the first call that it happens to, counted from 0
  bool once = true;        // false: it happens to all calls from there on
  bool mayEnd = false;     // true: an entry that a destructor may call throws too, which may end the process
  Names missing = {};

  /// "throws-once-3", "missing+SetGWorld+LockPixels".
  std::string Text() const;
};

/// What gives something back. Where it does not act, or is missing, something is lost by the nature of it.
bool IsRelease(std::string_view entry);

/// True if destructors may make the call: a release, what finds the function for it, and what else stands at
/// the end of an access to a picture.
bool IsAtClose(const TracedCall& call);

/// Faults at work in a host: its onEntry, as in host.onEntry = std::ref(injection).
class Injection {
 public:
  Injection(Host& host, const std::vector<Fault>& faults);

  /// Another fault, which counts the calls from now on; `host` lacks what is to be missing.
  void Add(const Fault& fault);

  Reaction operator()(std::string_view entry);

  struct Armed {
    Fault fault;
    int calls = 0;  // of its entry, or of any, so far
    bool happened = false;
  };
  const std::vector<Armed>& armed() const { return armed_; }

  Names hit;       // the entries that failed or threw
  int calls = 0;   // of the host so far
  int thrown = 0;  // those that threw
  /// Called before a fault happens; the process may end with it.
  std::function<void(std::string_view entry)> onHit;

 private:
  bool IsSpared(const Fault& fault, std::string_view entry) const;

  Host& host_;
  std::vector<Armed> armed_;
};

/// Ends all faults.
void Repair(Host& host);

}  // namespace devhost
