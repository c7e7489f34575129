#include "rastel-host/sample_call.h"

#include <algorithm>
#include <map>

namespace devhost::program {
namespace {

using rastel::abi::HostType;
using rastel::abi::Parameter;
using rastel::abi::ParameterRole;

std::int32_t GoodInteger(std::string_view name) {
  static const std::map<std::string_view, std::int32_t> kGood = {
      {"offset", 2},   {"width", SampleCall::kSide}, {"height", SampleCall::kSide}, {"PixelByteSize", 2},
      {"EndLine", -1}, {"DestRowBytes", 14}};
  const auto found = kGood.find(name);
  return found == kGood.end() ? 0 : found->second;
}

}  // namespace

SampleCall::SampleCall(Host& calledHost, const Registration& method)
    : host(calledHost),
      declaration(rastel::abi::ParseDeclaration(method.declaration).value()),
      picture(host.NewPicture(kSide, kSide)),
      mask(host.NewPicture(kLargerSide, kLargerSide)),
      dest(host.NewPicture(kLargerSide, kLargerSide)),
      block(host.NewMemoryBlock(kBlockBytes)) {
  const Parameter* first = declaration.parameters.data();
  parameters.assign(first, first + declaration.parameterCount);
  if (method.extendsPicture && first->role != ParameterRole::kExtends) {
    parameters.insert(parameters.begin(), {"ref", HostType::kPicture, ParameterRole::kExtends, {}});
  }
  for (const Parameter& parameter : parameters) {
    values.push_back(Good(parameter));
  }
}

Value SampleCall::Good(const Parameter& parameter) {
  switch (parameter.type) {
    case HostType::kPicture:
      return parameter.role == ParameterRole::kExtends ? picture.get()
             : parameter.name == "dest"                ? dest.get()
                                                       : mask.get();
    case HostType::kMemoryblock:
      return block.get();
    case HostType::kPtr:
      return Ptr{block->bytes()};
    case HostType::kIntegerArray:
      arrays.push_back(host.NewIntegerArray({}));
      return arrays.back().get();
    case HostType::kBoolean:
      return false;
    default:
      return GoodInteger(parameter.name);
  }
}

Value* SampleCall::Find(std::string_view name) {
  const auto found = std::ranges::find(parameters, name, &Parameter::name);
  return found == parameters.end() ? nullptr : &values[static_cast<std::size_t>(found - parameters.begin())];
}

void SampleCall::Set(std::string_view name, const Value& value) {
  if (Value* argument = Find(name)) {
    *argument = value;
  }
}

}  // namespace devhost::program
