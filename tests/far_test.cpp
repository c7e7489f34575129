// Samples so far apart that their addresses do not fit 32 bits.
#include <sys/mman.h>

#include "loaded_host.h"
#include "support.h"

namespace tests {
namespace {

TEST(Far, SamplesAreReadMoreThanFourGibibytesApart) {
  if (sizeof(void*) == 4) {
    GTEST_SKIP() << "there is no such memory in 32 bits";
  }
  constexpr std::int64_t kStep = 0x7FFFFFFF;
  constexpr std::int64_t kSamples = 6;
  const auto length = static_cast<std::size_t>(kStep * kSamples);
  void* mapped =
      mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(MAP_FAILED, mapped);
  auto* samples = static_cast<std::uint8_t*>(mapped);
  for (std::int64_t i = 0; i < kSamples; ++i) {
    samples[kStep * i] = static_cast<std::uint8_t>(10 + i);
  }
  {
    LoadedHost host;
    const auto result =
        host.Call("PtrGrayToPictureKVZ", {devhost::Ptr{samples}, std::int32_t{0}, std::int32_t{2},
                                          std::int32_t{3}, static_cast<std::int32_t>(kStep)});
    ASSERT_NE(nullptr, result.picture.get());
    for (std::int32_t i = 0; i < kSamples; ++i) {
      EXPECT_EQ(10 + i, result.picture->At(i % 2, i / 2).green);
    }
  }
  munmap(mapped, length);
}

}  // namespace
}  // namespace tests
