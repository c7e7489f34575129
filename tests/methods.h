// The 50 methods as the host's programmers know them, and calls of them with arguments by name.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/host.h"

namespace tests {

struct Method {
  std::string name;
  std::string parameters;  // as declared
  std::string result;      // "picture" or "boolean"
  /// The bytes of a pixel in the buffer: R, G, B; A: alpha; M: alpha from the mask; X: left alone; Y: gray.
  std::string layout;

  std::string Declaration() const { return name + "(" + parameters + ") as " + result; }
  bool Has(std::string_view parameter) const;
  /// As declared: "self" is none of them, and arrays are called "Red()".
  std::vector<std::string> ParameterNames() const;
  bool ReadsPtr() const { return parameters.find("source as Ptr") != std::string::npos; }
};

/// The 32 global methods, which make pictures, in the order of registration.
const std::vector<Method>& GlobalMethods();

/// The 18 methods of Picture, which fill memory blocks, likewise.
const std::vector<Method>& PictureMethods();

/// Both: those of Picture come first.
const std::vector<Method>& AllMethods();

/// Arguments by the names of the parameters; "self" is the picture of a method of Picture.
using Arguments = std::map<std::string, devhost::Value>;

/// What a call is about.
struct CallObjects {
  REALpictureStruct* picture;
  REALpictureStruct* mask;
  REALpictureStruct* dest;
  REALmemoryBlockStruct* block;  // source or destination
  _REALarrayInteger* array;      // of red and of what is declared as Green
  std::int32_t width, height;
};

/// Arguments with which any method succeeds: all of the picture, from the block's first byte, with a yield
/// after the first row.
Arguments ArgumentsFor(const Method& method, const CallObjects& objects);

/// Calls exactly that overload.
devhost::CallResult Call(devhost::Host& host, const Method& method, const Arguments& arguments);

/// A name for a test: "12_CopyRGBtoMemoryblockKVZ".
std::string TestName(const Method& method, std::size_t number);

}  // namespace tests
