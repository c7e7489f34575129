// What a method does, found out by calling it: the arguments it accepts, its checks in their order, what each
// byte comes from, when it yields. Nothing of a method is known here but what was registered.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {

struct ObservedArgument {
  std::string name, type;
  std::string standard;  // the default value, or empty
  std::string accepted;  // "any", "1 or more", "1 to 32767", "not nil", "may be nil"

  bool operator==(const ObservedArgument&) const = default;
};

struct ObservedCheck {
  std::string argument;  // "width below 1"
  std::string outcome;   // "UnsupportedOperationException: …", "false, no exception"

  bool operator==(const ObservedCheck&) const = default;
};

/// A label and cells: "picture, type 12" and "red", "green", "blue", "next red".
using Line = std::pair<std::string, std::vector<std::string>>;

/// What became of the bytes of a call.
struct ObservedBytes {
  std::string variant;        // "LittleEndian = true", if that makes a difference
  std::vector<Line> offsets;  // the bytes at the offsets 0 to 3 of the buffer and of pictures of each type
  std::vector<Line> rows;     // each byte that could have been written, row by row

  bool operator==(const ObservedBytes&) const = default;
};

/// One overload of a method.
struct Observed {
  std::string declaration, name;
  bool makesPicture = false;                // from a buffer; else it fills one
  std::vector<ObservedArgument> arguments;  // with the picture of a method of Picture, "ref"
  std::vector<ObservedCheck> checks;        // in the order in which they are made
  std::vector<ObservedBytes> bytes;         // one for each way in which flags move bytes
  std::string dest;                         // what becomes of a picture given as `dest`
  std::vector<std::pair<int, int>> yields;  // Yield arguments, and how often the host got control
};

/// Rows of the picture that `Observed::yields` is about. Each reading of the clock takes a sixtieth of a
/// second.
inline constexpr int kYieldRows = 6;

/// Calls every overload of `method`, or of all methods if it is empty, on hosts of all pixel types, which
/// replace what `settings` say of the kind of host and of the pixel type. Throws Failure as OpenHost does.
std::vector<Observed> Observe(const HostSettings& settings, const std::string& method);

}  // namespace devhost::program
