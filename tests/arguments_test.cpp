// Bad arguments in each method's order, and arguments at the edges of what integers hold and of what methods
// take, two at a time.
#include <algorithm>
#include <limits>
#include <map>

#include "call.h"
#include "figures.h"

namespace tests {
namespace {

constexpr Size kSize = {2, 2};

TEST(BadArguments, AreReportedOneByOneAndInOrder) {
  LoadedHost host;
  for (const Method& method : host.all) {
    const auto& refusals = method.refusals;
    for (std::size_t first = 0; first < refusals.size(); ++first) {
      for (std::size_t second = first; second < refusals.size(); ++second) {
        const CallSpec spec = Refused(Refused(GoodCall(kDesktop, kSize), refusals[first]), refusals[second]);
        host.trace.clear();
        EXPECT_EQ("", Call(host, method, spec).Run()) << method.declaration << "\n" << spec;
        // To raise takes eight calls of the host, and nothing else is done.
        EXPECT_EQ(refusals[first].className == nullptr ? 0 : 8, host.trace.size());
      }
    }
  }
}

#if defined(RASTEL_EMULATED)
constexpr bool kHasSpace = false;
#else
constexpr bool kHasSpace = sizeof(void*) == 8;
#endif
// As far as offsets, rows and pixels reach with the highest integers, where there are such addresses.
constexpr std::int64_t kBefore = kHasSpace ? std::int64_t{4} << 31 : 1 << 20;
constexpr std::int64_t kBehind = kHasSpace ? std::int64_t{5} << 31 : 1 << 20;
constexpr std::int64_t kMostPixelsAtOnce = 1 << 18;  // larger pictures have a test of their own

/// Calls with two arguments at edges: of what integers hold, of 0, or of what the method takes.
std::vector<CallSpec> SpecsAtEdges(const HostCase& hostCase, const Method& method) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::map<std::string, std::int32_t> limits = {
      {"offset", 4096},     {"width", 32767},
      {"height", 32767},    {"StartLine", 2},
      {"EndLine", 2},       {"Yield", 500},
      {"AlphaValue", 255},  {"Red", 32767},
      {"Blue", 256},        {"Green", 8421505},
      {"PixelByteSize", 4}, {"DestRowBytes", kSize.width * static_cast<std::int32_t>(method.layout.size())}};
  std::vector<std::pair<std::string, std::int32_t>> edges;
  for (const auto& [name, type, standard] : method.parameters) {
    if (type == rastel::abi::HostType::kInteger) {
      const std::int32_t limit = limits.at(name);
      for (const std::int32_t value : {Limits::min(), -1, 0, 1, limit - 1, limit, limit + 1, Limits::max()}) {
        edges.emplace_back(name, value);
      }
    }
  }
  std::vector<CallSpec> specs;
  for (const auto& [firstName, firstValue] : edges) {
    for (const auto& [secondName, secondValue] : edges) {
      if (firstName < secondName) {
        CallSpec& spec = specs.emplace_back(GoodCall(hostCase, kSize));
        spec.integers[firstName] = firstValue;
        spec.integers[secondName] = secondValue;
      }
    }
  }
  return specs;
}

TEST(EdgeArguments, AreTakenTwoByTwo) {
  const AliasedMemory memory(kBefore, kBehind);
  std::ranges::copy(NoiseBytes(memory.size(), 0), memory.bytes());
  Points points("argument_edges", 32);
  int number = 0;
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kDesktop16, kConsole}) {
    LoadedHost host(hostCase.Options());
    for (const Method& method : host.all) {
      for (const CallSpec& spec : SpecsAtEdges(hostCase, method)) {
        const std::string point = std::to_string(++number);
        if (!points.IsDue(point)) {
          continue;
        }
        std::ostringstream text;
        text << hostCase.name << ", " << method.declaration << ": " << spec;
        const CrashNote note([&] { return "point " + point + ", " + text.str(); });
        Call call(host, method, spec, &memory);
        if (!call.Fits(kBefore, kBehind, kMostPixelsAtOnce)) {
          ++points.also["skipped"];
          continue;
        }
        host.trace.clear();
        host.lookups.clear();
        const std::string verdict = call.Run();
        points.Count(point, verdict.empty() ? "" : verdict + ": " + text.str());
      }
    }
  }
}

}  // namespace
}  // namespace tests
