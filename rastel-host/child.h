// Work in child processes, whose crashes and hangs are results.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace devhost::program {

/// How a child ended.
struct ChildEnd {
  int status = 0;  // its exit status, unless a signal ended it
  int signal = 0;  // 0: none
  bool timedOut = false;
  double seconds = 0;
  std::string output;  // what it wrote to standard output and error
};

struct ChildPlan {
  std::size_t count;  // children
  std::size_t jobs;   // of them at once
  double timeout;     // seconds for each; then it and all that it started are killed
};

/// Runs `work`, which gives an exit status, once for each number below `plan.count` in a child process, and
/// calls `done` here as each ends. No child outlives this process. Throws std::system_error if none can be
/// started.
void RunInChildren(const ChildPlan& plan, const std::function<int(std::size_t)>& work,
                   const std::function<void(std::size_t, const ChildEnd&)>& done);

/// "SIGSEGV"
std::string SignalName(int signal);

/// From now on a crash of this process is told in one line, and ends it with Status::kCrash.
void EndOnCrash();

/// A crash ends this process as the system does, for a debugger or a parent to see.
void CrashPlainly();

}  // namespace devhost::program
