#include "rastel-host/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "devhost/nearest.h"
#include "rastel-host/failure.h"
#include "rastel-host/image.h"

namespace devhost::program {
namespace {

std::string Unexpected(std::string_view expected, std::string_view word) {
  return "expected " + std::string(expected) + ", got '" + std::string(word) + "'";
}

[[noreturn]] void Refuse(std::string_view what, std::string_view expected, std::string_view word) {
  throw Failure(Status::kUsage, std::string(what) + ": " + Unexpected(expected, word));
}

/// True if the whole word is a number of this type.
template <typename Number>
bool Read(std::string_view word, Number& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

bool ReadInteger(std::string_view word, std::int32_t least, std::int32_t most, std::int32_t& number) {
  return Read(word, number) && number >= least && number <= most;
}

std::string IntegerText(std::int32_t least, std::int32_t most) {
  return "an integer from " + std::to_string(least) + " to " + std::to_string(most);
}

const std::string kSizeText = "WIDTHxHEIGHT, such as 640x480, each from 1 to " + std::to_string(kMostPixels);

bool ReadSize(std::string_view word, Size& size) {
  if (!LooksLikeSize(word)) {
    return false;
  }
  const auto cross = word.find('x');
  return ReadInteger(word.substr(0, cross), 1, kMostPixels, size.width) &&
         ReadInteger(word.substr(cross + 1), 1, kMostPixels, size.height);
}

CLI::Validator Version() {
  return {[](std::string& word) {
            double version = 0;
            const bool good = Read(word, version) && std::isfinite(version) && version >= 0;
            return good ? "" : Unexpected("a version such as 2013.04", word);
          },
          ""};
}

Fault ParseFault(Fault::Kind kind, const char* option, std::string_view word) {
  const auto at = word.find('@');
  std::int32_t number = 0;
  if (at == std::string_view::npos || !ReadInteger(word.substr(at + 1), 1, kMostInteger, number)) {
    Refuse(option, "ENTRY@N with N from 1, such as newPicture@10, or @N", word);
  }
  return {.kind = kind, .entry = std::string(word.substr(0, at)), .from = number - 1};
}

/// An option for calls that go wrong, as often as wanted.
void AddFaults(CLI::App& app, const char* option, const char* help, Fault::Kind kind,
               std::vector<Fault>& faults) {
  app.add_option_function<std::vector<std::string>>(
         option,
         [=, &faults](const std::vector<std::string>& words) {
           for (const std::string& word : words) {
             faults.push_back(ParseFault(kind, option, word));
           }
         },
         help)
      ->type_name("ENTRY@N")
      ->allow_extra_args(false);
}

}  // namespace

std::int32_t ParseInteger(std::string_view what, std::string_view word, std::int32_t least,
                          std::int32_t most) {
  std::int32_t number = 0;
  if (!ReadInteger(word, least, most, number)) {
    Refuse(what, IntegerText(least, most), word);
  }
  return number;
}

Size ParseSize(std::string_view what, std::string_view word) {
  Size size{};
  if (!ReadSize(word, size)) {
    Refuse(what, kSizeText, word);
  }
  return size;
}

std::vector<std::int32_t> ParseIntegers(std::string_view what, std::string_view word) {
  if (word.size() < 2 || word.front() != '[' || word.back() != ']') {
    Refuse(what, "integers such as [1,2,3]", word);
  }
  std::vector<std::int32_t> integers;
  std::string_view rest = word.substr(1, word.size() - 2);
  for (bool isOver = rest.empty(); !isOver;) {
    const auto comma = rest.find(',');
    integers.push_back(ParseInteger(what, rest.substr(0, comma)));
    isOver = comma == std::string_view::npos;
    rest.remove_prefix(isOver ? rest.size() : comma + 1);
  }
  return integers;
}

bool IsDigits(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool LooksLikeSize(std::string_view word) {
  const auto cross = word.find('x');
  return cross != std::string_view::npos && IsDigits(word.substr(0, cross)) &&
         IsDigits(word.substr(cross + 1));
}

CLI::Validator Integer(std::int32_t least, std::int32_t most) {
  return {[=](std::string& word) {
            std::int32_t number = 0;
            if (!ReadInteger(word, least, most, number)) {
              return Unexpected(IntegerText(least, most), word);
            }
            word = std::to_string(number);  // CLI11 would take a leading 0 for octal
            return std::string();
          },
          ""};
}

CLI::Validator SizeWord() {
  return {[](const std::string& word) {
            Size size{};
            return ReadSize(word, size) ? "" : Unexpected(kSizeText, word);
          },
          ""};
}

CLI::Validator OneOf(const std::vector<std::string>& names) {
  return {[names](const std::string& word) {
            if (std::ranges::find(names, word) != names.end()) {
              return std::string();
            }
            return Unexpected("one of " + CLI::detail::join(names, ", "), word) + Nearest(word, names);
          },
          ""};
}

bool lexical_cast(const std::string& word, Size& size) {
  return ReadSize(word, size);
}

void AddHost(CLI::App& app, HostSettings& settings) {
  app.add_option("--plugin", settings.plugin, "The plug-in's file; else rastel.so is looked for (see -v)")
      ->type_name("FILE");
  app.add_option("--host-version", settings.version, "The host's version (2013.04)")
      ->type_name("V")
      ->transform(Version());
  const std::vector<std::string> kinds(std::begin(kKindNames), std::end(kKindNames));
  app.add_option_function<std::string>(
         "--kind",
         [&settings, kinds](const std::string& word) {
           settings.kind = static_cast<Kind>(std::ranges::find(kinds, word) - kinds.begin());
         },
         "The kind of host: desktop, console, web, unknown")
      ->type_name("KIND")
      ->transform(OneOf(kinds));
  app.add_option("--pixel-type", settings.pixelType,
                 "The pictures' pixel type: 13 or 12 on a desktop host, 8 on others;\n"
                 "16: pictures to read have 16 bits a pixel, and are read through a copy")
      ->type_name("N")
      ->transform(OneOf({"8", "12", "13", "16"}));
  app.add_option("--without", settings.without, "A host that lacks this entry or function; repeatable")
      ->type_name("ENTRY")
      ->allow_extra_args(false);
  AddFaults(app, "--fail",
            "The N-th call of an entry, from 1, gives null or 0; repeatable;\n"
            "@N: the N-th of any after loading, if it gives nothing back",
            Fault::Kind::kFails, settings.faults);
  AddFaults(app, "--throw", "That call throws an exception of the host; repeatable", Fault::Kind::kThrows,
            settings.faults);
}

void AddJson(CLI::App& app, bool& json) {
  app.add_flag("--json", json, "Tell the results, or the error, as one JSON document");
}

}  // namespace devhost::program
