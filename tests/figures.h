// What the tests that count have in common: how much they do, and the one line in which each says what it
// did.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

namespace tests {

/// How many times the usual amount is done: RASTEL_SOAK, or else 1, or a quarter where everything is slow.
inline double Soak() {
#if defined(RASTEL_SLOW)
  constexpr double kUsual = 0.25;
#else
  constexpr double kUsual = 1;
#endif
  const char* text = std::getenv("RASTEL_SOAK");
  return text == nullptr ? kUsual : std::strtod(text, nullptr);
}

/// Where everything drawn at random starts: RASTEL_SEED, or else 1.
inline std::uint64_t Seed() {
  const char* text = std::getenv("RASTEL_SEED");
  return text == nullptr ? 1 : std::strtoull(text, nullptr, 10);
}

/// The one point that RASTEL_POINT asks for; empty: all.
inline std::string WantedPoint() {
  const char* text = std::getenv("RASTEL_POINT");
  return text == nullptr ? "" : text;
}

/// The one CPU target that RASTEL_TARGET asks for; empty: all.
inline std::string WantedTarget() {
  const char* text = std::getenv("RASTEL_TARGET");
  return text == nullptr ? "" : text;
}

/// The command that repeats one point of a test.
inline std::string Repeat(const std::string& point, const std::string& filter) {
  char path[1024] = {};
  const bool isKnown = readlink("/proc/self/exe", path, sizeof path - 1) > 0;
  return "RASTEL_SEED=" + std::to_string(Seed()) + " RASTEL_POINT=" + point + " " +
         (isKnown ? path : "the test program") + " --gtest_filter=" + filter;
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

}  // namespace tests
