#include "rastel-host/bytes.h"

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "abi/declaration.h"
#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

using rastel::abi::Declaration;
using rastel::abi::HostType;
using rastel::abi::Parameter;
using rastel::abi::ParameterRole;

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
  std::array<std::uint8_t, kBytesShown> before{}, after{};
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

Declaration Parsed(const Registration& method) {
  const auto declaration = rastel::abi::ParseDeclaration(method.declaration);
  if (!declaration) {
    throw Failure(Status::kFindings, "a host does not understand this declaration");
  }
  return *declaration;
}

/// An overload, and arguments that it should accept.
class Trial {
 public:
  Trial(Host& host, const Registration& method)
      : host_(host),
        method_(method),
        declaration_(Parsed(method)),
        picture_(host.NewPicture(kSide, kSide)),
        mask_(host.NewPicture(kSide, kSide)),
        dest_(host.NewPicture(kSide, kSide)),
        block_(host.NewMemoryBlock(kBlockBytes)) {
    const auto* first = declaration_.parameters.data();
    if (method.extendsPicture &&
        (declaration_.parameterCount == 0 || first->role != ParameterRole::kExtends)) {
      values_.emplace_back(picture_.get());
      names_.emplace_back("ref");
    }
    for (const Parameter& parameter : std::vector(first, first + declaration_.parameterCount)) {
      names_.emplace_back(parameter.name);
      values_.push_back(Good(parameter));
      if (parameter.type == HostType::kBoolean) {
        flags_.emplace_back(parameter.name);
      }
    }
  }

  bool makesPicture() const { return declaration_.result == HostType::kPicture; }
  const std::vector<std::string>& flags() const { return flags_; }

  void Set(const std::string& name, const Value& value) {
    const auto found = std::ranges::find(names_, name);
    if (found != names_.end()) {
      values_[static_cast<std::size_t>(found - names_.begin())] = value;
    }
  }

  Call Do() {
    Call call;
    for (auto* picture : {picture_.get(), mask_.get(), dest_.get()}) {
      for (std::int32_t y = 0; y < picture->height; ++y) {
        Randomize(picture->Row(y), picture->RowLength());
      }
    }
    Randomize(block_->bytes(), kRandomized);
    makesPicture() ? AddBytes(call.sources) : AddPixels(call.sources);
    std::uint8_t* written = makesPicture() ? dest_->Row(0) : block_->bytes() + kOffset;
    std::copy_n(written, kBytesShown, call.before.begin());
    const CallResult result = host_.Call(method_, values_);
    if (!result.picture && !result.boolean) {
      throw Failure(Status::kFindings, "the method did not succeed with the arguments of show" +
                                           (result.exception ? ": " + ExceptionText(*result.exception) : ""));
    }
    written = makesPicture() ? result.picture->Row(0) : written;
    std::copy_n(written, kBytesShown, call.after.begin());
    return call;
  }

 private:
  Value Good(const Parameter& parameter) {
    switch (parameter.type) {
      case HostType::kPicture:
        return parameter.role == ParameterRole::kExtends ? picture_.get()
               : makesPicture()                          ? dest_.get()
                                                         : mask_.get();
      case HostType::kMemoryblock:
        return block_.get();
      case HostType::kPtr:
        return Ptr{block_->bytes()};
      case HostType::kIntegerArray:
        return nullptr;
      case HostType::kBoolean:
        return false;
      default:
        return GoodInteger(parameter.name);
    }
  }

  static std::int32_t GoodInteger(std::string_view name) {
    static const std::map<std::string_view, std::int32_t> kGood = {
        {"offset", kOffset},  {"width", kSide}, {"height", kSide},
        {"PixelByteSize", 2}, {"EndLine", -1},  {"DestRowBytes", kRowBytes}};
    const auto found = kGood.find(name);
    return found == kGood.end() ? 0 : found->second;
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
      const Pixel mask = mask_->At(x, 0);
      sources.push_back({next + "red", pixel.red});
      sources.push_back({next + "green", pixel.green});
      sources.push_back({next + "blue", pixel.blue});
      sources.push_back({next + "255 - mask", static_cast<std::uint8_t>(255 - mask.green)});
    }
    const std::uint8_t alpha = Random();
    Set("AlphaValue", std::int32_t{alpha});
    sources.push_back({"AlphaValue", alpha});
  }

  /// What a picture's byte may be made of: the bytes behind the offset, as they are, weighted or looked up.
  void AddBytes(std::vector<Source>& sources) {
    std::map<std::string, std::vector<std::int32_t>> tables;
    for (const char* name : {"Red", "Green", "Blue"}) {
      tables[name] = RandomTable(name);
    }
    for (std::size_t i = kOffset; i < kRandomized; ++i) {
      const std::uint8_t byte = block_->bytes()[i];
      const std::string name = "byte " + std::to_string(i - kOffset);
      sources.push_back({name, byte});
      for (const auto& [table, elements] : tables) {
        if (!elements.empty()) {
          const auto element = static_cast<std::uint8_t>(std::clamp(elements[byte], 0, 255));
          sources.push_back(
              {(weighs_ ? name + " * " + table + " / 256" : table + "(" + name + ")"), element});
        }
      }
    }
  }

  /// Gives a gray method's argument a value, and tells what that makes of each gray; nothing if the method
  /// has no such argument.
  std::vector<std::int32_t> RandomTable(const std::string& name) {
    const auto found = std::ranges::find(names_, name);
    if (found == names_.end()) {
      return {};
    }
    std::vector<std::int32_t> table(256);
    Value& argument = values_[static_cast<std::size_t>(found - names_.begin())];
    weighs_ = std::holds_alternative<std::int32_t>(argument);
    if (weighs_) {
      const std::int32_t weight = Random() * 2;
      std::generate(table.begin(), table.end(), [&, gray = 0]() mutable { return gray++ * weight / 256; });
      argument = weight;
    } else {
      std::generate(table.begin(), table.end(), [this] { return Random() * 2 - 100; });
      arrays_.push_back(host_.NewIntegerArray(table));
      argument = arrays_.back().get();
    }
    return table;
  }

  Host& host_;
  const Registration& method_;
  Declaration declaration_;
  std::vector<std::string> names_, flags_;
  std::vector<Value> values_;
  Ref<REALpictureStruct> picture_, mask_, dest_;
  Ref<REALmemoryBlockStruct> block_;
  std::vector<Ref<_REALarrayInteger>> arrays_;  // whatever `values_` refers to
  bool weighs_ = false;
  std::mt19937 random_{1};
};

TracedBytes Trace(Trial& trial, const std::string& flags) {
  std::vector<Call> calls;
  for (int number = 0; number < kRuns; ++number) {
    calls.push_back(trial.Do());
  }
  TracedBytes traced = {flags, trial.makesPicture() ? "picture" : "buffer", {}};
  for (std::size_t i = 0; i < kBytesShown; ++i) {
    traced.cells.push_back(Explain(calls, i));
  }
  return traced;
}

}  // namespace

std::vector<TracedBytes> TraceBytes(const Session& session, const Registration& method) {
  Trial trial(session.host(), method);
  std::vector<TracedBytes> all;
  const std::size_t ways = std::size_t{1} << trial.flags().size();
  for (std::size_t way = 0; way < ways; ++way) {
    std::string flags;
    for (std::size_t i = 0; i < trial.flags().size(); ++i) {
      const bool flag = (way >> i & 1) != 0;
      trial.Set(trial.flags()[i], flag);
      flags += (i == 0 ? "" : ", ") + trial.flags()[i] + (flag ? " = true" : " = false");
    }
    all.push_back(Trace(trial, flags));
  }
  return all;
}

}  // namespace devhost::program
