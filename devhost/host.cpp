#include "devhost/host.h"

#include <dlfcn.h>

#include <algorithm>
#include <utility>

#include "devhost/nearest.h"
#include "devhost/state.h"

namespace devhost {
namespace {

Host* current = nullptr;

/// Loads a file that must not be in memory yet.
Library LoadAnew(const std::string& path) {
  // A name without a slash would be looked for in the system's directories.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  if (const Library loaded{dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD)}) {
    throw HostError("'" + path + "' cannot be loaded anew: it is still in memory");
  }
  Library library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (library == nullptr) {
    throw HostError("'" + path + "' cannot be loaded: " + dlerror());
  }
  return library;
}

PixelFormat OwnFormat(const HostOptions& options) {
  const bool desktop = options.kind == Kind::kDesktop;
  if (desktop && options.pixelType == 13) {
    return PixelFormat::kWorld32;
  }
  if (desktop && options.pixelType == 12) {
    return PixelFormat::kWorld24;
  }
  if (!desktop && options.pixelType == 8) {
    return PixelFormat::kBitmap;
  }
  throw HostError("pixel type " + std::to_string(options.pixelType) + " does not go with the kind of host: " +
                  (desktop ? "a desktop host makes pictures of type 12 or 13"
                           : "only a desktop host makes other pictures than type 8"));
}

}  // namespace

void CloseLibrary::operator()(void* handle) const {
  dlclose(handle);
}

Host::Host(HostOptions options) : options_(std::move(options)), state_(std::make_unique<State>()) {
  if (current != nullptr) {
    throw HostError("there is a host already");
  }
  for (const auto& name : options_.without) {
    if (!IsOffered(name)) {
      const auto known = EntryNames();
      if (std::ranges::find(known, name) != known.end()) {
        throw HostError("'" + name + "' is in every process, so that no host lacks it");
      }
      throw HostError(
          "'" + name +
          "' is nothing that a host has: neither an entry nor a legacy function nor an object's method" +
          Nearest(name, known));
    }
  }
  state_->version = options_.without.contains("REALGetRBVersion") ? 0.0 : options_.version;
  state_->ownFormat = OwnFormat(options_);
  current = this;
}

Host::~Host() {
  state_->library.reset();
  while (!state_->live.empty()) {
    delete *state_->live.begin();
  }
  current = nullptr;
}

bool HostExists() {
  return current != nullptr;
}

Host& Host::Current() {
  if (current == nullptr) {
    throw HostError("there is no host");
  }
  return *current;
}

void Host::Load(const std::string& path) {
  state_->library.reset();
  methods_.clear();
  pluginVersion_ = 0;
  Library library = LoadAnew(path);
  const auto pluginMain = reinterpret_cast<void (*)(Resolver)>(dlsym(library.get(), "REALPluginMain"));
  if (pluginMain == nullptr) {
    throw HostError("'" + path + "' is no plug-in: it does not export REALPluginMain");
  }
  state_->library = std::move(library);
  pluginMain(&Host::Resolve);
}

Ref<REALpictureStruct> Host::NewPicture(std::int32_t width, std::int32_t height) {
  return NewPicture(width, height, state_->ownFormat);
}

// NOLINTNEXTLINE(readability-make-member-function-const): the host gets another object
Ref<REALpictureStruct> Host::NewPicture(std::int32_t width, std::int32_t height, PixelFormat format) {
  return Ref(new REALpictureStruct(width, height, format, options_.guarded));
}

// NOLINTNEXTLINE(readability-make-member-function-const): likewise
Ref<REALmemoryBlockStruct> Host::NewMemoryBlock(std::int32_t size) {
  return Ref(new REALmemoryBlockStruct(size, options_.guarded));
}

Ref<_REALarrayInteger> Host::NewIntegerArray(const std::vector<std::int32_t>& elements) {
  return Ref<_REALarrayInteger>(new IntegerArray(elements, state_->version));
}

Balance Host::CurrentBalance() const {
  Balance balance;
  balance.strayUnlocks = state_->strayUnlocks;
  for (REALobjectStruct* object : state_->live) {
    const auto* platformObject = dynamic_cast<PlatformObject*>(object);
    if (platformObject != nullptr && platformObject->loaded) {
      continue;
    }
    ++balance.objects;
    balance.references += object->references;  // NOLINT(clang-analyzer-core.NullDereference): all live
    if (const auto* picture = dynamic_cast<REALpictureStruct*>(object)) {
      balance.descriptionLocks += picture->descriptionLocks;
      balance.pixelLocks += picture->pixelLocks;
    }
  }
  return balance;
}

}  // namespace devhost
