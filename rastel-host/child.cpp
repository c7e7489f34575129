#include "rastel-host/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <system_error>
#include <vector>

#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGTRAP};

/// Seconds that a killed child has to end its output.
constexpr double kGrace = 0.5;

using Clock = std::chrono::steady_clock;

struct Child {
  std::size_t number;
  pid_t process;
  int pipe;  // -1 once it has ended
  Clock::time_point start;
  ChildEnd end;
};

void Require(bool succeeded, const char* what) {
  if (!succeeded) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

/// The child's life. Standard input is empty, and all output goes to `pipe`.
[[noreturn]] void Live(int pipe, pid_t parent, const std::function<int(std::size_t)>& work,
                       std::size_t number) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  const int nothing = open("/dev/null", O_RDONLY);
  if (getppid() != parent || dup2(nothing, STDIN_FILENO) < 0 || dup2(pipe, STDOUT_FILENO) < 0 ||
      dup2(pipe, STDERR_FILENO) < 0) {
    _exit(static_cast<int>(Status::kCrash));
  }
  CrashPlainly();
  const int status = work(number);
  std::cout.flush();
  std::fflush(nullptr);
  _exit(status);
}

Child Start(std::size_t number, const std::function<int(std::size_t)>& work) {
  int ends[2];
  Require(pipe2(ends, O_CLOEXEC) == 0, "a pipe to a child process");
  std::cout.flush();
  std::fflush(nullptr);
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process == 0) {
    close(ends[0]);
    Live(ends[1], parent, work, number);
  }
  close(ends[1]);
  Require(process > 0, "a child process");
  setpgid(process, process);
  return {number, process, ends[0], Clock::now(), {}};
}

/// Reads what has arrived; closes the pipe at its end.
void Read(Child& child) {
  char buffer[4096];
  const ssize_t count = read(child.pipe, buffer, sizeof buffer);
  if (count > 0) {
    child.end.output.append(buffer, static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    close(child.pipe);
    child.pipe = -1;
  }
}

/// True once the child is gone. One that takes too long is killed, with its children.
bool Reap(Child& child, double timeout) {
  child.end.seconds = std::chrono::duration<double>(Clock::now() - child.start).count();
  if (!child.end.timedOut && child.end.seconds > timeout) {
    child.end.timedOut = true;
    kill(-child.process, SIGKILL);
  }
  if (child.pipe >= 0 && child.end.seconds > timeout + kGrace) {
    close(child.pipe);  // somebody out of reach holds the other end
    child.pipe = -1;
  }
  int status = 0;
  if (child.pipe >= 0 || waitpid(child.process, &status, child.end.timedOut ? 0 : WNOHANG) == 0) {
    return false;
  }
  kill(-child.process, SIGKILL);  // what it may have left behind
  child.end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  child.end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
  return true;
}

void WaitForNews(std::vector<Child>& children) {
  int milliseconds = 20;
  std::vector<pollfd> pipes;
  for (const Child& child : children) {
    pipes.push_back({child.pipe, POLLIN, 0});
    milliseconds = child.pipe < 0 ? 1 : milliseconds;  // its end is near, and tells nothing more
  }
  poll(pipes.data(), pipes.size(), milliseconds);
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (pipes[i].revents != 0) {
      Read(children[i]);
    }
  }
}

void Write(const char* text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, std::strlen(text));
}

/// Uses nothing but what a signal handler may.
void TellCrash(int signal) {
  Write("rastel-host: crashed (");
  Write(sigabbrev_np(signal));
  Write("), most likely in the plug-in\n");
  _exit(static_cast<int>(Status::kCrash));
}

void HandleCrashes(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_ONSTACK;
  for (const int signal : kCrashes) {
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

void RunInChildren(const ChildPlan& plan, const std::function<int(std::size_t)>& work,
                   const std::function<void(std::size_t, const ChildEnd&)>& done) {
  std::vector<Child> running;
  for (std::size_t next = 0; next < plan.count || !running.empty();) {
    while (next < plan.count && running.size() < plan.jobs) {
      running.push_back(Start(next++, work));
    }
    WaitForNews(running);
    std::erase_if(running, [&](Child& child) {
      const bool ended = Reap(child, plan.timeout);
      if (ended) {
        done(child.number, child.end);
      }
      return ended;
    });
  }
}

std::string SignalName(int signal) {
  const char* name = sigabbrev_np(signal);
  return name == nullptr ? "signal " + std::to_string(signal) : "SIG" + std::string(name);
}

void EndOnCrash() {
  // A stack of its own, since a crash may have used up the other one.
  static char stack[1 << 16];
  stack_t alternative = {};
  alternative.ss_sp = stack;
  alternative.ss_size = sizeof stack;
  sigaltstack(&alternative, nullptr);
  HandleCrashes(TellCrash);
}

void CrashPlainly() {
  HandleCrashes(SIG_DFL);
}

}  // namespace devhost::program
