#include "rastel-host/session.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "devhost/nearest.h"
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
  files::path folder = files::read_symlink("/proc/self/exe", error);
  while (folder.has_relative_path()) {
    folder = folder.parent_path();
    for (const char* name : {"rastel.so", "build/release/rastel.so", RASTEL_PLUGIN_FOLDER "/rastel.so"}) {
      if (files::is_regular_file(folder / name, error)) {
        found.push_back(folder / name);
      }
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
  for (const files::path& other : candidates) {
    if (ReadBytes(other.string()) != ReadBytes(candidates[0].string())) {
      Say("using " + candidates[0].string() + ", though there is " + other.string() +
          ", which is another; --plugin FILE chooses");
    }
  }
  return candidates[0].string();
}

/// Without a kind, the host is one that makes pictures of the pixel type.
Kind KindOf(const HostSettings& settings) {
  return settings.kind.value_or(settings.pixelType == 8 ? Kind::kConsole : Kind::kDesktop);
}

std::unique_ptr<Host> MakeHost(const HostSettings& settings, int pixelType) {
  HostOptions options;
  options.version = settings.version;
  options.kind = KindOf(settings);
  options.pixelType = pixelType == 16 && options.kind == Kind::kDesktop ? 13 : pixelType;
  options.without = {settings.without.begin(), settings.without.end()};
  options.guarded = settings.guarded;
  try {
    return std::make_unique<Host>(options);
  } catch (const HostError& error) {
    throw Failure(Status::kUsage, error.what());
  }
}

const char* OptionOf(const Fault& fault) {
  return fault.kind == Fault::Kind::kThrows ? "--throw" : "--fail";
}

/// Throws Failure if a fault is about what no plug-in can call.
void CheckFaults(const std::vector<Fault>& faults) {
  const auto known = Host::EntryNames();
  for (const Fault& fault : faults) {
    if (!fault.entry.empty() && std::ranges::find(known, fault.entry) == known.end()) {
      throw Failure(Status::kUsage, std::string(OptionOf(fault)) + ": expected what a plug-in calls, got '" +
                                        fault.entry + "'" + Nearest(fault.entry, known));
    }
  }
}

}  // namespace

Session::Session(const HostSettings& settings)
    : pixelType_(settings.pixelType.value_or(KindOf(settings) == Kind::kDesktop ? 13 : 8)),
      host_(MakeHost(settings, pixelType_)) {
  CheckFaults(settings.faults);
  plugin_ = settings.plugin ? *settings.plugin : FindPlugin();
  SayStep("the plug-in is " + plugin_);
  NowDoing("loading '" + plugin_ + "'", Status::kNoPlugin);
  try {
    Load(settings);
  } catch (const HostError& error) {
    throw Failure(Status::kNoPlugin, error.what());
  }
  NowDoing("using '" + plugin_ + "'", Status::kCrash);
  if (host_->methods().empty()) {
    std::ostringstream version;
    version << settings.version;
    throw Failure(Status::kNoPlugin, "'" + plugin_ + "' registered no method with this host (version " +
                                         version.str() + "); is it the right plug-in?");
  }
}

void Session::Load(const HostSettings& settings) {
  std::vector<Fault> any, named;
  std::ranges::partition_copy(settings.faults, std::back_inserter(any), std::back_inserter(named),
                              [](const Fault& fault) { return fault.entry.empty(); });
  injection_.emplace(*host_, named);
  if (!settings.faults.empty()) {
    host_->onEntry = std::ref(*injection_);
  }
  host_->Load(plugin_);
  std::ranges::for_each(any, [this](const Fault& fault) { injection_->Add(fault); });
}

Failure Session::Misused(const HostError& error) const {
  return {Status::kUsage, std::string(error.what()) + "\nThe plug-in is " + plugin_};
}

std::vector<const Registration*> Session::MethodsNamed(const std::string& name) const {
  try {
    return host_->MethodsNamed(name);
  } catch (const HostError& error) {
    throw Misused(error);
  }
}

CallResult Session::Call(const std::string& method, const Arguments& arguments) const {
  try {
    return host_->Call(method, arguments);
  } catch (const HostError& error) {
    throw Misused(error);
  } catch (const HostFault& fault) {
    CallResult none;
    none.exception = {"", fault.what(), 0};
    return none;
  }
}

std::vector<std::string> Session::FaultsNotDue() const {
  std::vector<std::string> lines;
  for (const auto& [fault, calls, happened] : injection_->armed()) {
    if (happened) {
      continue;
    }
    const char* const kSpared =
        ": that call gives something back, or a host cannot do without it; name its entry";
    lines.push_back(std::string(OptionOf(fault)) + ' ' + fault.entry + '@' + std::to_string(fault.from + 1) +
                    " never came due" +
                    (calls > fault.from ? kSpared : " (there were " + Count(calls, "such call") + ")"));
  }
  return lines;
}

std::vector<std::string> Session::Losses(const Balance& before) const {
  const Balance after = host_->CurrentBalance();
  std::vector<std::string> losses = host_->complaints;
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

PixelFormat Session::SourceFormat() const {
  switch (pixelType_) {
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

Ref<REALpictureStruct> Session::MakePicture(const Image& image, PixelFormat format) const {
  auto picture = host_->NewPicture(image.width, image.height, format);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      picture->Set(x, y, image.At(x, y));
    }
  }
  return picture;
}

Image ImageOf(REALpictureStruct& picture) {
  Image image(picture.width, picture.height);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      image.At(x, y) = picture.At(x, y);
    }
  }
  return image;
}

std::string ExceptionText(const RaisedException& exception) {
  return (exception.className.empty() ? "" : exception.className + ": ") +
         exception.message.value_or("(no message)");
}

}  // namespace devhost::program
