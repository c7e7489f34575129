// call: one method with arguments of the user's own.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "rastel-host/arguments.h"
#include "rastel-host/call_trace.h"
#include "rastel-host/files.h"
#include "rastel-host/image.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/supervise.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

constexpr const char* kHelp =
    R"(Arguments, in the order of the declaration or as name=value: integers, true, false, nil,
picture:WxH, picture:FILE.png, block:BYTES, block:FILE, ptr:BYTES, ptr:FILE, and [1,2,3] for an
array of integers. A method of Picture takes the picture first, or as ref=picture:….
picture:WxH holds red x, green y, blue x + y, each modulo 256, and 90 in the fourth byte;
block:BYTES and ptr:BYTES hold 0, 1, 2, … modulo 256. They lie between pages without access: a
method that reads or writes outside them ends the call, which tells where.
Examples:
  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4
  rastel-host call CopyXRGBtoMemoryblockKVZ ref=picture:4x4 destination=block:64 offset=0
  rastel-host call PtrGrayToPictureKVZ ptr:16 0 4 4 1 [0,300,-7] nil [255]
  rastel-host call CopyARGBtoMemoryblockKVZ nil block:64 0 255 --trace
  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --times 12 --fail newPicture@10
)";

constexpr std::size_t kBytesOfBlock = 16;
constexpr std::int32_t kPixelsOfPicture = 4;

struct Options {
  HostSettings host;
  bool json = false;
  std::string method;
  std::vector<std::string> arguments;
  std::optional<std::string> out;  // where the picture made goes, or the first block
  std::int32_t times = 1;
  bool trace = false;
};

/// Equal calls, one after the other.
struct Calls {
  std::int32_t first, last;
  std::string result;  // "true", "nil", "picture 4x4, …"
  std::string pixels;  // of a picture, the first ones
  std::optional<std::string> exception;

  bool Equals(const Calls& other) const {
    return result == other.result && pixels == other.pixels && exception == other.exception;
  }
};

std::string PixelsText(REALpictureStruct& picture) {
  std::string text;
  for (std::int32_t x = 0; x < std::min(picture.width, kPixelsOfPicture); ++x) {
    const Pixel pixel = picture.At(x, 0);
    text += (x == 0 ? "(" : " (") + std::to_string(pixel.red) + ", " + std::to_string(pixel.green) + ", " +
            std::to_string(pixel.blue) + ", " + std::to_string(pixel.fourth) + ")";
  }
  return text + (picture.width > kPixelsOfPicture ? " …" : "");
}

/// "00 01 02 …"
std::string BeginningOf(const Block& block) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(block.before.size(), kBytesOfBlock); ++i) {
    const std::uint8_t byte = block.block->bytes()[i];
    text += text.empty() ? "" : " ";
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text + (block.before.size() > kBytesOfBlock ? " …" : "");
}

/// All that is done for one command line.
class Caller {
 public:
  explicit Caller(const Options& options)
      : options_(options),
        session_(options.host),
        arguments_(session_, options.arguments),
        before_(session_->CurrentBalance()) {}

  Status Run() {
    const WrittenBytes written([this] { session_->Call(options_.method, arguments_.arguments()); },
                               arguments_.blocks());
    if (options_.trace) {
      trace_.emplace(session_.host(), !options_.json);
    }
    const Progress progress(options_.times > 1 ? "calling " + options_.method : "");
    const auto crash = CatchCrash([this] { CallAll(); });
    progress.Clear();
    if (crash) {
      EndCall();
      throw Failure(Status::kCrash, CrashText(*crash));
    }
    losses_ = Losses(session_.host(), before_);
    for (const std::string& line : session_.FaultsNotDue()) {
      Say(line);
    }
    options_.json ? PrintAsJson(written) : Print(written);
    if (options_.out) {
      Save(*options_.out);
    }
    const auto raised =
        std::ranges::any_of(calls_, [](const Calls& calls) { return calls.exception.has_value(); });
    return raised || !losses_.empty() ? Status::kFindings : Status::kGood;
  }

 private:
  void CallAll() {
    for (std::int32_t number = 1; number <= options_.times; ++number) {
      Calls calls = CallOnce(number);
      EndCall();
      if (!calls_.empty() && calls_.back().Equals(calls)) {
        calls_.back().last = number;
      } else {
        calls_.push_back(std::move(calls));
      }
    }
  }

  /// What a host entry throws ends the call without a result.
  Calls CallOnce(std::int32_t number) {
    Calls calls{number, number, "none", "", {}};
    try {
      CallResult result = session_->Call(options_.method, arguments_.arguments());
      calls.result = !result.returnsPicture ? (result.boolean ? "true" : "false")
                     : result.picture       ? PictureText(*result.picture)
                                            : "nil";
      if (result.picture) {
        calls.pixels = PixelsText(*result.picture);
        made_ = options_.out ? std::optional(ImageOf(*result.picture)) : std::nullopt;
      }
      if (result.exception) {
        calls.exception = ExceptionText(*result.exception);
      }
    } catch (const HostError& error) {
      throw Failure(Status::kUsage, std::string(error.what()) + "\nThe plug-in is " + session_.plugin());
    } catch (const HostFault& exception) {
      calls.exception = exception.what();
    }
    return calls;
  }

  void EndCall() {
    if (trace_) {
      trace_->EndCall();
    } else {
      session_->trace.clear();
    }
  }

  std::string CrashText(const Crash& crash) const {
    std::string text = options_.method + " of '" + session_.plugin() + "' crashed (" + crash.signal + ")";
    if (crash.address != nullptr) {
      text += "; it accessed ";
      text += arguments_.PlaceOf(crash.address).value_or("memory that is no argument's");
    }
    return text;
  }

  void Print(const WrittenBytes& written) const {
    for (const Calls& calls : calls_) {
      if (options_.times > 1) {
        std::cout << "calls " << calls.first << " to " << calls.last << " of " << options_.times << ":\n";
      }
      std::cout << "result: " << calls.result << '\n';
      if (!calls.pixels.empty()) {
        std::cout << "pixels: " << calls.pixels << '\n';
      }
      if (calls.exception) {
        std::cout << Bad("exception") << ": " << *calls.exception << '\n';
      }
    }
    for (const Block& block : arguments_.blocks()) {
      const std::size_t count = written.CountOf(block);
      std::cout << block.name << ": "
                << (count == 0 ? "no byte written" : std::to_string(count) + " bytes written; it begins ")
                << (count == 0 ? "" : BeginningOf(block)) << '\n';
    }
    for (const std::string& loss : losses_) {
      std::cout << Bad("balance") << ": " << loss << '\n';
    }
    if (losses_.empty()) {
      std::cout << "balance: even, every object, reference and lock was given back\n";
    }
  }

  void PrintAsJson(const WrittenBytes& written) const {
    Json all = Json::array(), blocks = Json::array();
    for (const Calls& calls : calls_) {
      all.push_back({{"firstCall", calls.first},
                     {"lastCall", calls.last},
                     {"result", calls.result},
                     {"pixels", calls.pixels},
                     {"exception", calls.exception ? Json(*calls.exception) : Json()}});
    }
    for (const Block& block : arguments_.blocks()) {
      blocks.push_back({{"argument", block.name},
                        {"bytesWritten", written.CountOf(block)},
                        {"beginning", BeginningOf(block)}});
    }
    PrintJson("call", {{"plugin", session_.plugin()},
                       {"method", options_.method},
                       {"calls", all},
                       {"blocks", blocks},
                       {"trace", trace_ ? trace_->lines() : std::vector<std::string>()},
                       {"losses", losses_},
                       {"faultsNotDue", session_.FaultsNotDue()}});
  }

  /// Writes the picture that was made, or else the first block.
  void Save(const std::string& path) const {
    if (made_) {
      WriteImage(path, *made_);
    } else if (calls_.back().result == "true" && !arguments_.blocks().empty()) {
      const auto& block = arguments_.blocks()[0].block;
      WriteBytes(path, {block->bytes(), block->bytes() + block->size});
    } else {
      throw Failure(Status::kFindings, path + ": not written, there is neither a picture nor a block");
    }
  }

  const Options& options_;
  Session session_;
  WrittenArguments arguments_;
  Balance before_;
  std::optional<CallTrace> trace_;
  std::vector<Calls> calls_;
  std::optional<Image> made_;
  std::vector<std::string> losses_;
};

}  // namespace

Work SetUpCall(CLI::App& app) {
  app.footer(kHelp);
  const auto options = std::make_shared<Options>();
  options->host.guarded = true;
  app.add_option("METHOD", options->method, "The method's name, followed by its arguments")->required();
  app.allow_extras();
  AddHost(app, options->host);
  app.add_flag("--trace", options->trace, "Show each call of the host by the plug-in, before it is made");
  app.add_option("--out", options->out, "Write the picture that was made, or the first block")
      ->type_name("FILE");
  app.add_option("--times", options->times, "Call this often (1); what changes is shown")
      ->type_name("N")
      ->transform(Integer(1));
  AddJson(app, options->json);
  return [options, &app] {
    options->arguments = app.remaining();
    return Caller(*options).Run();
  };
}

}  // namespace devhost::program
