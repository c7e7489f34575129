// The largest pictures.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "aliased_memory.h"
#include "figures.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

constexpr std::uint8_t kColour = 0xC3;  // of every channel of the largest pictures

std::uint8_t* PageOf(std::uint8_t* address) {
  return address -
         reinterpret_cast<std::uintptr_t>(address) % static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
}

/// The largest picture that there is, all of it but its first and last page on the same few pages.
devhost::Ref<REALpictureStruct> MakeLargestPicture(devhost::Host& host, const AliasedMemory& memory,
                                                   std::int32_t height) {
  auto picture = host.NewPicture(kMostPixels, height);
  std::uint8_t* const ends[] = {picture->Row(0), picture->Row(height - 1), picture->Row(1)};
  const auto [lowest, highest] = std::ranges::minmax(ends);
  memory.MapOver(PageOf(lowest) + sysconf(_SC_PAGESIZE), PageOf(highest + picture->RowLength() - 1));
  return picture;
}

/// True if all pages that the picture lies on hold the colour, and `fourth` where pixels have four bytes.
bool IsFilled(REALpictureStruct& picture, const AliasedMemory& memory, std::uint8_t fourth) {
  const devhost::Pixel pixel{kColour, kColour, kColour, fourth};
  const std::uint8_t* bytes = memory.bytes();
  bool isFilled = true;
  for (std::size_t i = 0; i < memory.size(); ++i) {
    const bool isFourth = (picture.format == devhost::PixelFormat::kWorld32 && i % 4 == 0) ||
                          (picture.format == devhost::PixelFormat::kBitmap && i % 4 == 3);
    isFilled = isFilled && bytes[i] == (isFourth ? fourth : kColour);
  }
  for (const std::int32_t x : {0, kMostPixels - 1}) {
    for (const std::int32_t y : {0, 1, picture.height - 1}) {
      isFilled = isFilled && picture.At(x, y) == pixel;
    }
  }
  return isFilled;
}

TEST(LargestPictures, AreFilledAndCopied) {
  if (sizeof(void*) == 4) {
    return;  // there are no such addresses
  }
  // Faulting in a million pages takes a minute on some machines.
  const bool isLong = Soak() >= 8;
  const std::int32_t height = isLong ? kMostPixels : 500;
  int pictures = 0;
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kConsole}) {
    if (!isLong && hostCase.name != std::string_view(kDesktop.name)) {
      continue;
    }
    LoadedHost host(hostCase.Options());
    // The block ends right before a page without access.
    const std::int64_t byteCount = std::int64_t{kMostPixels} * height * 3;
    const auto page = sysconf(_SC_PAGESIZE);
    AliasedMemory buffer(0, byteCount + 2 * page);
    const auto block = host.NewMemoryBlock(0);
    block->elsewhere = buffer.base() + (page - byteCount % page) % page;
    mprotect(block->elsewhere + byteCount, static_cast<std::size_t>(page), PROT_NONE);
    AliasedMemory memory(0, 1);
    const auto picture = MakeLargestPicture(host, memory, height);
    std::fill_n(buffer.bytes(), buffer.size(), kColour);
    host.spare = picture.get();

    const std::int32_t zero = 0;
    const auto made = host.Call("MemoryblockRGBtoPictureKVZ", {block.get(), zero, kMostPixels, height});
    EXPECT_EQ(picture.get(), made.picture.get());
    EXPECT_TRUE(IsFilled(*picture, memory, hostCase.pixelType == 13 ? 255 : 0)) << hostCase.name;

    std::fill_n(block->elsewhere + byteCount - buffer.size(), buffer.size(), 0);
    EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), zero}).boolean);
    const std::uint8_t* end = block->elsewhere + byteCount;
    EXPECT_TRUE(std::all_of(end - buffer.size(), end, [](std::uint8_t byte) { return byte == kColour; }));
    pictures += 2;
    host.spare = nullptr;
  }
  Figure("largest_pictures")
      .Add("calls", pictures)
      .Add("width", kMostPixels)
      .Add("height", height)
      .Add("failures", HasFailure() ? 1 : 0);
}

}  // namespace
}  // namespace tests
