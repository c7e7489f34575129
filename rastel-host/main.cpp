// rastel-host: loads the plug-in into a development host and puts it to work from the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "devhost/nearest.h"
#include "rastel-host/child.h"
#include "rastel-host/help.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

/// An option with one value, handed to `take` as text.
template <typename Take>
CLI::Option* AddOption(CLI::App& app, const std::string& name, const std::string& help,
                       const std::string& valueName, Take take) {
  return app
      .add_option_function<std::string>(name, std::function<void(const std::string&)>(std::move(take)), help)
      ->type_name(valueName);
}

/// The same, as often as wanted.
template <typename Take>
void AddRepeatable(CLI::App& app, const std::string& name, const std::string& help,
                   const std::string& valueName, Take take) {
  using Texts = std::vector<std::string>;
  app.add_option_function<Texts>(
         name, [take](const Texts& texts) { std::for_each(texts.begin(), texts.end(), take); }, help)
      ->type_name(valueName)
      ->expected(1)
      ->take_all();
}

/// The host to emulate, on every verb that has one.
void AddHost(CLI::App& app, HostSettings& host) {
  AddOption(app, "--plugin",
            "The plug-in; else rastel.so beside the program or in a folder above it, or in build/release or "
            "the library folder there",
            "FILE", [&](const std::string& text) { host.plugin = text; });
  AddOption(app, "--host-version", "The host's version (2013.04)", "V",
            [&](const std::string& text) { host.version = ParseVersion("--host-version", text); });
  AddOption(app, "--kind", "The kind of host: desktop, console, web, unknown", "KIND",
            [&](const std::string& text) { host.kind = ParseKind("--kind", text); });
  AddOption(app, "--pixel-type",
            "The pictures' pixel type: 13 (default), 12 or 16 on a desktop host, 8 on the others; with 16, "
            "pictures to be read have a native depth of 16 and are read through an opaque copy",
            "N", [&](const std::string& text) { host.pixelType = ParsePixelType("--pixel-type", text); });
  AddRepeatable(app, "--without", "A host that lacks this entry or legacy function; repeatable", "ENTRY",
                [&](const std::string& text) { host.without.insert(text); });
  AddRepeatable(app, "--fail", "Give null or false at the N-th call of an entry, from 1; repeatable",
                "ENTRY@N",
                [&](const std::string& text) { host.faults.push_back(ParseFault("--fail", text)); });
  AddRepeatable(app, "--throw", "Throw an exception of the host there; repeatable", "ENTRY@N",
                [&](const std::string& text) { host.faults.push_back(ParseFault("--throw", text)); });
}

void AddJson(CLI::App& app, bool& json) {
  app.add_flag("--json", json, "Tell the results as JSON");
}

void AddCommon(CLI::App& app, Common& common) {
  AddHost(app, common.host);
  AddJson(app, common.json);
}

void AddRaw(CLI::App& app, RawForm& raw) {
  AddOption(app, "--layout", "One of " + LayoutNames() + " (RGB)", "NAME",
            [&](const std::string& text) { raw.layout = text; });
  AddOption(app, "--size", "The size of raw bytes", "WxH",
            [&](const std::string& text) { raw.size = ParseSize("--size", text); });
  AddOption(app, "--stride", "Bytes from row to row in raw bytes (packed rows)", "N",
            [&](const std::string& text) { raw.stride = ParseInteger("--stride", text, 0); });
  AddOption(app, "--offset", "Bytes ahead of the first row in raw bytes (0)", "N",
            [&](const std::string& text) { raw.offset = ParseInteger("--offset", text, 0); });
}

/// What a verb does once the command line is parsed.
using Work = std::function<Status()>;

Work SetUpList(CLI::App& app) {
  app.footer(kListHelp);
  auto options = std::make_shared<Common>();
  AddCommon(app, *options);
  return [options] { return RunList(*options); };
}

Work SetUpShow(CLI::App& app) {
  app.footer(kShowHelp);
  auto options = std::make_shared<ShowOptions>();
  app.add_option("METHOD", options->method, "The method's name")->required();
  AddHost(app, options->host);
  return [options] { return RunShow(*options); };
}

Work SetUpDocs(CLI::App& app) {
  app.footer(kDocsHelp);
  auto options = std::make_shared<DocsOptions>();
  app.add_option("DIR", options->folder, "The folder to write to")->required();
  AddHost(app, options->host);
  return [options] { return RunDocs(*options); };
}

Work SetUpCall(CLI::App& app) {
  app.footer(kCallHelp);
  auto options = std::make_shared<CallOptions>();
  app.add_option("METHOD", options->method, "The method's name, followed by its arguments")->required();
  app.allow_extras();
  AddCommon(app, options->common);
  app.add_flag("--trace", options->trace, "Show each call that the plug-in makes to the host");
  AddOption(app, "--out", "Write the picture that was made, or the bytes of the first block", "FILE",
            [options](const std::string& text) { options->out = text; });
  AddOption(app, "--times", "Call this often; a result is shown when it changes (1)", "N",
            [options](const std::string& text) { options->times = ParseInteger("--times", text, 1); });
  return [options, &app] {
    options->arguments = app.remaining();
    return RunCall(*options);
  };
}

Work SetUpConvert(CLI::App& app) {
  app.footer(kConvertHelp);
  auto options = std::make_shared<ConvertOptions>();
  app.add_option("IN", options->in, "The picture or raw bytes to send through the plug-in")->required();
  app.add_option("OUT", options->out, "Where what came back goes")->required();
  AddCommon(app, options->common);
  AddRaw(app, options->raw);
  AddOption(app, "--mask",
            "A picture whose green, inverted, is the alpha of the way back; its size is the copy's", "FILE",
            [options](const std::string& text) { options->mask = text; });
  AddOption(app, "--alpha", "The alpha of the way back, its low eight bits (255)", "N",
            [options](const std::string& text) { options->alpha = ParseInteger("--alpha", text); })
      ->excludes("--mask");
  AddOption(app, "--band", "The rows to copy back, LAST included; LAST -1 is the last row", "FIRST:LAST",
            [options](const std::string& text) { options->band = ParseBand("--band", text); });
  app.add_flag("--flip", options->flip, "Rows from bottom to top on the way there (RGBA only)");
  app.add_flag("--verify", options->verify, "Hold every byte, there and back, against what it has to be");
  return [options] { return RunConvert(*options); };
}

Work SetUpCompare(CLI::App& app) {
  app.footer(kCompareHelp);
  auto options = std::make_shared<CompareOptions>();
  app.add_option("A", options->a, "A picture or raw bytes")->required();
  app.add_option("B", options->b, "Another one")->required();
  AddJson(app, options->json);
  AddRaw(app, options->raw);
  AddOption(app, "--difference", "Write a picture of the channels' differences", "FILE",
            [options](const std::string& text) { options->difference = text; });
  return [options] { return RunCompare(*options); };
}

Work SetUpCheck(CLI::App& app) {
  app.footer(kCheckHelp);
  auto options = std::make_shared<CheckOptions>();
  app.add_option("GLOB", options->globs, "The checks to run (all)");
  AddCommon(app, options->common);
  app.add_flag("--list", options->list, "Tell each check's name and sentence, and run none");
  app.add_flag("--in-process", options->inProcess, "Run the checks in this process, for a debugger");
  AddOption(app, "-j,--jobs", "Checks that run at once (as many as processors)", "N",
            [options](const std::string& text) {
              options->jobs = static_cast<std::size_t>(ParseInteger("--jobs", text, 1, 256));
            });
  AddOption(app, "--timeout", "Seconds that a check may take (10)", "N",
            [options](const std::string& text) { options->timeout = ParseInteger("--timeout", text, 1); });
  AddOption(app, "--seed", "What sizes, numbers and bytes are made from (1)", "N",
            [options](const std::string& text) {
              options->seed = static_cast<std::uint64_t>(ParseInteger("--seed", text, 0));
            });
  AddOption(app, "--junit", "Write a report for a build server", "FILE",
            [options](const std::string& text) { options->junit = text; });
  options->program = ProgramPath();
  options->jobs = std::max(std::thread::hardware_concurrency(), 1U);
  return [options] { return RunCheck(*options); };
}

Work SetUpBench(CLI::App& app) {
  app.footer(kBenchHelp);
  auto options = std::make_shared<Common>();
  AddCommon(app, *options);
  return [options] { return RunBench(*options); };
}

/// A verb: one row, and one function that sets up its options.
struct Verb {
  const char* name;
  const char* sentence;
  Work (*setUp)(CLI::App&);
};

constexpr Verb kVerbs[] = {
    {"list", "Shows what the plug-in registered", SetUpList},
    {"show", "Shows what a method does, found out by calling it", SetUpShow},
    {"call", "Calls one method with arguments of your own", SetUpCall},
    {"convert", "Sends pictures or raw bytes through the plug-in and back", SetUpConvert},
    {"check", "Checks the plug-in: registration, bytes, balance, and hosts that lack, fail and throw",
     SetUpCheck},
    {"compare", "Compares two files pixel by pixel", SetUpCompare},
    {"bench", "Measures every method beside a copy of the same bytes", SetUpBench},
    {"docs", "Writes the reference of all methods", SetUpDocs},
};

/// Tells what went wrong in one line, whatever lines it was made of.
int Fail(Status status, std::string line) {
  std::replace(line.begin(), line.end(), '\n', ' ');
  const auto bothBlank = [](char a, char b) { return a == ' ' && b == ' '; };
  line.erase(std::unique(line.begin(), line.end(), bothBlank), line.end());
  std::cout.flush();
  std::cerr << "rastel-host: " << line << '\n';
  return static_cast<int>(status);
}

[[noreturn]] void Unknown(const char* what, const std::string& word, const std::vector<std::string>& known) {
  throw Failure(Status::kUsage,
                std::string("unknown ") + what + " '" + word + "'" + Nearest(word, known) + " (see --help)");
}

/// Throws Failure if the command line has a verb or an option that does not exist.
void CheckWords(const CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> verbs, options;
  const CLI::App* parser = &app;
  for (const CLI::App* verb : app.get_subcommands({})) {
    verbs.push_back(verb->get_name());
    parser = words.front() == verb->get_name() ? verb : parser;
  }
  if (parser == &app && !words.front().starts_with('-')) {
    Unknown("verb", words.front(), verbs);
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

int Run(int argc, char** argv) {
  CLI::App app("Loads the plug-in Rastel into a development host and puts it to work.", "rastel-host");
  app.footer(std::string("rastel-host VERB --help tells more of a verb.\n\n") + kStatusHelp);
  app.set_version_flag("--version", "rastel-host " RASTEL_VERSION);
  app.require_subcommand(1);
  std::vector<std::pair<CLI::App*, Work>> works;
  for (const Verb& verb : kVerbs) {
    CLI::App* parser = app.add_subcommand(verb.name, verb.sentence);
    works.emplace_back(parser, verb.setUp(*parser));
    parser->footer(parser->get_footer() + kStatusHelp);
    parser->add_flag_callback(
        "-q,--quiet", [] { SetTalk(-1); }, "Say nothing on standard error but errors");
    parser->add_flag_callback(
        "-v,--verbose", [] { SetTalk(1); }, "Say more there");
  }
  if (argc < 2) {
    throw Failure(Status::kUsage, "expected a verb (see --help)");
  }
  CheckWords(app, {argv + 1, argv + argc});
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    return Fail(Status::kUsage, std::string(error.what()) + " (see --help)");
  }
  const auto chosen = std::ranges::find_if(works, [](const auto& work) { return work.first->parsed(); });
  const Status status = chosen->second();
  if (!std::cout.flush()) {
    throw Failure(Status::kFile, "standard output: cannot be written");
  }
  return static_cast<int>(status);
}

}  // namespace
}  // namespace devhost::program

int main(int argc, char** argv) {
  using devhost::program::Fail;
  using devhost::program::Status;
  devhost::program::EndOnCrash();
  try {
    return devhost::program::Run(argc, argv);
  } catch (const devhost::program::Failure& failure) {
    return Fail(failure.status, failure.what());
  } catch (const std::bad_alloc&) {
    return Fail(Status::kFile, "a picture or file needs more memory than there is");
  } catch (const std::exception& error) {
    return Fail(Status::kFindings, std::string("the plug-in let this pass: ") + error.what());
  }
}
