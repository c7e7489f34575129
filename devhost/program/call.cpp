#include <algorithm>
#include <iomanip>
#include <iostream>
#include <utility>

#include "abi/declaration.h"
#include "devhost/program/failure.h"
#include "devhost/program/verbs.h"

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
class Arguments {
 public:
  Arguments(Host& host, PixelFormat format, const std::vector<std::string>& texts)
      : host_(host), format_(format) {
    for (const std::string& text : texts) {
      what_ = "argument " + std::to_string(values_.size() + 1);
      values_.push_back(Parse(text));
    }
  }

  const std::vector<Value>& values() const { return values_; }
  const std::vector<Writable>& writables() const { return writables_; }

 private:
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
                                        ": expected an integer, true, false, nil, picture:…, block:…, ptr:… "
                                        "or [1,2,3], got '" +
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
  std::vector<Value> values_;
  std::vector<Writable> writables_;
  std::vector<Ref<REALpictureStruct>> pictures_;
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

/// What the overloads of a method give back; all of one name give the same.
rastel::abi::HostType ResultType(const Host& host, const std::string& method) {
  for (const Registration& registration : host.methods()) {
    const auto declaration = rastel::abi::ParseDeclaration(registration.declaration);
    if (declaration && rastel::abi::SameName(declaration->name, method)) {
      return declaration->result;
    }
  }
  throw Failure(Status::kUsage,
                "unknown method '" + method + "': expected one of those that 'rastel-host list' shows");
}

void PrintPicture(REALpictureStruct& picture) {
  std::cout << "result: " << PictureText(picture) << "\npixels:";
  for (std::int32_t x = 0; x < std::min(picture.width, kPixelsShown); ++x) {
    const Pixel pixel = picture.At(x, 0);
    std::cout << " (" << int{pixel.red} << ", " << int{pixel.green} << ", " << int{pixel.blue} << ", "
              << int{pixel.fourth} << ')';
  }
  std::cout << (picture.width > kPixelsShown ? " …\n" : "\n");
}

void PrintResult(const CallResult& result, rastel::abi::HostType type) {
  if (type != rastel::abi::HostType::kPicture) {
    std::cout << "result: " << (result.boolean ? "true" : "false") << '\n';
  } else if (!result.picture) {
    std::cout << "result: nil\n";
  } else {
    PrintPicture(*result.picture);
  }
}

/// Tells of the bytes that were changed.
void PrintWritten(const Writable& writable) {
  const std::uint8_t* bytes = writable.block->bytes();
  std::size_t changed = 0;
  for (std::size_t i = 0; i < writable.before.size(); ++i) {
    changed += bytes[i] != writable.before[i] ? 1 : 0;
  }
  if (changed == 0) {
    return;
  }
  const std::size_t shown = std::min(writable.before.size(), kBytesShown);
  std::cout << writable.name << ": " << changed << " bytes changed; it begins" << std::hex
            << std::setfill('0');
  for (std::size_t i = 0; i < shown; ++i) {
    std::cout << ' ' << std::setw(2) << int{bytes[i]};
  }
  std::cout << std::dec << std::setfill(' ') << (shown < writable.before.size() ? " …\n" : "\n");
}

CallResult Call(Host& host, const std::string& method, const std::vector<Value>& arguments) {
  try {
    return host.Call(method, arguments);
  } catch (const HostError& error) {
    throw Failure(Status::kUsage, error.what());
  }
}

}  // namespace

int RunCall(const CallOptions& options) {
  const auto host = OpenHost(options.host);
  const auto resultType = ResultType(*host, options.method);
  const Arguments arguments(*host, SourceFormat(options.host), options.arguments);
  host->trace.clear();
  const CallResult result = Call(*host, options.method, arguments.values());
  if (options.trace) {
    for (const TracedCall& call : host->trace) {
      std::cout << "trace: " << call.Text() << '\n';
    }
  }
  PrintResult(result, resultType);
  for (const Writable& writable : arguments.writables()) {
    PrintWritten(writable);
  }
  if (result.exception) {
    std::cout << "exception: " << ExceptionText(*result.exception) << '\n';
    return static_cast<int>(Status::kDifferent);
  }
  return StatusOfComplaints(*host);
}

}  // namespace devhost::program
