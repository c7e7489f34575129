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

constexpr const char* kCallHelp =
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

struct CallOptions {
  HostSettings host;
  bool json = false;
  std::string method;
  std::vector<std::string> arguments;
  std::optional<std::string> out;  // where the picture made goes, or the first block
  std::int32_t times = 1;
  bool trace = false;
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
std::string BeginningOf(const std::vector<std::uint8_t>& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), kBytesOfBlock); ++i) {
    text += text.empty() ? "" : " ";
    text += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
  }
  return text + (bytes.size() > kBytesOfBlock ? " …" : "");
}

std::uint8_t Other(std::uint8_t byte) {
  return static_cast<std::uint8_t>(~byte);
}

std::string Text(const Json& json) {
  return json;
}

std::string ResultText(const CallResult& result) {
  if (!result.returnsPicture) {
    return result.boolean ? "true" : "false";
  }
  return result.picture ? PictureText(*result.picture) : "nil";
}

/// All that is done for one command line.
class Caller {
 public:
  explicit Caller(const CallOptions& options)
      : options_(options),
        session_(options.host),
        arguments_(session_, options.arguments),
        before_(session_->CurrentBalance()),
        report_({{"plugin", session_.plugin()}, {"method", options.method}}) {}

  Status Run() {
    if (options_.trace) {
      trace_.emplace(session_.host(), !options_.json);
    }
    const Progress progress(options_.times > 1 ? "calling " + options_.method : "");
    const auto crash = CatchCrash([this] { CallAll(); });
    Progress::Clear();
    if (crash) {
      EndCall();
      throw Failure(Status::kCrash, CrashText(*crash));
    }
    const auto losses = Losses(session_.host(), before_);
    report_["trace"] = trace_ ? trace_->lines() : std::vector<std::string>();
    report_["losses"] = losses;
    report_["faultsNotDue"] = session_.FaultsNotDue();
    if (options_.out) {
      Save(*options_.out);
    }
    report_["blocks"] = ReportBlocks();
    options_.json ? PrintJson("call", report_) : Print();
    return hasRaised_ || !losses.empty() ? Status::kFindings : Status::kGood;
  }

 private:
  void CallAll() {
    Json& calls = report_["calls"];
    Json last;
    for (std::int32_t number = 1; number <= options_.times; ++number) {
      Json call = CallOnce();
      EndCall();
      if (call != last) {
        last = call;
        call["firstCall"] = number;
        calls.push_back(call);
      }
      calls.back()["lastCall"] = number;
    }
  }

  /// What a host entry throws ends the call without a result.
  Json CallOnce() {
    Json call = {{"result", "none"}, {"pixels", ""}, {"exception", nullptr}};
    try {
      const CallResult result = session_->Call(options_.method, arguments_.arguments());
      call["result"] = ResultText(result);
      if (result.picture) {
        call["pixels"] = PixelsText(*result.picture);
        made_ = options_.out ? std::optional(ImageOf(*result.picture)) : std::nullopt;
      }
      if (result.exception) {
        call["exception"] = ExceptionText(*result.exception);
      }
    } catch (const HostError& error) {
      throw Failure(Status::kUsage, std::string(error.what()) + "\nThe plug-in is " + session_.plugin());
    } catch (const HostFault& exception) {
      call["exception"] = exception.what();
    }
    hasRaised_ = hasRaised_ || !call["exception"].is_null();
    return call;
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

  bool HasFilledBlock() const {
    return report_["calls"].back()["result"] == "true" && !arguments_.blocks().empty();
  }

  /// Writes the picture that was made, or else the first block.
  void Save(const std::string& path) const {
    if (made_) {
      WriteImage(path, *made_);
    } else if (HasFilledBlock()) {
      WriteBytes(path, arguments_.blocks()[0].Bytes());
    } else {
      throw Failure(Status::kFindings, path + ": not written, there is neither a picture nor a block");
    }
  }

  /// How many bytes of each block were written. A method may write what a byte holds already; so it is called
  /// once more, without faults and with other bytes in the blocks.
  Json ReportBlocks() {
    std::vector<std::vector<std::uint8_t>> after;
    for (const Block& block : arguments_.blocks()) {
      after.push_back(block.Bytes());
    }
    const bool again = HasFilledBlock();
    if (again) {
      trace_.reset();
      session_->onEntry = nullptr;
      for (const Block& block : arguments_.blocks()) {
        std::ranges::transform(block.before, block.block->bytes(), Other);
      }
      CallOnce();
    }
    Json reports = Json::array();
    for (std::size_t i = 0; i < after.size(); ++i) {
      const Block& block = arguments_.blocks()[i];
      std::size_t count = 0;
      for (std::size_t j = 0; j < after[i].size(); ++j) {
        const bool isOther = again && block.block->bytes()[j] != Other(block.before[j]);
        count += after[i][j] != block.before[j] || isOther ? 1 : 0;
      }
      reports.push_back(
          {{"argument", block.name}, {"bytesWritten", count}, {"beginning", BeginningOf(after[i])}});
    }
    return reports;
  }

  void Print() const {
    for (const Json& call : report_["calls"]) {
      if (options_.times > 1) {
        std::cout << "calls " << call["firstCall"] << " to " << call["lastCall"] << " of " << options_.times
                  << ":\n";
      }
      for (const char* name : {"result", "pixels", "exception"}) {
        const std::string text = call[name].is_null() ? "" : call[name];
        const bool isBad = std::string_view(name) == "exception";
        std::cout << (text.empty() ? "" : (isBad ? Bad(name) : name) + ": " + text + '\n');
      }
    }
    for (const Json& block : report_["blocks"]) {
      const std::size_t count = block["bytesWritten"];
      std::cout << Text(block["argument"]) << ": "
                << (count == 0
                        ? "no byte written"
                        : std::to_string(count) + " bytes written; it begins " + Text(block["beginning"]))
                << '\n';
    }
    for (const Json& loss : report_["losses"]) {
      std::cout << Bad("balance") << ": " << Text(loss) << '\n';
    }
    if (report_["losses"].empty()) {
      std::cout << "balance: even, every object, reference and lock was given back\n";
    }
    for (const Json& line : report_["faultsNotDue"]) {
      Say(line);
    }
  }

  const CallOptions& options_;
  Session session_;
  WrittenArguments arguments_;
  Balance before_;
  std::optional<CallTrace> trace_;
  std::optional<Image> made_;  // the last picture, if it is to be written
  bool hasRaised_ = false;
  Json report_;
};

}  // namespace

Work SetUpCall(CLI::App& app) {
  app.footer(kCallHelp);
  const auto options = std::make_shared<CallOptions>();
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
