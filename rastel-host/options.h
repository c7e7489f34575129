// The words of the command line that several verbs take.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
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

/// Checks for CLI11: they refuse a word with a message. What the help shows of them is the option's
/// type_name().
CLI::Validator Integer(std::int32_t least = kLeastInteger, std::int32_t most = kMostInteger);
CLI::Validator SizeWord();
CLI::Validator OneOf(const std::vector<std::string>& names);

/// How CLI11 reads a size.
bool lexical_cast(const std::string& word, Size& size);  // NOLINT(readability-identifier-naming)

/// The host to emulate.
void AddHost(CLI::App& app, HostSettings& settings);

void AddJson(CLI::App& app, bool& json);

}  // namespace devhost::program
