#include <iomanip>
#include <iostream>

#include "devhost/program/verbs.h"

namespace devhost::program {
namespace {

void PrintRow(const Registration& method) {
  std::cout << std::left << std::setw(29) << method.route << ' ';
  if (method.owner.empty()) {
    std::cout << std::setw(36) << "-";
  } else {
    std::cout << std::setw(36) << method.owner + " (version " + std::to_string(method.version) + ")";
  }
  std::cout << " 0x" << std::hex << std::setw(5) << method.flags << std::dec << ' ' << method.declaration
            << '\n';
}

}  // namespace

int RunList(const HostSettings& settings) {
  const auto host = OpenHost(settings);
  int extendPicture = 0;
  for (const Registration& method : host->methods()) {
    PrintRow(method);
    extendPicture += method.extendsPicture ? 1 : 0;
  }
  std::cout << host->methods().size() << " methods, " << extendPicture
            << " of them extend Picture; definition version " << host->pluginVersion() << '\n';
  return StatusOfComplaints(*host);
}

}  // namespace devhost::program
