// The calls that a plug-in makes to a host, line by line.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/faults.h"

namespace devhost::program {

/// The calls that the plug-in makes to a host while this lives, which is no longer than the host.
class CallTrace {
 public:
  /// With `prints`, each is printed before it is made, and its result behind it.
  CallTrace(Host& host, bool prints);
  ~CallTrace();
  CallTrace(const CallTrace&) = delete;
  CallTrace& operator=(const CallTrace&) = delete;

  /// Ends the last line; the host forgets its own records.
  void EndCall();

  const std::vector<std::string>& lines() const { return lines_; }  // "newPicture(4, 4, 32) = picture#3"

 private:
  Reaction Enter(std::string_view entry);
  void Append(const std::string& text);
  void CompleteLine();

  Host& host_;
  bool prints_;
  std::function<Reaction(std::string_view entry)> faults_;  // what decides whether calls go wrong
  std::vector<std::string> lines_;
  std::size_t open_ = 0;  // the call of the last line, in the host's records
  bool isOpen_ = false;   // its result is still to come
};

}  // namespace devhost::program
