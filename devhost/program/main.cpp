// rastel-host: loads the plug-in into a development host and puts it to work from the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <new>
#include <string>
#include <string_view>

#include "devhost/program/failure.h"
#include "devhost/program/verbs.h"

namespace devhost::program {
namespace {

constexpr const char* kStatuses =
    "Exit status: 0 good; 1 bytes differ, or the plug-in raised a host exception or broke a rule of the "
    "host; "
    "2 usage (unknown verb, layout, method or option, arguments that fit no overload); 3 the plug-in cannot "
    "be "
    "loaded; 5 a file that cannot be read or written.";

constexpr const char* kListExamples =
    "Examples:\n"
    "  rastel-host list\n"
    "  rastel-host list --host-version 2007.5\n";

constexpr const char* kShowExamples =
    "Examples:\n"
    "  rastel-host show CopyXRGBtoMemoryblockKVZ\n"
    "  rastel-host show MemoryblockGrayToPictureKVZ --host-version 2007.5\n";

constexpr const char* kDocsExamples =
    "Writes one Markdown page for each family of methods, and README.md that lists them.\n"
    "Examples:\n"
    "  rastel-host docs docs/methods\n"
    "  rastel-host docs docs/methods --sheet photo.png sheet.png\n";

constexpr const char* kConvertExamples =
    "IN and OUT are pictures if their names end in .png, .ppm (P6) or .pam (P7), and else raw bytes: IN "
    "holds the\n"
    "packed rows of the layout, OUT gets all bytes of the block, also those between the rows. A block holds "
    "165 in\n"
    "every byte before the plug-in writes to it; a destination picture holds red x, green y, blue x + y.\n"
    "Layout gray sends (299 red + 587 green + 114 blue + 500) / 1000 and brings back the green channel.\n"
    "Examples:\n"
    "  rastel-host convert photo.png copy.png --layout BGRA --alpha 128\n"
    "  rastel-host convert photo.png rows.raw --layout XRGB --band 10:19 --stride 4096\n"
    "  rastel-host convert rows.raw photo.pam --size 640x480 --layout RGBA --flip --pointer\n"
    "  rastel-host convert photo.png cut.png --layout ARGB --mask mask.png --pixel-type 12\n";

constexpr const char* kCallExamples =
    "Arguments: integers, true, false, nil, picture:WxH, picture:FILE, block:BYTES, block:FILE, ptr:BYTES,\n"
    "ptr:FILE, and [1,2,3] for an array of integers. A method that extends Picture takes the picture first.\n"
    "picture:WxH holds red x, green y, blue x + y, each modulo 256, and 90 in the fourth byte; block:BYTES "
    "and\n"
    "ptr:BYTES hold 0, 1, 2, … modulo 256. The plug-in trusts its caller: it reads and writes past the end "
    "of a\n"
    "block that is too small.\n"
    "Examples:\n"
    "  rastel-host call MemoryblockRGBtoPictureKVZ block:48 0 4 4\n"
    "  rastel-host call CopyRGBtoMemoryblockKVZ picture:4x4 block:48 0\n"
    "  rastel-host call PtrGrayToPictureKVZ ptr:16 0 4 4 1 [0,300,-7] nil [255]\n"
    "  rastel-host call CopyARGBtoMemoryblockKVZ nil block:64 0 255 --trace\n";

/// An option with one value, handed to `take` as text.
template <typename Take>
void AddOption(CLI::App& app, const std::string& name, const std::string& help, const std::string& valueName,
               Take take) {
  app.add_option_function<std::string>(name, std::function<void(const std::string&)>(std::move(take)), help)
      ->type_name(valueName);
}

void AddPlugin(CLI::App& app, HostSettings& settings) {
  AddOption(app, "--host-version", "The host's version (2013.04)", "V",
            [&](const std::string& text) { settings.version = ParseVersion("--host-version", text); });
  AddOption(
      app, "--plugin",
      "The plug-in; else rastel.so beside the program or in a folder above it, or in build/release there",
      "FILE", [&](const std::string& text) { settings.plugin = text; });
}

void AddHost(CLI::App& app, HostSettings& settings) {
  AddPlugin(app, settings);
  AddOption(app, "--kind", "The kind of host: desktop (default), console, web, unknown", "KIND",
            [&](const std::string& text) { settings.kind = ParseKind("--kind", text); });
  AddOption(app, "--pixel-type",
            "The pictures' pixel type: 13 (default), 12 or 16 on a desktop host, 8 on the others; with 16, "
            "pictures "
            "to be read have a native depth of 16 and are read through an opaque copy",
            "N", [&](const std::string& text) { settings.pixelType = ParsePixelType("--pixel-type", text); });
}

CLI::App* AddVerb(CLI::App& app, const std::string& name, const std::string& help, const char* examples) {
  CLI::App* verb = app.add_subcommand(name, help);
  verb->footer(std::string(examples) + kStatuses);
  return verb;
}

void AddConvertOptions(CLI::App& app, ConvertOptions& options) {
  app.add_option("IN", options.in, "The picture or raw bytes to send through the plug-in")->required();
  app.add_option("OUT", options.out, "Where what came back goes")->required();
  AddHost(app, options.host);
  AddOption(app, "--layout", "One of " + LayoutNames() + " (default RGB)", "NAME",
            [&](const std::string& text) { options.layout = text; });
  AddOption(app, "--size", "The size of raw bytes", "WxH",
            [&](const std::string& text) { options.size = ParseSize("--size", text); });
  AddOption(app, "--mask",
            "A picture whose green, inverted, is the alpha of the way back; its size is the copy's", "FILE",
            [&](const std::string& text) { options.mask = text; });
  AddOption(app, "--alpha", "The alpha of the way back, its low eight bits (default 255)", "N",
            [&](const std::string& text) { options.alpha = ParseInteger("--alpha", text); });
  AddOption(app, "--band", "The rows to copy back, LAST included; LAST -1 is the last row", "FIRST:LAST",
            [&](const std::string& text) { options.band = ParseBand("--band", text); });
  AddOption(app, "--stride", "Bytes from row to row on the way back, if more than a packed row", "N",
            [&](const std::string& text) { options.stride = ParseInteger("--stride", text, 0); });
  AddOption(app, "--destination", "Fill an existing picture of this size, if it is large enough", "WxH",
            [&](const std::string& text) { options.destination = ParseSize("--destination", text); });
  AddOption(app, "--yield", "The way back's Yield argument; each reading of the clock takes 1/60 s", "N",
            [&](const std::string& text) { options.yield = ParseInteger("--yield", text); });
  app.add_flag("--flip", options.flip, "Rows from bottom to top on the way there (RGBA only)");
  app.add_flag("--pointer", options.pointer, "Send from a Ptr instead of a Memoryblock");
  app.get_option("--mask")->excludes("--alpha");
}

void AddCallOptions(CLI::App& app, CallOptions& options) {
  app.add_option("METHOD", options.method, "The method's name, followed by its arguments")->required();
  app.allow_extras();
  AddHost(app, options.host);
  app.add_flag("--trace", options.trace, "Show each call that the plug-in makes to the host");
}

/// Tells what went wrong in one line, whatever lines it was made of.
int Fail(Status status, std::string line) {
  std::replace(line.begin(), line.end(), '\n', ' ');
  const auto bothBlank = [](char a, char b) { return a == ' ' && b == ' '; };
  line.erase(std::unique(line.begin(), line.end(), bothBlank), line.end());
  std::cerr << "rastel-host: " << line << '\n';
  return static_cast<int>(status);
}

bool IsVerb(const CLI::App& app, std::string_view word) {
  const auto verbs = app.get_subcommands({});
  return std::any_of(verbs.begin(), verbs.end(),
                     [&](const CLI::App* verb) { return verb->get_name() == word; });
}

int Run(int argc, char** argv) {
  CLI::App app("Loads the plug-in Rastel into a development host and puts it to work.", "rastel-host");
  app.footer(std::string("rastel-host VERB --help tells more of a verb.\n") + kStatuses);
  app.require_subcommand(1);
  HostSettings listSettings;
  ConvertOptions convertOptions;
  CallOptions callOptions;
  CLI::App* list = AddVerb(app, "list", "Shows what the plug-in registered", kListExamples);
  CLI::App* convert = AddVerb(
      app, "convert", "Sends a picture through the plug-in and back and checks every byte", kConvertExamples);
  CLI::App* call = AddVerb(app, "call", "Calls one method with arguments of your own", kCallExamples);
  ShowOptions showOptions;
  DocsOptions docsOptions;
  CLI::App* show = AddVerb(app, "show", "Shows what a method does, found out by calling it", kShowExamples);
  CLI::App* docs = AddVerb(app, "docs", "Writes the reference of all methods", kDocsExamples);
  show->add_option("METHOD", showOptions.method, "The method's name")->required();
  docs->add_option("DIR", docsOptions.folder, "The folder to write to")->required();
  docs->add_option("--sheet", docsOptions.sheet,
                   "Also draw a contact sheet of the picture IN, sent through each family of methods, to OUT")
      ->expected(2)
      ->type_name("IN OUT");
  AddPlugin(*show, showOptions.host);
  AddPlugin(*docs, docsOptions.host);
  AddPlugin(*list, listSettings);
  AddConvertOptions(*convert, convertOptions);
  AddCallOptions(*call, callOptions);
  if (argc < 2 || (argv[1][0] != '-' && !IsVerb(app, argv[1]))) {
    return Fail(Status::kUsage, "expected the verb list, show, convert, call or docs" +
                                    (argc < 2 ? std::string() : ", got '" + std::string(argv[1]) + "'"));
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    return Fail(Status::kUsage, std::string(error.what()) + " (see --help)");
  }
  if (list->parsed()) {
    return RunList(listSettings);
  }
  if (show->parsed()) {
    return RunShow(showOptions);
  }
  if (docs->parsed()) {
    return RunDocs(docsOptions);
  }
  if (convert->parsed()) {
    return RunConvert(convertOptions);
  }
  callOptions.arguments = call->remaining();
  return RunCall(callOptions);
}

}  // namespace
}  // namespace devhost::program

int main(int argc, char** argv) {
  using devhost::program::Fail;
  using devhost::program::Status;
  try {
    return devhost::program::Run(argc, argv);
  } catch (const devhost::program::Failure& failure) {
    return Fail(failure.status, failure.what());
  } catch (const std::bad_alloc&) {
    return Fail(Status::kFile, "a picture or file needs more memory than there is");
  } catch (const std::exception& error) {
    return Fail(Status::kDifferent, std::string("the host failed: ") + error.what());
  }
}
