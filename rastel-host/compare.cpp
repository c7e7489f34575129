#include <cstdio>
#include <iostream>

#include "rastel-host/expectation.h"
#include "rastel-host/failure.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

std::string SizeText(const Image& image) {
  return std::to_string(image.width) + "x" + std::to_string(image.height);
}

Datum FirstAsJson(const std::optional<ImageDifference>& difference) {
  if (!difference) {
    return nullptr;
  }
  return Datum::Record{{"x", difference->x},
                       {"y", difference->y},
                       {"channel", std::string(difference->channel)},
                       {"a", difference->expected},
                       {"b", difference->got}};
}

void PrintText(const std::optional<ImageDifference>& difference, std::size_t pixels) {
  if (!difference) {
    std::cout << Good("identical") << ": " << pixels << " pixels\n";
    return;
  }
  std::cout << "first: pixel (" << difference->x << ", " << difference->y << ") " << difference->channel
            << ": " << difference->expected << " in A, " << difference->got << " in B\n"
            << Bad("differ") << ": " << difference->count << " of " << pixels << " pixels, by at most "
            << difference->most << '\n';
}

}  // namespace

Status RunCompare(const CompareOptions& options) {
  if (options.raw.size && !IsRaw(options.a, options.raw) && !IsRaw(options.b, options.raw)) {
    throw Failure(Status::kUsage, "--size: expected raw bytes as A or B, got two pictures");
  }
  const Image a = ReadPixels(options.a, options.raw);
  const Image b = ReadPixels(options.b, options.raw);
  const bool sameSize = a.width == b.width && a.height == b.height;
  const auto difference = sameSize ? Compare(a, b) : std::nullopt;
  if (options.difference && difference) {
    WriteImage(*options.difference, difference->picture);
  }
  if (options.json) {
    PrintJson("compare", {{"sizeA", SizeText(a)},
                          {"sizeB", SizeText(b)},
                          {"identical", sameSize && !difference},
                          {"first", FirstAsJson(difference)},
                          {"pixelsDiffering", difference ? difference->count : 0},
                          {"mostDifference", difference ? difference->most : 0}});
  } else if (!sameSize) {
    std::cout << Bad("differ") << ": A is " << SizeText(a) << ", B is " << SizeText(b) << '\n';
  } else {
    PrintText(difference, a.pixels.size());
  }
  return sameSize && !difference ? Status::kGood : Status::kFindings;
}

}  // namespace devhost::program
