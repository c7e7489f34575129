#include "fuzz/plugin_image.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace tests {
namespace {

/// Under the address sanitizer a variable's last bytes may be guarded, so this is no memcpy.
__attribute__((no_sanitize("address"))) void CopyBytes(const std::uint8_t* from, std::uint8_t* to,
                                                       std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    static_cast<volatile std::uint8_t*>(to)[i] = static_cast<const volatile std::uint8_t*>(from)[i];
  }
}

template <typename Record>
Record ReadAt(const std::string& file, std::size_t offset) {
  if (offset + sizeof(Record) > file.size()) {
    throw std::runtime_error("the plug-in's file ends too early");
  }
  Record record;
  std::memcpy(&record, file.data() + offset, sizeof record);
  return record;
}

/// A library's file.
class ElfFile {
 public:
  explicit ElfFile(const std::string& path)
      : bytes_(std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}),
        header_(ReadAt<ElfW(Ehdr)>(bytes_, 0)) {}

  /// The C++ variables that may change, for a library that is loaded at `base`. Those of the compiler's own
  /// instruments have no such names.
  std::vector<std::span<std::uint8_t>> Variables(std::uintptr_t base) const {
    std::vector<std::span<std::uint8_t>> variables;
    for (std::size_t i = 0; i < header_.e_shnum; ++i) {
      const auto symbols = Section(i);
      for (std::size_t j = 0; symbols.sh_type == SHT_SYMTAB && j < symbols.sh_size / symbols.sh_entsize;
           ++j) {
        const auto symbol = ReadAt<ElfW(Sym)>(bytes_, symbols.sh_offset + j * symbols.sh_entsize);
        if (IsVariable(symbol, Section(symbols.sh_link))) {
          // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how the loader tells it
          variables.emplace_back(reinterpret_cast<std::uint8_t*>(base + symbol.st_value), symbol.st_size);
        }
      }
    }
    return variables;
  }

 private:
  ElfW(Shdr) Section(std::size_t index) const {
    return ReadAt<ElfW(Shdr)>(bytes_, header_.e_shoff + index * header_.e_shentsize);
  }

  bool IsVariable(const ElfW(Sym) & symbol, const ElfW(Shdr) & names) const {
    if (ELF64_ST_TYPE(symbol.st_info) != STT_OBJECT || symbol.st_shndx >= header_.e_shnum) {
      return false;
    }
    const std::string_view name = bytes_.c_str() + names.sh_offset + symbol.st_name;
    const std::string_view section =
        bytes_.c_str() + Section(header_.e_shstrndx).sh_offset + Section(symbol.st_shndx).sh_name;
    return name.starts_with("_Z") && (section == ".data" || section == ".bss");
  }

  std::string bytes_;
  ElfW(Ehdr) header_;
};

}  // namespace

PluginImage::PluginImage(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw std::runtime_error(dlerror());
  }
  main_ = reinterpret_cast<void (*)(Resolver)>(dlsym(library, "REALPluginMain"));
  link_map* map = nullptr;
  if (main_ == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
    throw std::runtime_error("'" + path + "' is no plug-in");
  }
  variables_ = ElfFile(path).Variables(map->l_addr);
  if (variables_.empty()) {
    throw std::runtime_error("'" + path + "' does not tell its variables: it has no symbols");
  }
}

PluginImage::State PluginImage::Save() const {
  State state;
  for (const auto variable : variables_) {
    state.resize(state.size() + variable.size());
    CopyBytes(variable.data(), state.data() + state.size() - variable.size(), variable.size());
  }
  return state;
}

void PluginImage::Restore(const State& state) const {
  const std::uint8_t* from = state.data();
  for (const auto variable : variables_) {
    CopyBytes(from, variable.data(), variable.size());
    from += variable.size();
  }
}

}  // namespace tests
