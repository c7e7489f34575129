#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "rastel-host/failure.h"
#include "rastel-host/families.h"
#include "rastel-host/page.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

/// An example's argument; empty for those that keep their default values.
std::string ExampleOf(const ObservedArgument& argument) {
  static const std::map<std::string, std::string> kTexts = {
      {"ref", "picture:4x4"}, {"dest", "picture:6x6"},  {"MaskForAlpha", "picture:4x4"},
      {"source", "block:64"}, {"offset", "0"},          {"destination", "block:64"},
      {"width", "4"},         {"height", "4"},          {"PixelByteSize", "4"},
      {"AlphaValue", "128"},  {"Red", "256"},           {"Blue", "128"},
      {"Green", "0"},         {"LittleEndian", "true"}, {"FlipVertically", "true"}};
  if (argument.type == "integer array") {
    return "'[255,127,63]'";
  }
  const auto found = kTexts.find(argument.name);
  return found == kTexts.end() ? "" : found->second;
}

/// What `command` says when it is run with this program and plug-in. Throws Failure (kFindings) if it fails.
std::string OutputOf(const std::string& command, const HostSettings& settings) {
  const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string plugin = settings.plugin ? " --plugin '" + *settings.plugin + "'" : "";
  const std::string line = "PATH='" + folder + "':$PATH; " + command + plugin + " 2>&1";
  std::FILE* pipe = popen(line.c_str(), "r");
  std::string output;
  for (int c = pipe == nullptr ? EOF : std::getc(pipe); c != EOF; c = std::getc(pipe)) {
    output += static_cast<char>(c);
  }
  if (pipe == nullptr || pclose(pipe) != 0) {
    throw Failure(Status::kFindings, "the example '" + command + "' failed: " + output);
  }
  return output;
}

/// An example of each list of arguments that reads or fills a memory block.
void WriteExamples(std::ostream& out, const std::vector<Observed>& overloads, const HostSettings& settings) {
  out << "\n## Examples\n";
  std::set<std::string> written;
  for (const Observed& overload : overloads) {
    std::string shape, texts;
    bool takesAddress = false;
    for (const ObservedArgument& argument : overload.arguments) {
      const std::string text = ExampleOf(argument);
      shape += argument.name + argument.type + ",";
      texts.append(text.empty() ? "" : " ").append(text);
      takesAddress = takesAddress || argument.type == "Ptr";
    }
    if (takesAddress || !written.insert(shape).second) {
      continue;
    }
    const std::string command = "rastel-host call " + overload.name + texts;
    out << "\n```\n$ " << command << '\n' << OutputOf(command, settings) << "```\n";
  }
}

std::string LinkTo(const Family& family) {
  return std::string("[").append(family.title).append("](").append(family.file).append(".md)");
}

void WriteSeeAlso(std::ostream& out, const Family& family) {
  out << "\n## See also\n\n- [All methods](README.md)\n";
  for (const Family& other : Families()) {
    if (&other != &family && other.pixelBytes == family.pixelBytes) {
      out << "- " << LinkTo(other) << '\n';
    }
  }
}

void WriteFile(const std::filesystem::path& path, const std::ostringstream& text) {
  const std::string& bytes = text.str();
  WriteBytes(path, {bytes.begin(), bytes.end()});
}

}  // namespace

Status RunDocs(const DocsOptions& options) {
  const auto all = Observe(options.host, "");
  std::error_code ignored;  // a folder that cannot be made is one that cannot be written to
  std::filesystem::create_directories(options.folder, ignored);
  std::ostringstream index;
  index << "# The methods\n\nWritten by `rastel-host docs` from what the plug-in registers and does; edits "
           "are lost.\n";
  for (const Family& family : Families()) {
    std::vector<Observed> members;
    std::set<std::string> names;
    for (const Observed& overload : all) {
      if (&FamilyOf(overload.name, overload.makesPicture) == &family) {
        members.push_back(overload);
        names.insert(overload.name);
      }
    }
    index << "\n## " << LinkTo(family) << "\n\n" << family.effect << "\n\n";
    for (const std::string& name : names) {
      index << "- `" << name << "`\n";
    }
    std::ostringstream page;
    WritePage(page, std::string(family.title), members);
    WriteExamples(page, members, options.host);
    WriteSeeAlso(page, family);
    WriteFile(std::filesystem::path(options.folder) / (std::string(family.file) + ".md"), page);
  }
  WriteFile(std::filesystem::path(options.folder) / "README.md", index);
  Say("written: " + options.folder + ", " + std::to_string(Families().size()) + " pages about " +
      std::to_string(all.size()) + " methods");
  return Status::kGood;
}

}  // namespace devhost::program
