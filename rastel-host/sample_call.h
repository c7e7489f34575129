// Calls of one overload with arguments that it accepts, of which some are replaced.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "abi/declaration.h"
#include "devhost/host.h"

namespace devhost::program {

/// An overload and good arguments: a picture of 2 × 2 pixels, a mask and a destination picture of 3 × 3, a
/// block of kBlockBytes. Lives no longer than its host.
class SampleCall {
 public:
  static constexpr std::int32_t kSide = 2, kLargerSide = 3;
  static constexpr std::int32_t kBlockBytes = 1 << 20;

  SampleCall(Host& calledHost, const Registration& method);

  CallResult Call() { return host.Call(declaration.name, values); }

  /// The argument for a parameter; nullptr if there is no such parameter.
  Value* Find(std::string_view name);
  void Set(std::string_view name, const Value& value);  // does nothing if there is no such parameter
  bool Has(std::string_view name) { return Find(name) != nullptr; }

  bool MakesPicture() const { return declaration.result == rastel::abi::HostType::kPicture; }

  Host& host;
  rastel::abi::Declaration declaration;
  std::vector<rastel::abi::Parameter> parameters;  // with the picture of a method of Picture, "ref"
  std::vector<Value> values;
  Ref<REALpictureStruct> picture, mask, dest;
  Ref<REALmemoryBlockStruct> block;
  std::vector<Ref<_REALarrayInteger>> arrays;  // whatever `values` refers to

 private:
  Value Good(const rastel::abi::Parameter& parameter);
};

}  // namespace devhost::program
