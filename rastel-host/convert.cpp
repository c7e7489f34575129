#include <algorithm>
#include <iostream>
#include <limits>
#include <utility>

#include "rastel-host/expectation.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

/// What a block holds before the plug-in writes to it.
constexpr std::uint8_t kUntouched = 0xA5;

[[noreturn]] void Misuse(const std::string& line) {
  throw Failure(Status::kUsage, line);
}

void CheckOptions(const ConvertOptions& options, const Layout& layout) {
  const std::string name(layout.name);
  if (layout.fourth != Fourth::kAlpha && (options.alpha || options.mask)) {
    Misuse("--alpha and --mask: expected a layout with alpha (ARGB, ABGR, RGBA, BGRA), got " + name);
  }
  if (options.flip && layout.name != "RGBA") {
    Misuse("--flip: expected --layout RGBA, the only one whose methods flip, got " + name);
  }
  if (options.raw.size && !IsRaw(options.in, options.raw)) {
    Misuse("--size: expected raw bytes as input, got the picture " + options.in);
  }
  if (options.common.json && options.out == "-") {
    Misuse("--json: expected a file as OUT, since JSON goes to standard output");
  }
}

std::int32_t BlockSize(std::int64_t bytes) {
  if (bytes > std::numeric_limits<std::int32_t>::max()) {
    Misuse("expected a buffer of at most 2147483647 bytes, as a memory block has, got " +
           std::to_string(bytes));
  }
  return static_cast<std::int32_t>(bytes);
}

/// The conversion, step by step.
class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options)
      : options_(options), layout_(LayoutNamed(options.raw.layout)) {
    CheckOptions(options_, layout_);
    in_ = ReadPixels(options_.in, options_.raw);
    StrideOf(options_.raw, in_.width);
    if (options_.mask) {
      mask_ = ReadImage(*options_.mask);
      copy_.mask = &mask_;
    } else if (layout_.fourth == Fourth::kAlpha) {
      copy_.alpha = static_cast<std::uint8_t>(options_.alpha.value_or(255));
    }
    copy_.band = options_.band.value_or(copy_.band);
    copy_.stride = options_.raw.stride;
    host_ = OpenHost(options_.common.host);
  }

  Status Run() {
    const Balance before = host_->CurrentBalance();
    const Progress progress("converting, step");
    progress.Show(1, 2);
    if (ToPicture()) {
      progress.Show(2, 2);
      ToBuffer();
    }
    progress.Clear();
    picture_.reset();
    for (const std::string& loss : Losses(*host_, before)) {
      Wrong(loss);
    }
    if (options_.common.json) {
      TellJson();
    }
    return findings_.empty() ? Status::kGood : Status::kFindings;
  }

 private:
  /// Results go to standard output, unless the bytes do.
  std::ostream& Results() const { return options_.out == "-" ? std::cerr : std::cout; }

  void Wrong(const std::string& line) {
    findings_.push_back(line);
    if (!options_.common.json) {
      Results() << line << '\n';
    }
  }

  /// Tells the verdict on one comparison.
  void Judge(const std::string& what, const std::optional<std::string>& difference, std::size_t amount) {
    compared_.push_back(what);
    if (difference) {
      Wrong(what + ": DIFFERENT, " + *difference);
    } else if (!options_.common.json) {
      Results() << what << ": identical (" << amount << ")\n";
    }
  }

  /// Calls a method and tells the exception that it raised.
  CallResult Call(const std::string& method, const std::vector<Value>& arguments) {
    SayStep("calling " + method);
    try {
      CallResult result = host_->Call(method, arguments);
      if (result.exception) {
        Wrong("exception: " + ExceptionText(*result.exception));
      }
      return result;
    } catch (const HostError& error) {
      throw Failure(Status::kFindings, error.what());
    }
  }

  bool ToPicture() {
    const auto packed = Pack(in_, layout_);
    const std::int32_t offset = options_.raw.offset;
    const auto block = host_->NewMemoryBlock(BlockSize(offset + static_cast<std::int64_t>(packed.size())));
    std::copy(packed.begin(), packed.end(), block->bytes() + offset);
    std::vector<Value> arguments = {block.get(), offset, in_.width, in_.height};
    if (layout_.OneChannel()) {
      arguments.emplace_back(1);
    }
    if (layout_.OneChannel() && layout_.name != "gray") {
      // The weights act on red, green and blue in this order; 256 passes a byte on as it is.
      for (const int channel : {layout_.red, layout_.green, layout_.blue}) {
        arguments.emplace_back(channel < 0 ? 0 : 256);
      }
    }
    if (options_.flip) {
      arguments.emplace_back(true);
    }
    picture_ = Call("Memoryblock" + std::string(layout_.toPicture), arguments).picture;
    if (!picture_) {
      Wrong("result: nil");
      return false;
    }
    SayStep("result: " + PictureText(*picture_));
    if (options_.verify) {
      CheckPicture(packed);
    }
    return true;
  }

  void CheckPicture(const std::vector<std::uint8_t>& packed) {
    const Image shown =
        Unpack(packed, std::int64_t{in_.width} * layout_.pixelBytes, in_.width, in_.height, layout_);
    const std::uint8_t fourth = picture_->format == PixelFormat::kWorld32 ? 255 : 0;
    const Image expected = ExpectedPicture(shown, options_.flip, fourth, nullptr);
    if (picture_->width != expected.width || picture_->height != expected.height) {
      Wrong("picture: DIFFERENT, expected the size " + std::to_string(expected.width) + "x" +
            std::to_string(expected.height));
      return;
    }
    const auto difference = Compare(expected, ImageOf(*picture_));
    Judge("picture", difference ? std::optional(difference->Text()) : std::nullopt, expected.pixels.size());
  }

  std::vector<Value> ArgumentsToBuffer(REALmemoryBlockStruct* block, REALpictureStruct* mask) const {
    std::vector<Value> arguments{picture_.get(), block, options_.raw.offset};
    if (mask != nullptr) {
      arguments.emplace_back(mask);
    } else if (layout_.fourth == Fourth::kAlpha) {
      arguments.emplace_back(options_.alpha.value_or(255));
    } else if (layout_.OneChannel()) {
      arguments.emplace_back(1);
    }
    for (const std::int32_t number : {copy_.band.first, copy_.band.last, 0, copy_.stride}) {
      arguments.emplace_back(number);
    }
    return arguments;
  }

  void ToBuffer() {
    // With a native depth of 16, the picture to read from is another one with the same pixels.
    if (SourceFormat(options_.common.host) == PixelFormat::kWorld16) {
      picture_ = MakePicture(*host_, ImageOf(*picture_), PixelFormat::kWorld16);
    }
    const Image source = ImageOf(*picture_);
    const Image& sized = options_.mask ? mask_ : source;
    shape_ = ShapeOf({sized.width, sized.height}, layout_, copy_.band, copy_.stride);
    const auto block = host_->NewMemoryBlock(BlockSize(options_.raw.offset + shape_.Bytes()));
    std::fill_n(block->bytes(), block->size, kUntouched);
    Ref<REALpictureStruct> mask;
    if (options_.mask) {
      mask = MakePicture(*host_, mask_, host_->NewPicture(1, 1)->format);
    }
    if (!Call(std::string(layout_.toBuffer), ArgumentsToBuffer(block.get(), mask.get())).boolean) {
      Wrong("result: false");
      return;
    }
    SayStep(std::to_string(shape_.rows) + " rows of " + std::to_string(shape_.width) + " pixels, " +
            std::to_string(shape_.stride) + " bytes from row to row");
    std::vector<std::uint8_t> bytes(block->bytes() + options_.raw.offset, block->bytes() + block->size);
    if (options_.verify) {
      Judge("bytes",
            FirstDifference(ExpectedBuffer(source, layout_, copy_, kUntouched), bytes, shape_, layout_),
            bytes.size());
    }
    if (!block->SurroundingsIntact()) {
      Wrong("bytes: DIFFERENT, bytes outside the block were written");
    }
    if (IsPictureName(options_.out)) {
      WriteImage(options_.out, Unpack(bytes, shape_.stride, shape_.width, shape_.rows, layout_));
    } else {
      WriteBytes(options_.out, {block->bytes(), block->bytes() + block->size});
    }
    SayStep("written: " + options_.out);
  }

  void TellJson() const {
    PrintJson("convert", {{"in", options_.in},
                          {"out", options_.out},
                          {"layout", std::string(layout_.name)},
                          {"width", shape_.width},
                          {"rows", shape_.rows},
                          {"stride", shape_.stride},
                          {"offset", options_.raw.offset},
                          {"verified", ListOf(compared_)},
                          {"findings", ListOf(findings_)}});
  }

  const ConvertOptions& options_;
  const Layout& layout_;
  Image in_, mask_;
  CopyBack copy_;
  BufferShape shape_;
  std::unique_ptr<Host> host_;  // before the references to its objects, which it outlives
  Ref<REALpictureStruct> picture_;
  std::vector<std::string> compared_, findings_;
};

}  // namespace

Status RunConvert(const ConvertOptions& options) {
  return Conversion(options).Run();
}

}  // namespace devhost::program
