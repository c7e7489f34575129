#include "rastel-host/session.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <sstream>
#include <system_error>

#include "devhost/nearest.h"
#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

/// The plug-in beside the program or in a folder above it, or the release build of a checkout that the
/// program lies in, or the one that was installed with it.
std::string FindPlugin() {
  std::error_code error;
  const std::filesystem::path program = ProgramPath();
  for (auto folder = program.parent_path(); !folder.empty(); folder = folder.parent_path()) {
    for (const char* name : {"rastel.so", "build/release/rastel.so", RASTEL_PLUGIN_FOLDER "/rastel.so"}) {
      if (std::filesystem::is_regular_file(folder / name, error)) {
        return (folder / name).string();
      }
    }
    if (folder == folder.root_path()) {
      break;
    }
  }
  throw Failure(
      Status::kNoPlugin,
      "no plug-in: expected rastel.so beside the program or in a folder above it, or in build/release "
      "of one of these; --plugin names another file");
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
  HostOptions options;
  options.version = settings.version;
  options.kind = KindOf(settings);
  options.pixelType = pixelType == 16 ? 13 : pixelType;
  options.without = settings.without;
  options.guarded = settings.guarded;
  options.watched = settings.watched;
  return options;
}

const char* OptionOf(const Fault& fault) {
  return fault.kind == Fault::Kind::kThrows ? "--throw" : "--fail";
}

/// Throws Failure if a fault is about what no plug-in can call.
void CheckFaults(const std::vector<Fault>& faults) {
  const auto known = Host::EntryNames();
  for (const Fault& fault : faults) {
    if (std::ranges::find(known, fault.entry) == known.end()) {
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

/// Makes the host's calls go wrong as the faults say.
void Arm(Host& host, const std::vector<Fault>& faults) {
  if (faults.empty()) {
    return;
  }
  // Shared, since the host asks a copy of the function.
  host.onEntry = [injection = std::make_shared<Injection>(host, faults)](std::string_view entry) {
    return (*injection)(entry);
  };
}

PixelFormat FormatOf(int pixelType) {
  switch (pixelType) {
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

}  // namespace

std::string ProgramPath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

std::string PluginPath(const HostSettings& settings) {
  return settings.plugin ? *settings.plugin : FindPlugin();
}

std::unique_ptr<Host> OpenHost(const HostSettings& settings) {
  CheckFaults(settings.faults);
  auto host = MakeHost(settings);
  Arm(*host, settings.faults);
  try {
    host->Load(PluginPath(settings));
  } catch (const HostError& error) {
    throw Failure(Status::kNoPlugin, error.what());
  }
  return host;
}

std::string WordsOf(const HostSettings& settings) {
  std::ostringstream words;
  if (settings.plugin) {
    words << " --plugin '" << *settings.plugin << "'";
  }
  words << " --host-version " << std::setprecision(10) << settings.version;
  if (settings.kind) {
    words << " --kind " << kKindNames[static_cast<std::size_t>(*settings.kind)];
  }
  if (settings.pixelType) {
    words << " --pixel-type " << *settings.pixelType;
  }
  for (const std::string& entry : settings.without) {
    words << " --without '" << entry << "'";
  }
  for (const Fault& fault : settings.faults) {
    words << ' ' << OptionOf(fault) << ' ' << fault.entry << '@' << fault.from + 1;
  }
  return words.str();
}

PixelFormat SourceFormat(const HostSettings& settings) {
  return FormatOf(PixelTypeOf(settings));
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

std::vector<std::string> Losses(const Host& host, const Balance& before) {
  const Balance after = host.CurrentBalance();
  std::vector<std::string> losses = host.complaints;
  const auto compare = [&](const char* what, int was, int is) {
    if (was != is) {
      losses.push_back("lost: " + std::string(what) + ", " + std::to_string(is - was) + " more than before");
    }
  };
  compare("objects", before.objects, after.objects);
  compare("references", before.references, after.references);
  compare("description locks", before.descriptionLocks, after.descriptionLocks);
  compare("pixel locks", before.pixelLocks, after.pixelLocks);
  return losses;
}

Image Pattern(std::int32_t width, std::int32_t height) {
  Image image(width, height);
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      image.At(x, y) = {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                        static_cast<std::uint8_t>(x + y), 90};
    }
  }
  return image;
}

}  // namespace devhost::program
