// Many points in few processes, with every crash blamed on its point.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tests {

/// How a point ended. The fields are as far as the process came.
struct Verdict {
  bool reached;        // the fault happened
  bool releaseThrew;   // a call that gives something back threw: in a destructor that ends the process
  bool ended;          // that way
  char failure[1000];  // what was wrong; empty: nothing

  void Fail(const std::string& text);
};

/// Calls `run` with 0 to `count` - 1 in a process of its own. One that ends at a point is blamed on that
/// point, and so is one whose point fails and may have left things behind; another process goes on with the
/// next point.
std::vector<Verdict> RunIsolated(std::size_t count,
                                 const std::function<void(std::size_t index, Verdict& verdict)>& run);

}  // namespace tests
