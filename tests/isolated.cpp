#include "isolated.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>

namespace tests {
namespace {

using Run = std::function<void(std::size_t, Verdict&)>;

/// What the processes share.
struct Shared {
  std::size_t current;
  Verdict verdicts[1];  // as many as there are points
};

[[noreturn]] void RunInChild(std::size_t count, const Run& run, Shared& shared) {
  const rlimit noCore = {0, 0};
  if (setrlimit(RLIMIT_CORE, &noCore) != 0 || std::freopen("/dev/null", "w", stderr) == nullptr) {
    _exit(2);
  }
  for (; shared.current < count; ++shared.current) {
    Verdict& verdict = shared.verdicts[shared.current];
    try {
      run(shared.current, verdict);
    } catch (const std::exception& error) {
      verdict.Fail(std::string("the test fails: ") + error.what());
    }
    if (verdict.failure[0] != 0) {
      _exit(1);
    }
  }
  _exit(0);
}

}  // namespace

void Verdict::Fail(const std::string& text) {
  std::snprintf(failure, sizeof failure, "%s", text.c_str());
}

std::vector<Verdict> RunIsolated(std::size_t count, const Run& run) {
  const std::size_t length = sizeof(Shared) + count * sizeof(Verdict);
  void* mapped = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  auto* shared = static_cast<Shared*>(mapped);
  for (shared->current = 0; shared->current < count; ++shared->current) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      RunInChild(count, run, *shared);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (status == 0) {
      break;
    }
    Verdict& verdict = shared->verdicts[shared->current];
    verdict.ended = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT && verdict.releaseThrew;
    if (!verdict.ended && verdict.failure[0] == 0) {
      verdict.Fail("the process ended with status " + std::to_string(status));
    }
  }
  std::vector<Verdict> verdicts(shared->verdicts, shared->verdicts + count);
  munmap(mapped, length);
  return verdicts;
}

}  // namespace tests
