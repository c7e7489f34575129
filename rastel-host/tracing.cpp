#include "rastel-host/tracing.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <set>

#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

constexpr std::size_t kShown = 4;      // bytes at the offsets 0 to 3
constexpr std::size_t kBehind = 2;     // bytes shown behind the last row of a buffer
constexpr std::size_t kExamined = 64;  // bytes of a block that are filled anew for each run
constexpr std::size_t kNoInput = 3 * kExamined;
constexpr int kRuns = 8;  // by chance, a wrong source fits in one of 256^8 cases

/// What a byte may come from.
struct Source {
  std::string cell;   // "red"; "%" stands for the name of the byte `input`
  std::string token;  // "R0"
  std::uint8_t value = 0;
  std::size_t input = kNoInput;  // the byte read
};

/// One call with random bytes.
struct Run {
  std::vector<std::uint8_t> before, after;  // the bytes that it may write
  std::vector<Source> sources;
};

/// What the byte at `index` came from in every run.
Source Explain(const std::vector<Run>& runs, std::size_t index) {
  const auto always = [&](auto holds) { return std::ranges::all_of(runs, holds); };
  for (std::size_t i = 0; i < runs[0].sources.size(); ++i) {
    if (always([&](const Run& run) { return run.after[index] == run.sources[i].value; })) {
      return runs[0].sources[i];
    }
  }
  const std::uint8_t first = runs[0].after[index];
  if (always([&](const Run& run) { return run.after[index] == first; })) {
    const char* digits = "0123456789ABCDEF";
    return {std::to_string(first), {digits[first / 16], digits[first % 16]}};
  }
  if (always([&](const Run& run) { return run.after[index] == run.before[index]; })) {
    return {"UNTOUCHED", ".."};
  }
  return {"?", "?"};
}

/// "red", "fourth", …: the bytes of a pixel as the host knows them.
std::vector<std::string> ChannelsOf(Host& host, PixelFormat format) {
  const auto picture = host.NewPicture(1, 1, format);
  picture->Set(0, 0, {0, 1, 2, 3});
  std::vector<std::string> channels;
  for (const std::uint8_t byte : BytesOf(*picture)) {
    constexpr const char* kNames[] = {"red", "green", "blue", "fourth"};
    channels.emplace_back(kNames[byte]);
  }
  return channels;
}

/// Finds out where the bytes of calls come from.
class Tracer {
 public:
  Tracer(SampleCall& sample, const CallVariant& variant) : sample_(sample), variant_(variant) {
    for (const auto& [name, flag] : variant.flags) {
      sample_.Set(name, flag);
    }
  }

  ObservedBytes Trace(PixelFormat format, const std::string& type) {
    channels_ = ChannelsOf(sample_.host, format);
    for (int number = 0; number < kRuns; ++number) {
      Randomize(number);
      runs_.push_back(sample_.MakesPicture() ? ToPicture() : ToBuffer());
    }
    for (std::size_t i = 0; i < runs_[0].after.size(); ++i) {
      found_.push_back(Explain(runs_, i));
    }
    ObservedBytes bytes{variant_.text, {}, {}};
    sample_.MakesPicture() ? DrawPicture(bytes, type) : DrawBuffer(bytes, type);
    return bytes;
  }

 private:
  std::uint8_t Random() { return static_cast<std::uint8_t>(random_()); }

  void Randomize(std::uint8_t* bytes, std::size_t count) {
    std::generate_n(bytes, count, [this] { return Random(); });
  }

  void Randomize(int run) {
    for (auto* picture : {sample_.picture.get(), sample_.mask.get(), sample_.dest.get()}) {
      for (std::int32_t y = 0; y < picture->height; ++y) {
        Randomize(picture->Row(y), picture->RowLength());
      }
    }
    Randomize(sample_.block->bytes(), kExamined);
    alpha_ = Random();
    const int beyond = run % 2 == 0 ? 256 : -256;
    sample_.Set("AlphaValue", std::int32_t{alpha_} + (variant_.alphaIsByte ? 0 : beyond));
    for (auto& [name, table] : tables_) {
      RandomizeTable(name, table);
    }
  }

  /// Gives the gray methods' argument `name` a value, and `table` what that must make of each gray.
  void RandomizeTable(const std::string& name, std::vector<std::int32_t>& table) {
    Value* argument = sample_.Find(name);
    if (argument == nullptr) {
      return;
    }
    table.resize(256);
    if (std::holds_alternative<std::int32_t>(*argument)) {
      const std::int32_t weight = Random() * 2;
      std::generate(table.begin(), table.end(), [&, gray = 0]() mutable { return gray++ * weight / 256; });
      *argument = weight;
    } else {
      std::generate(table.begin(), table.end(), [this] { return Random() * 2 - 100; });
      sample_.arrays.push_back(sample_.host.NewIntegerArray(table));
      *argument = sample_.arrays.back().get();
    }
    for (std::int32_t& value : table) {
      value = std::clamp(value, 0, 255);
    }
  }

  Run ToPicture() {
    Run run;
    const bool weighs = sample_.Has("Red") && std::holds_alternative<std::int32_t>(*sample_.Find("Red"));
    for (std::size_t i = 0; i < kExamined; ++i) {
      const std::uint8_t byte = sample_.block->bytes()[i];
      const std::string token = std::string("b").append(std::to_string(i));
      run.sources.push_back({"%", token, byte, i});
      for (const auto& [name, table] : tables_) {
        if (!table.empty()) {
          run.sources.push_back({weighs ? "%*" + name + "/256" : name + "(%)", token,
                                 static_cast<std::uint8_t>(table[byte]), i});
        }
      }
    }
    run.before = BytesOf(*sample_.dest);
    const CallResult result = sample_.Call();
    if (!result.picture) {
      throw Failure(Status::kFindings,
                    std::string(sample_.declaration.name) + ": no picture of good arguments");
    }
    rowLength_ = result.picture->RowLength();
    run.after = BytesOf(*result.picture);
    run.before.resize(run.after.size());
    return run;
  }

  Run ToBuffer() {
    Run run;
    AddPixels(*sample_.picture, "", 0, run.sources);
    if (sample_.Has("MaskForAlpha")) {
      AddPixels(*sample_.mask, "255 - mask ", kExamined, run.sources);
    }
    if (sample_.Has("AlphaValue")) {
      run.sources.push_back({"AlphaValue", "AV", alpha_});
    }
    const std::uint8_t* bytes = sample_.block->bytes();
    run.before.assign(bytes, bytes + kExamined);
    sample_.Call();
    run.after.assign(bytes, bytes + kExamined);
    return run;
  }

  /// The bytes of `picture`, or those of a mask.
  void AddPixels(REALpictureStruct& picture, const std::string& prefix, std::size_t firstInput,
                 std::vector<Source>& sources) const {
    const auto bytes = BytesOf(picture);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const std::size_t pixel = i / channels_.size();
      const std::string& channel = channels_[i % channels_.size()];
      const bool isMask = !prefix.empty();
      const char letter = isMask ? 'M' : static_cast<char>(std::toupper(channel[0]));
      const std::uint8_t value = isMask ? static_cast<std::uint8_t>(255 - bytes[i]) : bytes[i];
      sources.push_back({(pixel == 0 ? "" : "next ") + prefix + channel,
                         std::string(1, letter).append(std::to_string(pixel)), value, firstInput + i});
    }
  }

  std::int32_t Integer(std::string_view name) { return std::get<std::int32_t>(*sample_.Find(name)); }

  std::vector<std::string> Tokens(std::size_t first, std::size_t count) const {
    std::vector<std::string> tokens;
    for (std::size_t i = first; i < first + count; ++i) {
      tokens.push_back(found_[i].token);
    }
    return tokens;
  }

  void DrawBuffer(ObservedBytes& bytes, const std::string& type) {
    const auto offset = static_cast<std::size_t>(Integer("offset"));
    const auto stride = static_cast<std::size_t>(Integer("DestRowBytes"));
    const bool masked = sample_.Has("MaskForAlpha");
    const auto rows = static_cast<std::size_t>(masked ? SampleCall::kLargerSide : SampleCall::kSide);
    std::set<std::size_t> read;
    for (const Source& source : found_) {
      read.insert(source.input);
    }
    std::vector<std::string> buffer, picture, mask;
    for (std::size_t i = 0; i < kShown; ++i) {
      buffer.push_back(found_[offset + i].cell);
      const std::string channel = (i < channels_.size() ? "" : "next ") + channels_[i % channels_.size()];
      picture.push_back(read.contains(i) ? channel : "not read");
      mask.push_back(read.contains(kExamined + i) ? channel : "not read");
    }
    bytes.offsets = {{"buffer", buffer}, {"picture, type " + type, picture}};
    if (masked) {
      bytes.offsets.emplace_back("mask, type " + type, mask);
    }
    bytes.rows.emplace_back("before offset", Tokens(0, offset));
    for (std::size_t row = 0; row < rows; ++row) {
      bytes.rows.emplace_back("row " + std::to_string(row), Tokens(offset + row * stride, stride));
    }
    bytes.rows.emplace_back("behind", Tokens(offset + rows * stride, kBehind));
  }

  void DrawPicture(ObservedBytes& bytes, const std::string& type) {
    std::map<std::size_t, std::set<std::string>> uses;  // of bytes of the buffer, by channel
    std::map<std::size_t, bool> isNext;
    for (std::size_t i = 0; i < found_.size(); ++i) {
      if (found_[i].input != kNoInput) {
        uses[found_[i].input].insert(channels_[i % rowLength_ % channels_.size()]);
        isNext[found_[i].input] = i % rowLength_ >= channels_.size();
      }
    }
    const auto nameOf = [&](std::size_t input) {
      const auto& channels = uses[input];
      std::string name = isNext[input] ? "next " : "";
      return name += channels.empty() ? "not read" : channels.size() == 1 ? *channels.begin() : "gray";
    };
    std::vector<std::string> buffer, picture;
    for (std::size_t i = 0; i < kShown; ++i) {
      buffer.push_back(nameOf(static_cast<std::size_t>(Integer("offset")) + i));
      std::string cell = found_[i].cell;
      if (found_[i].input != kNoInput) {
        cell.replace(cell.find('%'), 1, nameOf(found_[i].input));
      }
      picture.push_back(cell);
    }
    bytes.offsets = {{"buffer", buffer}, {"picture, type " + type, picture}};
    for (std::size_t first = 0; first < found_.size(); first += rowLength_) {
      bytes.rows.emplace_back("row " + std::to_string(first / rowLength_), Tokens(first, rowLength_));
    }
  }

  SampleCall& sample_;
  const CallVariant& variant_;
  std::mt19937 random_{1};
  std::vector<std::string> channels_;  // of a pixel's bytes
  std::uint8_t alpha_ = 0;             // the low byte of AlphaValue
  std::map<std::string, std::vector<std::int32_t>> tables_ = {{"Red", {}}, {"Blue", {}}, {"Green", {}}};
  std::size_t rowLength_ = 0;
  std::vector<Run> runs_;
  std::vector<Source> found_;
};

}  // namespace

ObservedBytes TraceBytes(SampleCall& sample, const CallVariant& variant, PixelFormat format,
                         const std::string& type) {
  return Tracer(sample, variant).Trace(format, type);
}

std::vector<std::uint8_t> BytesOf(REALpictureStruct& picture) {
  std::vector<std::uint8_t> bytes;
  for (std::int32_t y = 0; y < picture.height; ++y) {
    bytes.insert(bytes.end(), picture.Row(y), picture.Row(y) + picture.RowLength());
  }
  return bytes;
}

}  // namespace devhost::program
