// A plug-in that registers nothing, and on older hosts ends the process or crashes while it is loaded.
#include <csignal>
#include <cstdlib>

extern "C" void REALPluginMain(void* (*resolve)(const char*)) {
  const double version = reinterpret_cast<double (*)()>(resolve("REALGetRBVersion"))();
  if (version < 2007.0) {
    std::raise(SIGSEGV);
  } else if (version < 2008.0) {
    std::abort();
  } else if (version < 2010.0) {
    std::exit(0);  // NOLINT(concurrency-mt-unsafe): that is what it is for
  }
}
