#include <algorithm>
#include <iostream>
#include <limits>
#include <utility>

#include "devhost/program/expectation.h"
#include "devhost/program/failure.h"
#include "devhost/program/verbs.h"

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
  if (options.destination && layout.OneChannel()) {
    Misuse("--destination: expected a layout of three or four bytes a pixel, got " + name);
  }
  if (options.size && IsPictureName(options.in)) {
    Misuse("--size: expected raw bytes as input, got the picture " + options.in);
  }
  if (!options.size && !IsPictureName(options.in)) {
    Misuse("--size: expected the size of the raw bytes in " + options.in);
  }
}

std::int32_t BlockSize(std::int64_t bytes) {
  if (bytes > std::numeric_limits<std::int32_t>::max()) {
    Misuse("expected a buffer of at most 2147483647 bytes, as a memory block has, got " +
           std::to_string(bytes));
  }
  return static_cast<std::int32_t>(bytes);
}

/// The packed rows that are sent into a picture.
struct Buffer {
  std::vector<std::uint8_t> bytes;
  Size size;
};

Buffer ReadBuffer(const ConvertOptions& options, const Layout& layout) {
  if (!options.size) {
    const Image image = ReadImage(options.in);
    BlockSize(std::int64_t{image.width} * image.height * layout.pixelBytes);
    return {Pack(image, layout), {image.width, image.height}};
  }
  const std::int64_t expected = std::int64_t{options.size->width} * options.size->height * layout.pixelBytes;
  BlockSize(expected);
  auto bytes = ReadBytes(options.in);
  if (static_cast<std::int64_t>(bytes.size()) != expected) {
    throw Failure(Status::kFile, options.in + ": expected " + std::to_string(expected) + " raw bytes (" +
                                     std::to_string(layout.pixelBytes) + " a pixel), found " +
                                     std::to_string(bytes.size()));
  }
  return {std::move(bytes), *options.size};
}

/// The conversion, step by step. A step tells at once what it found wrong, and keeps it in `status_`.
class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options)
      : options_(options), layout_(LayoutNamed(options.layout)) {
    CheckOptions(options_, layout_);
    buffer_ = ReadBuffer(options_, layout_);
    host_ = OpenHost(options_.host);
    host_->onYield = [this] { ++yields_; };
    // Each reading of a clock takes a sixtieth of a second, so that an interval between yields can pass.
    host_->clock.ticksPerReading = 1;
    host_->clock.nanosecondsPerReading = 16'666'667;
  }

  int Run() {
    MakeDestination();
    PrepareCopyBack();
    if (!ToPicture() || !ToBuffer()) {
      return static_cast<int>(Status::kDifferent);
    }
    const int complaints = StatusOfComplaints(*host_);
    return complaints != 0 ? complaints : static_cast<int>(status_);
  }

 private:
  void Wrong(const std::string& line) {
    std::cout << line << '\n';
    status_ = Status::kDifferent;
  }

  /// Tells the verdict on one comparison.
  void Judge(const std::string& what, const std::optional<std::string>& difference,
             const std::string& amount) {
    if (difference) {
      Wrong(what + ": DIFFERENT, " + *difference);
    } else {
      std::cout << what << ": identical (" << amount << ")\n";
    }
  }

  /// The format of the pictures that the host makes.
  PixelFormat OwnFormat() { return host_->NewPicture(1, 1)->format; }

  void MakeDestination() {
    if (!options_.destination) {
      return;
    }
    const auto [width, height] = *options_.destination;
    destination_ = MakePicture(*host_, Pattern(width, height), OwnFormat());
    before_ = ImageOf(*destination_);
  }

  void PrepareCopyBack() {
    if (options_.mask) {
      mask_ = ReadImage(*options_.mask);
      copy_.mask = &mask_;
    } else if (layout_.fourth == Fourth::kAlpha) {
      copy_.alpha = static_cast<std::uint8_t>(options_.alpha.value_or(255));
    }
    copy_.firstRow = options_.band ? options_.band->first : 0;
    copy_.lastRow = options_.band ? options_.band->last : -1;
    copy_.stride = options_.stride;
  }

  /// Calls a method and tells it, and the exception that it raised.
  CallResult Call(const std::string& step, const std::string& method, const std::vector<Value>& arguments) {
    std::cout << step << ": " << CallText(method, arguments) << '\n';
    try {
      CallResult result = host_->Call(method, arguments);
      if (result.exception) {
        Wrong("exception: " + ExceptionText(*result.exception));
      }
      return result;
    } catch (const HostError& error) {
      throw Failure(Status::kNoPlugin, error.what());
    }
  }

  std::vector<Value> ArgumentsToPicture(const Value& source) const {
    std::vector<Value> arguments;
    if (destination_) {
      arguments.emplace_back(destination_.get());
    }
    arguments.push_back(source);
    for (const std::int32_t number : {0, buffer_.size.width, buffer_.size.height}) {
      arguments.emplace_back(number);
    }
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
    return arguments;
  }

  bool ToPicture() {
    const auto block = host_->NewMemoryBlock(static_cast<std::int32_t>(buffer_.bytes.size()));
    std::copy(buffer_.bytes.begin(), buffer_.bytes.end(), block->bytes());
    const Value source = options_.pointer ? Value(Ptr{block->bytes()}) : Value(block.get());
    const std::string method = (options_.pointer ? "Ptr" : "Memoryblock") + std::string(layout_.toPicture);
    picture_ = Call("there", method, ArgumentsToPicture(source)).picture;
    if (!picture_) {
      Wrong("result: nil");
      return false;
    }
    std::cout << "result: " << PictureText(*picture_) << '\n';
    CheckPicture();
    return true;
  }

  void CheckPicture() {
    const bool filled = before_.width >= buffer_.size.width && before_.height >= buffer_.size.height;
    if (destination_) {
      std::cout << "destination: " << (filled ? "large enough to be filled" : "too small, to be left alone")
                << '\n';
      if ((picture_.get() == destination_.get()) != filled) {
        Wrong("destination: DIFFERENT, the result is the wrong picture");
      }
    }
    if (destination_ && !filled) {
      Judge("destination", FirstDifference(before_, ImageOf(*destination_)), "left alone");
    }
    const Image shown = Unpack(buffer_.bytes, std::int64_t{buffer_.size.width} * layout_.pixelBytes,
                               buffer_.size.width, buffer_.size.height, layout_);
    const std::uint8_t fourth = picture_->format == PixelFormat::kWorld32 ? 255 : 0;
    const Image expected = ExpectedPicture(shown, options_.flip, fourth, filled ? &before_ : nullptr);
    if (picture_->width != expected.width || picture_->height != expected.height) {
      Wrong("picture: DIFFERENT, expected the size " + std::to_string(expected.width) + "x" +
            std::to_string(expected.height));
      return;
    }
    Judge("picture", FirstDifference(expected, ImageOf(*picture_)),
          std::to_string(expected.pixels.size()) + " pixels");
    if (!picture_->SurroundingsIntact()) {
      Wrong("picture: DIFFERENT, bytes outside its pixels were written");
    }
  }

  /// The picture to read from: with a native depth of 16, one with the pixels of the picture made before.
  void ChooseSource() {
    if (SourceFormat(options_.host) == PixelFormat::kWorld16) {
      picture_ = MakePicture(*host_, ImageOf(*picture_), PixelFormat::kWorld16);
      std::cout << "source: " << PictureText(*picture_) << '\n';
    }
  }

  std::vector<Value> ArgumentsToBuffer(REALmemoryBlockStruct* block, REALpictureStruct* mask) const {
    std::vector<Value> arguments{picture_.get(), block, 0};
    if (mask != nullptr) {
      arguments.emplace_back(mask);
    } else if (layout_.fourth == Fourth::kAlpha) {
      arguments.emplace_back(options_.alpha.value_or(255));
    } else if (layout_.OneChannel()) {
      arguments.emplace_back(1);
    }
    for (const std::int32_t number : {copy_.firstRow, copy_.lastRow, options_.yield, copy_.stride}) {
      arguments.emplace_back(number);
    }
    return arguments;
  }

  bool ToBuffer() {
    ChooseSource();
    const Image source = ImageOf(*picture_);
    const BufferShape shape = ShapeOf(source, layout_, copy_);
    const auto block = host_->NewMemoryBlock(BlockSize(shape.Bytes()));
    std::fill_n(block->bytes(), shape.Bytes(), kUntouched);
    Ref<REALpictureStruct> mask;
    if (options_.mask) {
      mask = MakePicture(*host_, mask_, OwnFormat());
    }
    host_->trace.clear();
    const CallResult result =
        Call("back", std::string(layout_.toBuffer), ArgumentsToBuffer(block.get(), mask.get()));
    if (!result.boolean) {
      Wrong("result: false");
      return false;
    }
    TellCopy(shape);
    const std::vector<std::uint8_t> got(block->bytes(), block->bytes() + shape.Bytes());
    Judge("bytes", FirstDifference(ExpectedBuffer(source, layout_, copy_, kUntouched), got, shape, layout_),
          std::to_string(got.size()));
    if (!block->SurroundingsIntact()) {
      Wrong("bytes: DIFFERENT, bytes outside the block were written");
    }
    Write(got, shape);
    return true;
  }

  void TellCopy(const BufferShape& shape) const {
    const auto copies = std::count_if(host_->trace.begin(), host_->trace.end(),
                                      [](const TracedCall& call) { return call.entry == "newPicture"; });
    std::cout << "result: true; rows: " << shape.rows << " of " << shape.width << " pixels, " << shape.stride
              << " bytes from row to row; yields: " << yields_ << "; opaque copies: " << copies << '\n';
  }

  void Write(const std::vector<std::uint8_t>& bytes, const BufferShape& shape) const {
    if (IsPictureName(options_.out)) {
      WriteImage(options_.out, Unpack(bytes, shape.stride, shape.width, shape.rows, layout_));
    } else {
      WriteBytes(options_.out, bytes);
    }
    std::cerr << "written: " << options_.out << '\n';
  }

  const ConvertOptions& options_;
  const Layout& layout_;
  Buffer buffer_;
  std::unique_ptr<Host> host_;  // before the references to its objects, which it outlives
  Ref<REALpictureStruct> destination_, picture_;
  Image before_;  // the destination's pixels before the call
  Image mask_;
  CopyBack copy_;
  int yields_ = 0;
  Status status_ = Status::kGood;
};

}  // namespace

int RunConvert(const ConvertOptions& options) {
  return Conversion(options).Run();
}

}  // namespace devhost::program
