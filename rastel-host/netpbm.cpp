#include "rastel-host/netpbm.h"

#include <charconv>
#include <cstddef>
#include <sstream>

#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

struct Header {
  std::int64_t width = 0, height = 0, depth = 0, largest = 0;
};

/// The next word of a header, comments skipped; empty at the end of the file.
std::string Word(std::istream& stream) {
  std::string word;
  while (stream >> word && word.starts_with('#')) {
    std::getline(stream, word);
    word.clear();
  }
  return word;
}

/// The next word as a number; -1, which is no value of a header, if it is none.
std::int64_t Number(std::istream& stream) {
  const std::string word = Word(stream);
  std::int32_t number = -1;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size() ? number : -1;
}

Header ReadPpmHeader(std::istream& stream) {
  Header header;
  header.width = Number(stream);
  header.height = Number(stream);
  header.largest = Number(stream);
  header.depth = 3;
  return header;
}

/// Unknown lines make the depth -1, as does a missing end.
Header ReadPamHeader(std::istream& stream) {
  Header header;
  for (std::string word = Word(stream); word != "ENDHDR"; word = Word(stream)) {
    if (word == "WIDTH") {
      header.width = Number(stream);
    } else if (word == "HEIGHT") {
      header.height = Number(stream);
    } else if (word == "DEPTH") {
      header.depth = Number(stream);
    } else if (word == "MAXVAL") {
      header.largest = Number(stream);
    } else if (word == "TUPLTYPE") {
      Word(stream);
    } else {
      header.depth = -1;
      break;
    }
  }
  return header;
}

Rgba PixelAt(const std::uint8_t* samples, std::int64_t depth) {
  if (depth == 1) {
    return {samples[0], samples[0], samples[0], 255};
  }
  const std::uint8_t alpha = depth == 4 ? samples[3] : std::uint8_t{255};
  return {samples[0], samples[1], samples[2], alpha};
}

std::vector<std::uint8_t> Encode(const std::string& header, const Image& image, bool withAlpha) {
  std::vector<std::uint8_t> bytes(header.begin(), header.end());
  bytes.reserve(header.size() + image.pixels.size() * 4);
  for (const Rgba& pixel : image.pixels) {
    bytes.insert(bytes.end(), {pixel.red, pixel.green, pixel.blue});
    if (withAlpha) {
      bytes.push_back(pixel.alpha);
    }
  }
  return bytes;
}

}  // namespace

Image DecodeNetpbm(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::istringstream stream(std::string(bytes.begin(), bytes.end()));
  const std::string magic = Word(stream);
  if (magic != "P6" && magic != "P7") {
    throw Failure(Status::kFile, path + ": expected a PNG picture, or one that begins with P6 or P7");
  }
  const Header header = magic == "P6" ? ReadPpmHeader(stream) : ReadPamHeader(stream);
  stream.get();  // the one white space between header and pixels
  if (!stream || header.largest != 255 || (header.depth != 1 && header.depth != 3 && header.depth != 4)) {
    throw Failure(Status::kFile, path + ": expected a " + magic +
                                     " header with 255 as the largest value and 1, 3 or 4 samples a pixel");
  }
  CheckImageSize(path, header.width, header.height);
  const std::int64_t expected = header.width * header.height * header.depth;
  const std::int64_t begin = stream.tellg();
  const auto got = static_cast<std::int64_t>(bytes.size()) - begin;
  if (got < expected) {
    throw Failure(Status::kFile, path + ": expected " + std::to_string(expected) +
                                     " bytes of pixels, found " + std::to_string(got));
  }
  Image image(static_cast<std::int32_t>(header.width), static_cast<std::int32_t>(header.height));
  const std::uint8_t* samples = bytes.data() + begin;
  for (Rgba& pixel : image.pixels) {
    pixel = PixelAt(samples, header.depth);
    samples += header.depth;
  }
  return image;
}

std::vector<std::uint8_t> EncodePpm(const Image& image) {
  std::ostringstream header;
  header << "P6\n" << image.width << ' ' << image.height << "\n255\n";
  return Encode(header.str(), image, false);
}

std::vector<std::uint8_t> EncodePam(const Image& image) {
  std::ostringstream header;
  header << "P7\nWIDTH " << image.width << "\nHEIGHT " << image.height
         << "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
  return Encode(header.str(), image, true);
}

}  // namespace devhost::program
