// Bad arguments in each method's order, and arguments at the edges of what integers hold and of what methods
// take, two at a time.
#include <algorithm>
#include <cmath>
#include <limits>

#include "call.h"
#include "crash_note.h"
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

struct Edge {
  std::string parameter;
  std::int32_t value;
};

/// The edges of an integer parameter: of what integers hold, of 0, and of what its method takes.
std::vector<Edge> EdgesOf(const Method& method, const std::string& parameter) {
  const auto packed = kSize.width * static_cast<std::int32_t>(method.layout.size());
  const std::pair<std::string_view, std::int32_t> limits[] = {
      {"offset", 4096}, {"width", 32767},         {"height", 32767},   {"StartLine", 2},     {"EndLine", 2},
      {"Yield", 500},   {"DestRowBytes", packed}, {"AlphaValue", 255}, {"PixelByteSize", 4}, {"Red", 32767},
      {"Blue", 256},    {"Green", 8421505}};
  const auto limit =
      std::ranges::find(limits, parameter, &std::pair<std::string_view, std::int32_t>::first)->second;
  std::vector<Edge> edges;
  for (const std::int32_t value : {std::numeric_limits<std::int32_t>::min(), -1, 0, 1, limit - 1, limit,
                                   limit + 1, std::numeric_limits<std::int32_t>::max()}) {
    edges.push_back({parameter, value});
  }
  return edges;
}

/// Each pair of edges of each pair of the method's integers.
std::vector<std::pair<Edge, Edge>> EdgePairsOf(const Method& method) {
  std::vector<Edge> edges;
  for (const Parameter& parameter : method.parameters) {
    if (parameter.type == rastel::abi::HostType::kInteger) {
      std::ranges::copy(EdgesOf(method, parameter.name), std::back_inserter(edges));
    }
  }
  std::vector<std::pair<Edge, Edge>> pairs;
  for (const Edge& first : edges) {
    for (const Edge& second : edges) {
      if (first.parameter < second.parameter) {
        pairs.emplace_back(first, second);
      }
    }
  }
  return pairs;
}

class Edges {
 public:
  /// As far as offsets, rows and pixels reach with the highest integers, where there are such addresses.
  Edges() : memory_(Before(), Behind()) {
    std::generate_n(memory_.bytes(), memory_.size(), [i = std::uint64_t{0}]() mutable { return Noise(i++); });
  }

  void Run(const HostCase& hostCase) {
    LoadedHost host(hostCase.Options());
    for (const Method& method : host.all) {
      for (const auto& [first, second] : EdgePairsOf(method)) {
        ++number_;
        const std::string wanted = WantedPoint();
        if (wanted.empty() ? Mix(Seed(), number_) % step != 0 : std::to_string(number_) != wanted) {
          continue;
        }
        CallSpec spec = GoodCall(hostCase, kSize);
        spec.integers[first.parameter] = first.value;
        spec.integers[second.parameter] = second.value;
        Check(host, method, spec, hostCase.name);
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
