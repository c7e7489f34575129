// The libraries that a user might take instead. Each is one source file, built where the library is found.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "pixels/conversion.h"

namespace bench {

/// Whether a peer answers for its bytes. Its alpha may differ in either case: the check finds that out.
enum class Claim : unsigned char {
  kSameColours,
  kSameTraffic,  // it reads and writes the same memory, but no function of the library makes these bytes
};

struct Peer {
  std::string name;
  Claim claim;
  std::function<void()> run;
};

/// What is to be converted. Outlives the peers made for it.
struct PeerTask {
  const rastel::pixels::Conversion& conversion;
  const rastel::pixels::Rows& rows;

  bool IsPlain() const {  // no lookup, and nothing is kept or comes from a mask
    return conversion.weights == nullptr && conversion.tables == nullptr &&
           conversion.rest == rastel::pixels::Rest::kFill;
  }
  bool IsGray() const { return conversion.from == rastel::pixels::Layout::kGray; }
  int Width() const { return static_cast<int>(rows.width); }
  int Height() const { return static_cast<int>(rows.count); }
  int SourceStep() const { return static_cast<int>(rows.source.step); }
  int DestinationStep() const { return static_cast<int>(rows.destination.step); }
  int MaskStep() const { return static_cast<int>(rows.mask.step); }
};

/// One library: a global object of this type makes it take part.
struct PeerLibrary {
  using Adder = void (*)(const PeerTask& task, std::vector<Peer>& peers);

  PeerLibrary(const char* libraryName, Adder adder);
  static std::span<const PeerLibrary> All();

  const char* name;
  Adder add;
};

std::vector<Peer> PeersFor(const PeerTask& task);

}  // namespace bench
