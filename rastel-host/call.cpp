#include <algorithm>
#include <array>
#include <iostream>
#include <utility>

#include "rastel-host/failure.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

constexpr std::size_t kBytesShown = 16;
constexpr std::int32_t kPixelsShown = 4;

/// Bytes that a method may write to, in a block of the host's or behind a raw address.
struct Writable {
  std::string name;  // "argument 1 (block:64)"
  Ref<REALmemoryBlockStruct> block;
  std::vector<std::uint8_t> before;
};

/// The arguments of a call, with all that they refer to.
class Parsed {
 public:
  Parsed(Host& host, PixelFormat format, const std::vector<std::string>& texts)
      : host_(host), format_(format) {
    for (const std::string& text : texts) {
      Add(text);
    }
  }

  const Arguments& arguments() const { return arguments_; }
  const std::vector<Writable>& writables() const { return writables_; }

 private:
  void Add(const std::string& text) {
    const auto equals = text.find('=');
    if (text.starts_with("--")) {
      throw Failure(Status::kUsage, "call: unknown option '" + text + "' (see call --help)");
    }
    if (equals != std::string::npos && equals > 0 && text.find_first_of(":[") > equals) {
      what_ = "argument " + text.substr(0, equals);
      arguments_.named.emplace_back(text.substr(0, equals), Parse(text.substr(equals + 1)));
      return;
    }
    what_ = "argument " + std::to_string(arguments_.inOrder.size() + 1);
    if (!arguments_.named.empty()) {
      throw Failure(Status::kUsage,
                    what_ + ": expected name=value after the first of these, got '" + text + "'");
    }
    arguments_.inOrder.push_back(Parse(text));
  }

  Value Parse(const std::string& text) {
    if (text == "nil") {
      return nullptr;
    }
    if (text == "true" || text == "false") {
      return text == "true";
    }
    if (text.starts_with("picture:")) {
      return MakePictureValue(text.substr(8));
    }
    if (text.starts_with("block:")) {
      return MakeBlock(text, text.substr(6));
    }
    if (text.starts_with("ptr:")) {
      return Ptr{MakeBlock(text, text.substr(4))->bytes()};
    }
    if (text.starts_with("[")) {
      arrays_.push_back(host_.NewIntegerArray(ParseIntegers(what_, text)));
      return arrays_.back().get();
    }
    if (!IsDigits(text.starts_with("-") ? text.substr(1) : text)) {
      throw Failure(Status::kUsage, what_ +
                                        ": expected an integer, true, false, nil, picture:…, block:…, "
                                        "ptr:… or [1,2,3], got '" +
                                        text + "'");
    }
    return ParseInteger(what_, text);
  }

  REALpictureStruct* MakePictureValue(const std::string& source) {
    Image image;
    if (LooksLikeSize(source)) {
      const Size size = ParseSize(what_, source);
      image = Pattern(size.width, size.height);
    } else {
      image = ReadImage(source);
    }
    pictures_.push_back(MakePicture(host_, image, format_));
    return pictures_.back().get();
  }

  REALmemoryBlockStruct* MakeBlock(const std::string& text, const std::string& source) {
    std::vector<std::uint8_t> bytes;
    if (IsDigits(source)) {
      bytes.resize(static_cast<std::size_t>(ParseInteger(what_, source, 0)));
      std::generate(bytes.begin(), bytes.end(),
                    [next = 0]() mutable { return static_cast<std::uint8_t>(next++); });
    } else {
      bytes = ReadBytes(source);
    }
    auto block = host_.NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), block->bytes());
    writables_.push_back({what_ + " (" + text + ")", std::move(block), std::move(bytes)});
    return writables_.back().block.get();
  }

  Host& host_;
  PixelFormat format_;
  std::string what_;  // the argument being parsed
  Arguments arguments_;
  std::vector<Writable> writables_;
  std::vector<Ref<REALpictureStruct>> pictures_;
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

/// Equal calls, one after the other.
struct Run {
  std::int32_t first, last;
  std::string result;  // "true", "nil", "picture 4x4, …"
  std::string pixels;  // of a picture, the first ones
  std::optional<std::string> exception;

  bool Equals(const Run& other) const {
    return result == other.result && pixels == other.pixels && exception == other.exception;
  }
};

std::string PixelsText(REALpictureStruct& picture) {
  std::string text;
  for (std::int32_t x = 0; x < std::min(picture.width, kPixelsShown); ++x) {
    const Pixel pixel = picture.At(x, 0);
    text += (x == 0 ? "(" : " (") + std::to_string(pixel.red) + ", " + std::to_string(pixel.green) + ", " +
            std::to_string(pixel.blue) + ", " + std::to_string(pixel.fourth) + ")";
  }
  return text + (picture.width > kPixelsShown ? " …" : "");
}

/// One call. What a host entry throws ends it without a result.
Run Call(Host& host, const CallOptions& options, const Arguments& arguments, std::int32_t number) {
  Run run{number, number, "none", "", {}};
  try {
    const CallResult result = host.Call(options.method, arguments);
    run.result = !result.returnsPicture ? (result.boolean ? "true" : "false")
                 : result.picture       ? PictureText(*result.picture)
                                        : "nil";
    if (result.picture) {
      run.pixels = PixelsText(*result.picture);
      if (options.out) {
        WriteImage(*options.out, ImageOf(*result.picture));
      }
    }
    if (result.exception) {
      run.exception = ExceptionText(*result.exception);
    }
  } catch (const HostError& error) {
    throw Failure(Status::kUsage, error.what());
  } catch (const HostFault& exception) {
    run.exception = exception.what();
  }
  return run;
}

void PrintRun(const Run& run, bool numbered) {
  if (numbered) {
    std::cout << "from call " << run.first << " on:\n";
  }
  std::cout << "result: " << run.result << '\n';
  if (!run.pixels.empty()) {
    std::cout << "pixels: " << run.pixels << '\n';
  }
  if (run.exception) {
    std::cout << Bad("exception") << ": " << *run.exception << '\n';
  }
}

std::size_t CountChanged(const Writable& writable) {
  std::size_t changed = 0;
  for (std::size_t i = 0; i < writable.before.size(); ++i) {
    changed += writable.block->bytes()[i] != writable.before[i] ? 1 : 0;
  }
  return changed;
}

/// "00 01 02 …"
std::string BeginningOf(const Writable& writable) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(writable.before.size(), kBytesShown); ++i) {
    const std::uint8_t byte = writable.block->bytes()[i];
    text += text.empty() ? "" : " ";
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text + (writable.before.size() > kBytesShown ? " …" : "");
}

/// Writes the first block, unless the method is one that makes pictures.
void SaveBlock(const std::string& path, const Run& run, const std::vector<Writable>& writables) {
  if (run.pixels.empty() && (run.result != "true" || writables.empty())) {
    throw Failure(Status::kFindings, path + ": not written, there is neither a picture nor a block");
  }
  if (run.pixels.empty()) {
    const auto& block = writables[0].block;
    WriteBytes(path, {block->bytes(), block->bytes() + block->size});
  }
}

/// What the calls of one method came to.
struct Story {
  std::vector<Run> runs;
  std::vector<std::string> trace, losses;
};

void PrintEnd(const Story& story, const std::vector<Writable>& writables) {
  for (const Writable& writable : writables) {
    if (const std::size_t changed = CountChanged(writable); changed > 0) {
      std::cout << writable.name << ": " << changed << " bytes changed; it begins " << BeginningOf(writable)
                << '\n';
    }
  }
  for (const std::string& loss : story.losses) {
    std::cout << Bad("balance") << ": " << loss << '\n';
  }
  if (story.losses.empty()) {
    std::cout << "balance: even, every object, reference and lock was given back\n";
  }
}

void PrintStoryAsJson(const CallOptions& options, const Story& story,
                      const std::vector<Writable>& writables) {
  Datum::List runs, written;
  for (const Run& run : story.runs) {
    runs.emplace_back(Datum::Record{{"firstCall", run.first},
                                    {"lastCall", run.last},
                                    {"result", run.result},
                                    {"pixels", run.pixels},
                                    {"exception", run.exception}});
  }
  for (const Writable& writable : writables) {
    written.emplace_back(Datum::Record{{"argument", writable.name},
                                       {"bytesChanged", CountChanged(writable)},
                                       {"beginning", BeginningOf(writable)}});
  }
  PrintJson("call", {{"method", options.method},
                     {"calls", runs},
                     {"blocks", written},
                     {"trace", ListOf(story.trace)},
                     {"losses", ListOf(story.losses)}});
}

}  // namespace

Status RunCall(const CallOptions& options) {
  const auto host = OpenHost(options.common.host);
  const Parsed parsed(*host, SourceFormat(options.common.host), options.arguments);
  const Balance before = host->CurrentBalance();
  Story story;
  for (std::int32_t number = 1; number <= options.times; ++number) {
    host->trace.clear();
    const Run run = Call(*host, options, parsed.arguments(), number);
    for (const TracedCall& call : host->trace) {
      if (options.trace && options.common.json) {
        story.trace.push_back(call.Text());
      } else if (options.trace) {
        std::cout << "trace: " << call.Text() << '\n';
      }
    }
    if (!story.runs.empty() && story.runs.back().Equals(run)) {
      story.runs.back().last = number;
      continue;
    }
    story.runs.push_back(run);
    if (!options.common.json) {
      PrintRun(run, options.times > 1);
    }
  }
  story.losses = Losses(*host, before);
  if (options.common.json) {
    PrintStoryAsJson(options, story, parsed.writables());
  } else {
    PrintEnd(story, parsed.writables());
  }
  if (options.out) {
    SaveBlock(*options.out, story.runs.back(), parsed.writables());
  }
  const bool raised =
      std::ranges::any_of(story.runs, [](const Run& run) { return run.exception.has_value(); });
  return raised || !story.losses.empty() ? Status::kFindings : Status::kGood;
}

}  // namespace devhost::program
