// What a second program computed, which shares nothing with this one: golden.tsv says how to read it.
#include <charconv>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>

#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Ref;
using devhost::Value;
using Texts = std::vector<std::string>;

/// Ends the reading of what does not follow the notation.
void Require(bool holds, const std::string& problem) {
  if (!holds) {
    throw std::runtime_error(problem);
  }
}

Texts Split(const std::string& text, char separator) {
  Texts parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

template <typename Integer>
Integer ParseInteger(const std::string& text, int base = 10) {
  Integer number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number, base);
  Require(error == std::errc() && end == textEnd, "no number: " + text);
  return number;
}

Bytes ParseHex(const std::string& text) {
  Require(text.size() % 2 == 0, "half a byte too much: " + text);
  Bytes bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(ParseInteger<std::uint8_t>(text.substr(i, 2), 16));
  }
  return bytes;
}

std::vector<std::int32_t> ParseArray(const std::string& text) {
  Require(text.starts_with('[') && text.ends_with(']'), "no array: " + text);
  std::vector<std::int32_t> elements;
  for (const std::string& element : Split(text.substr(1, text.size() - 2), ',')) {
    elements.push_back(ParseInteger<std::int32_t>(element));
  }
  return elements;
}

std::string HexOf(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += {kDigits[byte / 16], kDigits[byte % 16]};
  }
  return text;
}

std::string HexOf(REALpictureStruct& picture) {
  std::string text;
  for (std::int32_t row = 0; row < picture.height; ++row) {
    text += row == 0 ? "" : "/";
    text += HexOf(Bytes(picture.Row(row), picture.Row(row) + picture.RowLength()));
  }
  return text;
}

/// The columns of what comes after the comments that the file begins with, by line number.
std::map<int, Texts> ReadRows() {
  std::ifstream file(RASTEL_GOLDEN);
  Require(file.is_open(), "there is no " RASTEL_GOLDEN);
  std::map<int, Texts> rows;
  std::string text;
  for (int line = 1; std::getline(file, text); ++line) {
    if (!rows.empty() || !text.starts_with('#')) {
      rows[line] = Split(text, '\t');
      Require(rows[line].size() == 4, "not four columns in line " + std::to_string(line));
    }
  }
  return rows;
}

/// A row's call: its arguments, and the objects among them.
class GoldenCall {
 public:
  GoldenCall(devhost::Host& host, const Texts& columns)
      : host_(host), method_(columns[0]), overload_(method_) {
    for (const std::string& argument : Split(columns[2], ' ')) {
      const Texts sides = Split(argument, '=');
      Require(sides.size() == 2, "not name=value: " + argument);
      const std::string& name = sides[0];
      arguments_.named.emplace_back(name.substr(0, name.find("()")), MakeValue(name, sides[1]));
      overload_ += " " + name;
    }
  }

  /// The method and the names of its arguments, which tell it from others of that name.
  const std::string& overload() const { return overload_; }

  /// What comes of the call, as the file has it; of one that fails, its failure.
  std::string Result() {
    const devhost::CallResult result = host_.Call(method_, arguments_);
    if (result.exception) {
      return result.exception->className;
    }
    if (result.picture) {
      EXPECT_TRUE(result.picture->SurroundingsIntact());
      return HexOf(*result.picture);
    }
    if (result.boolean) {
      EXPECT_TRUE(block_->SurroundingsIntact());
      return HexOf(BytesOf(*block_));
    }
    return "nil or false";
  }

 private:
  Value MakeValue(const std::string& name, const std::string& text) {
    if (text == "nil") {
      return nullptr;
    }
    if (text == "true" || text == "false") {
      return text == "true";
    }
    if (name.ends_with("()")) {
      return arrays_.emplace_back(host_.NewIntegerArray(ParseArray(text))).get();
    }
    if (name == "ref" || name == "dest" || name == "MaskForAlpha") {
      return MakePicture(text);
    }
    if (name == "source" || name == "destination") {
      return MakeBlock(ParseHex(text));
    }
    return ParseInteger<std::int32_t>(text);
  }

  REALpictureStruct* MakePicture(const std::string& text) {
    std::vector<Bytes> rows;
    for (const std::string& row : Split(text, '/')) {
      rows.push_back(ParseHex(row));
    }
    const auto pixelBytes = oracle::PictureLayout(host_.options().pixelType).size();
    const auto width = static_cast<std::int32_t>(rows[0].size() / pixelBytes);
    auto& picture = pictures_.emplace_back(host_.NewPicture(width, static_cast<std::int32_t>(rows.size())));
    for (std::int32_t y = 0; const Bytes& row : rows) {
      Require(row.size() == picture->RowLength(), "not rows of whole pixels, all as long: " + text);
      std::ranges::copy(row, picture->Row(y++));
    }
    return picture.get();
  }

  Value MakeBlock(const Bytes& bytes) {
    block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
    std::ranges::copy(bytes, block_->bytes());
    return method_.starts_with("Ptr") ? Value(devhost::Ptr{block_->bytes()}) : block_.get();
  }

  devhost::Host& host_;
  std::string method_;
  std::string overload_;
  devhost::Arguments arguments_;
  std::vector<Ref<REALpictureStruct>> pictures_;
  Ref<REALmemoryBlockStruct> block_;  // no method takes two
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

/// Plays the rows of one pixel type, and gives their number.
std::size_t Play(const std::map<int, Texts>& rows, const HostCase& hostCase) {
  devhost::HostOptions options = hostCase.Options();
  options.version = 2012.5;
  options.guarded = true;
  LoadedHost host(options);
  const NothingLost watch(host);
  std::size_t played = 0;
  std::set<std::string> overloads;
  for (const auto& [line, columns] : rows) {
    if (columns[1] != std::to_string(hostCase.pixelType)) {
      continue;
    }
    SCOPED_TRACE(RASTEL_GOLDEN ":" + std::to_string(line) + " " + columns[0]);
    try {
      GoldenCall call(host, columns);
      EXPECT_EQ(columns[3], call.Result());
      overloads.insert(call.overload());
      ++played;
    } catch (const std::exception& problem) {
      ADD_FAILURE() << problem.what();
    }
  }
  EXPECT_EQ(host.methods().size(), overloads.size()) << "not every method on " << hostCase.name;
  return played;
}

TEST(Golden, EveryRowComesOut) {
  const std::map<int, Texts> rows = ReadRows();
  EXPECT_EQ(rows.size(), Play(rows, kDesktop) + Play(rows, kDesktop24) + Play(rows, kConsole));
}

}  // namespace
}  // namespace tests
