// rastel-host: loads the plug-in into a development host and puts it to work from the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <nlohmann/json.hpp>
#include <string>

#include "devhost/faults.h"
#include "devhost/nearest.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/program.h"
#include "rastel-host/supervise.h"

namespace devhost::program {
namespace {

constexpr const char* kStatusHelp = R"(Exit status:
  0  good
  1  a host exception, or something differs from what it has to be
  2  usage
  3  the plug-in cannot be loaded, or registers nothing
  4  the plug-in crashed
  5  a file cannot be read or written
)";

/// A verb: one row, and one function that sets up its options.
struct Verb {
  const char* name;
  const char* sentence;
  Work (*setUp)(CLI::App&);
};

constexpr Verb kVerbs[] = {
    {"list", "Lists what the plug-in registered", SetUpList},
    {"show", "Shows a method's overloads, and which bytes it moves where", SetUpShow},
    {"call", "Calls one method with arguments of your own", SetUpCall},
    {"convert", "Sends a picture or raw bytes through the plug-in and back", SetUpConvert},
};

using Words = std::vector<std::string>;

/// The command line of this run.
class CommandLine {
 public:
  CommandLine(int argc, char** argv) : words_(argv + 1, std::find_if(argv + 1, argv + argc, IsEnd)) {}

  int Do(int argc, char** argv) {
    try {
      const Work work = Parse(argc, argv);
      return work ? Supervise([&] { return Perform(work); }, fail_) : 0;
    } catch (const Failure& failure) {
      return Fail(failure.status, failure.what());
    }
  }

 private:
  static bool IsEnd(const char* word) { return std::strcmp(word, "--") == 0; }

  /// What is to be done; nothing if help was given.
  Work Parse(int argc, char** argv) {
    app_.footer(std::string("rastel-host VERB --help tells more of a verb.\n\n") + kStatusHelp);
    app_.set_version_flag("--version", "rastel-host " RASTEL_VERSION);
    app_.get_formatter()->column_width(28);
    app_.require_subcommand(1);
    std::vector<std::pair<CLI::App*, Work>> works;
    for (const Verb& verb : kVerbs) {
      CLI::App* parser = app_.add_subcommand(verb.name, verb.sentence);
      works.emplace_back(parser, verb.setUp(*parser));
      parser->footer(parser->get_footer() + '\n' + kStatusHelp);
      parser->add_flag_callback(
          "-q,--quiet", [] { SetTalk(-1); }, "Say nothing on standard error but errors");
      parser->add_flag_callback(
          "-v,--verbose", [] { SetTalk(1); }, "Say more there");
    }
    if (argc < 2) {
      throw Failure(Status::kUsage, "expected a verb: list, show, call or convert (see --help)");
    }
    CheckWords();
    Report()["verb"] = words_.empty() ? "" : words_[0];
    try {
      app_.parse(WordsToParse(argc, argv));
    } catch (const CLI::ParseError& error) {
      if (error.get_exit_code() == 0) {
        app_.exit(error);
        RequireOutput();
        return nullptr;
      }
      throw Failure(Status::kUsage, std::string(error.what()) + " (see --help)");
    }
    const auto chosen = std::ranges::find_if(works, [](const auto& work) { return work.first->parsed(); });
    return chosen->second;
  }

  /// Throws Failure if the command line has a verb or an option that does not exist.
  void CheckWords() {
    Words verbs, options;
    const CLI::App* parser = &app_;
    for (const CLI::App* verb : app_.get_subcommands({})) {
      verbs.push_back(verb->get_name());
      if (!words_.empty() && words_[0] == verb->get_name()) {
        parser = verb;
      }
    }
    if (parser == &app_ && !words_.empty() && !words_[0].starts_with('-')) {
      Unknown("verb", words_[0], verbs);
    }
    for (const CLI::Option* option : parser->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        options.push_back("--" + name);
      }
    }
    for (const std::string& word : words_) {
      const std::string name = word.substr(0, word.find('='));
      if (name.starts_with("--") && std::ranges::find(options, name) == options.end()) {
        Unknown("option", name, options);
      }
    }
  }

  /// The words as CLI11 takes them: the last one first. Of a verb that takes any word it does not
  /// know the mark "--", which is left out there.
  Words WordsToParse(int argc, char** argv) const {
    Words words(argv + 1, argv + argc);
    if (words_.size() < words.size() && words[0] == "call") {
      const auto mark = words.begin() + static_cast<std::ptrdiff_t>(words_.size());
      std::for_each(words.erase(mark), words.end(), CheckArgument);
    }
    std::ranges::reverse(words);
    return words;
  }

  /// Throws Failure for what would be taken for an option.
  static void CheckArgument(const std::string& word) {
    if (word.starts_with('-') && !(word.size() > 1 && IsDigits(word.substr(1)))) {
      throw Failure(Status::kUsage, "expected an argument of the method behind --, got '" + word + "'");
    }
  }

  [[noreturn]] static void Unknown(const char* what, const std::string& word, const Words& known) {
    throw Failure(Status::kUsage, std::string("there is no ") + what + " '" + word + "'" +
                                      Nearest(word, known) + " (see --help)");
  }

  int Perform(const Work& work) {
    try {
      const Status status = work();
      RequireOutput();
      return static_cast<int>(status);
    } catch (const Failure& failure) {
      return Fail(failure.status, failure.what());
    } catch (const std::bad_alloc&) {
      return Fail(Status::kFile, "a picture or file needs more memory than there is");
    } catch (const std::exception& error) {
      return Fail(Status::kFindings, std::string("the plug-in let this pass: ") + error.what());
    }
  }

  /// Tells what went wrong, and gives the status to end with.
  int Fail(Status status, const std::string& message) const {
    if (std::ranges::find(words_, "--json") != words_.end()) {
      Report()["error"] = {{"status", static_cast<int>(status)}, {"message", message}};
      PrintReport();
      std::cout.flush();
    } else {
      std::cout.flush();
      std::cerr << "rastel-host: " << message << '\n';
    }
    return static_cast<int>(status);
  }

  Words words_;  // of the command line, up to "--"
  CLI::App app_{"Loads the plug-in Rastel into a development host and puts it to work.", "rastel-host"};
  const std::function<int(Status, const std::string&)> fail_ =
      [this](Status status, const std::string& text) { return Fail(status, text); };
};

}  // namespace
}  // namespace devhost::program

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): what is left has no memory to tell it
  std::signal(SIGPIPE, SIG_IGN);   // a closed pipe is an error of the file
  // What goes wrong with the output shows when it is flushed, with its reason.
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  return devhost::program::CommandLine(argc, argv).Do(argc, argv);
}
