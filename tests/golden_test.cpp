// What a second program computed, which shares nothing with this one: golden.tsv says how to read it.
#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Ref;
using devhost::Value;
using Texts = std::vector<std::string>;

Texts Split(const std::string& text, char separator) {
  Texts parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

/// The columns of what comes after the comments that the file begins with, by line number.
std::map<int, Texts> ReadRows() {
  std::ifstream file(RASTEL_GOLDEN);
  std::map<int, Texts> rows;
  std::string text;
  for (int line = 1; std::getline(file, text); ++line) {
    if (!text.starts_with('#')) {
      rows[line] = Split(text, '\t');
    }
  }
  return rows;
}

/// A row's call: its arguments, and the objects among them.
class GoldenCall {
 public:
  GoldenCall(devhost::Host& host, const Texts& columns)
      : host_(host), method_(columns.at(0)), overload_(method_) {
    for (const std::string& argument : Split(columns.at(2), ' ')) {
      const Texts sides = Split(argument, '=');
      const std::string& name = sides.at(0);
      arguments_.named.emplace_back(name.substr(0, name.find("()")), MakeValue(name, sides.at(1)));
      overload_ += " " + name;
    }
  }

  /// The method and the names of its arguments, which tell it from others of that name.
  const std::string& overload() const { return overload_; }

  /// Calls the method and says what is wrong with the picture or the block; empty: nothing.
  std::string Run(const std::string& expected) {
    const devhost::CallResult result = host_.Call(method_, arguments_);
    if (result.boolean) {
      return block_->SurroundingsIntact() ? Difference(ParseHex(expected), BytesOf(*block_)) : "bytes around";
    }
    if (!result.picture || !result.picture->SurroundingsIntact()) {
      return "no picture, or bytes around it";
    }
    const auto picture = MakePicture(expected);
    return picture->width == result.picture->width ? Difference(BytesOf(*picture), BytesOf(*result.picture))
                                                   : "a picture of another width";
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
      std::vector<std::int32_t> elements;
      for (const std::string& element : Split(text.substr(1, text.size() - 2), ',')) {
        elements.push_back(std::stoi(element));
      }
      return arrays_.emplace_back(host_.NewIntegerArray(elements)).get();
    }
    if (name == "ref" || name == "dest" || name == "MaskForAlpha") {
      return pictures_.emplace_back(MakePicture(text)).get();
    }
    if (name == "source" || name == "destination") {
      const Bytes bytes = ParseHex(text);
      block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(bytes.size()));
      std::ranges::copy(bytes, block_->bytes());
      return method_.starts_with("Ptr") ? Value(devhost::Ptr{block_->bytes()}) : block_.get();
    }
    return std::stoi(text);
  }

  Ref<REALpictureStruct> MakePicture(const std::string& text) const {
    const Texts rows = Split(text, '/');
    const auto digits = 2 * oracle::PictureLayout(host_.options().pixelType).size();
    const auto width = static_cast<std::int32_t>(rows.at(0).size() / digits);
    auto picture = host_.NewPicture(width, static_cast<std::int32_t>(rows.size()));
    for (std::int32_t y = 0; const std::string& row : rows) {
      std::copy_n(ParseHex(row).data(), picture->RowLength(), picture->Row(y++));
    }
    return picture;
  }

  devhost::Host& host_;
  std::string method_;
  std::string overload_;
  devhost::Arguments arguments_;
  std::vector<Ref<REALpictureStruct>> pictures_;
  Ref<REALmemoryBlockStruct> block_;  // no method takes two
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

class Golden : public testing::TestWithParam<HostCase> {};

TEST_P(Golden, EachMethodGivesWhatAnotherProgramComputed) {
  HostCase hostCase = GetParam();
  hostCase.version = 2012.5;
  LoadedHost host(hostCase.GuardedOptions());
  const NothingLost watch(host);
  std::set<std::string> overloads;
  for (const auto& [line, columns] : ReadRows()) {
    if (columns.at(1) == std::to_string(hostCase.pixelType)) {
      SCOPED_TRACE(RASTEL_GOLDEN ":" + std::to_string(line) + " " + columns[0]);
      GoldenCall call(host, columns);
      EXPECT_EQ("", call.Run(columns.at(3)));
      overloads.insert(call.overload());
    }
  }
  EXPECT_EQ(kMethods, overloads.size());
}

INSTANTIATE_TEST_SUITE_P(, Golden, testing::Values(kDesktop, kDesktop24, kConsole),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace tests
