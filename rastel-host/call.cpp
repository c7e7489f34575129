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
#include "rastel-host/written.h"

namespace devhost::program {
namespace {

constexpr const char* kCallHelp =
    R"(Arguments, in the order of the declaration or as name=value: integers, true, false, nil,
picture:WxH, picture:FILE.png, block:BYTES, block:FILE, ptr:BYTES, ptr:FILE, and [1,2,3] for an
array of integers. A method of Picture takes the picture first, or as ref=picture:….
picture:WxH holds red x, green y, blue x + y, each modulo 256, and 90 in the fourth byte;
block:BYTES and ptr:BYTES hold 0, 1, 2, … modulo 256. What lies behind them has no access: a
method that reads or writes there ends the call, which tells where. So does a page ahead of them;
what is written just ahead of them is told, and what is read there is not seen.
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

std::string Text(const Json& json) {
  return json;
}

std::string ResultText(const CallResult& result) {
  if (!result.returnsPicture) {
    return result.boolean ? "true" : "false";
  }
  return result.picture ? PictureText(*result.picture) : "nil";
}

void CheckOut(const CallOptions& options) {
  if (options.out && *options.out == "-") {
    throw Failure(Status::kUsage, "--out: expected a file, since the results go to standard output");
  }
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
    NowDoing("calling " + options_.method + " of '" + session_.plugin() + "'", Status::kCrash);
    const WrittenBytes written([this] { CallAll(); }, arguments_.blocks());
    if (options_.trace) {
      trace_.emplace(session_.host(), !options_.json);
    }
    const Progress progress(options_.times > 1 ? "calling " + options_.method : "");
    const auto crash = CatchCrash([this] { CallAll(); });
    EndCall();
    Progress::Clear();
    report_["trace"] = trace_ ? trace_->lines() : std::vector<std::string>();
    if (crash) {
      return TellCrash(*crash);
    }
    report_["losses"] = Losses(session_.host(), before_);
    report_["faultsNotDue"] = session_.FaultsNotDue();
    report_["blocks"] = ReportBlocks(written);
    if (options_.json) {
      Save();
      PrintJson("call", report_);
    } else {
      Print();
      Save();
    }
    return hasRaised_ || !isSaved_ || !report_["losses"].empty() ? Status::kFindings : Status::kGood;
  }

 private:
  void CallAll() {
    Json& calls = report_["calls"];
    calls = Json::array();
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
    made_.reset();
    try {
      const CallResult result = session_->Call(options_.method, arguments_.arguments());
      call["result"] = ResultText(result);
      if (result.picture) {
        call["pixels"] = PixelsText(*result.picture);
        if (options_.out) {
          made_ = ImageOf(*result.picture);
        }
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

  /// With JSON, what was traced so far is told as well.
  Status TellCrash(const Crash& crash) {
    std::string text = options_.method + " of '" + session_.plugin() + "' crashed (" + crash.signal + ")";
    if (crash.address != nullptr) {
      text += "; it accessed ";
      text += arguments_.PlaceOf(crash.address).value_or("memory that is no argument's");
    }
    if (!options_.json) {
      throw Failure(Status::kCrash, text);
    }
    report_["error"] = {{"status", static_cast<int>(Status::kCrash)}, {"message", text}};
    PrintJson("call", report_);
    return Status::kCrash;
  }

  /// Writes the picture that was made, or else the first block, if there is to be a file.
  void Save() {
    if (!options_.out) {
      return;
    }
    isSaved_ = made_ || (report_["calls"].back()["result"] == "true" && !arguments_.blocks().empty());
    if (made_) {
      WriteImage(*options_.out, *made_);
    } else if (isSaved_ && IsPng(*options_.out)) {
      throw Failure(Status::kUsage,
                    "--out: expected another name than " + *options_.out + ", since a block is raw bytes");
    } else if (isSaved_) {
      WriteBytes(*options_.out, arguments_.blocks()[0].Bytes());
    } else {
      Say(*options_.out + ": not written, since the last call neither made a picture nor filled a block");
    }
  }

  Json ReportBlocks(const WrittenBytes& written) {
    Json reports = Json::array();
    for (const Block& block : arguments_.blocks()) {
      reports.push_back({{"argument", block.name},
                         {"bytesWritten", written.CountOf(block)},
                         {"beginning", BeginningOf(block.Bytes())}});
      if (!block.block->SurroundingsIntact()) {
        report_["losses"].push_back(block.name + ": bytes outside of the block were written");
      }
    }
    return reports;
  }

  void Print() const {
    for (const Json& call : report_["calls"]) {
      if (options_.times > 1) {
        const bool isOne = call["firstCall"] == call["lastCall"];
        std::cout << (isOne ? "call " : "calls " + call["firstCall"].dump() + " to ") << call["lastCall"]
                  << " of " << options_.times << ":\n";
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
  bool isSaved_ = true;
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
    CheckOut(*options);
    return Caller(*options).Run();
  };
}

}  // namespace devhost::program
