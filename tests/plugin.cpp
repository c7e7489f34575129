#include "plugin.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tests {

Plugin* Plugin::current = nullptr;

namespace {

void* Counted(void* memory) {
  Plugin::current->live.insert(memory);
  return memory;
}

void* WatchedCalloc(std::size_t count, std::size_t size) {
  return Plugin::current->ShouldFail() ? nullptr : Counted(std::calloc(count, size));
}

char* WatchedStrdup(const char* text) {
  return Plugin::current->ShouldFail() ? nullptr : static_cast<char*>(Counted(strdup(text)));
}

void WatchedFree(void* memory) {
  Plugin::current->live.erase(memory);
  std::free(memory);
}

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

/// All that the plug-in allocates and frees with; tests/check_binary.sh knows what it imports.
const std::map<std::string_view, void*> kWatched = {{"calloc", Address(WatchedCalloc)},
                                                    {"strdup", Address(WatchedStrdup)},
                                                    {"__strdup", Address(WatchedStrdup)},
                                                    {"free", Address(WatchedFree)}};

/// A copy that sanitizers do not see: there are gaps between the plug-in's data that they watch.
__attribute__((no_sanitize("address"))) void CopyData(std::uint8_t* to, const std::uint8_t* from,
                                                      std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const_cast<volatile std::uint8_t*>(to)[i] = from[i];
  }
}

const link_map& MapOf(void* library) {
  link_map* map = nullptr;
  if (dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
    throw std::runtime_error("the plug-in's file does not tell where it is");
  }
  return *map;
}

#if __SIZEOF_POINTER__ == 8
using Relocation = Elf64_Rela;
constexpr int kRelocations = DT_RELA, kRelocationBytes = DT_RELASZ, kSymbolShift = 32;
#else
using Relocation = Elf32_Rel;
constexpr int kRelocations = DT_REL, kRelocationBytes = DT_RELSZ, kSymbolShift = 8;
#endif

/// Lets the import `name`, whose address is in `slot`, lead to a counting function, if there is one.
void WatchImport(std::string_view name, void** slot) {
  if (const auto watched = kWatched.find(name); watched != kWatched.end()) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    void* start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(slot) & ~(page - 1));
    mprotect(start, page, PROT_READ | PROT_WRITE);
    *slot = watched->second;
  }
}

}  // namespace

Plugin::Plugin() : library_(dlopen(RASTEL_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr || current != nullptr) {
    throw std::runtime_error("the plug-in cannot be loaded");
  }
  current = this;
  FindVariables();
  WatchImports();
}

Plugin::~Plugin() {
  dlclose(library_);
  current = nullptr;
}

void Plugin::Register(Resolver resolver) const {
  reinterpret_cast<void (*)(Resolver)>(dlsym(library_, "REALPluginMain"))(resolver);
}

bool Plugin::ShouldFail() {
  const int number = allocations++;
  return failsOnce ? number == failFrom : number >= failFrom;
}

/// The C++ variables that may change. Those of the compiler's own instruments have no such names.
void Plugin::FindVariables() {
  std::ifstream file(RASTEL_PLUGIN, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file.rdbuf()), {});
  const auto* header = reinterpret_cast<const ElfW(Ehdr)*>(bytes.data());
  const auto* sections = reinterpret_cast<const ElfW(Shdr)*>(bytes.data() + header->e_shoff);
  const auto nameOf = [&](const ElfW(Shdr) & names, std::size_t offset) {
    return std::string_view(bytes.data() + names.sh_offset + offset);
  };
  for (int i = 0; i < header->e_shnum; ++i) {
    const ElfW(Shdr)& table = sections[i];
    const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(bytes.data() + table.sh_offset);
    for (std::size_t j = 0; table.sh_type == SHT_SYMTAB && j < table.sh_size / sizeof *symbols; ++j) {
      const ElfW(Sym)& symbol = symbols[j];
      if (ELF64_ST_TYPE(symbol.st_info) != STT_OBJECT || symbol.st_shndx >= header->e_shnum ||
          !nameOf(sections[table.sh_link], symbol.st_name).starts_with("_Z")) {
        continue;
      }
      const auto section = nameOf(sections[header->e_shstrndx], sections[symbol.st_shndx].sh_name);
      if (section == ".data" || section == ".bss") {
        variables_.emplace_back(reinterpret_cast<std::uint8_t*>(MapOf(library_).l_addr + symbol.st_value),
                                symbol.st_size);
      }
    }
  }
  if (variables_.empty()) {
    throw std::runtime_error("the plug-in's file does not tell its variables: it has no symbols");
  }
}

Plugin::State Plugin::Save() const {
  State state;
  for (const auto variables : variables_) {
    state.resize(state.size() + variables.size());
    CopyData(state.data() + state.size() - variables.size(), variables.data(), variables.size());
  }
  return state;
}

void Plugin::Restore(const State& state) const {
  const std::uint8_t* from = state.data();
  for (const auto variables : variables_) {
    CopyData(variables.data(), from, variables.size());
    from += variables.size();
  }
}

/// Goes through the relocations of the loaded file.
void Plugin::WatchImports() {
  const link_map& map = MapOf(library_);
  ElfW(Addr) tables[DT_JMPREL + 1] = {};
  for (const ElfW(Dyn)* entry = map.l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag >= 0 && entry->d_tag <= DT_JMPREL) {
      tables[entry->d_tag] = entry->d_un.d_ptr;
    }
  }
  const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(tables[DT_SYMTAB]);
  const auto* names = reinterpret_cast<const char*>(tables[DT_STRTAB]);
  for (const auto& [table, bytes] : {std::pair{kRelocations, kRelocationBytes}, {DT_JMPREL, DT_PLTRELSZ}}) {
    const auto* relocations = reinterpret_cast<const Relocation*>(tables[table]);
    for (std::size_t i = 0; i < tables[bytes] / sizeof(Relocation); ++i) {
      WatchImport(names + symbols[relocations[i].r_info >> kSymbolShift].st_name,
                  reinterpret_cast<void**>(map.l_addr + relocations[i].r_offset));
    }
  }
}

}  // namespace tests
