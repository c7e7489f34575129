#include "rastel-host/page.h"

#include <algorithm>
#include <set>

#include "rastel-host/families.h"

namespace devhost::program {
namespace {

constexpr std::size_t kToken = 3;   // characters of a byte in a row
constexpr std::size_t kLabel = 18;  // of the words before them

/// What overloads have in common, and which these are.
template <typename Fact>
struct Shared {
  Fact fact;
  std::string who;  // "1, 3"
  bool several = false;
};

template <typename Fact>
void Share(std::vector<Shared<Fact>>& all, const Fact& fact, const std::string& who) {
  const auto found = std::ranges::find(all, fact, &Shared<Fact>::fact);
  if (found == all.end()) {
    all.push_back({fact, who});
  } else {
    found->who += ", " + who;
    found->several = true;
  }
}

/// A line that tells whom the next lines are about, unless they are about all.
template <typename Fact>
void WriteWho(std::ostream& out, const std::vector<Shared<Fact>>& all, const Shared<Fact>& shared) {
  if (all.size() > 1) {
    out << (shared.several ? "Overloads " : "Overload ") << shared.who << ":\n\n";
  }
}

void WriteDeclarations(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "## Declarations\n\n";
  for (std::size_t i = 0; i < overloads.size(); ++i) {
    out << i + 1 << ". `" << overloads[i].declaration << "`\n";
  }
}

void WriteArguments(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "\n## Arguments\n\n";
  std::vector<ObservedArgument> written;
  for (const Observed& overload : overloads) {
    for (const ObservedArgument& argument : overload.arguments) {
      if (std::ranges::find(written, argument) != written.end()) {
        continue;
      }
      written.push_back(argument);
      out << "- `" << argument.name << "` (" << argument.type << ", " << argument.accepted;
      out << (argument.standard.empty() ? "" : ", default " + argument.standard) << "): ";
      out << MeaningOf(argument.name, argument.type) << ".\n";
    }
  }
}

void WriteChecks(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "\n## Checks\n\nThe first that fails ends the call, with nothing written. Among those that end it "
         "alike, the order does not show.\n\n";
  std::vector<Shared<std::vector<ObservedCheck>>> all;
  for (std::size_t i = 0; i < overloads.size(); ++i) {
    Share(all, overloads[i].checks, std::to_string(i + 1));
  }
  for (const auto& shared : all) {
    WriteWho(out, all, shared);
    int number = 0;
    for (const ObservedCheck& check : shared.fact) {
      out << ++number << ". " << check.argument << ": " << check.outcome << '\n';
    }
    out << '\n';
  }
}

void WriteLines(std::ostream& out, const std::vector<Line>& lines, std::size_t cell) {
  for (const auto& [label, cells] : lines) {
    std::string text = label;
    std::size_t end = kLabel;
    for (const std::string& word : cells) {
      text.resize(std::max(text.size() + 1, end), ' ');
      text += word;
      end += cell;
    }
    out << text << '\n';
  }
}

std::size_t WidestOf(const std::vector<Line>& lines) {
  std::size_t widest = 0;
  for (const auto& [label, cells] : lines) {
    for (const std::string& word : cells) {
      widest = std::max(widest, word.size());
    }
  }
  return widest;
}

void WriteBytes(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "## Bytes\n\nFirst the bytes at the offsets 0 to 3: of the buffer, counted from `offset`, and of a "
         "row of pictures of each pixel\ntype. Then every byte of ";
  out << (overloads[0].makesPicture
              ? "a picture of type 13 that a buffer of 2 × 2 pixels at offset 2 was\nwritten to: `b6` is "
                "byte 6 of the buffer, `FF` a value, `..` a byte that is **left as it was**.\n\n"
              : "a block that a picture of 2 × 2 pixels was copied to, at offset 2\nand with the rows "
                "farther apart than they are long: `R1` is the red of pixel 1, `M1` the inverted green of "
                "the\nmask's, `AV` AlphaValue, `00` a value, `..` a byte that is **left as it was**.\n\n");
  std::vector<Shared<std::pair<std::vector<Line>, std::vector<Line>>>> all;
  for (std::size_t i = 0; i < overloads.size(); ++i) {
    for (const ObservedBytes& bytes : overloads[i].bytes) {
      const std::string variant = bytes.variant.empty() ? "" : " (" + bytes.variant + ")";
      Share(all, {bytes.offsets, bytes.rows}, std::to_string(i + 1) + variant);
    }
  }
  for (const auto& shared : all) {
    WriteWho(out, all, shared);
    const auto& [offsets, rows] = shared.fact;
    out << "```\n";
    WriteLines(out, {{"offset", {"0", "1", "2", "3"}}}, WidestOf(offsets) + 2);
    WriteLines(out, offsets, WidestOf(offsets) + 2);
    out << '\n';
    WriteLines(out, rows, kToken + 1);
    out << "```\n\n";
  }
}

void WriteResult(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "## Result\n\n";
  if (!overloads[0].makesPicture) {
    out << "`true` if the rows were copied, even if there were none to copy; `false` if a check failed or "
           "the pixels of a\npicture cannot be had. A picture that is neither of pixel type 8, 12 nor 13 is "
           "read through a copy that the\nhost draws.\n\n";
    return;
  }
  out << "The picture, of the host's pixel type; `nil` if a check failed or the host gives no picture.";
  std::set<std::string_view> destinations;
  for (const Observed& overload : overloads) {
    destinations.insert(overload.dest);
  }
  for (const std::string_view dest : destinations) {
    out << dest;
  }
  out << "\n\n";
}

void WriteYield(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "## Yield\n\n";
  std::vector<Shared<std::vector<std::pair<int, int>>>> all;
  for (std::size_t i = 0; i < overloads.size(); ++i) {
    Share(all, overloads[i].yields, std::to_string(i + 1));
  }
  for (const auto& shared : all) {
    WriteWho(out, all, shared);
    if (std::ranges::all_of(shared.fact, [](const auto& yield) { return yield.second == 0; })) {
      out << "Never: the host gets no control before the call ends.\n\n";
      continue;
    }
    std::vector<Line> lines = {{"Yield", {}}, {"yields", {}}};
    for (const auto& [argument, count] : shared.fact) {
      lines[0].second.push_back(std::to_string(argument));
      lines[1].second.push_back(std::to_string(count));
    }
    out << "After a row, if the time that `Yield` asks for has passed. How often during " << kYieldRows
        << " rows, on a clock that moves\n1/60 s with each reading:\n\n```\n";
    WriteLines(out, lines, 2 * kToken);
    out << "```\n\n";
  }
}

void WriteLayouts(std::ostream& out, const std::vector<Observed>& overloads) {
  out << "## In other libraries\n\n| buffer | FFmpeg | libyuv |\n| --- | --- | --- |\n";
  std::set<std::string_view> written;
  for (const Observed& overload : overloads) {
    const Layout& layout = LayoutOf(overload.name, overload.makesPicture);
    if (written.insert(layout.name).second) {
      out << "| " << layout.name << " | " << layout.ffmpeg << " | " << layout.libyuv << " |\n";
    }
  }
  out << "\nFFmpeg names bytes in the order of memory, libyuv little-endian words: its names read the other "
         "way round.\n";
}

}  // namespace

void WritePage(std::ostream& out, const std::string& title, const std::vector<Observed>& overloads) {
  out << "# " << title << "\n\n" << FamilyOf(overloads[0].name, overloads[0].makesPicture).effect << "\n\n";
  WriteDeclarations(out, overloads);
  WriteArguments(out, overloads);
  WriteChecks(out, overloads);
  WriteBytes(out, overloads);
  WriteResult(out, overloads);
  WriteYield(out, overloads);
  WriteLayouts(out, overloads);
}

}  // namespace devhost::program
