#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <utility>

#include "devhost/oracle.h"
#include "rastel-host/files.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/raw.h"
#include "rastel-host/session.h"
#include "rastel-host/supervise.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

constexpr const char* kHelp =
    R"(A name that ends in .png is a PNG picture, every other name raw bytes; "-" is standard input or
output. Raw bytes are --offset bytes and rows of pixels, --stride bytes apart. IN is put into a memory
block in the layout, a method makes a picture of it, another copies that back into a block, and OUT is
what the block holds: 165 where nothing was written. X is a byte that means nothing. Layout gray sends
(299 red + 587 green + 114 blue + 500) / 1000 and brings back green; R, G and B are one colour alone.
Examples:
  rastel-host convert photo.png copy.png --layout BGRA --alpha 128 --verify
  rastel-host convert photo.png - --layout BGRA --stride 4096 > photo.bgra
  rastel-host convert - back.png --size 600x400 --layout BGRA --stride 4096 < photo.bgra
  rastel-host convert photo.png cut.png --layout ARGB --mask mask.png --band 0:99
)";

/// What a block holds before the plug-in writes to it.
constexpr std::uint8_t kUntouched = 165;

constexpr std::int32_t kOpaque = 255;

struct Band {
  std::int32_t first, last;  // rows, both included; -1 is the last one
};

struct Options {
  HostSettings host;
  bool json = false;
  std::string in, out;
  RawForm raw;  // of those of them that are raw; the layout also of the way between
  std::optional<std::int32_t> alpha;
  std::optional<std::string> mask;
  Band band = {0, -1};
  bool flip = false;
  bool verify = false;
};

using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void Misuse(const std::string& line) {
  throw Failure(Status::kUsage, line);
}

/// The letters of the layout that methods from a block to a picture know: what X is makes no difference.
std::string SentLetters(const RawForm& form) {
  std::string letters = LettersOf(form);
  std::ranges::replace(letters, 'X', 'A');
  return letters;
}

bool HasAlpha(const std::string& letters) {
  return letters.find('A') != std::string::npos;
}

std::string SizeText(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

void CheckOptions(const Options& options) {
  const std::string& layout = options.raw.layout;
  if (IsPng(options.in) && options.raw.size) {
    Misuse("--size: expected raw bytes as IN, got the PNG picture " + options.in);
  }
  if ((options.alpha || options.mask) && !HasAlpha(layout)) {
    Misuse("--alpha and --mask: expected a layout with alpha (ARGB, ABGR, RGBA, BGRA), got " + layout);
  }
  if (options.flip && SentLetters(options.raw) != "RGBA") {
    Misuse("--flip: expected the layout RGBA or RGBX, whose method alone flips, got " + layout);
  }
  if (!IsPng(options.out) && options.out == "-" && options.json) {
    Misuse("--json: expected a file as OUT, since the JSON goes to standard output");
  }
}

PackedPixels ReadPixels(const Options& options) {
  if (!IsPng(options.in)) {
    return ReadRaw(options.in, options.raw);
  }
  const Image image = ReadImage(options.in);
  const auto seeThrough =
      std::ranges::count_if(image.pixels, [](const Rgba& pixel) { return pixel.alpha != 255; });
  if (seeThrough > 0) {
    Say(options.in + ": not used: the alpha of " + std::to_string(seeThrough) +
        " pixels, since the pictures of the host have none");
  }
  return Pack(image, LettersOf(options.raw));
}

/// Throws Failure (kUsage) if the word is no band.
Band ParseBand(const std::string& word) {
  const auto colon = word.find(':');
  if (colon == std::string::npos) {
    Misuse("--band: expected FIRST:LAST, such as 0:99, got '" + word + "'");
  }
  return {ParseInteger("--band FIRST", word.substr(0, colon), 0),
          ParseInteger("--band LAST", word.substr(colon + 1), -1)};
}

/// The rows of a picture of `height` rows. Throws Failure (kUsage) if it has not all of them.
oracle::Lines LinesOf(const Band& band, std::int32_t height) {
  const std::int32_t last = band.last < 0 ? height - 1 : band.last;
  if (band.first > last || last >= height) {
    Misuse("--band: expected rows from 0 to " + std::to_string(height - 1) +
           ", the first not after the last, got " + std::to_string(band.first) + ":" +
           std::to_string(band.last));
  }
  return {band.first, last};
}

oracle::Image Colours(const Image& image) {
  oracle::Image colours{.width = image.width, .height = image.height};
  for (const Rgba& pixel : image.pixels) {
    colours.pixels.push_back({pixel.red, pixel.green, pixel.blue});
  }
  return colours;
}

/// How rows of pixels lie in bytes.
struct Rows {
  std::string letters;
  std::int64_t width, offset, rowBytes;
};

/// Where a byte lies, in words.
std::string PlaceOf(std::int64_t index, const Rows& rows) {
  if (index < rows.offset) {
    return "byte " + std::to_string(index) + ", ahead of the rows";
  }
  const std::int64_t row = (index - rows.offset) / rows.rowBytes;
  const auto inRow = static_cast<std::size_t>((index - rows.offset) % rows.rowBytes);
  const std::size_t column = inRow / rows.letters.size();
  if (column >= static_cast<std::size_t>(rows.width)) {
    return "byte " + std::to_string(index) + ", behind row " + std::to_string(row);
  }
  return "pixel (" + std::to_string(column) + ", " + std::to_string(row) + "), " +
         rows.letters[inRow % rows.letters.size()] + " of " + rows.letters;
}

/// The first byte that is not as expected, in words; empty if there is none.
std::string FirstDifference(std::span<const std::uint8_t> expected, std::span<const std::uint8_t> found,
                            const Rows& rows) {
  if (expected.size() != found.size()) {
    return "expected " + std::to_string(expected.size()) + " bytes, found " + std::to_string(found.size());
  }
  const auto [should, is] = std::ranges::mismatch(expected, found);
  if (is == found.end()) {
    return "";
  }
  return PlaceOf(is - found.begin(), rows) + ": expected " + std::to_string(*should) + ", found " +
         std::to_string(*is);
}

/// The conversion, step by step.
class Conversion {
 public:
  /// Reads the files.
  explicit Conversion(const Options& options)
      : options_(options),
        session_(options.host),
        before_(session_->CurrentBalance()),
        letters_(LettersOf(options.raw)),
        in_(ReadPixels(options)) {
    Size copied = {in_.width, in_.height};
    copy_.layout = letters_ == "Y" ? "G" : letters_;
    if (options_.mask) {
      mask_ = ReadImage(*options_.mask);
      copied = {mask_.width, mask_.height};
      std::ranges::replace(copy_.layout, 'A', 'M');
    }
    if (copied.width != in_.width || copied.height != in_.height) {
      Say("--mask: copied are " + SizeText(copied) + " pixels, as the mask has; the picture has " +
          SizeText({in_.width, in_.height}));
    }
    copy_.width = copied.width;
    copy_.lines = LinesOf(options_.band, copied.height);
    copy_.offset = options_.raw.offset;
    copy_.pixelBytes = static_cast<std::int64_t>(letters_.size());
    copy_.destRowBytes = RowBytes(options_.raw, copied.width);
    blockBytes_ = BlockBytes(options_.raw, copy_.destRowBytes, RowCount());
    copy_.alpha = static_cast<std::uint8_t>(options_.alpha.value_or(kOpaque));
  }

  Status Run() {
    if (ToPicture() && ToBlock()) {
      Save();
    }
    picture_.reset();
    block_.reset();
    for (const std::string& loss : Losses(session_.host(), before_)) {
      Wrong(loss);
    }
    for (const std::string& line : session_.FaultsNotDue()) {
      Say(line);
    }
    if (options_.json) {
      TellJson();
    }
    return findings_.empty() ? Status::kGood : Status::kFindings;
  }

 private:
  /// Results go to standard output, unless the bytes do.
  void Tell(const std::string& line) const {
    if (!options_.json) {
      (options_.out == "-" ? std::cerr : std::cout) << line << '\n';
    }
  }

  void Wrong(const std::string& line) {
    findings_.push_back(line);
    Tell(line);
  }

  /// Tells the verdict on all bytes of `what`, if one is wanted.
  void Judge(const std::string& what, const std::string& difference, const std::string& amount) {
    verified_.push_back(what);
    if (difference.empty()) {
      Tell(what + ": identical (" + amount + ")");
    } else {
      Wrong(what + ": DIFFERENT, " + difference);
    }
  }

  template <typename Object>
  void CheckSurroundings(const char* what, const Object& object) {
    if (!object.SurroundingsIntact()) {
      Wrong(std::string(what) + ": DIFFERENT, bytes outside of it were written");
    }
  }

  /// Calls a method and tells the exception that it raised.
  CallResult Call(const std::string& method, const std::vector<Value>& arguments) {
    SayStep("calling " + method);
    NowDoing("calling " + method + " of '" + session_.plugin() + "'", Status::kCrash);
    const Progress progress("calling " + method);
    CallResult result;
    try {
      result = session_->Call(method, arguments);
    } catch (const HostError& error) {
      throw Failure(Status::kFindings, error.what());
    }
    if (result.exception) {
      Wrong("exception: " + ExceptionText(*result.exception));
    }
    return result;
  }

  bool ToPicture() {
    const auto pixelBytes = static_cast<std::int64_t>(letters_.size());
    block_ = session_->NewMemoryBlock(BlockBytes(options_.raw, in_.width * pixelBytes, in_.height));
    std::ranges::copy(in_.bytes, block_->bytes() + options_.raw.offset);
    picture_ = Call(ToPictureMethod(), ToPictureArguments()).picture;
    if (!picture_) {
      Wrong("result: nil");
      return false;
    }
    SayStep("result: " + PictureText(*picture_));
    CheckSurroundings("block", *block_);
    CheckSurroundings("picture", *picture_);
    if (options_.verify) {
      VerifyPicture();
    }
    return true;
  }

  std::string ToPictureMethod() const {
    const bool isGray = letters_.size() == 1;
    return "Memoryblock" + (isGray ? "GrayTo" : SentLetters(options_.raw) + "to") + "PictureKVZ";
  }

  std::vector<Value> ToPictureArguments() const {
    std::vector<Value> arguments = {block_.get(), options_.raw.offset, in_.width, in_.height};
    const bool isGray = letters_.size() == 1;
    if (isGray) {
      arguments.emplace_back(1);  // bytes a pixel
    }
    if (isGray && letters_ != "Y") {
      for (const char colour : {'R', 'G', 'B'}) {
        arguments.emplace_back(letters_[0] == colour ? 256 : 0);  // a weight over 256
      }
    }
    if (options_.flip) {
      arguments.emplace_back(true);
    }
    return arguments;
  }

  void VerifyPicture() {
    const oracle::Buffer sent{.layout = letters_,
                              .width = in_.width,
                              .height = in_.height,
                              .offset = options_.raw.offset,
                              .pixelBytes = static_cast<std::int64_t>(letters_.size()),
                              .flip = options_.flip};
    const int pixelType = session_->options().pixelType;
    const std::string letters(oracle::PictureLayout(pixelType));
    const auto pixels = static_cast<std::size_t>(sent.width * sent.height);
    Bytes expected(pixels * letters.size());
    oracle::Write(sent, block_->bytes(), pixelType, sent.width, expected);
    Bytes found;
    for (std::int32_t y = 0; y < picture_->height; ++y) {
      found.insert(found.end(), picture_->Row(y), picture_->Row(y) + picture_->RowLength());
    }
    const Rows rows{letters, sent.width, 0, sent.width * static_cast<std::int64_t>(letters.size())};
    Judge("picture", FirstDifference(expected, found, rows), std::to_string(pixels) + " pixels");
  }

  bool ToBlock() {
    Ref<REALpictureStruct> mask;
    if (options_.mask) {
      mask = MakePicture(session_.host(), mask_, picture_->format);
    }
    // With a native depth of 16, the picture to read from is another one with the same pixels.
    if (session_.SourceFormat() == PixelFormat::kWorld16) {
      picture_ = MakePicture(session_.host(), ImageOf(*picture_), PixelFormat::kWorld16);
    }
    block_ = session_->NewMemoryBlock(blockBytes_);
    std::fill_n(block_->bytes(), blockBytes_, kUntouched);
    const std::string colours = letters_ == "Y" ? "G" : letters_;
    if (!Call("Copy" + colours + "toMemoryblockKVZ", ToBlockArguments(mask.get())).boolean) {
      Wrong("result: false");
      return false;
    }
    SayStep("result: true, " + std::to_string(RowCount()) + " rows of " + std::to_string(copy_.width) +
            " pixels, " + std::to_string(copy_.destRowBytes) + " bytes from row to row");
    CheckSurroundings("bytes", *block_);
    CheckSurroundings("picture", *picture_);
    if (options_.verify) {
      VerifyBlock();
    }
    return true;
  }

  std::vector<Value> ToBlockArguments(REALpictureStruct* mask) const {
    std::vector<Value> arguments = {picture_.get(), block_.get(), options_.raw.offset};
    if (mask != nullptr) {
      arguments.emplace_back(mask);
    } else if (HasAlpha(letters_)) {
      arguments.emplace_back(options_.alpha.value_or(kOpaque));
    } else if (letters_.size() == 1) {
      arguments.emplace_back(1);  // bytes a pixel
    }
    constexpr std::int64_t kNoYield = 0;
    for (const std::int64_t number : {copy_.lines.first, copy_.lines.last, kNoYield, copy_.destRowBytes}) {
      arguments.emplace_back(static_cast<std::int32_t>(number));
    }
    return arguments;
  }

  void VerifyBlock() {
    Bytes expected(static_cast<std::size_t>(blockBytes_), kUntouched);
    oracle::Write(
        copy_, Colours(ImageOf(*picture_)), Colours(mask_),
        [&](std::int64_t position) -> std::uint8_t& { return expected[static_cast<std::size_t>(position)]; });
    const Rows rows{copy_.layout, copy_.width, copy_.offset, copy_.destRowBytes};
    Judge("bytes", FirstDifference(expected, Written(), rows), std::to_string(blockBytes_));
  }

  std::span<const std::uint8_t> Written() const {
    return {block_->bytes(), static_cast<std::size_t>(blockBytes_)};
  }

  std::int32_t RowCount() const {
    return static_cast<std::int32_t>(copy_.lines.last - copy_.lines.first + 1);
  }

  void Save() const {
    if (IsPng(options_.out)) {
      const Size size = {static_cast<std::int32_t>(copy_.width), RowCount()};
      WriteImage(options_.out, Unpack(block_->bytes() + copy_.offset, copy_.destRowBytes, size, letters_));
    } else {
      WriteBytes(options_.out, Written());
    }
    SayStep("written: " + options_.out);
  }

  void TellJson() const {
    PrintJson("convert", {{"in", options_.in},
                          {"out", options_.out},
                          {"layout", options_.raw.layout},
                          {"width", copy_.width},
                          {"rows", RowCount()},
                          {"stride", copy_.destRowBytes},
                          {"offset", copy_.offset},
                          {"verified", verified_},
                          {"findings", findings_}});
  }

  const Options& options_;
  Session session_;  // before the references to its objects, which it outlives
  Balance before_;
  std::string letters_;  // of the layout
  PackedPixels in_;
  Image mask_;
  oracle::Copy copy_;
  std::int32_t blockBytes_;  // of the block that is copied to
  Ref<REALpictureStruct> picture_;
  Ref<REALmemoryBlockStruct> block_;
  std::vector<std::string> verified_, findings_;
};

}  // namespace

Work SetUpConvert(CLI::App& app) {
  app.footer(kHelp);
  const auto options = std::make_shared<Options>();
  app.add_option("IN", options->in, "The PNG picture or raw bytes to send through the plug-in")->required();
  app.add_option("OUT", options->out, "Where what came back goes")->required();
  const std::vector<std::string> layouts(kLayouts.begin(), kLayouts.end());
  app.add_option("--layout", options->raw.layout, "One of " + CLI::detail::join(layouts, ", ") + " (RGB)")
      ->transform(OneOf(layouts));
  app.add_option("--size", options->raw.size, "The size of IN, if that is raw bytes")->transform(SizeWord());
  app.add_option("--stride", options->raw.stride, "Bytes from row to row (packed rows)")
      ->transform(Integer(1));
  app.add_option("--offset", options->raw.offset, "Bytes ahead of the first row (0)")->transform(Integer(0));
  auto* const alpha = app.add_option("--alpha", options->alpha, "The alpha of the way back (255)")
                          ->transform(Integer(0, 255));
  app.add_option("--mask", options->mask, "A PNG picture whose green, inverted, is the alpha of the way back")
      ->type_name("FILE")
      ->excludes(alpha);
  app.add_option_function<std::string>(
         "--band", [options](const std::string& word) { options->band = ParseBand(word); },
         "The rows to copy back, both included, from 0; LAST may be -1 for the last one")
      ->type_name("FIRST:LAST");
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
