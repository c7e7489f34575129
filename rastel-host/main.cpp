// rastel-host: loads the plug-in into a development host and puts it to work from the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <string>

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

bool hasJson = false;  // the command line asks for JSON

/// Tells what went wrong, and gives the status to end with.
int Fail(Status status, const std::string& message) {
  if (hasJson) {
    Report()["error"] = {{"status", static_cast<int>(status)}, {"message", message}};
    PrintReport();
  }
  std::cout.flush();
  if (!hasJson) {
    std::cerr << "rastel-host: " << message << '\n';
  }
  return static_cast<int>(status);
}

[[noreturn]] void Unknown(const std::string& what, const std::string& word, const Words& known) {
  throw Failure(Status::kUsage,
                "there is no " + what + " '" + word + "'" + Nearest(word, known) + " (see --help)");
}

/// Throws Failure if there is a verb or an option in `words` that does not exist.
void CheckWords(const CLI::App& app, const Words& words) {
  Words verbs, options;
  const CLI::App* parser = &app;
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    verbs.push_back(verb->get_name());
    if (!words.empty() && words[0] == verb->get_name()) {
      parser = verb;
    }
  }
  if (parser == &app && !words.empty() && !words[0].starts_with('-')) {
    Unknown("verb", words[0], verbs);
  }
  for (const CLI::Option* option : parser->get_options()) {
    for (const std::string& name : option->get_lnames()) {
      options.push_back("--" + name);
    }
  }
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    if (name.starts_with("--") && std::ranges::find(options, name) == options.end()) {
      Unknown("option", name, options);
    }
  }
}

/// Throws Failure for what would be taken for an option.
void CheckArgument(const std::string& word) {
  if (word.starts_with('-') && !(word.size() > 1 && IsDigits(word.substr(1)))) {
    throw Failure(Status::kUsage, "expected an argument of the method behind --, got '" + word + "'");
  }
}

/// Parses the command line, as CLI11 takes it: the last word first. Of a verb that takes any word it does not
/// know the mark "--", which is left out there.
void ParseWords(CLI::App& app, Words words) {
  const auto mark = std::ranges::find(words, "--");
  const Words before(words.begin(), mark);
  hasJson = std::ranges::find(before, "--json") != before.end();
  Report()["verb"] = before.empty() ? "" : before[0];
  CheckWords(app, before);
  if (mark != words.end() && words[0] == "call") {
    std::for_each(words.erase(mark), words.end(), CheckArgument);
  }
  std::ranges::reverse(words);
  app.parse(words);
}

/// What is to be done; nothing if help was given.
Work Parse(CLI::App& app, const Words& words) {
  app.footer(std::string("rastel-host VERB --help tells more of a verb.\n\n") + kStatusHelp);
  app.set_version_flag("--version", "rastel-host " RASTEL_VERSION);
  app.get_formatter()->column_width(28);
  app.require_subcommand(1);
  std::map<const CLI::App*, Work> works;
  for (const Verb& verb : kVerbs) {
    CLI::App* parser = app.add_subcommand(verb.name, verb.sentence);
    works[parser] = verb.setUp(*parser);
    parser->footer(parser->get_footer() + '\n' + kStatusHelp);
    parser->add_flag_callback(
        "-q,--quiet", [] { SetTalk(-1); }, "Say nothing on standard error but errors");
    parser->add_flag_callback(
        "-v,--verbose", [] { SetTalk(1); }, "Say more there");
  }
  if (words.empty()) {
    throw Failure(Status::kUsage, "expected a verb: list, show, call or convert (see --help)");
  }
  try {
    ParseWords(app, words);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      throw Failure(Status::kUsage, std::string(error.what()) + " (see --help)");
    }
    app.exit(error);
    RequireOutput();
    return nullptr;
  }
  return works[app.get_subcommands()[0]];
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

int Run(const Words& words) {
  try {
    CLI::App app{"Loads the plug-in Rastel into a development host and puts it to work.", "rastel-host"};
    const Work work = Parse(app, words);
    return work ? Supervise([&] { return Perform(work); }, Fail) : 0;
  } catch (const Failure& failure) {
    return Fail(failure.status, failure.what());
  }
}

}  // namespace
}  // namespace devhost::program

int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape): what is left has no memory to tell it
  std::signal(SIGPIPE, SIG_IGN);   // a closed pipe is an error of the file
  // What goes wrong with the output shows when it is flushed, with its reason.
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  return devhost::program::Run({argv + 1, argv + argc});
}
