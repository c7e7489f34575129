// The words of the command line that several verbs take.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {

struct Size {
  std::int32_t width, height;  // 1 to kMostPixels
};

constexpr std::int32_t kLeastInteger = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMostInteger = std::numeric_limits<std::int32_t>::max();

/// Each of these throws Failure (kUsage) for a word that is something else: "expected …, got …". An integer
/// has decimal digits, and may have a minus in front.
std::int32_t ParseInteger(std::string_view word, std::int32_t least = kLeastInteger,
                          std::int32_t most = kMostInteger);
Size ParseSize(std::string_view word);                           // "640x480"
std::vector<std::int32_t> ParseIntegers(std::string_view word);  // "[1,2,3]", "[]"
[[noreturn]] void Unexpected(std::string_view expected, std::string_view word);

/// True for one digit or more and nothing else.
bool IsDigits(std::string_view word);

/// Each gives a function that reads a word likewise.
inline auto IntegerFrom(std::int32_t least, std::int32_t most = kMostInteger) {
  return [=](const std::string& word) { return ParseInteger(word, least, most); };
}
std::function<std::string(const std::string&)> OneOf(const std::vector<std::string>& names);

/// An option whose word `parse` reads: CLI11 itself takes 010, 0x10 and 1e9 for integers.
template <typename Target, typename Parse>
CLI::Option* AddOption(CLI::App& app, const std::string& name, const char* type, Target& target, Parse parse,
                       const std::string& help) {
  const auto read = [=, &target](const std::string& word) {
    try {
      target = parse(word);
    } catch (const Failure& failure) {
      throw CLI::ValidationError(name, failure.what());
    }
  };
  return app.add_option_function<std::string>(name, read, help)->type_name(type);
}

/// The host to emulate.
void AddHost(CLI::App& app, HostSettings& settings);

void AddJson(CLI::App& app, bool& json);

}  // namespace devhost::program
