#include "devhost/library.h"

#include <dlfcn.h>

#include "devhost/host.h"

namespace devhost {

Library::Library(const std::string& path) {
  // A name without a slash would be looked for in the system's directories.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  if (void* loaded = dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {
    dlclose(loaded);
    throw HostError("'" + path + "' cannot be loaded anew: it is still in memory");
  }
  handle_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    throw HostError("'" + path + "' cannot be loaded: " + dlerror());
  }
}

Library::~Library() {
  dlclose(handle_);
}

void* Library::Symbol(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace devhost
