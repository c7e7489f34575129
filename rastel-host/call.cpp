// call: one method with arguments of the user's own.
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "rastel-host/arguments.h"
#include "rastel-host/files.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/supervise.h"

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
  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4 --trace --fail newPicture@1
)";

struct CallOptions {
  HostSettings host;
  bool json = false;
  std::string method;
  std::vector<std::string> arguments;
  std::optional<std::string> out;  // where the picture made goes, or the first block
  bool trace = false;
};

std::string FormatText(PixelFormat format) {
  constexpr const char* kTexts[] = {"pixel type 8", "pixel type 13", "pixel type 12", "native depth 16"};
  return kTexts[static_cast<std::size_t>(format)];
}

std::string ResultText(const CallResult& result) {
  if (result.exception && result.exception->className.empty()) {
    return "none";
  }
  if (!result.returnsPicture) {
    return result.boolean ? "true" : "false";
  }
  if (!result.picture) {
    return "nil";
  }
  const REALpictureStruct& picture = *result.picture;
  return "picture " + std::to_string(picture.width) + "x" + std::to_string(picture.height) + ", " +
         FormatText(picture.format) + ", " + std::to_string(picture.RowLength()) + " bytes a row";
}

/// The first pixels of the first row: "(0, 1, 2, 255) …".
std::string PixelsText(REALpictureStruct& picture) {
  constexpr std::int32_t kMost = 4;
  std::string text;
  for (std::int32_t x = 0; x < std::min(picture.width, kMost); ++x) {
    const Pixel pixel = picture.At(x, 0);
    text += (x == 0 ? "(" : " (") + std::to_string(pixel.red) + ", " + std::to_string(pixel.green) + ", " +
            std::to_string(pixel.blue) + ", " + std::to_string(pixel.fourth) + ")";
  }
  return text + (picture.width > kMost ? " …" : "");
}

/// "00 01 02 …"
std::string BeginningOf(const Bytes& bytes) {
  constexpr std::size_t kMost = 16;
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), kMost); ++i) {
    text += text.empty() ? "" : " ";
    text += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
  }
  return text + (bytes.size() > kMost ? " …" : "");
}

std::uint8_t Inverted(std::uint8_t byte) {
  return static_cast<std::uint8_t>(~byte);
}

/// All that is done for one command line.
class Caller {
 public:
  explicit Caller(const CallOptions& options)
      : options_(options),
        session_(options.host),
        arguments_(session_, options.arguments),
        before_(session_->CurrentBalance()) {}

  Status Run() {
    NowDoing("calling " + options_.method + " of '" + session_.plugin() + "'", Status::kCrash,
             [this](const void* address) {
               EndLine();
               return arguments_.PlaceOf(address);
             });
    Report().update({{"plugin", session_.plugin()}, {"method", options_.method}, {"trace", Json::array()}});
    TryWithOtherBytes();
    if (options_.trace) {
      session_->onTrace = [this](const std::string& piece) { Trace(piece); };
    }
    Call();
    EndLine();
    Report()["blocks"] = ReportBlocks();
    Report()["losses"] = losses_;
    Report()["faultsNotDue"] = session_.FaultsNotDue();
    options_.json ? PrintReport() : Print();
    const bool isSaved = !options_.out || Save();
    return isSaved && losses_.empty() && Report()["exception"].is_null() ? Status::kGood : Status::kFindings;
  }

 private:
  void Call() {
    const CallResult result = session_.Call(options_.method, arguments_.arguments());
    if (result.picture && options_.out) {
      made_ = ImageOf(*result.picture);
    }
    Report()["result"] = ResultText(result);
    Report()["pixels"] = result.picture ? PixelsText(*result.picture) : "";
    Report()["exception"] = result.exception ? Json(ExceptionText(*result.exception)) : Json();
  }

  /// Finds out in a process of its own what the call leaves in the blocks if they hold other bytes at first:
  /// a byte that is written may be what was there.
  void TryWithOtherBytes() {
    std::size_t size = 1;
    for (const Block& block : arguments_.blocks()) {
      size += block.before.size();
    }
    otherwise_ = static_cast<std::uint8_t*>(SharedMemory(size));
    std::uint8_t* next = otherwise_;
    for (const Block& block : arguments_.blocks()) {
      next = std::transform(block.before.begin(), block.before.end(), next, Inverted);
    }
    TryApart([this] {
      std::uint8_t* other = otherwise_;
      for (const Block& block : arguments_.blocks()) {
        std::copy_n(other, block.block->size, block.block->bytes());
        other += block.block->size;
      }
      try {
        Call();
      } catch (const std::exception&) {  // the true call tells it
      }
      other = otherwise_;
      for (const Block& block : arguments_.blocks()) {
        other = std::copy_n(block.block->bytes(), block.block->size, other);
      }
    });
  }

  /// Prints the calls of the host as they come: what a crash leaves of its line is printed already.
  void Trace(const std::string& piece) {
    Json& lines = Report()["trace"];
    const bool isCall = !piece.starts_with(' ');
    if (isCall) {
      EndLine();
      lines.push_back(piece);
    } else {
      lines.back() = lines.back().get<std::string>() + piece;
    }
    if (!options_.json) {
      std::cout << (isCall ? "trace: " : "") << piece;
      FlushOutput();
      isLineOpen_ = true;
    }
  }

  void EndLine() {
    std::cout << (isLineOpen_ ? "\n" : "");
    isLineOpen_ = false;
  }

  Json ReportBlocks() {
    losses_ = session_.Losses(before_);
    Json reports = Json::array();
    const std::uint8_t* other = otherwise_;
    for (const Block& block : arguments_.blocks()) {
      const Bytes now = block.Bytes();
      std::size_t written = 0;
      for (std::size_t i = 0; i < now.size(); ++i) {
        written += now[i] != block.before[i] || *other != Inverted(block.before[i]) ? 1 : 0;
        ++other;
      }
      reports.push_back(
          {{"argument", block.name}, {"bytesWritten", written}, {"beginning", BeginningOf(now)}});
      if (!block.block->SurroundingsIntact()) {
        losses_.push_back(block.name + ": bytes outside of the block were written");
      }
    }
    return reports;
  }

  void Print() const {
    const Json& report = Report();
    const auto text = [](const Json& json) { return json.is_null() ? "" : json.get<std::string>(); };
    std::cout << "result: " << text(report["result"]) << '\n';
    if (!text(report["pixels"]).empty()) {
      std::cout << "pixels: " << text(report["pixels"]) << '\n';
    }
    if (!report["exception"].is_null()) {
      std::cout << Bad("exception") << ": " << text(report["exception"]) << '\n';
    }
    for (const Json& block : report["blocks"]) {
      const std::int64_t count = block["bytesWritten"];
      std::cout << text(block["argument"]) << ": " << (count == 0 ? "no byte" : Count(count, "byte"))
                << " written" << (count == 0 ? "" : "; it begins " + text(block["beginning"])) << '\n';
    }
    for (const std::string& loss : losses_) {
      std::cout << Bad("balance") << ": " << loss << '\n';
    }
    if (losses_.empty()) {
      std::cout << "balance: even, every object, reference and lock was given back\n";
    }
    for (const Json& line : report["faultsNotDue"]) {
      Say(text(line));
    }
  }

  /// Writes the picture that was made, or else the first block. False if there is neither.
  bool Save() const {
    if (made_) {
      WriteImage(*options_.out, *made_);
      return true;
    }
    if (Report()["result"] != "true" || arguments_.blocks().empty()) {
      Say(*options_.out + ": not written, since the call neither made a picture nor filled a block");
      return false;
    }
    if (IsPng(*options_.out)) {
      throw Failure(Status::kUsage,
                    "--out: expected another name than " + *options_.out + ", since a block is raw bytes");
    }
    WriteBytes(*options_.out, arguments_.blocks()[0].Bytes());
    return true;
  }

  const CallOptions& options_;
  Session session_;
  WrittenArguments arguments_;
  Balance before_;
  std::uint8_t* otherwise_ = nullptr;  // what a call leaves in the blocks that finds other bytes there
  std::optional<Image> made_;          // the picture, if it is to be written
  std::vector<std::string> losses_;
  bool isLineOpen_ = false;
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
  AddJson(app, options->json);
  return [options, &app] {
    options->arguments = app.remaining();
    if (options->out == "-") {
      throw Failure(Status::kUsage, "--out: expected a file, since the results go to standard output");
    }
    // Not on the stack, which a crash gives up: it is to tell what was accessed.
    return std::make_unique<Caller>(*options)->Run();
  };
}

}  // namespace devhost::program
