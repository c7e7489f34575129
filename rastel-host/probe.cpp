#include "rastel-host/probe.h"

#include <algorithm>
#include <iterator>

#include "rastel-host/text.h"

namespace devhost::program {
namespace {

using rastel::abi::HostType;

/// Integers on both sides of every limit that an argument may have; a picture has at most 32767 pixels a row.
constexpr std::int32_t kIntegers[] = {-3, -2, -1, 0, 1, 2, 32767, 32768};

const char* NameOf(HostType type) {
  switch (type) {
    case HostType::kInteger:
      return "integer";
    case HostType::kBoolean:
      return "boolean";
    case HostType::kPtr:
      return "Ptr";
    case HostType::kPicture:
      return "picture";
    case HostType::kMemoryblock:
      return "memoryblock";
    case HostType::kIntegerArray:
      return "integer array";
  }
  return "";
}

/// An argument that is refused.
struct Bad {
  std::size_t index;  // of the parameter
  Value value;
  ObservedCheck check;
  int rank = 0;  // how many of the others it is reported before, less those that are reported before it
};

class Probe {
 public:
  Probe(SampleCall& sample, Observed& observed) : sample_(sample), observed_(observed) {
    // Far from both ends of the block, so that any distance from pixel to pixel stays inside.
    sample_.Set("offset", SampleCall::kBlockBytes / 2);
  }

  void Run() {
    for (std::size_t i = 0; i < sample_.parameters.size(); ++i) {
      const auto& parameter = sample_.parameters[i];
      const std::string accepted = parameter.type == HostType::kInteger   ? Integer(i)
                                   : parameter.type == HostType::kBoolean ? "true or false"
                                                                          : Object(i);
      observed_.arguments.push_back({std::string(parameter.name), NameOf(parameter.type),
                                     std::string(parameter.defaultValue.value_or("")), accepted});
    }
    Order();
    for (const Bad& bad : bad_) {
      observed_.checks.push_back(bad.check);
    }
  }

 private:
  /// What comes of a call with arguments replaced; empty if it is successful.
  std::string Outcome(std::initializer_list<std::pair<std::size_t, Value>> replaced) {
    const std::vector<Value> good = sample_.values;
    for (const auto& [index, value] : replaced) {
      sample_.values[index] = value;
    }
    const CallResult result = sample_.Call();
    sample_.values = good;
    if (result.exception) {
      return ExceptionText(*result.exception);
    }
    if (result.boolean || result.picture) {
      return "";
    }
    return sample_.MakesPicture() ? "nil, no exception" : "false, no exception";
  }

  void Refuse(std::size_t index, const Value& value, const std::string& how) {
    const std::string name(sample_.parameters[index].name);
    bad_.push_back({index, value, {name + how, Outcome({{index, value}})}});
  }

  std::string Integer(std::size_t index) {
    const auto accepts = [&](std::int32_t value) { return Outcome({{index, value}}).empty(); };
    const auto* const lowest = std::ranges::find_if(kIntegers, accepts);
    const auto* highest = lowest;
    while (highest + 1 < std::end(kIntegers) && accepts(highest[1])) {
      ++highest;
    }
    if (lowest == std::end(kIntegers)) {
      return "none";
    }
    const bool hasMost = highest + 1 < std::end(kIntegers);
    if (lowest != std::begin(kIntegers)) {
      Refuse(index, lowest[-1], " below " + std::to_string(*lowest));
    }
    if (hasMost) {
      Refuse(index, highest[1], " above " + std::to_string(*highest));
    }
    if (lowest == std::begin(kIntegers)) {
      return hasMost ? std::to_string(*highest) + " or less" : "any";
    }
    return std::to_string(*lowest) + (hasMost ? " to " + std::to_string(*highest) : " or more");
  }

  std::string Object(std::size_t index) {
    if (Outcome({{index, nullptr}}).empty()) {
      return "may be nil";
    }
    Refuse(index, nullptr, " nil");
    return "not nil";
  }

  /// The check that is reported when two fail comes first. Of those with one outcome the order does not show.
  void Order() {
    for (Bad& bad : bad_) {
      for (const Bad& other : bad_) {
        if (bad.index != other.index && bad.check.outcome != other.check.outcome) {
          const bool isFirst =
              Outcome({{bad.index, bad.value}, {other.index, other.value}}) == bad.check.outcome;
          bad.rank += isFirst ? 1 : -1;
        }
      }
    }
    std::ranges::stable_sort(bad_, std::ranges::greater(), &Bad::rank);
  }

  SampleCall& sample_;
  Observed& observed_;
  std::vector<Bad> bad_;
};

}  // namespace

void ProbeArguments(SampleCall& sample, Observed& observed) {
  Probe(sample, observed).Run();
}

}  // namespace devhost::program
