#include <iostream>

#include "rastel-host/failure.h"
#include "rastel-host/page.h"
#include "rastel-host/verbs.h"

namespace devhost::program {

Status RunShow(const ShowOptions& options) {
  const auto overloads = Observe(options.host, options.method);
  if (overloads.empty()) {
    const auto host = OpenHost(options.host);
    try {
      host->Call(options.method, std::vector<Value>());
    } catch (const HostError& unknown) {
      throw Failure(Status::kUsage, unknown.what());
    }
  }
  WritePage(std::cout, overloads[0].name, overloads);
  return Status::kGood;
}

}  // namespace devhost::program
