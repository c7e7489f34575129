// The plug-in's file in a host.
#pragma once

#include <utility>

#include "devhost/host.h"

namespace tests {

/// A host that has just loaded the plug-in.
struct LoadedHost : devhost::Host {
  explicit LoadedHost(devhost::HostOptions options = {}) : Host(std::move(options)) { Load(RASTEL_PLUGIN); }
};

}  // namespace tests
