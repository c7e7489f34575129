#include <iostream>

#include "devhost/program/failure.h"
#include "devhost/program/page.h"
#include "devhost/program/verbs.h"

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
