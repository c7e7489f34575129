#include "methods.h"

#include <algorithm>

#include "devhost/oracle.h"

namespace tests {

using rastel::abi::HostType;

namespace {

constexpr const char* kNil = "NilObjectException";
constexpr const char* kUnsupported = "UnsupportedOperationException";

const Refusal kOffset = {"offset", -1, kUnsupported, "offset is too small. Must be >=0."};

std::vector<Refusal> MakingRefusals() {
  return {{"source", {}, kNil, "Memoryblock is nil"},
          {"width", 0, kUnsupported, "width is too small. Must be >0."},
          {"height", 0, kUnsupported, "height is too small. Must be >0."},
          kOffset};
}

std::vector<Refusal> CopyRefusals(const Method& method) {
  std::vector<Refusal> refusals = {{"EndLine", -2, nullptr, nullptr},
                                   {"StartLine", -1, nullptr, nullptr},
                                   {"DestRowBytes", -1, nullptr, nullptr},
                                   {"ref", {}, kNil, "Picture is nil"},
                                   {"destination", {}, kNil, "Memoryblock is nil"}};
  if (method.Has("MaskForAlpha")) {
    // The BGRA form alone looks at the mask before the block.
    refusals.insert(refusals.end() - (method.layout == "BGRM" ? 1 : 0),
                    {"MaskForAlpha", {}, kNil, "Mask Picture is nil"});
  }
  refusals.push_back(kOffset);
  return refusals;
}

}  // namespace

Method::Method(const devhost::Registration& registered)
    : Registration(registered), layout(oracle::LayoutNamed(name)), copies(result == HostType::kBoolean) {
  if (Has("MaskForAlpha")) {
    std::ranges::replace(layout, 'A', 'M');
  }
  refusals = copies ? CopyRefusals(*this) : MakingRefusals();
}

bool Method::Has(std::string_view parameter, std::optional<HostType> type) const {
  return std::ranges::any_of(parameters, [&](const devhost::Parameter& each) {
    return each.name == parameter && (!type || each.type == *type);
  });
}

}  // namespace tests
