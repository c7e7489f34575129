// The fuzzer's target.
#include <cstdlib>
#include <iostream>

#include "fuzz/scenario.h"

/// Stacks of allocations and late reuse of memory take time that is better spent on executions.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0:malloc_context_size=2:quarantine_size_mb=2:allocator_may_return_null=1:"
         "allocator_release_to_os_interval_ms=-1:max_redzone=64";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed, as the plug-in never leaves.
  static auto& runner = *new tests::ScenarioRunner();
  const std::string verdict = runner.Run(tests::Decode({data, size}));
  if (!verdict.empty()) {
    std::cerr << verdict << "\n" << tests::Decode({data, size}) << std::endl;
    std::abort();
  }
  return 0;
}
