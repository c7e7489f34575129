#include "fuzz/scenario.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <functional>
#include <limits>
#include <ostream>
#include <utility>

#include "devhost/state.h"

namespace tests {
namespace {

using devhost::Kind;
using devhost::PixelFormat;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

constexpr double kVersions[] = {2013.04, 2007.5,  2009.0, 2010.029, 2012.0,
                                2013.0,  2013.03, 2016.0, 2999.9,   3000.0};

/// What a host may lack. Without what counts references, or gives masks back, no host can keep its books.
const std::vector<std::string>& Missable() {
  static const auto names = [] {
    std::vector<std::string> offered = devhost::Host::EntryNames();
    std::erase_if(offered, [](const std::string& name) {
      return !devhost::IsOffered(name) || name == "REALLockObject";
    });
    offered.emplace_back(kDrawPicture);
    return offered;
  }();
  return names;
}

using Provider = FuzzedDataProvider;

/// Small numbers mostly, or one of the far ones.
std::int32_t Number(Provider& data) {
  constexpr std::int32_t kFar[] = {kLowest, kLowest + 1, -(1 << 30), -8421505, -8421504, 255,     256,
                                   257,     32767,       32768,      8421505,  1 << 30,  kHighest};
  const int number = data.ConsumeIntegralInRange(0, 255) - 20;
  return number < 220 ? number : data.PickValueInArray(kFar);
}

/// Mostly widths of a vector or two. Large ones come of bytes that fuzzers have no liking for, since they
/// take time.
std::int32_t Width(Provider& data) {
  constexpr std::int32_t kFirstWide = 0xB1;
  constexpr std::int32_t kWide[] = {96, 127, 128, 129, 255, 256, 257, 1000};
  const int byte = data.ConsumeIntegralInRange(0, 255);
  return byte < kFirstWide || byte >= kFirstWide + std::ssize(kWide) ? byte % 67 : kWide[byte - kFirstWide];
}

std::int32_t Height(Provider& data) {
  constexpr std::int32_t kFirstTall = 0xE9;
  const int byte = data.ConsumeIntegralInRange(0, 255);
  return byte < kFirstTall || byte >= kFirstTall + 8 ? byte % 5 : 5 + byte % 19;
}

PictureSpec Picture(Provider& data) {
  constexpr PixelFormat kFormats[] = {PixelFormat::kWorld32, PixelFormat::kWorld24, PixelFormat::kWorld16,
                                      PixelFormat::kBitmap};
  const std::int32_t width = Width(data);
  return {{width, Height(data)}, data.PickValueInArray(kFormats)};
}

ScenarioCall DecodeCall(Provider& data) {
  const auto method = data.ConsumeIntegral<std::uint8_t>();
  std::optional<std::size_t> refusal;
  // Steps of up to seven bytes, or so far back that a count in 32 bits would lead to where it began.
  constexpr std::int32_t kSteps[] = {1, 4, 3, 2, 0, 5, 7, -1, -2, -3, -4, -7, -(1 << 30), kLowest};
  constexpr std::int32_t kTypes[] = {2, 2, 2, 2, 4, 0, 1, 3};
  constexpr const char* kChannels[] = {"Red", "Blue", "Green"};
  CallSpec call{.picture = Picture(data)};
  const auto flags = data.ConsumeIntegral<std::uint8_t>();
  call.flag = (flags & 1) != 0;
  call.isMasked = (flags & 2) != 0;
  call.integers["offset"] = data.ConsumeIntegralInRange(0, 79);
  call.integers["PixelByteSize"] = data.PickValueInArray(kSteps);
  if ((flags & 4) != 0) {
    call.dest = Picture(data);
    call.kind = data.PickValueInArray(kTypes);
  }
  if ((flags & 0xF0) == 0xF0) {
    refusal = data.ConsumeIntegralInRange<std::size_t>(0, 9);
  }
  const bool isLong = (flags & 8) != 0;
  if (isLong) {
    call.mask = Picture(data);
    call.integers["StartLine"] = data.ConsumeIntegralInRange(0, 6);
    call.integers["EndLine"] = data.ConsumeIntegralInRange(-1, 6);
    call.integers["Yield"] = Number(data);
    call.integers["DestRowBytes"] = data.ConsumeIntegralInRange(0, 255);
  }
  call.integers["AlphaValue"] = Number(data);
  for (const char* channel : kChannels) {
    call.integers[channel] = Number(data);
  }
  std::vector<std::int32_t> palette(isLong ? data.ConsumeIntegralInRange<std::size_t>(2, 300) : 3);
  for (std::size_t i = 0; i < palette.size(); ++i) {
    palette[i] = call.integers[kChannels[i % 3]] + static_cast<std::int32_t>(i % 7);
  }
  call.palettes[0] = palette;
  if (!call.isMasked) {
    call.palettes[1] = palette;
  }
  call.palettes[2] = std::vector(palette.begin(), palette.begin() + std::ssize(palette) / 2);
  return {method, call, refusal};
}

}  // namespace

Scenario Decode(std::span<const std::uint8_t> bytes) {
  constexpr Kind kKinds[] = {Kind::kDesktop, Kind::kConsole, Kind::kWeb, Kind::kUnknown};
  Provider data(bytes.data(), bytes.size());
  Scenario scenario{};
  const auto host = data.ConsumeIntegral<std::uint8_t>();
  scenario.options.kind = kKinds[host % 4];
  const bool isDesktop = scenario.options.kind == Kind::kDesktop;
  scenario.options.pixelType = !isDesktop ? 8 : (host & 4) != 0 ? 12 : 13;
  scenario.options.version = data.PickValueInArray(kVersions);
  scenario.options.recorded = false;
  scenario.ticksPerReading = (host & 8) != 0 ? 1 : 0;
  const auto troubles = data.ConsumeIntegral<std::uint8_t>();
  for (int i = 0; i < (troubles >> 6); ++i) {
    scenario.options.without.insert(
        Missable()[data.ConsumeIntegralInRange<std::size_t>(0, Missable().size() - 1)]);
  }
  if ((troubles & 32) != 0) {
    using FaultKind = devhost::Fault::Kind;
    scenario.fault.kind = (troubles & 16) != 0 ? FaultKind::kThrows : FaultKind::kFails;
    scenario.fault.once = (troubles & 8) == 0;
    scenario.fault.from = data.ConsumeIntegral<std::uint8_t>();
  }
  constexpr int kCalls[] = {1, 1, 2, 4};
  for (int i = 0; i < kCalls[troubles % 4]; ++i) {
    scenario.calls.push_back(DecodeCall(data));
  }
  return scenario;
}

std::ostream& operator<<(std::ostream& stream, const Scenario& scenario) {
  constexpr const char* kKinds[] = {"desktop", "console", "web", "unknown"};
  stream << kKinds[static_cast<int>(scenario.options.kind)] << " host " << scenario.options.version
         << ", pictures of type " << scenario.options.pixelType << ", calls: " << scenario.fault.Text();
  for (const std::string& name : scenario.options.without) {
    stream << ", without " << name;
  }
  for (const ScenarioCall& call : scenario.calls) {
    stream << "\n  method " << call.method << ": " << call.spec;
    if (call.refusal) {
      stream << ", bad argument " << *call.refusal;
    }
  }
  return stream;
}

const ScenarioRunner::Registered& ScenarioRunner::RegisteredWith(devhost::Host& host) {
  // What a host is as far as a plug-in learns it while it registers.
  std::string key = std::to_string(host.options().version);
  for (const char* entry : {"REALGetRBVersion", "RegisterPluginVersion", "PluginRegisterMethod",
                            "PluginRegisterClassExtension", "PluginRegisterModule"}) {
    key += host.Lacks(entry) ? '-' : '+';
  }
  const auto [found, isNew] = registered_.try_emplace(key);
  if (isNew) {
    plugin_.Restore(fresh_);
    plugin_.Register(&devhost::Host::Resolve);
    found->second = {plugin_.Save(), MethodsOf(host)};
  }
  return found->second;
}

std::string ScenarioRunner::Run(Scenario scenario) {
  devhost::Host host(scenario.options);
  host.clock.ticksPerReading = scenario.ticksPerReading;
  host.clock.nanosecondsPerReading = scenario.ticksPerReading * 1'000'000;
  const Registered& registered = RegisteredWith(host);
  plugin_.Restore(registered.state);
  devhost::Injection injection(host, {scenario.fault});
  if (scenario.fault.kind != devhost::Fault::Kind::kNone) {
    host.onEntry = std::ref(injection);
  }
  const auto live = plugin_.live.size();
  // A host that does not say what it is may pass for another kind from the second call on.
  const bool isKindKnown = !host.Lacks("pluginObjectType");
  const std::size_t most = registered.methods.empty() ? 0 : isKindKnown ? scenario.calls.size() : 1;
  for (std::size_t i = 0; i < most; ++i) {
    auto& [number, spec, refusal] = scenario.calls[i];
    const Method& method = registered.methods[number % registered.methods.size()];
    const auto& refusals = method.refusals;
    if (refusal) {
      spec = Refused(spec, refusals[*refusal % refusals.size()]);
    }
    Call call(host, method, std::move(spec));
    const std::string verdict = call.Run(&injection);
    if (!verdict.empty() || plugin_.live.size() != live) {
      return method.declaration + ": " + (verdict.empty() ? "memory was not freed" : verdict);
    }
  }
  return "";
}

}  // namespace tests
