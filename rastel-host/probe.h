// Which arguments an overload accepts, and what it does with the others.
#pragma once

#include <vector>

#include "rastel-host/observation.h"
#include "rastel-host/sample_call.h"

namespace devhost::program {

/// Fills `arguments` and `checks`.
void ProbeArguments(SampleCall& sample, Observed& observed);

}  // namespace devhost::program
