// Bad arguments in each method's order, and arguments at the edges of what integers hold and of what methods
// take, two at a time.
#include <algorithm>
#include <cmath>
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
        EXPECT_EQ("", Call(host, method, spec).Run()) << method.registration.declaration << "\n" << spec;
      }
    }
  }
}

/// An integer argument at an edge: of what integers hold, of 0, or of what its method takes.
using Edge = std::pair<std::string, std::int32_t>;

std::vector<Edge> EdgesOf(const Method& method) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::map<std::string, std::int32_t> limits = {
      {"offset", 4096},     {"width", 32767},
      {"height", 32767},    {"StartLine", 2},
      {"EndLine", 2},       {"Yield", 500},
      {"AlphaValue", 255},  {"Red", 32767},
      {"Blue", 256},        {"Green", 8421505},
      {"PixelByteSize", 4}, {"DestRowBytes", kSize.width * static_cast<std::int32_t>(method.layout.size())}};
  std::vector<Edge> edges;
  for (const auto& [name, type] : method.parameters) {
    if (type == rastel::abi::HostType::kInteger) {
      const std::int32_t limit = limits.at(name);
      for (const std::int32_t value : {Limits::min(), -1, 0, 1, limit - 1, limit, limit + 1, Limits::max()}) {
        edges.emplace_back(name, value);
      }
    }
  }
  return edges;
}

class Edges {
 public:
  /// As far as offsets, rows and pixels reach with the highest integers, where there are such addresses.
  Edges() : memory_(Before(), Behind()) { std::ranges::copy(NoiseBytes(memory_.size(), 0), memory_.bytes()); }

  void Run(const HostCase& hostCase) {
    LoadedHost host(hostCase.Options());
    for (const Method& method : host.all) {
      const std::vector<Edge> edges = EdgesOf(method);
      for (const Edge& first : edges) {
        for (const Edge& second : edges) {
          if (first.first < second.first && IsDue()) {
            CallSpec spec = GoodCall(hostCase, kSize);
            spec.integers[first.first] = first.second;
            spec.integers[second.first] = second.second;
            Check(host, method, spec, hostCase.name);
          }
        }
      }
    }
  }

  const std::uint64_t step = std::max<std::uint64_t>(1, std::llround(32 / Soak()));
  int calls = 0, skipped = 0, failures = 0;

 private:
#if defined(RASTEL_EMULATED)
  static constexpr bool kHasSpace = false;
#else
  static constexpr bool kHasSpace = sizeof(void*) == 8;
#endif
  static constexpr std::int64_t kMostPixelsAtOnce = 1 << 18;  // larger pictures have a test of their own
  static std::int64_t Before() {
    return kHasSpace ? std::int64_t{4} << 31 : 1 << 20;
  }
  static std::int64_t Behind() {
    return kHasSpace ? std::int64_t{5} << 31 : 1 << 20;
  }

  /// Counts the pairs, and draws of them.
  bool IsDue() {
    ++number_;
    const std::string wanted = WantedPoint();
    return wanted.empty() ? Mix(Seed(), number_) % step == 0 : std::to_string(number_) == wanted;
  }

  void Check(devhost::Host& host, const Method& method, const CallSpec& spec, const char* hostName) {
    host.trace.clear();
    host.lookups.clear();
    std::ostringstream text;
    text << hostName << ", " << method.registration.declaration << ": " << spec
         << "; repeat with: " << Repeat(std::to_string(number_), "EdgeArguments.AreTakenTwoByTwo");
    const CrashNote note([&] { return text.str(); });
    Call call(host, method, spec, &memory_);
    if (!call.Fits(Before(), Behind(), kMostPixelsAtOnce)) {
      ++skipped;
      return;
    }
    ++calls;
    if (const std::string verdict = call.Run(); !verdict.empty() && ++failures <= 20) {
      ADD_FAILURE() << verdict << ": " << text.str();
    }
  }

  AliasedMemory memory_;
  std::uint64_t number_ = 0;
};

TEST(EdgeArguments, AreTakenTwoByTwo) {
  Edges edges;
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kDesktop16, kConsole}) {
    edges.Run(hostCase);
  }
  Figure("argument_edges")
      .Add("calls", edges.calls)
      .Add("failures", edges.failures)
      .Add("skipped", edges.skipped)
      .Add("one_of", edges.step);
}

}  // namespace
}  // namespace tests
