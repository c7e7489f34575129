#include "rastel-host/observation.h"

#include <algorithm>

#include "rastel-host/probe.h"
#include "rastel-host/sample_call.h"
#include "rastel-host/tracing.h"

namespace devhost::program {
namespace {

std::vector<CallVariant> VariantsOf(SampleCall& sample) {
  std::vector<CallVariant> variants = {{}};
  const auto split = [&](const std::string& name, auto change) {
    std::vector<CallVariant> both;
    for (const CallVariant& variant : variants) {
      for (const bool flag : {false, true}) {
        both.push_back(variant);
        both.back().text += (variant.text.empty() ? "" : ", ") + name;
        change(both.back(), flag);
      }
    }
    variants = both;
  };
  for (const auto& parameter : sample.parameters) {
    const std::string name(parameter.name);
    if (parameter.type == rastel::abi::HostType::kBoolean) {
      split(name, [&](CallVariant& variant, bool flag) {
        variant.text += flag ? " = true" : " = false";
        variant.flags.emplace_back(name, flag);
      });
    } else if (name == "AlphaValue") {
      split(name, [](CallVariant& variant, bool flag) {
        variant.text += flag ? " below 0 or above 255" : " from 0 to 255";
        variant.alphaIsByte = !flag;
      });
    }
  }
  return variants;
}

void ObserveYields(SampleCall& sample, Observed& observed) {
  Host& host = sample.host;
  int count = 0;
  host.onYield = [&] { ++count; };
  const auto picture = host.NewPicture(1, kYieldRows);
  sample.Set("ref", picture.get());
  sample.Set("MaskForAlpha", picture.get());
  sample.Set("height", kYieldRows);
  for (const int yield : {0, 1, 3, -50}) {
    host.clock = {.ticksPerReading = 1, .nanosecondsPerReading = 16'666'667};
    sample.Set("Yield", yield);
    count = 0;
    sample.Call();
    observed.yields.emplace_back(yield, count);
  }
  host.onYield = nullptr;
  sample.Set("ref", sample.picture.get());
}

void ObserveDest(SampleCall& sample, Observed& observed) {
  if (!sample.Has("dest")) {
    return;
  }
  if (sample.Call().picture.get() == sample.dest.get()) {
    observed.dest = "\nA `dest` that is at least as large as the buffer is filled, and is the result.";
  }
  const auto small = sample.host.NewPicture(1, 1);
  sample.Set("dest", small.get());
  const auto before = BytesOf(*small);
  const auto result = sample.Call();
  if (result.picture && result.picture.get() != small.get() && BytesOf(*small) == before) {
    observed.dest += " A smaller one is\nleft as it was, and the result is a new picture.";
  }
}

/// What does not depend on the pixel type.
Observed ObserveOne(Host& host, const Registration& method) {
  SampleCall sample(host, method);
  Observed observed{.declaration = method.declaration, .name = std::string(sample.declaration.name)};
  observed.makesPicture = sample.MakesPicture();
  ObserveDest(sample, observed);
  ObserveYields(sample, observed);
  SampleCall fresh(host, method);
  ProbeArguments(fresh, observed);
  return observed;
}

/// Adds what a host with one more pixel type shows.
void AddBytes(Host& host, const Registration& method, PixelFormat format, const std::string& type,
              Observed& observed) {
  SampleCall sample(host, method);
  const auto variants = VariantsOf(sample);
  const bool isFirst = observed.bytes.empty();
  observed.bytes.resize(variants.size());
  for (std::size_t i = 0; i < variants.size(); ++i) {
    ObservedBytes traced = TraceBytes(sample, variants[i], format, type);
    if (isFirst) {
      observed.bytes[i] = traced;
      continue;
    }
    auto& lines = observed.bytes[i].offsets;
    for (const Line& line : traced.offsets) {
      if (std::ranges::find(lines, line) == lines.end()) {
        lines.push_back(line);
      }
    }
  }
}

/// Flags that move no byte are not spoken of.
void MergeVariants(std::vector<ObservedBytes>& bytes) {
  const auto isSame = [&](const ObservedBytes& other) {
    return other.offsets == bytes[0].offsets && other.rows == bytes[0].rows;
  };
  if (std::ranges::all_of(bytes, isSame)) {
    bytes.resize(1);
    bytes[0].variant.clear();
  }
}

}  // namespace

std::vector<Observed> Observe(const HostSettings& settings, const std::string& method) {
  std::vector<Observed> all;
  for (const int pixelType : {13, 12, 8}) {
    HostSettings typed = settings;
    typed.pixelType = pixelType;
    typed.kind = pixelType == 8 ? Kind::kConsole : Kind::kDesktop;
    const auto host = OpenHost(typed);
    std::size_t next = 0;
    for (const Registration& registration : host->methods()) {
      const auto name =
          std::string_view(registration.declaration).substr(0, registration.declaration.find('('));
      if (!method.empty() && !rastel::abi::SameName(name, method)) {
        continue;
      }
      if (next == all.size()) {
        all.push_back(ObserveOne(*host, registration));
      }
      AddBytes(*host, registration, SourceFormat(typed), std::to_string(pixelType), all[next++]);
    }
  }
  for (Observed& observed : all) {
    MergeVariants(observed.bytes);
  }
  return all;
}

}  // namespace devhost::program
