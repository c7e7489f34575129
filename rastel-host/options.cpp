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

/// CLI11's check that `parse` takes the word, and gives what CLI11 is to read.
template <typename Parse>
CLI::Validator Checked(Parse parse) {
  return {[parse](std::string& word) {
            try {
              word = parse(word);
              return std::string();
            } catch (const Failure& failure) {
              return std::string(failure.what());
            }
          },
          ""};
}

std::string ParseVersion(const std::string& word) {
  double version = 0;
  if (!Read(word, version) || !std::isfinite(version) || version < 0) {
    Unexpected("a version such as 2013.04", word);
  }
  return word;
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

CLI::Validator Integer(std::int32_t least, std::int32_t most) {
  // CLI11 would take a leading 0 for octal.
  return Checked([=](const std::string& word) { return std::to_string(ParseInteger(word, least, most)); });
}

CLI::Validator SizeWord() {
  return Checked([](const std::string& word) {
    ParseSize(word);
    return word;
  });
}

CLI::Validator OneOf(const std::vector<std::string>& names) {
  return Checked([names](const std::string& word) {
    if (std::ranges::find(names, word) == names.end()) {
      throw Failure(Status::kUsage, "expected one of " + CLI::detail::join(names, ", ") + ", got '" + word +
                                        "'" + Nearest(word, names));
    }
    return word;
  });
}

bool lexical_cast(const std::string& word, Size& size) {
  size = ParseSize(word);
  return true;
}

void AddHost(CLI::App& app, HostSettings& settings) {
  app.add_option("--plugin", settings.plugin, "The plug-in's file; else rastel.so is looked for (see -v)")
      ->type_name("FILE");
  app.add_option("--host-version", settings.version, "The host's version (2013.04)")
      ->type_name("V")
      ->check(Checked(ParseVersion));
  const std::vector<std::string> kinds(std::begin(kKindNames), std::end(kKindNames));
  app.add_option_function<std::string>(
         "--kind",
         [&settings, kinds](const std::string& word) {
           settings.kind = static_cast<Kind>(std::ranges::find(kinds, word) - kinds.begin());
         },
         "The kind of host: desktop, console, web, unknown")
      ->type_name("KIND")
      ->check(OneOf(kinds));
  app.add_option("--pixel-type", settings.pixelType,
                 "The pictures' pixel type: 13 or 12 on a desktop host, 8 on others;\n"
                 "16: pictures to read have 16 bits a pixel, and are read through a copy")
      ->type_name("N")
      ->check(OneOf({"8", "12", "13", "16"}));
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
