#include "watched_plugin.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>

namespace tests {

WatchedPlugin* WatchedPlugin::current = nullptr;

namespace {

void* Counted(void* memory) {
  WatchedPlugin::current->live.insert(memory);
  return memory;
}

void* WatchedMalloc(std::size_t size) {
  return WatchedPlugin::current->ShouldFail() ? nullptr : Counted(std::malloc(size));
}

void* WatchedCalloc(std::size_t count, std::size_t size) {
  return WatchedPlugin::current->ShouldFail() ? nullptr : Counted(std::calloc(count, size));
}

char* WatchedStrdup(const char* text) {
  return WatchedPlugin::current->ShouldFail() ? nullptr : static_cast<char*>(Counted(strdup(text)));
}

void WatchedFree(void* memory) {
  WatchedPlugin::current->live.erase(memory);
  std::free(memory);
}

void* WatchedNew(std::size_t size) {
  if (WatchedPlugin::current->ShouldFail()) {
    throw std::bad_alloc();
  }
  return Counted(std::malloc(size));
}

struct Watched {
  std::string_view name;
  void* function;
};

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Watched kWatched[] = {{"malloc", Address(WatchedMalloc)}, {"calloc", Address(WatchedCalloc)},
                            {"strdup", Address(WatchedStrdup)}, {"__strdup", Address(WatchedStrdup)},
                            {"free", Address(WatchedFree)},     {"_Znwm", Address(WatchedNew)},
                            {"_Znam", Address(WatchedNew)},     {"_Znwj", Address(WatchedNew)},
                            {"_Znaj", Address(WatchedNew)}};
/// Imports that would allocate past the counting.
constexpr std::string_view kUnwatched[] = {"realloc", "aligned_alloc", "posix_memalign",
                                           "__cxa_allocate_exception"};

/// A copy that sanitizers do not see: there are gaps between the plug-in's data that they watch.
__attribute__((no_sanitize("address"))) void CopyData(std::uint8_t* to, const std::uint8_t* from,
                                                      std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const_cast<volatile std::uint8_t*>(to)[i] = from[i];
  }
}

#if __SIZEOF_POINTER__ == 8
constexpr auto kSymbolShift = 32;
#else
constexpr auto kSymbolShift = 8;
#endif

}  // namespace

WatchedPlugin::WatchedPlugin() : library_(dlopen(RASTEL_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr || current != nullptr) {
    throw std::runtime_error("the plug-in cannot be loaded");
  }
  current = this;
  WatchImports();
}

WatchedPlugin::~WatchedPlugin() {
  dlclose(library_);
  current = nullptr;
}

void WatchedPlugin::Register(Resolver resolver) const {
  reinterpret_cast<void (*)(Resolver)>(dlsym(library_, "REALPluginMain"))(resolver);
}

bool WatchedPlugin::ShouldFail() {
  const int number = allocations++;
  return failsOnce ? number == failFrom : number >= failFrom;
}

void WatchedPlugin::Save() {
  link_map* map = nullptr;
  dlinfo(library_, RTLD_DI_LINKMAP, &map);
  const auto* file = reinterpret_cast<const ElfW(Ehdr)*>(map->l_addr);
  const auto* headers = reinterpret_cast<const ElfW(Phdr)*>(map->l_addr + file->e_phoff);
  ElfW(Addr) readOnlyEnd = 0;
  for (int i = 0; i < file->e_phnum; ++i) {
    if (headers[i].p_type == PT_GNU_RELRO) {
      readOnlyEnd = headers[i].p_vaddr + headers[i].p_memsz;
    }
  }
  saved_.clear();
  for (int i = 0; i < file->e_phnum; ++i) {
    if (headers[i].p_type == PT_LOAD && (headers[i].p_flags & PF_W) != 0) {
      const ElfW(Addr) first = std::max(headers[i].p_vaddr, readOnlyEnd);
      auto* start = reinterpret_cast<std::uint8_t*>(map->l_addr + first);
      std::vector<std::uint8_t> bytes(headers[i].p_vaddr + headers[i].p_memsz - first);
      CopyData(bytes.data(), start, bytes.size());
      saved_.emplace_back(start, std::move(bytes));
    }
  }
}

void WatchedPlugin::Restore() const {
  for (const auto& [start, bytes] : saved_) {
    CopyData(start, bytes.data(), bytes.size());
  }
}

/// Goes through the relocations of the loaded file.
void WatchedPlugin::WatchImports() {
  link_map* map = nullptr;
  dlinfo(library_, RTLD_DI_LINKMAP, &map);
  ElfW(Addr) tables[DT_JMPREL + 1] = {};
  for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag >= 0 && entry->d_tag <= DT_JMPREL) {
      tables[entry->d_tag] = entry->d_un.d_ptr;
    }
  }
  const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(tables[DT_SYMTAB]);
  const auto* names = reinterpret_cast<const char*>(tables[DT_STRTAB]);
  const auto watch = [&](ElfW(Addr) start, std::size_t bytes, std::size_t each) {
    for (std::size_t at = 0; each != 0 && at + each <= bytes; at += each) {
      const auto* entry = reinterpret_cast<const ElfW(Rel)*>(start + at);  // a Rela starts like a Rel
      const char* name = names + symbols[entry->r_info >> kSymbolShift].st_name;
      importsWatched += WatchImport(name, reinterpret_cast<void**>(map->l_addr + entry->r_offset)) ? 1 : 0;
    }
  };
  const bool hasAddends = tables[DT_RELAENT] != 0;
  watch(hasAddends ? tables[DT_RELA] : tables[DT_REL], hasAddends ? tables[DT_RELASZ] : tables[DT_RELSZ],
        hasAddends ? tables[DT_RELAENT] : tables[DT_RELENT]);
  watch(tables[DT_JMPREL], tables[DT_PLTRELSZ], hasAddends ? sizeof(ElfW(Rela)) : sizeof(ElfW(Rel)));
}

bool WatchedPlugin::WatchImport(const char* name, void** slot) {
  for (const std::string_view unwatched : kUnwatched) {
    if (name == unwatched) {
      throw std::runtime_error("the plug-in allocates in a way that is not counted: " + std::string(name));
    }
  }
  for (const Watched& watched : kWatched) {
    if (name == watched.name) {
      const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
      void* start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(slot) & ~(page - 1));
      mprotect(start, page, PROT_READ | PROT_WRITE);
      *slot = watched.function;
      return true;
    }
  }
  return false;
}

}  // namespace tests
