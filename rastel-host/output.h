// What the program tells: results on standard output, as text or as JSON, and talk on standard error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace devhost::program {

using Json = nlohmann::ordered_json;

/// The one JSON document of a run, which grows while that goes on.
Json& Report();
void PrintReport();

/// Sends on what was printed. Throws nothing, since a host call may be under way: see RequireOutput.
void FlushOutput();

/// Likewise; throws Failure (kFile) if that, or an earlier one, failed.
void RequireOutput();

/// How much is said on standard error: -1 errors alone, 0 what matters, 1 each step.
void SetTalk(int level);
void Say(const std::string& line);
void SayStep(const std::string& line);

/// "1 byte", "2 bytes".
std::string Count(std::int64_t number, const std::string& unit);

/// `text` in red, if standard output is a terminal on which colours are welcome.
std::string Bad(const std::string& text);

/// Columns of the terminal that standard output is; 100 elsewhere.
std::size_t OutputWidth();

/// Breaks `text` behind commas and semicolons so that no line has more than `width` characters, if what lies
/// between them is no longer. Each line begins with `indent` blanks and ends with a line feed.
std::string Wrapped(std::string_view text, std::size_t indent, std::size_t width);

/// One line on a terminal that tells what takes its time; nothing elsewhere, and gone with its end.
class Progress {
 public:
  explicit Progress(const std::string& line);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
};

}  // namespace devhost::program
