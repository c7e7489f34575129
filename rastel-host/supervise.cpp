#include "rastel-host/supervise.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <system_error>

namespace devhost::program {
namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGTRAP};
constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// What both processes see.
struct Shared {
  bool finished;    // the work came to its end
  Status status;    // for an end without a crash
  char doing[256];  // "loading 'rastel.so'"
};
Shared* shared = nullptr;

pid_t child = -1;
volatile std::sig_atomic_t isAskedToEnd = 0;

Shared* MakeShared() {
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "memory for two processes");
  }
  return static_cast<Shared*>(memory);
}

std::string SignalName(int signal) {
  const char* name = sigabbrev_np(signal);
  return name == nullptr ? "signal " + std::to_string(signal) : "SIG" + std::string(name);
}

[[noreturn]] void RunChild(const std::function<int()>& work, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  if (getppid() != parent) {
    _exit(static_cast<int>(Status::kCrash));
  }
  const int status = work();
  std::fflush(nullptr);
  shared->finished = true;
  _exit(status);
}

void PassRequestsOn() {
  struct sigaction action = {};
  action.sa_handler = [](int signal) {
    isAskedToEnd = 1;
    kill(child, signal);
  };
  action.sa_flags = SA_RESTART;
  for (const int signal : kRequests) {
    sigaction(signal, &action, nullptr);
  }
}

/// Ends this process by the signal that ended the child.
void EndBy(int signal) {
  std::signal(signal, SIG_DFL);
  raise(signal);
}

bool IsCrash(int signal) {
  return std::ranges::find(kCrashes, signal) != std::end(kCrashes);
}

sigjmp_buf beforeCrash;
volatile int crashSignal = 0;
const void* volatile crashAddress = nullptr;

void JumpBack(int signal, siginfo_t* information, void*) {
  crashSignal = signal;
  crashAddress = signal == SIGSEGV || signal == SIGBUS ? information->si_addr : nullptr;
  siglongjmp(beforeCrash, 1);
}

/// While it lives, crashes jump back to `beforeCrash`.
class CrashHandlers {
 public:
  CrashHandlers() {
    // A stack of its own, since a crash may have used up the other one.
    static char stack[1 << 16];
    stack_t alternative = {};
    alternative.ss_sp = stack;
    alternative.ss_size = sizeof stack;
    sigaltstack(&alternative, nullptr);
    struct sigaction action = {};
    action.sa_sigaction = JumpBack;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (std::size_t i = 0; i < std::size(kCrashes); ++i) {
      sigaction(kCrashes[i], &action, &previous_[i]);
    }
  }
  ~CrashHandlers() {
    for (std::size_t i = 0; i < std::size(kCrashes); ++i) {
      sigaction(kCrashes[i], &previous_[i], nullptr);
    }
  }
  CrashHandlers(const CrashHandlers&) = delete;
  CrashHandlers& operator=(const CrashHandlers&) = delete;

 private:
  struct sigaction previous_[std::size(kCrashes)] = {};
};

}  // namespace

int Supervise(const std::function<int()>& work, const std::function<int(Status, const std::string&)>& fail) {
  shared = MakeShared();
  std::fflush(nullptr);
  const pid_t parent = getpid();
  child = fork();
  if (child == 0) {
    RunChild(work, parent);
  }
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "a child process");
  }
  PassRequestsOn();
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && shared->finished) {
    return WEXITSTATUS(status);
  }
  const std::string doing = shared->doing[0] == '\0' ? "" : std::string(" while ") + shared->doing;
  if (WIFEXITED(status)) {
    return fail(shared->status, "the plug-in ended the process" + doing);
  }
  const int signal = WTERMSIG(status);
  if (isAskedToEnd != 0 && !IsCrash(signal)) {
    EndBy(signal);
  }
  if (signal == SIGBUS && shared->status == Status::kNoPlugin) {  // the loader finds no more of the file
    return fail(Status::kNoPlugin, "the plug-in's file is truncated: SIGBUS" + doing);
  }
  const std::string how = IsCrash(signal) ? "crashed (" : "was ended (";
  return fail(Status::kCrash, how + SignalName(signal) + ")" + doing);
}

void NowDoing(const std::string& what, Status status) {
  if (shared != nullptr) {
    std::snprintf(shared->doing, sizeof shared->doing, "%s", what.c_str());
    shared->status = status;
  }
}

std::optional<Crash> CatchCrash(const std::function<void()>& work) {
  const CrashHandlers handlers;
  if (sigsetjmp(beforeCrash, 1) == 0) {  // NOLINT(cert-err52-cpp): nothing else returns from a signal
    work();
    return std::nullopt;
  }
  return Crash{SignalName(crashSignal), crashAddress};
}

}  // namespace devhost::program
