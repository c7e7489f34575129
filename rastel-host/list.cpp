// list: what the plug-in registered.
#include <fnmatch.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/verbs.h"

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

/// Methods that differ in their names alone.
struct Family {
  const Registration* first;
  std::string names;  // with commas
};

std::string ParametersOf(const Registration& method) {
  return method.declaration.substr(NameOf(method).size());
}

bool AreRelated(const Registration& a, const Registration& b) {
  return ParametersOf(a) == ParametersOf(b) && a.route == b.route && a.owner == b.owner &&
         a.flags == b.flags && a.extendsPicture == b.extendsPicture;
}

std::vector<Family> FamiliesOf(const std::vector<const Registration*>& methods) {
  std::vector<Family> families;
  for (const Registration* method : methods) {
    const auto found = std::ranges::find_if(
        families, [&](const Family& family) { return AreRelated(*family.first, *method); });
    if (found == families.end()) {
      families.push_back({method, NameOf(*method)});
    } else {
      found->names += ", " + NameOf(*method);
    }
  }
  return families;
}

std::string FlagWords(std::uint32_t flags) {
  std::string words;
  for (const auto& [bit, word] :
       {std::pair(0x4U, "for newer hosts"), std::pair(0x10U, "member of a module")}) {
    if ((flags & bit) != 0) {
      words += (words.empty() ? "" : ", ") + std::string(word);
      flags &= ~bit;
    }
  }
  if (flags != 0) {
    words += (words.empty() ? "other bits: " : ", other bits: ") + std::to_string(flags);
  }
  return words.empty() ? "no flags" : words;
}

std::string OwnerWords(const Registration& method) {
  std::string words = method.owner.empty()
                          ? "in no module"
                          : "in " + method.owner + ", definition version " + std::to_string(method.version);
  return words + "; registered with " + method.route + "; " + FlagWords(method.flags);
}

void PrintFamilies(const std::vector<const Registration*>& methods) {
  const std::size_t width = OutputWidth();
  for (const Family& family : FamiliesOf(methods)) {
    std::cout << '\n'
              << Wrapped(family.names, 0, width) << Wrapped(ParametersOf(*family.first), 4, width)
              << Wrapped(OwnerWords(*family.first), 4, width);
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
    if (fnmatch(glob.c_str(), NameOf(method).c_str(), FNM_CASEFOLD) == 0) {
      chosen.push_back(&method);
    }
  }
  if (chosen.empty()) {
    throw session.NoMethod(glob);
  }
  return chosen;
}

Status RunList(const ListOptions& options) {
  const Session session(options.host);
  const auto methods = Chosen(session, options.glob);
  if (options.json) {
    Json records = Json::array();
    for (const Registration* method : methods) {
      records.push_back(RecordOf(*method));
    }
    PrintJson("list", {{"plugin", session.plugin()},
                       {"hostVersion", session->options().version},
                       {"definitionVersion", session->pluginVersion()},
                       {"methods", records},
                       {"complaints", session->complaints}});
  } else {
    const auto extending = std::ranges::count_if(methods, &Registration::extendsPicture);
    std::cout << session.plugin() << ": " << methods.size() << " methods, " << extending
              << " of them of Picture; definition version " << session->pluginVersion() << '\n';
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
