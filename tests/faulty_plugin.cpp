// A plug-in that hangs and crashes while it is loaded, on hosts of some versions.
#include <unistd.h>

#include <cstdlib>

extern "C" void REALPluginMain(void* (*resolve)(const char*)) {
  const auto version = reinterpret_cast<double (*)()>(resolve("REALGetRBVersion"));
  while (version == nullptr) {
    pause();
  }
  if (version() < 2008.0) {
    std::abort();
  }
}
