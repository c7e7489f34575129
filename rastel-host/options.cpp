#include "rastel-host/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "devhost/nearest.h"
#include "rastel-host/image.h"

namespace devhost::program {
namespace {

/// True if the whole word is a number of this type.
template <typename Number>
bool Read(std::string_view word, Number& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size();
}

double ParseVersion(const std::string& word) {
  double version = 0;
  if (!Read(word, version) || !std::isfinite(version) || version < 0) {
    Unexpected("a version such as 2013.04", word);
  }
  return version;
}

Kind ParseKind(const std::string& word) {
  const std::vector<std::string> kinds(std::begin(kKindNames), std::end(kKindNames));
  return static_cast<Kind>(std::ranges::find(kinds, OneOf(kinds)(word)) - kinds.begin());
}

/// An option for calls that go wrong, as often as wanted.
void AddFaults(CLI::App& app, const char* option, const char* help, Fault::Kind kind,
               std::vector<Fault>& faults) {
  const auto add = [=, &faults](const std::vector<std::string>& words) {
    for (const std::string& word : words) {
      const auto at = std::min(word.find('@'), word.size());
      std::int32_t number = 0;
      if (!Read(std::string_view(word).substr(std::min(at + 1, word.size())), number) || number < 1) {
        throw CLI::ValidationError(
            option, "expected ENTRY@N with N from 1, such as newPicture@10, or @N, got '" + word + "'");
      }
      faults.push_back({.kind = kind, .entry = word.substr(0, at), .from = number - 1});
    }
  };
  app.add_option_function<std::vector<std::string>>(option, add, help)
      ->type_name("ENTRY@N")
      ->allow_extra_args(false);
}

}  // namespace

void Unexpected(std::string_view expected, std::string_view word) {
  throw Failure(Status::kUsage, "expected " + std::string(expected) + ", got '" + std::string(word) + "'");
}

std::int32_t ParseInteger(std::string_view word, std::int32_t least, std::int32_t most) {
  std::int32_t number = 0;
  if (!Read(word, number) || number < least || number > most) {
    Unexpected("an integer from " + std::to_string(least) + " to " + std::to_string(most), word);
  }
  return number;
}

Size ParseSize(std::string_view word) {
  const auto cross = std::min(word.find('x'), word.size());
  Size size{};
  const auto read = [&word](std::string_view digits, std::int32_t& number) {
    if (!IsDigits(digits) || !Read(digits, number) || number < 1 || number > kMostPixels) {
      Unexpected("WIDTHxHEIGHT, such as 640x480, each from 1 to " + std::to_string(kMostPixels), word);
    }
  };
  read(word.substr(0, cross), size.width);
  read(word.substr(std::min(cross + 1, word.size())), size.height);
  return size;
}

std::vector<std::int32_t> ParseIntegers(std::string_view word) {
  if (word.size() < 2 || word.front() != '[' || word.back() != ']') {
    Unexpected("integers such as [1,2,3]", word);
  }
  std::vector<std::int32_t> integers;
  std::string_view rest = word.substr(1, word.size() - 2);
  for (bool isOver = rest.empty(); !isOver;) {
    const auto comma = rest.find(',');
    integers.push_back(ParseInteger(rest.substr(0, comma)));
    isOver = comma == std::string_view::npos;
    rest.remove_prefix(isOver ? rest.size() : comma + 1);
  }
  return integers;
}

bool IsDigits(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::function<std::string(const std::string&)> OneOf(const std::vector<std::string>& names) {
  return [names](const std::string& word) {
    if (std::ranges::find(names, word) == names.end()) {
      throw Failure(Status::kUsage, "expected one of " + CLI::detail::join(names, ", ") + ", got '" + word +
                                        "'" + Nearest(word, names));
    }
    return word;
  };
}

void AddHost(CLI::App& app, HostSettings& settings) {
  app.add_option("--plugin", settings.plugin, "The plug-in's file; else rastel.so is looked for (see -v)")
      ->type_name("FILE");
  AddOption(app, "--host-version", "V", settings.version, ParseVersion, "The host's version (2013.04)");
  AddOption(app, "--kind", "KIND", settings.kind, ParseKind,
            "The kind of host: desktop, console, web, unknown");
  const auto parsePixelType = [](const std::string& word) {
    return ParseInteger(OneOf({"8", "12", "13", "16"})(word));
  };
  AddOption(app, "--pixel-type", "N", settings.pixelType, parsePixelType,
            "The pictures' pixel type: 13 or 12 on a desktop host, 8 on others;\n"
            "16: pictures to read have 16 bits a pixel, and are read through a copy");
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
