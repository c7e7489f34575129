// Points that may end the process, each run in one of its own.
#pragma once

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>

namespace tests {

/// How a point ended. The fields are as far as the process came.
struct Verdict {
  bool reached;        // the fault happened
  bool releaseThrew;   // a call that gives something back threw: in a destructor that ends the process
  bool ended;          // that way
  char failure[1000];  // what was wrong; empty: nothing

  void Fail(const std::string& text) { std::snprintf(failure, sizeof failure, "%s", text.c_str()); }
};

/// Runs `point` in a process of its own. One that ends before its time has failed.
inline Verdict RunIsolated(const std::function<void(Verdict& verdict)>& point) {
  static auto& shared = *static_cast<Verdict*>(
      mmap(nullptr, sizeof(Verdict), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  shared = {};
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const rlimit noCore = {0, 0};
    if (setrlimit(RLIMIT_CORE, &noCore) != 0 || std::freopen("/dev/null", "w", stderr) == nullptr) {
      _exit(1);
    }
    try {
      point(shared);
    } catch (const std::exception& error) {
      shared.Fail(std::string("the test fails: ") + error.what());
    }
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  shared.ended = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT && shared.releaseThrew;
  if (status != 0 && !shared.ended) {
    shared.Fail("the process ended with status " + std::to_string(status));
  }
  return shared;
}

}  // namespace tests
