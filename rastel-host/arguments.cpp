#include "rastel-host/arguments.h"

#include <algorithm>
#include <cstdint>

#include "rastel-host/failure.h"
#include "rastel-host/files.h"
#include "rastel-host/image.h"
#include "rastel-host/options.h"

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
std::vector<std::uint8_t> Counting(std::int32_t count) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count));
  std::generate(bytes.begin(), bytes.end(),
                [next = 0]() mutable { return static_cast<std::uint8_t>(next++); });
  return bytes;
}

/// The file's bytes. Throws Failure (kFile) if a block cannot have as many.
std::vector<std::uint8_t> BytesOfFile(const std::string& path) {
  auto bytes = ReadBytes(path, std::size_t{kMostInteger} + 1);
  if (bytes.size() > std::size_t{kMostInteger}) {
    throw Failure(Status::kFile,
                  path + ": expected at most " + std::to_string(kMostInteger) + " bytes, as a block has");
  }
  return bytes;
}

/// An address that lies this far from memory is not taken for an access beyond its end.
constexpr std::int64_t kNear = 4096;

struct Place {
  std::string text;
  std::int64_t distance = kNear;
};

std::string Count(std::int64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

/// Makes `place` the one in `size` bytes at `start`, called `name`, if that is nearer.
void Consider(const void* address, const std::string& name, const std::uint8_t* start, std::int64_t size,
              Place& place) {
  const auto offset = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(address)) -
                      static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(start));
  const std::int64_t distance = offset < 0 ? -offset : std::max<std::int64_t>(offset - size + 1, 0);
  if (distance < place.distance) {
    const char* side = offset < 0 ? " ahead of its first one" : " behind its last one";
    place = {
        name + ": offset " + std::to_string(offset) + (distance == 0 ? "" : ", " + Count(distance) + side),
        distance};
  }
}

}  // namespace

WrittenArguments::WrittenArguments(const Session& session, const std::vector<std::string>& words)
    : session_(session) {
  for (const std::string& word : words) {
    Add(word);
  }
}

std::optional<std::string> WrittenArguments::PlaceOf(const void* address) const {
  Place place;
  for (const Block& block : blocks_) {
    Consider(address, block.name, block.block->bytes(), block.block->size, place);
  }
  for (const auto& [name, picture] : pictures_) {
    for (std::int32_t y = 0; y < picture->height; ++y) {
      Consider(address, name + ", row " + std::to_string(y), picture->Row(y),
               static_cast<std::int64_t>(picture->RowLength()), place);
    }
  }
  return place.text.empty() ? std::nullopt : std::optional(place.text);
}

void WrittenArguments::Add(const std::string& word) {
  const auto equals = word.find('=');
  if (equals != std::string::npos && equals > 0 && word.find_first_of(":[") > equals) {
    what_ = word.substr(0, equals);
    arguments_.named.emplace_back(what_, Parse(word.substr(equals + 1)));
    return;
  }
  what_ = "argument " + std::to_string(arguments_.inOrder.size() + 1);
  if (!arguments_.named.empty()) {
    throw Failure(Status::kUsage, "'" + word + "' stands after an argument with a name: expected name=value");
  }
  arguments_.inOrder.push_back(Parse(word));
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
    arrays_.push_back(session_->NewIntegerArray(ParseIntegers(what_, word)));
    return arrays_.back().get();
  }
  if (!IsDigits(word.starts_with("-") ? word.substr(1) : word)) {
    throw Failure(Status::kUsage, what_ +
                                      ": expected an integer, true, false, nil, picture:…, block:…, ptr:… or "
                                      "[1,2,3], got '" +
                                      word + "'");
  }
  return ParseInteger(what_, word);
}

Value WrittenArguments::MakePicture(const std::string& word, const std::string& source) {
  if (!LooksLikeSize(source) && !IsPng(source)) {
    throw Failure(Status::kUsage,
                  what_ + ": expected picture:WIDTHxHEIGHT or picture:FILE.png, got '" + word + "'");
  }
  const Image image = LooksLikeSize(source) ? Pattern(ParseSize(what_, source)) : ReadImage(source);
  auto picture = program::MakePicture(session_.host(), image, session_.SourceFormat());
  pictures_.push_back({what_ + " (" + word + ")", std::move(picture)});
  return pictures_.back().picture.get();
}

REALmemoryBlockStruct* WrittenArguments::MakeBlock(const std::string& word, const std::string& source) {
  auto bytes = IsDigits(source) ? Counting(ParseInteger(what_, source, 0)) : BytesOfFile(source);
  auto block = session_->NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), block->bytes());
  blocks_.push_back({what_ + " (" + word + ")", std::move(block), std::move(bytes)});
  return blocks_.back().block.get();
}

}  // namespace devhost::program
