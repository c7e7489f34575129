#include "bench/cases.h"

namespace bench {
namespace {

const Row kRows[] = {
    {"four bytes to four", "PtrRGBAtoPictureKVZ", "(dest as", 4, {13, 8}},
    {"four bytes to four", "CopyRGBAtoMemoryblockKVZ", "AlphaValue", 4, {13, 8}},
    {"three bytes to four", "PtrRGBtoPictureKVZ", "(dest as", 3, {13, 8}},
    {"three bytes to four", "CopyRGBAtoMemoryblockKVZ", "AlphaValue", 4, {12}},
    {"four bytes to three", "PtrRGBAtoPictureKVZ", "(dest as", 4, {12}},
    {"four bytes to three", "CopyRGBtoMemoryblockKVZ", "StartLine", 3, {13, 8}},
    {"red and blue swapped, three bytes", "PtrBGRtoPictureKVZ", "(dest as", 3, {12}},
    {"red and blue swapped, three bytes", "CopyBGRtoMemoryblockKVZ", "StartLine", 3, {12}},
    {"gray", "PtrGrayToPictureKVZ", "PixelByteSize as integer)", 1, {13, 12, 8}},
    {"gray, every fourth byte", "PtrGrayToPictureKVZ", "PixelByteSize as integer)", 4, {13, 12, 8}},
    {"gray times weights", "PtrGrayToPictureKVZ", "Red as", 1, {13, 12, 8}},
    {"gray times weights, every fourth byte", "PtrGrayToPictureKVZ", "Red as", 4, {13, 12, 8}},
    {"gray through a palette", "PtrGrayToPictureKVZ", "Red() as", 1, {13, 12, 8}},
    {"alpha from a mask", "CopyRGBAtoMemoryblockKVZ", "MaskForAlpha", 4, {13, 12, 8}},
    {"fourth byte left alone", "CopyRGBXtoMemoryblockKVZ", "StartLine", 4, {13, 12, 8}},
    {"one channel", "CopyRtoMemoryblockKVZ", "PixelByteSize", 1, {13, 12, 8}},
    {"one channel, to every fourth byte", "CopyRtoMemoryblockKVZ", "PixelByteSize", 4, {13, 12, 8}},
};

constexpr Size kSizes[] = {
    {16, 16, 0, 0, false},   {100, 100, 0, 0, false},  {640, 480, 0, 0, true},
    {641, 479, 1, 5, false}, {1920, 1080, 0, 0, true}, {4096, 4096, 0, 0, true},
};

}  // namespace

std::span<const Size> Sizes() {
  return kSizes;
}

std::string Size::Name() const {
  return std::to_string(width) + " × " + std::to_string(height);
}

std::string Case::Name() const {
  return row->family + ", " + row->method + ", pixel type " + std::to_string(pixelType) + ", " + size->Name();
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const Row& row : kRows) {
    for (const int pixelType : row.pixelTypes) {
      for (const Size& size : kSizes) {
        cases.push_back({&row, pixelType, &size});
      }
    }
  }
  return cases;
}

}  // namespace bench
