// Which point of a test touched memory that takes no access.
#pragma once

#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <utility>

namespace tests {

/// While it lives, a process that touches what it may not says where the test is before it ends as usual.
class CrashNote {
 public:
  explicit CrashNote(std::function<std::string()> where) {
    where_ = std::move(where);
    struct sigaction action = {};
    action.sa_handler = [](int signal) {
      const std::string text = "access to memory without access: " + where_() + "\n";
      if (write(STDERR_FILENO, text.data(), text.size()) >= 0) {
        sigaction(signal, &previous_, nullptr);
      }
    };
    sigaction(SIGSEGV, &action, &previous_);
  }
  ~CrashNote() { sigaction(SIGSEGV, &previous_, nullptr); }
  CrashNote(const CrashNote&) = delete;
  CrashNote& operator=(const CrashNote&) = delete;

 private:
  static inline std::function<std::string()> where_;
  static inline struct sigaction previous_ = {};
};

}  // namespace tests
