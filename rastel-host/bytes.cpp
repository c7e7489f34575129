#include "rastel-host/bytes.h"

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "rastel-host/session.h"

namespace devhost::program {
namespace {

using rastel::abi::HostType;

constexpr std::size_t kShown = 4;
constexpr int kRuns = 8;  // by chance, a wrong source fits in one of 256^8 cases
constexpr std::int32_t kSide = 2;
constexpr std::int32_t kOffset = 2;
constexpr std::int32_t kRowBytes = 16;  // so that no row is written over another
constexpr std::int32_t kBlockBytes = 256;
constexpr std::size_t kRandomized = 32;  // bytes of the block that can be read

/// What a byte may come from.
struct Source {
  std::string name;
  std::uint8_t value;
};

/// One call with random bytes.
struct Call {
  std::array<std::uint8_t, kShown> before{}, after{};
  std::vector<Source> sources;
};

/// What the byte at `index` came from in every call.
std::string Explain(const std::vector<Call>& calls, std::size_t index) {
  const auto always = [&](auto holds) { return std::ranges::all_of(calls, holds); };
  for (std::size_t i = 0; i < calls[0].sources.size(); ++i) {
    if (always([&](const Call& call) { return call.after[index] == call.sources[i].value; })) {
      return calls[0].sources[i].name;
    }
  }
  const std::uint8_t first = calls[0].after[index];
  if (always([&](const Call& call) { return call.after[index] == first; })) {
    return std::to_string(first);
  }
  const bool kept = always([&](const Call& call) { return call.after[index] == call.before[index]; });
  return kept ? "kept" : "?";
}

/// An overload, and arguments that it should accept.
class Trial {
 public:
  Trial(Host& host, const Registration& method)
      : host_(host),
        method_(method),
        makesPicture_(method.result == HostType::kPicture),
        picture_(host.NewPicture(kSide, kSide)),
        mask_(host.NewPicture(kSide, kSide)),
        dest_(host.NewPicture(kSide, kSide)),
        block_(host.NewMemoryBlock(kBlockBytes)) {
    std::ranges::transform(method.parameters, std::back_inserter(values_),
                           [this](const Parameter& parameter) { return Good(parameter); });
  }

  TracedBytes Trace(const std::string& flags) {
    std::vector<Call> calls(kRuns);
    std::ranges::for_each(calls, [this](Call& call) { Do(call); });
    TracedBytes traced = {flags, makesPicture_ ? "picture" : "buffer", {}};
    for (std::size_t i = 0; i < kShown; ++i) {
      traced.cells.push_back(Explain(calls, i));
    }
    return traced;
  }

  /// The argument for a parameter; null if there is none.
  Value* Find(std::string_view name) {
    const auto found = std::ranges::find(method_.parameters, name, &Parameter::name);
    return found == method_.parameters.end() ? nullptr : &values_[found - method_.parameters.begin()];
  }

 private:
  Value Good(const Parameter& parameter) {
    static const std::map<std::string_view, std::int32_t> kGood = {
        {"offset", kOffset},  {"width", kSide}, {"height", kSide},
        {"PixelByteSize", 2}, {"EndLine", -1},  {"DestRowBytes", kRowBytes}};
    const bool isExtended = method_.extendsPicture && &parameter == method_.parameters.data();
    switch (parameter.type) {
      case HostType::kPicture:
        return isExtended ? picture_.get() : makesPicture_ ? dest_.get() : mask_.get();
      case HostType::kMemoryblock:
        return block_.get();
      case HostType::kPtr:
        return Ptr{block_->bytes()};
      case HostType::kIntegerArray:
        return nullptr;
      case HostType::kBoolean:
        return false;
      default:
        const auto good = kGood.find(parameter.name);
        return good == kGood.end() ? 0 : good->second;
    }
  }

  void Do(Call& call) {
    for (auto* picture : {picture_.get(), mask_.get(), dest_.get()}) {
      for (std::int32_t y = 0; y < picture->height; ++y) {
        Randomize(picture->Row(y), picture->RowLength());
      }
    }
    Randomize(block_->bytes(), kRandomized);
    makesPicture_ ? AddBytes(call.sources) : AddPixels(call.sources);
    const std::uint8_t* written = makesPicture_ ? dest_->Row(0) : block_->bytes() + kOffset;
    std::copy_n(written, kShown, call.before.begin());
    const CallResult result = host_.Call(method_, values_);
    if (!result.picture && !result.boolean) {
      throw Failure(Status::kFindings, "the method did not succeed with the arguments of show" +
                                           (result.exception ? ": " + ExceptionText(*result.exception) : ""));
    }
    std::copy_n(makesPicture_ ? result.picture->Row(0) : written, kShown, call.after.begin());
  }

  std::uint8_t Random() { return static_cast<std::uint8_t>(random_()); }

  void Randomize(std::uint8_t* bytes, std::size_t count) {
    std::generate_n(bytes, count, [this] { return Random(); });
  }

  /// What a copy may take: the channels of the first two pixels, and of the mask.
  void AddPixels(std::vector<Source>& sources) {
    for (std::int32_t x = 0; x < kSide; ++x) {
      const std::string next = x == 0 ? "" : "next ";
      const Pixel pixel = picture_->At(x, 0);
      sources.push_back({next + "red", pixel.red});
      sources.push_back({next + "green", pixel.green});
      sources.push_back({next + "blue", pixel.blue});
      sources.push_back({next + "255 - mask", static_cast<std::uint8_t>(255 - mask_->At(x, 0).green)});
    }
    if (Value* argument = Find("AlphaValue")) {
      const std::uint8_t alpha = Random();
      *argument = std::int32_t{alpha};
      sources.push_back({"AlphaValue", alpha});
    }
  }

  /// What a picture's byte may be made of: the bytes behind the offset, as they are, weighted or looked up.
  void AddBytes(std::vector<Source>& sources) {
    for (std::size_t i = kOffset; i < kRandomized; ++i) {
      sources.push_back({"byte " + std::to_string(i - kOffset), block_->bytes()[i]});
    }
    const std::vector<Source> bytes = sources;
    for (const std::string name : {"Red", "Green", "Blue"}) {
      Value* argument = Find(name);
      if (argument == nullptr) {
        continue;
      }
      const bool weighs = std::holds_alternative<std::int32_t>(*argument);
      const auto made = weighs ? RandomWeight(*argument) : RandomPalette(*argument);
      for (const auto& [byte, value] : bytes) {
        sources.push_back({weighs ? byte + " * " + name + " / 256" : name + "(" + byte + ")",
                           static_cast<std::uint8_t>(std::clamp(made[value], 0, 255))});
      }
    }
  }

  /// Each gives an argument a value, and tells what becomes of each gray.
  std::vector<std::int32_t> RandomWeight(Value& argument) {
    const std::int32_t weight = Random() * 2;
    std::vector<std::int32_t> weighted(256);
    std::generate(weighted.begin(), weighted.end(),
                  [=, gray = 0]() mutable { return gray++ * weight / 256; });
    argument = weight;
    return weighted;
  }
  std::vector<std::int32_t> RandomPalette(Value& argument) {
    std::vector<std::int32_t> palette(256);
    std::ranges::generate(palette, [this] { return Random() * 2 - 100; });
    arrays_.push_back(host_.NewIntegerArray(palette));
    argument = arrays_.back().get();
    return palette;
  }

  Host& host_;
  const Registration& method_;
  bool makesPicture_;
  Ref<REALpictureStruct> picture_, mask_, dest_;
  Ref<REALmemoryBlockStruct> block_;
  std::vector<Ref<_REALarrayInteger>> arrays_;  // whatever `values_` refers to
  std::vector<Value> values_;
  std::mt19937 random_{1};
};

}  // namespace

std::vector<TracedBytes> TraceBytes(Host& host, const Registration& method) {
  Trial trial(host, method);
  std::vector<std::string> names;
  for (const Parameter& parameter : method.parameters) {
    if (parameter.type == HostType::kBoolean) {
      names.push_back(parameter.name);
    }
  }
  std::vector<TracedBytes> all;
  for (std::size_t way = 0; way < std::size_t{1} << names.size(); ++way) {
    std::string flags;
    for (std::size_t i = 0; i < names.size(); ++i) {
      const bool flag = (way >> i & 1) != 0;
      *trial.Find(names[i]) = flag;
      flags += (i == 0 ? "" : ", ") + names[i] + (flag ? " = true" : " = false");
    }
    all.push_back(trial.Trace(flags));
  }
  return all;
}

}  // namespace devhost::program
