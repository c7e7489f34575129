// What a verb tells: results on standard output, as text or as JSON, and talk on standard error.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace devhost::program {

/// A value of JSON.
struct Datum {
  using List = std::vector<Datum>;
  using Record = std::vector<std::pair<std::string, Datum>>;

  Datum(std::nullptr_t = nullptr) {}                   // NOLINT(google-explicit-constructor): likewise below
  Datum(bool flag) : value(flag) {}                    // NOLINT
  Datum(double number) : value(number) {}              // NOLINT
  Datum(std::string text) : value(std::move(text)) {}  // NOLINT
  Datum(const char* text) : value(std::string(text)) {}  // NOLINT
  Datum(List list) : value(std::move(list)) {}           // NOLINT
  Datum(Record record) : value(std::move(record)) {}     // NOLINT
  template <std::integral Integer>
  Datum(Integer number) : value(static_cast<std::int64_t>(number)) {}  // NOLINT
  template <typename Value>
  Datum(const std::optional<Value>& optional) {  // NOLINT
    if (optional) {
      *this = Datum(*optional);
    }
  }

  std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, List, Record> value = nullptr;
};

/// Texts as a list.
Datum::List ListOf(const std::vector<std::string>& texts);

/// Prints the one JSON document of a run: the schema's version, the verb, and what the verb found. See
/// docs/json.md.
void PrintJson(std::string_view verb, const Datum::Record& fields);

/// How much is said on standard error: -1 errors alone, 0 what matters, 1 each step.
void SetTalk(int level);
void Say(const std::string& line);
void SayStep(const std::string& line);

/// True if standard output (1) or error (2) is a terminal on which colours are welcome.
bool HasColours(int descriptor);

/// `text` in green or red on standard output, if that has colours.
std::string Good(const std::string& text);
std::string Bad(const std::string& text);

/// One line on a terminal that tells how far a long job is; nothing elsewhere, and gone with its end.
class Progress {
 public:
  explicit Progress(std::string job);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void Show(std::size_t done, std::size_t total) const;
  void Clear() const;  // to make room for other lines

 private:
  std::string job_;
  bool shown_;
};

}  // namespace devhost::program
