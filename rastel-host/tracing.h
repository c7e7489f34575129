// Which byte comes from where, found out by calling a method with random bytes.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "rastel-host/observation.h"
#include "rastel-host/sample_call.h"

namespace devhost::program {

/// One way to call an overload: its flags as they are set for a drawing.
struct CallVariant {
  std::string text;
  std::vector<std::pair<std::string, bool>> flags;
  bool alphaIsByte = true;
};

/// Calls `sample` on a host with pictures of `format`, whose pixel type is `type` in words. Throws Failure if
/// it makes no picture.
ObservedBytes TraceBytes(SampleCall& sample, const CallVariant& variant, PixelFormat format,
                         const std::string& type);

/// The bytes of a picture's pixels, row by row.
std::vector<std::uint8_t> BytesOf(REALpictureStruct& picture);

}  // namespace devhost::program
