// convert: pixels through the plug-in, into a picture and back.
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "devhost/oracle.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/raw.h"
#include "rastel-host/session.h"
#include "rastel-host/supervise.h"
#include "rastel-host/verify.h"

namespace devhost::program {
namespace {

constexpr const char* kConvertHelp =
    R"(A name that ends in .png is a PNG picture, every other name is raw bytes; "-" is standard input
or output. Raw bytes are --offset bytes and rows of pixels, --stride bytes apart. IN goes into a
memory block in the layout, a method makes a picture of it, another copies that into a block again,
and OUT is what this block holds: 165 where nothing was written. X is a byte that means nothing.
Layout gray sends (299 red + 587 green + 114 blue + 500) / 1000 and brings back green; R, G and B
are one colour alone.
Examples:
  rastel-host convert photo.png copy.png --layout BGRA --alpha 128 --verify
  rastel-host convert photo.png - --layout BGRA --stride 4096 > photo.bgra
  rastel-host convert - back.png --size 600x400 --layout BGRA --stride 4096 < photo.bgra
  rastel-host convert photo.png cut.png --layout ARGB --mask mask.png --band 0:99
)";

constexpr std::int32_t kOpaque = 255;

struct ConvertOptions {
  HostSettings host;
  bool json = false;
  std::string in, out;
  RawForm raw;  // of those of them that are raw; the layout also of the way between
  std::optional<std::int32_t> alpha;
  std::optional<std::string> mask;
  oracle::Lines band = {0, -1};  // rows to copy back, both included; -1 is the last one
  bool flip = false;
  bool verify = false;
};

[[noreturn]] void Misuse(const std::string& line) {
  throw Failure(Status::kUsage, line);
}

bool HasAlpha(const std::string& letters) {
  return letters.find('A') != std::string::npos;
}

oracle::Lines ParseBand(const std::string& word) {
  const auto colon = word.find(':');
  if (colon == std::string::npos) {
    Unexpected("FIRST:LAST, such as 0:99", word);
  }
  return {ParseInteger(word.substr(0, colon), 0), ParseInteger(word.substr(colon + 1), -1)};
}

void CheckOptions(const ConvertOptions& options) {
  const std::string& layout = options.raw.layout;
  if ((options.alpha || options.mask) && !HasAlpha(layout)) {
    Misuse("--alpha and --mask: expected a layout with alpha (ARGB, ABGR, RGBA, BGRA), got " + layout);
  }
  if (options.flip && layout != "RGBA" && layout != "RGBX") {
    Misuse("--flip: expected the layout RGBA or RGBX, whose method alone flips, got " + layout);
  }
  if (!IsPng(options.out) && options.out == "-" && options.json) {
    Misuse("--json: expected a file as OUT, since the JSON goes to standard output");
  }
}

/// The conversion, step by step.
class Conversion {
 public:
  /// Reads the files.
  explicit Conversion(const ConvertOptions& options)
      : options_(options),
        session_(options.host),
        before_(session_->CurrentBalance()),
        letters_(LettersOf(options.raw)) {
    const Image in = ReadPixels(options.in, options.raw);
    if (options.mask) {
      mask_ = ReadImage(*options.mask);
    }
    const Image& sized = options.mask ? mask_ : in;
    if (sized.width != in.width || sized.height != in.height) {
      Say("--mask: the copy is " + std::to_string(sized.width) + "x" + std::to_string(sized.height) +
          ", as the mask is, and not as large as the picture");
    }
    PlanBuffer(in);
    PlanCopy({sized.width, sized.height});
    Report().update({{"in", options_.in},
                     {"out", options_.out},
                     {"layout", options_.raw.layout},
                     {"width", copied_.width},
                     {"rows", copied_.height},
                     {"stride", copy_.destRowBytes},
                     {"offset", copy_.offset},
                     {"verified", Json::array()},
                     {"findings", Json::array()}});
  }

  Status Run() {
    if (ToPicture() && ToBlock()) {
      WritePixels(options_.out, {destination_->bytes(), static_cast<std::size_t>(destination_->size)},
                  options_.raw, copied_);
    }
    source_.reset();
    picture_.reset();
    destination_.reset();
    for (const std::string& loss : session_.Losses(before_)) {
      Wrong(loss);
    }
    for (const std::string& line : session_.FaultsNotDue()) {
      Say(line);
    }
    if (options_.json) {
      PrintReport();
    }
    return Report()["findings"].empty() ? Status::kGood : Status::kFindings;
  }

 private:
  void PlanBuffer(const Image& in) {
    const auto pixelBytes = static_cast<std::int64_t>(letters_.size());
    buffer_ = {letters_, in.width, in.height, options_.raw.offset, pixelBytes, options_.flip};
    source_ = session_->NewMemoryBlock(BlockBytes(options_.raw, in.width * pixelBytes, in.height));
    std::ranges::copy(Pack(in, letters_), source_->bytes() + buffer_.offset);
  }

  /// Throws Failure (kUsage) if the options do not fit a copy of this size.
  void PlanCopy(Size size) {
    const auto [first, end] = options_.band;
    const std::int64_t last = end < 0 ? size.height - 1 : end;
    if (first > last || last >= size.height) {
      Misuse("--band: expected rows from 0 to " + std::to_string(size.height - 1) +
             ", the first not after the last, got " + std::to_string(first) + ":" + std::to_string(end));
    }
    copy_.layout = letters_ == "Y" ? "G" : letters_;
    if (options_.mask) {
      std::ranges::replace(copy_.layout, 'A', 'M');
    }
    copied_ = {size.width, static_cast<std::int32_t>(last - first + 1)};
    copy_.width = size.width;
    copy_.lines = {first, last};
    copy_.offset = options_.raw.offset;
    copy_.pixelBytes = buffer_.pixelBytes;
    copy_.destRowBytes = RowBytes(options_.raw, size.width);
    copy_.alpha = static_cast<std::uint8_t>(options_.alpha.value_or(kOpaque));
    destination_ = session_->NewMemoryBlock(BlockBytes(options_.raw, copy_.destRowBytes, copied_.height));
    std::fill_n(destination_->bytes(), destination_->size, kUntouched);
  }

  /// Results go to standard output, unless the bytes do.
  void Tell(const std::string& line) const {
    if (!options_.json) {
      (options_.out == "-" ? std::cerr : std::cout) << line << '\n';
    }
  }

  void Wrong(const std::string& line) const {
    Report()["findings"].push_back(line);
    Tell(line);
  }

  /// Tells whether all bytes of `what` are as they have to be.
  void Judge(const std::string& what, const std::string& difference, const std::string& amount) const {
    Report()["verified"].push_back(what);
    difference.empty() ? Tell(what + ": identical (" + amount + ")")
                       : Wrong(what + ": DIFFERENT, " + difference);
  }

  void CheckSurroundings(const REALmemoryBlockStruct& block) const {
    if (!block.SurroundingsIntact() || !picture_->SurroundingsIntact()) {
      Wrong("bytes outside the memory block or the picture were written");
    }
  }

  CallResult CallShown(const std::string& method, const std::vector<Value>& arguments) const {
    const Progress progress("calling " + method);
    return session_.Call(method, {arguments, {}});
  }

  /// Calls a method and tells the exception that it raised.
  CallResult Call(const std::string& method, const std::vector<Value>& arguments) const {
    SayStep("calling " + method);
    NowDoing("calling " + method + " of '" + session_.plugin() + "'", Status::kCrash);
    CallResult result = CallShown(method, arguments);
    if (result.exception) {
      Wrong("exception: " + ExceptionText(*result.exception));
    }
    if (!result.picture && !result.boolean) {
      Wrong("the method did not succeed: " + options_.out + " is not written");
    }
    return result;
  }

  bool ToPicture() {
    std::string name = letters_ + "to";
    std::ranges::replace(name, 'X', 'A');  // these methods heed neither
    std::vector<Value> arguments = {source_.get(), options_.raw.offset,
                                    static_cast<std::int32_t>(buffer_.width),
                                    static_cast<std::int32_t>(buffer_.height)};
    if (letters_.size() == 1) {
      name = "GrayTo";
      arguments.emplace_back(1);  // bytes a pixel
      for (const char colour : std::string_view(letters_ == "Y" ? "" : "RGB")) {
        arguments.emplace_back(letters_[0] == colour ? 256 : 0);  // its factor over 256
      }
    }
    if (options_.flip) {
      arguments.emplace_back(true);
    }
    picture_ = Call("Memoryblock" + name + "PictureKVZ", arguments).picture;
    if (!picture_) {
      return false;
    }
    CheckSurroundings(*source_);
    if (options_.verify) {
      Judge("picture", PictureDifference(buffer_, *source_, session_->options().pixelType, *picture_),
            std::to_string(buffer_.width * buffer_.height) + " pixels");
    }
    return true;
  }

  /// False if the method says that it did not copy.
  bool ToBlock() {
    Ref<REALpictureStruct> mask;
    if (options_.mask) {
      mask = session_.MakePicture(mask_, picture_->format);
    }
    // With a native depth of 16, the picture to read from is another one with the same pixels.
    if (session_.SourceFormat() == PixelFormat::kWorld16) {
      Say("--pixel-type 16: the picture that is read keeps five bits of each colour");
      picture_ = session_.MakePicture(ImageOf(*picture_), PixelFormat::kWorld16);
    }
    std::vector<Value> arguments = {picture_.get(), destination_.get(), options_.raw.offset};
    if (mask) {
      arguments.emplace_back(mask.get());
    } else if (HasAlpha(letters_)) {
      arguments.emplace_back(options_.alpha.value_or(kOpaque));
    } else if (letters_.size() == 1) {
      arguments.emplace_back(1);  // bytes a pixel
    }
    constexpr std::int64_t kNoYield = 0;
    for (const std::int64_t number : {copy_.lines.first, copy_.lines.last, kNoYield, copy_.destRowBytes}) {
      arguments.emplace_back(static_cast<std::int32_t>(number));
    }
    const std::string name = letters_ == "Y" ? "G" : letters_;
    if (!Call("Copy" + name + "toMemoryblockKVZ", arguments).boolean) {
      return false;
    }
    CheckSurroundings(*destination_);
    if (options_.verify) {
      Judge("bytes", BlockDifference(copy_, *picture_, mask_, *destination_),
            std::to_string(destination_->size));
    }
    return true;
  }

  const ConvertOptions& options_;
  Session session_;  // before the references to its objects, which it outlives
  Balance before_;
  std::string letters_;  // of the layout
  Image mask_;
  oracle::Buffer buffer_;  // in the source
  oracle::Copy copy_;      // into the destination
  Size copied_ = {};
  Ref<REALmemoryBlockStruct> source_, destination_;
  Ref<REALpictureStruct> picture_;
};

}  // namespace

Work SetUpConvert(CLI::App& app) {
  app.footer(kConvertHelp);
  const auto options = std::make_shared<ConvertOptions>();
  app.add_option("IN", options->in, "The PNG picture or raw bytes to send through the plug-in")->required();
  app.add_option("OUT", options->out, "Where what came back goes")->required();
  AddOption(app, "--layout", "NAME", options->raw.layout, OneOf(kLayouts),
            "RGB (which it is if not given), BGR, ARGB, ABGR, RGBA, BGRA,\n"
            "XRGB, XBGR, RGBX, BGRX, gray, R, G or B");
  AddOption(app, "--size", "WxH", options->raw.size, ParseSize, "The size of IN, if that is raw bytes");
  AddOption(app, "--stride", "N", options->raw.stride, IntegerFrom(1),
            "Bytes from row to row; else rows are packed");
  AddOption(app, "--offset", "N", options->raw.offset, IntegerFrom(0), "Bytes ahead of the first row (0)");
  CLI::Option* alpha = AddOption(app, "--alpha", "N", options->alpha, IntegerFrom(0, kOpaque),
                                 "The alpha of the way back (255)");
  app.add_option("--mask", options->mask, "A PNG picture whose green, inverted, is that alpha")
      ->type_name("FILE")
      ->excludes(alpha);
  AddOption(app, "--band", "FIRST:LAST", options->band, ParseBand,
            "The rows to copy back, both included; LAST -1 is the last one");
  app.add_flag("--flip", options->flip, "Take the rows from bottom to top on the way there");
  app.add_flag("--verify", options->verify, "Hold every byte, there and back, against what it has to be");
  AddHost(app, options->host);
  AddJson(app, options->json);
  return [options] {
    CheckOptions(*options);
    return Conversion(*options).Run();
  };
}

}  // namespace devhost::program
