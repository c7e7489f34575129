#include "rastel-host/session.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "devhost/nearest.h"
#include "rastel-host/failure.h"
#include "rastel-host/files.h"
#include "rastel-host/output.h"
#include "rastel-host/supervise.h"

namespace devhost::program {
namespace {

namespace files = std::filesystem;

/// The files that may be the plug-in, nearest first: beside the program or in a folder above it, the release
/// build of a checkout that the program lies in, or the one that was installed with it.
std::vector<files::path> Candidates() {
  std::vector<files::path> found;
  std::error_code error;
  const files::path program = files::read_symlink("/proc/self/exe", error);
  for (auto folder = program.parent_path(); !folder.empty(); folder = folder.parent_path()) {
    for (const char* name : {"rastel.so", "build/release/rastel.so", RASTEL_PLUGIN_FOLDER "/rastel.so"}) {
      if (files::is_regular_file(folder / name, error)) {
        found.push_back(folder / name);
      }
    }
    if (folder == folder.root_path()) {
      break;
    }
  }
  return found;
}

std::string FindPlugin() {
  const auto candidates = Candidates();
  if (candidates.empty()) {
    throw Failure(Status::kNoPlugin,
                  "there is no plug-in: expected rastel.so beside the program or in a folder above it, or in "
                  "build/release of one of these; --plugin FILE names another file");
  }
  for (std::size_t i = 1; i < candidates.size(); ++i) {
    if (ReadBytes(candidates[i].string()) == ReadBytes(candidates[0].string())) {
      continue;
    }
    Say("using " + candidates[0].string() + ", though there is " + candidates[i].string() +
        ", which is another; --plugin FILE chooses");
  }
  return candidates[0].string();
}

/// Without a kind, the host is one that makes pictures of the pixel type.
Kind KindOf(const HostSettings& settings) {
  return settings.kind.value_or(settings.pixelType == 8 ? Kind::kConsole : Kind::kDesktop);
}

int PixelTypeOf(const HostSettings& settings) {
  return settings.pixelType.value_or(KindOf(settings) == Kind::kDesktop ? 13 : 8);
}

HostOptions OptionsFrom(const HostSettings& settings) {
  const int pixelType = PixelTypeOf(settings);
  if (pixelType == 16 && KindOf(settings) != Kind::kDesktop) {
    throw Failure(Status::kUsage, "--pixel-type 16: expected a desktop host, which alone has such pictures");
  }
  HostOptions options;
  options.version = settings.version;
  options.kind = KindOf(settings);
  options.pixelType = pixelType == 16 ? 13 : pixelType;
  options.without = {settings.without.begin(), settings.without.end()};
  options.guarded = settings.guarded;
  return options;
}

const char* OptionOf(const Fault& fault) {
  return fault.kind == Fault::Kind::kThrows ? "--throw" : "--fail";
}

bool IsOfAnyEntry(const Fault& fault) {
  return fault.entry.empty();
}

/// Throws Failure if a fault is about what no plug-in can call.
void CheckFaults(const std::vector<Fault>& faults) {
  const auto known = Host::EntryNames();
  for (const Fault& fault : faults) {
    if (!IsOfAnyEntry(fault) && std::ranges::find(known, fault.entry) == known.end()) {
      throw Failure(Status::kUsage, std::string(OptionOf(fault)) + ": expected what a plug-in calls, got '" +
                                        fault.entry + "'" + Nearest(fault.entry, known));
    }
  }
}

std::unique_ptr<Host> MakeHost(const HostSettings& settings) {
  try {
    return std::make_unique<Host>(OptionsFrom(settings));
  } catch (const HostError& error) {
    throw Failure(Status::kUsage, error.what());
  }
}

std::string FormatText(PixelFormat format) {
  switch (format) {
    case PixelFormat::kBitmap:
      return "pixel type 8";
    case PixelFormat::kWorld32:
      return "pixel type 13";
    case PixelFormat::kWorld24:
      return "pixel type 12";
    case PixelFormat::kWorld16:
      return "native depth 16";
  }
  return "unknown format";
}

}  // namespace

Session::Session(const HostSettings& settings) : settings_(settings) {
  CheckFaults(settings.faults);
  host_ = MakeHost(settings);
  Arm();
  plugin_ = settings.plugin ? *settings.plugin : FindPlugin();
  SayStep("the plug-in is " + plugin_);
  NowDoing("loading '" + plugin_ + "'", Status::kNoPlugin);
  try {
    host_->Load(plugin_);
  } catch (const HostError& error) {
    throw Failure(Status::kNoPlugin, error.what());
  }
  isLoaded_ = true;
  NowDoing("using '" + plugin_ + "'", Status::kCrash);
  if (host_->methods().empty()) {
    std::ostringstream version;
    version << settings.version;
    throw Failure(Status::kNoPlugin, "'" + plugin_ + "' registered no method with this host (version " +
                                         version.str() + "); is it the right plug-in?");
  }
}

/// Makes the host's calls go wrong as the faults say: those of named entries from now on, those of any entry
/// once the plug-in is loaded.
void Session::Arm() {
  if (settings_.faults.empty()) {
    return;
  }
  std::vector<Fault> named, any;
  std::ranges::partition_copy(settings_.faults, std::back_inserter(any), std::back_inserter(named),
                              IsOfAnyEntry);
  named_.emplace(*host_, named);
  any_.emplace(*host_, any);
  host_->onEntry = [this](std::string_view entry) {
    ++calls_[std::string(entry)];
    const Reaction reaction = isLoaded_ ? (*any_)(entry) : Reaction::kAct;
    return reaction == Reaction::kAct ? (*named_)(entry) : reaction;
  };
}

Failure Session::NoMethod(const std::string& name) const {
  std::vector<std::string> names;
  std::ranges::transform(host_->methods(), std::back_inserter(names), NameOf);
  return {Status::kUsage, "'" + plugin_ + "' registered no method '" + name + "'" + Nearest(name, names)};
}

std::vector<std::string> Session::FaultsNotDue() const {
  std::vector<std::string> lines;
  const auto tell = [&](const Fault& fault, const std::string& why) {
    lines.push_back(std::string(OptionOf(fault)) + ' ' + fault.entry + '@' + std::to_string(fault.from + 1) +
                    " never came due: " + why);
  };
  for (const Fault& fault : settings_.faults) {
    const auto found = calls_.find(fault.entry);
    const int calls = found == calls_.end() ? 0 : found->second;
    if (IsOfAnyEntry(fault) && any_->calls > fault.from && any_->hit.empty()) {
      tell(fault, "that call gives something back, or a host cannot do without it; name its entry");
    } else if (IsOfAnyEntry(fault) && any_->hit.empty()) {
      tell(fault, "there were " + std::to_string(any_->calls) + " calls");
    } else if (!IsOfAnyEntry(fault) && calls <= fault.from) {
      tell(fault, "there were " + std::to_string(calls) + " calls of " + fault.entry);
    }
  }
  return lines;
}

PixelFormat Session::SourceFormat() const {
  switch (PixelTypeOf(settings_)) {
    case 8:
      return PixelFormat::kBitmap;
    case 12:
      return PixelFormat::kWorld24;
    case 16:
      return PixelFormat::kWorld16;
    default:
      return PixelFormat::kWorld32;
  }
}

std::string NameOf(const Registration& method) {
  return method.declaration.substr(0, method.declaration.find('('));
}

Ref<REALpictureStruct> MakePicture(Host& host, const Image& image, PixelFormat format) {
  auto picture = host.NewPicture(image.width, image.height, format);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      const Rgba& pixel = image.At(x, y);
      picture->Set(x, y, {pixel.red, pixel.green, pixel.blue, pixel.alpha});
    }
  }
  return picture;
}

Image ImageOf(REALpictureStruct& picture) {
  Image image(picture.width, picture.height);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      const Pixel pixel = picture.At(x, y);
      image.At(x, y) = {pixel.red, pixel.green, pixel.blue, pixel.fourth};
    }
  }
  return image;
}

std::string PictureText(const REALpictureStruct& picture) {
  return "picture " + std::to_string(picture.width) + "x" + std::to_string(picture.height) + ", " +
         FormatText(picture.format) + ", " + std::to_string(picture.RowLength()) + " bytes a row";
}

std::string ExceptionText(const RaisedException& exception) {
  return exception.className + ": " + exception.message.value_or("(no message)");
}

std::vector<std::string> Losses(const Host& host, const Balance& before) {
  const Balance after = host.CurrentBalance();
  std::vector<std::string> losses = host.complaints;
  const auto compare = [&](const char* what, int was, int is) {
    if (was != is) {
      losses.push_back(std::string(what) + ", " + std::to_string(is - was) + " more than before");
    }
  };
  compare("lost: objects", before.objects, after.objects);
  compare("lost: references", before.references, after.references);
  compare("lost: description locks", before.descriptionLocks, after.descriptionLocks);
  compare("lost: pixel locks", before.pixelLocks, after.pixelLocks);
  return losses;
}

}  // namespace devhost::program
