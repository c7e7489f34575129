#include "bench/targets.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>

#include "bench/report.h"
#include "pixels/conversion.h"
#include "pixels/converter.h"
#include "pixels/targets.h"

namespace bench {

using namespace rastel::pixels;

namespace {

constexpr std::ptrdiff_t kWidth = 640;
constexpr std::ptrdiff_t kHeight = 480;

using Bytes = std::uint8_t*;
using ConstBytes = const std::uint8_t*;
using Loop = std::function<void(const Rows&)>;

/// The loop that people write around the few lines for one pixel.
template <int From, int To, typename Pixel>
Loop Plainly(Pixel pixel) {
  return [pixel](const Rows& rows) {
    const std::ptrdiff_t width = rows.width;
    for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
      Bytes to = rows.destination[y];
      ConstBytes from = rows.source[y];
      ConstBytes mask = rows.mask[y];
      for (std::ptrdiff_t x = 0; x < width; ++x, to += To, from += From, mask += 4) {
        pixel(to, from, mask);
      }
    }
  };
}

struct Kind {
  std::string name;
  Conversion conversion;
  Loop loop;
};

std::uint8_t Weighted(std::uint8_t gray, int weight) {
  return static_cast<std::uint8_t>(std::min(255, gray * weight / 256));
}

std::vector<Kind> Kinds(const ChannelWeights& weights, const ChannelTables& tables) {
  using enum Layout;
  return {
      {"RGB to ARGB",
       {.from = kRGB, .to = kARGB, .fill = 255},
       Plainly<3, 4>([](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = 255;
         to[1] = from[0];
         to[2] = from[1];
         to[3] = from[2];
       })},
      {"RGBA to BGRA",
       {.from = kRGBA, .to = kBGRA, .fill = 255},
       Plainly<4, 4>([](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = from[2];
         to[1] = from[1];
         to[2] = from[0];
         to[3] = 255;
       })},
      {"RGBA to RGB", {.from = kRGBA, .to = kRGB}, Plainly<4, 3>([](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = from[0];
         to[1] = from[1];
         to[2] = from[2];
       })},
      {"gray to RGBA",
       {.from = kGray, .to = kRGBA, .fill = 255},
       Plainly<1, 4>([](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = to[1] = to[2] = from[0];
         to[3] = 255;
       })},
      {"gray times weights to RGBA",
       {.from = kGray, .to = kRGBA, .fill = 255, .weights = &weights},
       Plainly<1, 4>([weights](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = Weighted(from[0], weights.values[0]);
         to[1] = Weighted(from[0], weights.values[1]);
         to[2] = Weighted(from[0], weights.values[2]);
         to[3] = 255;
       })},
      {"gray through a palette to RGBA",
       {.from = kGray, .to = kRGBA, .fill = 255, .tables = &tables},
       Plainly<1, 4>([&tables](Bytes to, ConstBytes from, ConstBytes) {
         to[0] = tables.values[0][from[0]];
         to[1] = tables.values[1][from[0]];
         to[2] = tables.values[2][from[0]];
         to[3] = 255;
       })},
      {"green of RGBA",
       {.from = kRGBA, .to = kGreen},
       Plainly<4, 1>([](Bytes to, ConstBytes from, ConstBytes) { to[0] = from[1]; })},
      {"RGBA and a mask to RGBA",
       {.from = kRGBA, .to = kRGBA, .rest = Rest::kFromMask, .mask = kRGBA},
       Plainly<4, 4>([](Bytes to, ConstBytes from, ConstBytes mask) {
         to[0] = from[0];
         to[1] = from[1];
         to[2] = from[2];
         to[3] = static_cast<std::uint8_t>(255 - mask[1]);
       })},
  };
}

std::vector<std::uint8_t> RandomBytes(std::size_t count) {
  std::minstd_rand random(1);
  std::vector<std::uint8_t> bytes(count);
  std::ranges::generate(bytes, [&random] { return static_cast<std::uint8_t>(random() >> 8); });
  return bytes;
}

std::vector<Contestant> ContestantsFor(const Kind& kind, const Rows& rows) {
  std::vector<Contestant> contestants;
  contestants.emplace_back(Role::kLoop, "plain loop", [&] { kind.loop(rows); });
  for (const Target& target : Targets()) {
    if (target.isSupported()) {
      const auto converter = std::make_shared<Converter>(kind.conversion, target.find);
      contestants.emplace_back(Role::kTarget, target.name, [converter, &rows] { converter->Convert(rows); });
    }
  }
  return contestants;
}

/// The loop first, then the targets that the CPU has.
std::vector<Timing> Measure(const Kind& kind) {
  const auto bytes = [](std::ptrdiff_t step) { return static_cast<std::size_t>(kWidth * kHeight * step); };
  const Conversion& conversion = kind.conversion;
  const std::vector<std::uint8_t> source = RandomBytes(bytes(conversion.fromStep));
  const std::vector<std::uint8_t> mask = RandomBytes(bytes(4));
  std::vector<std::uint8_t> destination(bytes(conversion.toStep));
  const Rows rows = {.destination = {destination.data(), kWidth * conversion.toStep},
                     .source = {source.data(), kWidth * conversion.fromStep},
                     .mask = {mask.data(), kWidth * 4},
                     .width = kWidth,
                     .count = kHeight};
  std::vector<Contestant> contestants = ContestantsFor(kind, rows);
  std::vector<std::uint8_t> expected;
  for (Contestant& contestant : contestants) {
    std::ranges::fill(destination, std::uint8_t{0});
    TakeFirstTurn(contestant);
    expected = expected.empty() ? destination : expected;
    if (destination != expected) {
      throw std::runtime_error(kind.name + ": a wrong result of " + contestant.name);
    }
  }
  TakeTurns(contestants);
  return {contestants.begin(), contestants.end()};
}

}  // namespace

void WriteTargets(std::ostream& page) {
  const ChannelWeights weights = {{300, 200, 100}};
  const auto tables = std::make_unique<ChannelTables>();
  std::ranges::copy(RandomBytes(sizeof *tables), &tables->values[0][0]);
  Table table = {{"conversion", "µs of the loop"}};
  for (const Target& target : Targets()) {
    if (target.isSupported()) {
      table.front().push_back(std::string("× ") + target.name);
    }
  }
  for (const Kind& kind : Kinds(weights, *tables)) {
    auto& line = table.emplace_back(1, kind.name);
    const std::vector<Timing> timings = Measure(kind);
    line.push_back(Number(timings.front().seconds * 1e6));
    for (std::size_t i = 1; i < timings.size(); ++i) {
      line.push_back(Number(timings.front().seconds / timings[i].seconds));
    }
  }
  page << "\nHow many times as fast as a loop for that conversion alone each target is, 640 × 480:\n";
  WriteTable(table, page);
}

}  // namespace bench
