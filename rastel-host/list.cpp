#include <iomanip>
#include <iostream>

#include "rastel-host/failure.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

void PrintRow(const Registration& method) {
  const std::string owner =
      method.owner.empty() ? "-" : method.owner + " (version " + std::to_string(method.version) + ")";
  std::cout << std::left << std::setw(29) << method.route << ' ' << std::setw(36) << owner << " 0x"
            << std::hex << std::setw(5) << method.flags << std::dec << ' ' << method.declaration << '\n';
}

Datum RecordOf(const Registration& method) {
  return Datum::Record{{"route", method.route},
                       {"owner", method.owner},
                       {"version", method.version},
                       {"flags", method.flags},
                       {"declaration", method.declaration},
                       {"extendsPicture", method.extendsPicture}};
}

}  // namespace

Status RunList(const Common& options) {
  const auto host = OpenHost(options.host);
  Datum::List records;
  int extendPicture = 0;
  for (const Registration& method : host->methods()) {
    extendPicture += method.extendsPicture ? 1 : 0;
    records.push_back(RecordOf(method));
    if (!options.json) {
      PrintRow(method);
    }
  }
  if (options.json) {
    PrintJson("list", {{"hostVersion", host->options().version},
                       {"definitionVersion", host->pluginVersion()},
                       {"methods", records},
                       {"complaints", ListOf(host->complaints)}});
  } else {
    std::cout << host->methods().size() << " methods, " << extendPicture
              << " of them extend Picture; definition version " << host->pluginVersion() << '\n';
  }
  for (const std::string& complaint : host->complaints) {
    Say("the plug-in broke a rule of the host: " + complaint);
  }
  if (host->methods().empty()) {
    Say("the plug-in registered no method on this host");
  }
  return host->complaints.empty() && !host->methods().empty() ? Status::kGood : Status::kFindings;
}

}  // namespace devhost::program
