// A shared library in memory. Nothing else knows how the system loads one.
#pragma once

#include <string>

namespace devhost {

class Library {
 public:
  /// Loads the file at `path`, which must not be in memory yet. Throws HostError if it cannot be loaded.
  explicit Library(const std::string& path);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// The address of an exported symbol, or null.
  void* Symbol(const char* name) const;

 private:
  void* handle_;
};

}  // namespace devhost
