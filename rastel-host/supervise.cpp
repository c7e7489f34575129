#include "rastel-host/supervise.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>

#include "rastel-host/output.h"

namespace devhost::program {
namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGTRAP};
constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// What both processes see.
struct Shared {
  bool finished;    // the work came to its end
  Status status;    // for an end without a crash
  char doing[256];  // " while loading 'rastel.so'"
};
Shared* shared = nullptr;

pid_t child = -1;
volatile std::sig_atomic_t isAskedToEnd = 0;

sigjmp_buf beforeCrash;
volatile int crashSignal = 0;
const void* volatile crashAddress = nullptr;
std::function<std::string(const void*)> tellOfAccess;

std::string SignalName(int signal) {
  const char* name = sigabbrev_np(signal);
  return name == nullptr ? "signal " + std::to_string(signal) : "SIG" + std::string(name);
}

void CrashForReal() {
  for (const int signal : kCrashes) {
    std::signal(signal, SIG_DFL);
  }
}

void JumpBack(int signal, siginfo_t* information, void*) {
  CrashForReal();
  crashSignal = signal;
  crashAddress = signal == SIGSEGV || signal == SIGBUS ? information->si_addr : nullptr;
  siglongjmp(beforeCrash, 1);
}

void CatchCrashes() {
  // A stack of its own, since a crash may have used up the other one.
  static char stack[1 << 16];
  stack_t alternative = {};
  alternative.ss_sp = stack;
  alternative.ss_size = sizeof stack;
  sigaltstack(&alternative, nullptr);
  struct sigaction action = {};
  action.sa_sigaction = JumpBack;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  for (const int signal : kCrashes) {
    sigaction(signal, &action, nullptr);
  }
}

int TellCrash(const std::function<int(Status, const std::string&)>& fail) {
  const std::string signal = SignalName(crashSignal);
  if (crashSignal == SIGBUS && shared->status == Status::kNoPlugin) {  // the loader finds no more of the file
    return fail(Status::kNoPlugin, "the plug-in's file is truncated: " + signal + shared->doing);
  }
  const std::string access =
      crashAddress != nullptr && tellOfAccess ? "; it accessed " + tellOfAccess(crashAddress) : "";
  return fail(Status::kCrash, "crashed (" + signal + ")" + shared->doing + access);
}

[[noreturn]] void RunChild(const std::function<int()>& work,
                           const std::function<int(Status, const std::string&)>& fail, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  if (getppid() != parent) {
    _exit(static_cast<int>(Status::kCrash));
  }
  CatchCrashes();
  // NOLINTNEXTLINE(cert-err52-cpp): nothing else returns from a signal; what the work held is lost
  const int status = sigsetjmp(beforeCrash, 1) == 0 ? work() : TellCrash(fail);
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

}  // namespace

int Supervise(const std::function<int()>& work, const std::function<int(Status, const std::string&)>& fail) {
  shared = static_cast<Shared*>(SharedMemory(sizeof(Shared)));
  std::fflush(nullptr);
  const pid_t parent = getpid();
  child = fork();
  if (child == 0) {
    RunChild(work, fail, parent);
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
  if (WIFEXITED(status)) {
    return fail(shared->status, std::string("the plug-in ended the process") + shared->doing);
  }
  const int signal = WTERMSIG(status);
  if (isAskedToEnd != 0) {
    std::signal(signal, SIG_DFL);
    raise(signal);
  }
  return fail(Status::kCrash, "was ended (" + SignalName(signal) + ")" + shared->doing);
}

void NowDoing(const std::string& what, Status status,
              const std::function<std::string(const void*)>& tellAccess) {
  std::snprintf(shared->doing, sizeof shared->doing, " while %s", what.c_str());
  shared->status = status;
  tellOfAccess = tellAccess;
}

void TryApart(const std::function<void()>& act) {
  FlushOutput();
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    CrashForReal();
    act();
    _exit(0);
  }
  waitpid(process, nullptr, 0);
}

void* SharedMemory(std::size_t size) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace devhost::program
