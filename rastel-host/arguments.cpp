#include "rastel-host/arguments.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

#include "rastel-host/files.h"
#include "rastel-host/image.h"
#include "rastel-host/options.h"
#include "rastel-host/output.h"
#include "rastel-host/program.h"

namespace devhost::program {
namespace {

/// Red x, green y, blue x + y, alpha 90.
Image Pattern(Size size) {
  Image image(size.width, size.height);
  for (std::int32_t y = 0; y < size.height; ++y) {
    for (std::int32_t x = 0; x < size.width; ++x) {
      image.At(x, y) = {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                        static_cast<std::uint8_t>(x + y), 90};
    }
  }
  return image;
}

/// 0, 1, 2, … modulo 256.
Bytes Counting(std::int32_t count) {
  Bytes bytes(static_cast<std::size_t>(count));
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

/// The file's bytes. Throws Failure (kFile) if a block cannot have as many.
Bytes BytesOfFile(const std::string& path) {
  Bytes bytes = ReadBytes(path, std::size_t{kMostInteger} + 1);
  if (bytes.size() > std::size_t{kMostInteger}) {
    throw Failure(Status::kFile,
                  path + ": expected at most " + std::to_string(kMostInteger) + " bytes, as a block has");
  }
  return bytes;
}

}  // namespace

WrittenArguments::WrittenArguments(const Session& session, const std::vector<std::string>& words)
    : session_(session) {
  for (const std::string& word : words) {
    Add(word);
  }
}

std::string WrittenArguments::PlaceOf(const void* address) const {
  constexpr std::int64_t kNear =
      4096;  // what is farther from memory is not taken for an access beyond its end
  std::string place = "memory that is no argument's";
  std::int64_t least = kNear;
  for (const auto& [name, start, size] : regions_) {
    const auto offset = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(address)) -
                        static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(start));
    const std::int64_t distance = std::max({std::int64_t{0}, -offset, offset - size + 1});
    if (distance < least) {
      least = distance;
      place = name + ": offset " + std::to_string(offset);
      place += distance == 0 ? "" : ", " + Count(distance, "byte");
      place += offset < 0 ? " ahead of its first one" : distance > 0 ? " behind its last one" : "";
    }
  }
  return place;
}

void WrittenArguments::Add(const std::string& word) {
  const auto equals = word.find('=');
  const bool isNamed = equals != std::string::npos && equals > 0 && word.find_first_of(":[") > equals;
  what_ = isNamed ? word.substr(0, equals) : "argument " + std::to_string(arguments_.inOrder.size() + 1);
  try {
    if (isNamed) {
      arguments_.named.emplace_back(what_, Parse(word.substr(equals + 1)));
    } else if (arguments_.named.empty()) {
      arguments_.inOrder.push_back(Parse(word));
    } else {
      Unexpected("name=value, as it stands after an argument with a name", word);
    }
  } catch (const Failure& failure) {
    throw Failure(failure.status, what_ + ": " + failure.what());
  }
}

Value WrittenArguments::Parse(const std::string& word) {
  if (word == "nil") {
    return nullptr;
  }
  if (word == "true" || word == "false") {
    return word == "true";
  }
  if (word.starts_with("picture:")) {
    return MakePicture(word, word.substr(8));
  }
  if (word.starts_with("block:")) {
    return MakeBlock(word, word.substr(6));
  }
  if (word.starts_with("ptr:")) {
    return Ptr{MakeBlock(word, word.substr(4))->bytes()};
  }
  if (word.starts_with("[")) {
    arrays_.push_back(session_->NewIntegerArray(ParseIntegers(word)));
    return arrays_.back().get();
  }
  if (!IsDigits(word.starts_with("-") ? word.substr(1) : word)) {
    Unexpected("an integer, true, false, nil, picture:…, block:…, ptr:… or [1,2,3]", word);
  }
  return ParseInteger(word);
}

Value WrittenArguments::MakePicture(const std::string& word, const std::string& source) {
  const bool isFile = IsPng(source);
  if (!isFile && !IsDigits(source.substr(0, 1))) {
    Unexpected("picture:WIDTHxHEIGHT or picture:FILE.png", word);
  }
  const Image image = isFile ? ReadImage(source) : Pattern(ParseSize(source));
  auto picture = session_.MakePicture(image, session_.SourceFormat());
  for (std::int32_t y = 0; y < picture->height; ++y) {
    regions_.push_back({what_ + " (" + word + "), row " + std::to_string(y), picture->Row(y),
                        static_cast<std::int64_t>(picture->RowLength())});
  }
  return pictures_.emplace_back(std::move(picture)).get();
}

REALmemoryBlockStruct* WrittenArguments::MakeBlock(const std::string& word, const std::string& source) {
  Bytes bytes = IsDigits(source) ? Counting(ParseInteger(source, 0)) : BytesOfFile(source);
  auto block = session_->NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
  std::ranges::copy(bytes, block->bytes());
  regions_.push_back({what_ + " (" + word + ")", block->bytes(), block->size});
  blocks_.push_back({what_ + " (" + word + ")", std::move(block), std::move(bytes)});
  return blocks_.back().block.get();
}

}  // namespace devhost::program
