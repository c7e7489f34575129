// How much the tests that count do, which the environment says, the line in which each says what it did, and
// how each of its points is found again.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace tests {

/// A variable of the environment; `otherwise` if it is not set.
inline std::string Environment(const char* name, const char* otherwise = "") {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : text;
}

/// How many times the usual amount is done; a quarter of it where everything is slow.
inline double Soak() {
#if defined(RASTEL_SLOW)
  constexpr const char* kUsual = "0.25";
#else
  constexpr const char* kUsual = "1";
#endif
  return std::stod(Environment("RASTEL_SOAK", kUsual));
}

/// Where everything drawn at random starts.
inline std::uint64_t Seed() {
  return std::stoull(Environment("RASTEL_SEED", "1"));
}

/// The one point of a test, and the one CPU target, that are wanted; empty: all.
inline std::string WantedPoint() {
  return Environment("RASTEL_POINT");
}
inline std::string WantedTarget() {
  return Environment("RASTEL_TARGET");
}

/// The command that repeats one point of a test.
inline std::string Repeat(const std::string& point, const std::string& filter) {
  return "RASTEL_SEED=" + std::to_string(Seed()) + " RASTEL_POINT=" + point + " " +
         std::filesystem::read_symlink("/proc/self/exe").string() + " --gtest_filter=" + filter;
}

/// Mixes two numbers into one that looks random.
inline std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
  std::uint64_t mixed = (a + 1) * 0x9E3779B97F4A7C15 + b;
  mixed ^= mixed >> 29;
  mixed *= 0xBF58476D1CE4E5B9;
  return mixed ^ mixed >> 32;
}

/// A line "figure NAME key=value …", printed when the figure ends.
class Figure {
 public:
  explicit Figure(const std::string& name) { line_ << "figure " << name; }
  ~Figure() { std::cout << line_.str() << " seed=" << Seed() << std::endl; }
  Figure(const Figure&) = delete;
  Figure& operator=(const Figure&) = delete;

  template <typename Value>
  Figure& Add(const char* key, const Value& value) {
    line_ << ' ' << key << '=' << value;
    return *this;
  }

 private:
  std::ostringstream line_;
};

/// The points of a test that counts: each is run if it is drawn, and counted in the figure's line at the end.
class Points {
 public:
  /// Usually one of `step` points is drawn, and all of them at RASTEL_SOAK = `step`.
  Points(std::string figure, double step)
      : figure_(std::move(figure)), step_(std::max<std::uint64_t>(1, std::llround(step / Soak()))) {}
  ~Points() {
    Figure figure(figure_);
    figure.Add("points", points_).Add("failures", failures_).Add("one_of", step_);
    for (const auto& [key, count] : also) {
      figure.Add(key.c_str(), count);
    }
  }
  Points(const Points&) = delete;
  Points& operator=(const Points&) = delete;

  bool IsDue(const std::string& point) {
    const std::string wanted = WantedPoint();
    ++number_;
    return wanted.empty() ? Mix(Seed(), number_) % step_ == 0 : wanted == point;
  }

  /// Says how a point is repeated that failed.
  void Count(const std::string& point, const std::string& failure) {
    ++points_;
    if (!failure.empty() && ++failures_ <= 20) {
      const auto& test = *testing::UnitTest::GetInstance()->current_test_info();
      ADD_FAILURE() << point << ": " << failure << "; repeat with: "
                    << Repeat(point, std::string(test.test_suite_name()) + "." + test.name());
    }
  }

  std::map<std::string, int> also;  // what else is counted

 private:
  const std::string figure_;
  const std::uint64_t step_;
  std::uint64_t number_ = 0;
  int points_ = 0, failures_ = 0;
};

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
