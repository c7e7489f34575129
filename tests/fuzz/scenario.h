// A scenario: a host, what goes wrong in it, pictures and calls, all of it told by a few bytes.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <vector>

#include "devhost/host.h"
#include "devhost/oracle.h"

namespace tests {

struct Size {
  std::int32_t width, height;
};

struct PictureSpec {
  Size size;
  devhost::PixelFormat format;
};

/// The argument of a call that is not in order, if it has it.
enum class Bad {
  kNothing,
  kNilPicture,
  kNilBlock,
  kNilMask,
  kOffset,
  kWidth,
  kHeight,
  kStartLine,
  kEndLine,
  kStride
};

/// One call. What its method does not have does not count.
struct CallSpec {
  std::size_t method;   // in AllMethods()
  PictureSpec picture;  // the one that is read; its size is that of the buffer, too
  bool isMasked;        // it has a mask of its own
  PictureSpec alpha;    // the mask that is passed
  std::optional<PictureSpec> dest;
  std::int32_t destType;  // what the host says of its kind
  std::int32_t offset, pixelBytes;
  bool flag;  // FlipVertically, LittleEndian
  oracle::Weights weights;
  std::vector<std::int32_t> palette;  // for red and blue; green gets half of it
  std::int32_t alphaValue, startLine, endLine, yield, destRowBytes;
  Bad bad;
};

/// What a host call does instead of acting.
enum class FaultKind { kNone, kFails, kThrows };

struct Fault {
  FaultKind kind;
  int number;  // of the call, from 0
  bool lasts;  // true: from that call on
};

struct Scenario {
  devhost::HostOptions options;
  Fault fault;
  std::uint32_t ticksPerReading;
  std::vector<CallSpec> calls;
};

/// Any bytes tell a scenario; those that are missing are zero.
Scenario Decode(std::span<const std::uint8_t> bytes);

std::ostream& operator<<(std::ostream& stream, const Scenario& scenario);

}  // namespace tests
