// list: what the plug-in registered.
#include <fnmatch.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "rastel-host/options.h"
#include "rastel-host/output.h"

namespace devhost::program {
namespace {

constexpr const char* kListHelp =
    R"(NAME-OR-GLOB is a method's name or a pattern such as '*RGBA*', in either case of letters.
Examples:
  rastel-host list
  rastel-host list 'Copy*' --host-version 2012.5 --json
)";

struct ListOptions {
  HostSettings host;
  bool json = false;
  std::string glob = "*";
};

/// What methods that differ in their names alone have in common.
std::string TextOf(const Registration& method) {
  constexpr std::uint32_t kForNewerHosts = 4, kInModule = 0x10;
  const std::string owner =
      method.owner.empty() ? "in no module"
                           : "in " + method.owner + ", definition version " + std::to_string(method.version);
  std::string flags;
  flags += (method.flags & kForNewerHosts) != 0 ? ", for newer hosts" : "";
  flags += (method.flags & kInModule) != 0 ? ", member of a module" : "";
  if (const std::uint32_t others = method.flags & ~(kForNewerHosts | kInModule); others != 0) {
    flags += ", other bits: " + std::to_string(others);
  }
  const std::size_t width = OutputWidth();
  return Wrapped(method.declaration.substr(method.name.size()), 4, width) +
         Wrapped(owner + "; registered with " + method.route + "; " +
                     (flags.empty() ? "no flags" : flags.substr(2)),
                 4, width);
}

void PrintFamilies(const std::vector<const Registration*>& methods) {
  std::vector<std::pair<std::string, std::string>> families;  // what they have in common, their names
  for (const Registration* method : methods) {
    const std::string text = TextOf(*method);
    const auto found = std::ranges::find(families, text, &std::pair<std::string, std::string>::first);
    if (found == families.end()) {
      families.emplace_back(text, method->name);
    } else {
      found->second += ", " + method->name;
    }
  }
  for (const auto& [text, names] : families) {
    std::cout << '\n' << Wrapped(names, 0, OutputWidth()) << text;
  }
}

Json RecordOf(const Registration& method) {
  return {{"route", method.route},
          {"owner", method.owner},
          {"version", method.version},
          {"flags", method.flags},
          {"declaration", method.declaration},
          {"extendsPicture", method.extendsPicture}};
}

/// The methods that were asked for. Throws Failure if there are none.
std::vector<const Registration*> Chosen(const Session& session, const std::string& glob) {
  std::vector<const Registration*> chosen;
  for (const Registration& method : session->methods()) {
    if (fnmatch(glob.c_str(), method.name.c_str(), FNM_CASEFOLD) == 0) {
      chosen.push_back(&method);
    }
  }
  return chosen.empty() ? session.MethodsNamed(glob) : chosen;
}

Status RunList(const ListOptions& options) {
  const Session session(options.host);
  const auto methods = Chosen(session, options.glob);
  if (options.json) {
    Report().update({{"plugin", session.plugin()},
                     {"hostVersion", session->options().version},
                     {"definitionVersion", session->pluginVersion()},
                     {"methods", Json::array()},
                     {"complaints", session->complaints}});
    std::ranges::transform(methods, std::back_inserter(Report()["methods"]),
                           [](const Registration* method) { return RecordOf(*method); });
    PrintReport();
  } else {
    const auto extending = std::ranges::count_if(methods, &Registration::extendsPicture);
    std::cout << session.plugin() << ": " << Count(std::ssize(methods), "method") << ", " << extending
              << " of Picture; definition version " << session->pluginVersion() << '\n';
    PrintFamilies(methods);
  }
  for (const std::string& complaint : session->complaints) {
    Say("the plug-in broke a rule of the host: " + complaint);
  }
  return session->complaints.empty() ? Status::kGood : Status::kFindings;
}

}  // namespace

Work SetUpList(CLI::App& app) {
  app.footer(kListHelp);
  const auto options = std::make_shared<ListOptions>();
  app.add_option("NAME-OR-GLOB", options->glob, "The methods to list (all)");
  AddHost(app, options->host);
  AddJson(app, options->json);
  return [options] { return RunList(*options); };
}

}  // namespace devhost::program
