// Rows of pixels between pages without access, converted by every target and compared with what the letters
// of the layouts' names say.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pixels/converter.h"
#include "pixels/targets.h"

namespace tests {

/// Layouts by the letters of their bytes; '.' is the byte without a channel.
struct NamedLayout {
  std::string_view letters;
  rastel::pixels::Layout layout;

  std::ptrdiff_t Length() const { return static_cast<std::ptrdiff_t>(letters.size()); }
};

extern const std::vector<NamedLayout> kColours;
extern const std::vector<NamedLayout> kChannels;
extern const std::vector<NamedLayout> kPictures;  // as pictures have them: 13, 12, 8
extern const NamedLayout kGray;

/// One kind of conversion.
struct Case {
  NamedLayout from, to;
  NamedLayout mask = kPictures[0];
  rastel::pixels::Rest rest = rastel::pixels::Rest::kFill;
  std::ptrdiff_t fromStep = from.Length(), toStep = to.Length();
  const rastel::pixels::ChannelWeights* weights = nullptr;
  const rastel::pixels::ChannelTables* tables = nullptr;

  rastel::pixels::Conversion Made() const;
  std::string Text() const;
};

/// Every pair of layouts with every kind of channel-less byte, every pair of picture and mask, pixels that
/// are apart, weights and tables.
std::vector<Case> AllCases();

/// The targets that this processor runs, and the widest geometry compiled without its instructions; or the
/// wanted one of them alone.
std::vector<rastel::pixels::Target> RunnableTargets();

/// What a run did.
struct RowCount {
  std::int64_t rows = 0;
  std::int64_t differences = 0;
  std::string first;  // the first difference
};

/// The widths of rows in pixels, and from how many bytes on the destination bypasses the caches.
struct Widths {
  std::ptrdiff_t first, last;
  std::int64_t threshold;
};
inline constexpr Widths kShort = {0, 257, 1 << 30};
inline constexpr Widths kPastTheCaches = {505, 580, 0};  // some too short for it
inline constexpr Widths kTooShortForThat = {1, 70, 0};

/// Converts every case of `cases` with every target of `targets` in every width, in `placements` places
/// each: rows right behind and right before pages without access first, then at alignments drawn from the
/// seed. Source and destination rows are apart, backwards, with gaps or packed. The first case with
/// differences is the last.
RowCount CheckRows(const std::vector<Case>& cases, const std::vector<rastel::pixels::Target>& targets,
                   std::uint32_t placements, const Widths& widths = kShort);

}  // namespace tests
