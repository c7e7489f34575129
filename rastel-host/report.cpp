#include "rastel-host/report.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <type_traits>

namespace devhost::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kSchemaVersion = 1;

int talk = 0;

Json ToJson(const Datum& datum) {
  return std::visit(
      [](const auto& value) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, Datum::List>) {
          Json list = Json::array();
          for (const Datum& element : value) {
            list.push_back(ToJson(element));
          }
          return list;
        } else if constexpr (std::is_same_v<Value, Datum::Record>) {
          Json record = Json::object();
          for (const auto& [name, field] : value) {
            record[name] = ToJson(field);
          }
          return record;
        } else {
          return Json(value);
        }
      },
      datum.value);
}

std::string Coloured(const char* code, const std::string& text) {
  return HasColours(STDOUT_FILENO) ? "\033[" + std::string(code) + "m" + text + "\033[0m" : text;
}

}  // namespace

Datum::List ListOf(const std::vector<std::string>& texts) {
  return {texts.begin(), texts.end()};
}

void PrintJson(std::string_view verb, const Datum::Record& fields) {
  Datum::Record document = {{"schema", kSchemaVersion}, {"verb", std::string(verb)}};
  document.insert(document.end(), fields.begin(), fields.end());
  // A path or a message need not be UTF-8.
  std::cout << ToJson(document).dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void SetTalk(int level) {
  talk = level;
}

void Say(const std::string& line) {
  if (talk >= 0) {
    std::cerr << line << '\n';
  }
}

void SayStep(const std::string& line) {
  if (talk > 0) {
    std::cerr << line << '\n';
  }
}

bool HasColours(int descriptor) {
  const char* forbidden = std::getenv("NO_COLOR");
  return (forbidden == nullptr || *forbidden == '\0') && isatty(descriptor) != 0;
}

std::string Good(const std::string& text) {
  return Coloured("32", text);
}

std::string Bad(const std::string& text) {
  return Coloured("31", text);
}

Progress::Progress(std::string job) : job_(std::move(job)), shown_(talk >= 0 && isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  Clear();
}

void Progress::Clear() const {
  if (shown_) {
    std::cerr << "\r\033[K" << std::flush;
  }
}

void Progress::Show(std::size_t done, std::size_t total) const {
  if (shown_) {
    std::cerr << "\r\033[K" << job_ << ' ' << done << " of " << total << std::flush;
  }
}

}  // namespace devhost::program
