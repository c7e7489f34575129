// Declarations rewritten for modules, and records in the form of old hosts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "aliased_memory.h"
#include "host/entries.h"
#include "registration/declarations.h"
#include "registration/old_records.h"
#include "registration/tables.h"
#include "registration/version.h"
#include "unit_memory.h"

extern "C" void REALPluginMain(Resolver resolver);

namespace tests {
namespace {

using rastel::AddAssignsParameter;
using rastel::AddClassParameter;
using rastel::CBuffer;

std::string WithClass(const std::string& declaration) {
  const CBuffer<char> text(AddClassParameter(declaration.c_str(), "Picture"));
  return text == nullptr ? "(null)" : text.get();
}

std::string WithValue(const std::string& declaration) {
  const CBuffer<char> text = AddAssignsParameter(declaration.c_str());
  return text == nullptr ? "(null)" : text.get();
}

TEST(Declarations, GetTheClassAsFirstParameter) {
  EXPECT_EQ("Width(extends ref as Picture) as integer", WithClass("Width as integer"));
  EXPECT_EQ("Copy(extends ref as Picture, block as memoryblock) as boolean",
            WithClass("Copy(block as memoryblock) as boolean"));
  EXPECT_EQ("Name(extends ref as Picture, )", WithClass("Name()"));
  EXPECT_EQ("Name(extends ref as Picture) (x as integer)", WithClass("Name (x as integer)"));
  EXPECT_EQ("Name(extends ref as Picture)", WithClass("Name"));
  EXPECT_EQ("(extends ref as Picture)", WithClass(""));
}

TEST(Declarations, GetTheValueAsLastParameter) {
  EXPECT_EQ("Name(extends ref as Picture, x as integer, assigns value as integer)",
            WithValue("Name(extends ref as Picture, x as integer) as integer"));
  EXPECT_EQ("Name(assigns value as integer)", WithValue("Name as integer"));
  EXPECT_EQ("Name(x, assigns value)", WithValue("Name(x)"));
  EXPECT_EQ("(null)", WithValue("Name"));
  EXPECT_EQ("(null)", WithValue(""));
}

TEST(Declarations, AreCutWhereTheBufferEnds) {
  for (const std::size_t length :
       {900U, 960U, 970U, 975U, 976U, 990U, 997U, 998U, 999U, 1000U, 1001U, 1024U, 3000U}) {
    SCOPED_TRACE(length);
    const std::string letters(length, 'a');
    EXPECT_EQ((letters + "(extends ref as Picture)").substr(0, 999), WithClass(letters));
    EXPECT_EQ("(null)", WithValue(letters));
    EXPECT_EQ(("N(extends ref as Picture, " + letters + ")").substr(0, 998), WithClass("N(" + letters + ")"));
    EXPECT_EQ(("N(extends ref as Picture) as " + letters).substr(0, 998), WithClass("N as " + letters));
    EXPECT_EQ(("N(x, assigns value as " + letters + ")").substr(0, 998), WithValue("N(x) as " + letters));
    EXPECT_EQ(("N(assigns value as " + letters + ")").substr(0, 998), WithValue("N as " + letters));
    if (length < 999) {
      EXPECT_EQ((letters + "(extends ref as Picture, x)").substr(0, 998), WithClass(letters + "(x)"));
      EXPECT_EQ((letters + "(assigns value as x)").substr(0, 998), WithValue(letters + " as x"));
    } else {
      EXPECT_EQ((letters + "(x)(extends").substr(0, 999), WithClass(letters + "(x)").substr(0, 999));
      EXPECT_EQ("(null)", WithValue(letters + " as x"));
    }
  }
}

/// Records whose bytes all differ.
template <typename Record, std::size_t Count>
std::array<Record, Count> Filled(unsigned char start) {
  std::array<Record, Count> records;
  auto* bytes = reinterpret_cast<unsigned char*>(records.data());
  for (std::size_t i = 0; i < sizeof records; ++i) {
    bytes[i] = static_cast<unsigned char>(start + i * 7);
  }
  return records;
}

/// True if `table` holds the first sizeof(Old) bytes of each record. Frees the table.
template <typename Old, typename New, std::size_t Count>
bool TakeCut(const std::array<New, Count>& records, void* table) {
  const CBuffer<void> owned(table);
  for (std::size_t i = 0; table != nullptr && i < Count; ++i) {
    if (std::memcmp(static_cast<Old*>(table) + i, &records[i], sizeof(Old)) != 0) {
      return false;
    }
  }
  return table != nullptr;
}

TEST(OldRecords, OfModulesAreCut) {
  rastel::CurrentREALControlVersion = 9;
  auto methods = Filled<REALmethodDefinition, 3>(1);
  auto records4 = Filled<HostRecord<5>, 2>(2);
  auto properties = Filled<REALproperty, 4>(3);
  auto rows8 = Filled<REALmethodDefinition, 1>(4);
  auto records10 = Filled<HostRecord<7>, 5>(5);
  REALmoduleDefinition module{};
  module.common = {13,           "Name", methods.data(),   3, records4.data(), 2, properties.data(), 4,
                   rows8.data(), 1,      records10.data(), 5};
  const CBuffer<OldModuleDefinition> old(rastel::FixModule(&module));
  ASSERT_NE(nullptr, old);
  EXPECT_EQ(9, old->version);
  EXPECT_STREQ("Name", old->name);
  EXPECT_EQ(3U, old->methodCount);
  EXPECT_EQ(2U, old->count5);
  EXPECT_EQ(4U, old->propertyCount);
  EXPECT_EQ(1U, old->count9);
  EXPECT_EQ(5U, old->count11);
  EXPECT_TRUE((TakeCut<OldMethodRow>(methods, old->methods)));
  EXPECT_TRUE((TakeCut<HostRecord<3>>(records4, old->records4)));
  EXPECT_TRUE((TakeCut<OldProperty>(properties, old->properties)));
  EXPECT_TRUE((TakeCut<OldMethodRow>(rows8, old->rows8)));
  EXPECT_TRUE((TakeCut<HostRecord<5>>(records10, old->records10)));
}

TEST(OldRecords, AreAllOrNoneWithoutMemory) {
  rastel::CurrentREALControlVersion = 9;
  auto methods = Filled<REALmethodDefinition, 1>(1);
  auto properties = Filled<REALproperty, 1>(2);
  REALmoduleDefinition module{};
  module.common.methods = methods.data();
  module.common.properties = properties.data();
  module.common.rows8 = methods.data();
  module.common.methodCount = module.common.propertyCount = module.common.count9 = 1;
  const std::size_t inUse = CallocsInUse();
  for (int first = 0; first < 4; ++first) {
    const FailingCallocs failing(first);
    EXPECT_FALSE(rastel::TakeFormForHost(module));
    EXPECT_EQ(methods.data(), module.common.methods);
    EXPECT_EQ(inUse, CallocsInUse());
  }
  rastel::CurrentREALControlVersion = 10;
  EXPECT_TRUE(rastel::TakeFormForHost(module)) << "as it is";
  EXPECT_EQ(methods.data(), module.common.methods);
  rastel::CurrentREALControlVersion = 9;
  EXPECT_TRUE(rastel::TakeFormForHost(module));
  EXPECT_TRUE((TakeCut<OldMethodRow>(methods, module.common.methods)));
  EXPECT_TRUE((TakeCut<OldProperty>(properties, module.common.properties)));
  EXPECT_TRUE((TakeCut<OldMethodRow>(methods, module.common.rows8)));
}

TEST(OldRecords, KeepCountsWithoutTables) {
  REALmoduleDefinition module{};
  module.common.propertyCount = 4;
  HostRecord<7> unused{};
  module.common.records10 = &unused;
  REALmethodDefinition row{};
  module.common.rows8 = &row;
  module.common.count9 = 0xFFFFFFFF;  // more than 2 GiB
  const CBuffer<OldModuleDefinition> old(rastel::FixModule(&module));
  ASSERT_NE(nullptr, old);
  EXPECT_EQ(nullptr, old->properties);
  EXPECT_EQ(4U, old->propertyCount);
  EXPECT_EQ(nullptr, old->rows8);
  EXPECT_EQ(0xFFFFFFFF, old->count9);
  EXPECT_EQ(nullptr, old->records10);
  EXPECT_EQ(nullptr, old->methods);
}

TEST(OldRecords, OfPropertiesAreCut) {
  const auto properties = Filled<REALproperty, 3>(9);
  EXPECT_TRUE((TakeCut<OldProperty>(properties, rastel::FixProperties(properties.data(), 3))));
  EXPECT_EQ(nullptr, rastel::FixProperties(properties.data(), 0));
  EXPECT_EQ(nullptr, rastel::FixProperties(nullptr, 3));
  // More than 2 GiB of records.
  EXPECT_EQ(nullptr, rastel::FixProperties(properties.data(), 0xFFFFFFFF));
}

TEST(OldRecords, OfClassesAreCut) {
  rastel::CurrentREALControlVersion = 9;
  auto properties = Filled<REALproperty, 2>(1);
  auto methods = Filled<REALmethodDefinition, 3>(2);
  auto events = Filled<HostRecord<4>, 3>(3);
  auto records18 = Filled<HostRecord<5>, 4>(4);
  auto sharedProperties = Filled<REALproperty, 1>(5);
  auto sharedMethods = Filled<REALmethodDefinition, 2>(6);
  REALclassDefinition definition{};
  definition.common = {13,
                       "Picture",
                       {1, 2, 3, 4, 5},
                       properties.data(),
                       2,
                       methods.data(),
                       3,
                       events.data(),
                       3,
                       {6, 7, 8, 9, 10},
                       records18.data(),
                       4,
                       0x1234,
                       sharedProperties.data(),
                       1,
                       sharedMethods.data(),
                       2};
  const auto originalEvents = events;
  for (int first = 0; first < 7; ++first) {
    const FailingCallocs failing(first);
    EXPECT_EQ(nullptr, rastel::FixClass(definition));
    EXPECT_EQ(0, std::memcmp(&originalEvents, &events, sizeof events)) << "they lead nowhere";
  }
  const CBuffer<OldClassDefinition> old(rastel::FixClass(definition));
  ASSERT_NE(nullptr, old);
  EXPECT_EQ(9, old->version);
  EXPECT_STREQ("Picture", old->name);
  EXPECT_EQ(0, std::memcmp(old->words2to6, definition.common.words2to6, sizeof old->words2to6));
  for (const std::size_t word : {0U, 1U, 2U}) {
    EXPECT_EQ(6 + word, old->words13to17[word]);
  }
  EXPECT_EQ(0U, old->words13to17[3]);
  EXPECT_EQ(0U, old->words13to17[4]);
  EXPECT_EQ(0x1234U, old->flags);
  EXPECT_EQ((std::array{2U, 3U, 3U, 4U, 1U, 2U}),
            (std::array{old->propertyCount, old->methodCount, old->eventCount, old->count19,
                        old->sharedPropertyCount, old->sharedMethodCount}));
  // Each event now leads to its own copy.
  auto* cut = reinterpret_cast<HostRecord<2>*>(old->events);
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(reinterpret_cast<HostWord>(&cut[i]), events[i].words[1]);
    EXPECT_EQ(originalEvents[i].words[0], events[i].words[0]);
    EXPECT_EQ(originalEvents[i].words[3], events[i].words[3]);
  }
  EXPECT_TRUE((TakeCut<HostRecord<2>>(originalEvents, old->events)));
  EXPECT_TRUE((TakeCut<OldProperty>(properties, old->properties)));
  EXPECT_TRUE((TakeCut<OldMethodRow>(methods, old->methods)));
  EXPECT_TRUE((TakeCut<HostRecord<3>>(records18, old->records18)));
  EXPECT_TRUE((TakeCut<OldProperty>(sharedProperties, old->sharedProperties)));
  EXPECT_TRUE((TakeCut<OldMethodRow>(sharedMethods, old->sharedMethods)));
}

/// A host that takes modules only.
struct ModuleHost {
  /// All there ever were: hosts keep them to the end of the process.
  static inline auto& modules = *new std::vector<const REALmoduleDefinition*>;
  static inline bool throws = false;

  static void* Resolve(const char* name) {
    double (*const tellVersion)() = [] { return 2013.04; };
    void (*const takeModule)(REALmoduleDefinition*) = [](REALmoduleDefinition* module) {
      modules.push_back(module);
      if (throws) {
        throw std::runtime_error("kept");
      }
    };
    const std::string_view entry = name;
    return entry == "REALGetRBVersion"       ? reinterpret_cast<void*>(tellVersion)
           : entry == "PluginRegisterModule" ? reinterpret_cast<void*>(takeModule)
                                             : nullptr;
  }
};

/// What a module's row says: its function's number, its declaration, its flags.
std::vector<std::string> RowTexts(const OldModuleDefinition& module) {
  std::vector<std::string> texts;
  const auto* rows = reinterpret_cast<const REALmethodDefinition*>(module.methods);
  for (std::uint32_t i = 0; i < module.methodCount; ++i) {
    texts.push_back(std::to_string(reinterpret_cast<std::uintptr_t>(rows[i].function)) + " " +
                    rows[i].declaration + " " + std::to_string(rows[i].flags) +
                    (rows[i].setter == nullptr ? "" : " with a setter"));
  }
  return texts;
}

/// Gives what a plug-in with `count` methods for pictures registers.
std::vector<const REALmoduleDefinition*> ModulesFor(void* methods, std::size_t count) {
  struct Restored {
    OldClassDefinition own = rastel::pictureClass.common;
    ~Restored() {
      rastel::pictureClass.common = own;
      std::construct_at(&rastel::REALRegisterModule);
    }
  };
  const Restored restored;
  rastel::pictureClass.common.methods = static_cast<REALmethodDefinition*>(methods);
  rastel::pictureClass.common.methodCount = static_cast<std::uint32_t>(count);
  std::construct_at(&rastel::REALRegisterModule);
  const auto known = static_cast<std::ptrdiff_t>(ModuleHost::modules.size());
  REALPluginMain(ModuleHost::Resolve);
  return {ModuleHost::modules.begin() + known, ModuleHost::modules.end()};
}

std::vector<const REALmoduleDefinition*> ModulesFor(std::vector<REALmethodDefinition>& methods) {
  return ModulesFor(methods.data(), methods.size());
}

TEST(Modules, HaveARowForEachSetterAndEachFunction) {
  const auto function = [](std::uintptr_t number) { return reinterpret_cast<void*>(number); };
  const std::vector<std::string> expected = {
      "2 Both(extends ref as Picture, x as integer, assigns value as integer) 25",
      "1 Both(extends ref as Picture, x as integer) as integer 25",
      "3 Get(extends ref as Picture) as integer 16",
      "4 Set(extends ref as Picture, assigns value as text) 16"};
  std::vector<REALmethodDefinition> methods = {
      {function(1), function(2), "Both(x as integer) as integer", 0x80001, 0, nullptr},
      {function(3), nullptr, "Get as integer", 0, 0, nullptr},
      {nullptr, function(4), "Set as text", 0, 0, nullptr}};
  auto properties = Filled<REALproperty, 2>(1);
  auto sharedProperties = properties;
  REALmethodDefinition sharedMethod{};
  // Words are as wide as addresses; what is above the flags stays.
  constexpr HostWord kHighBits = ~HostWord{0} << 31;
  properties[0].words[3] = properties[1].words[3] = kHighBits | 0xC0001;
  sharedProperties[0].words[3] = sharedMethod.flags = 0x40002;
  auto& picture = rastel::pictureClass.common;
  const auto own = picture;
  picture.properties = properties.data();
  picture.sharedProperties = sharedProperties.data();
  picture.sharedMethods = &sharedMethod;
  picture.propertyCount = picture.sharedPropertyCount = picture.sharedMethodCount = 1;
  const auto modules = ModulesFor(methods);
  picture = own;
  ASSERT_EQ(2U, modules.size());
  const OldModuleDefinition& module = modules[0]->common;
  EXPECT_EQ(13, module.version);
  EXPECT_STREQ("PictureRastelExtensionKVZ", module.name);
  EXPECT_EQ(expected, RowTexts(module));
  EXPECT_STREQ("RastelGlobalsKVZ", modules[1]->common.name);
  ASSERT_EQ(rastel::kGlobalMethodCount, modules[1]->common.methodCount);
  // The host's for good: not freed.
  const auto* rows = reinterpret_cast<const REALmethodDefinition*>(modules[1]->common.methods);
  for (std::uint32_t i = 0; i < rastel::kGlobalMethodCount; ++i) {
    EXPECT_EQ(rastel::globalMethods[i].function, rows[i].function);
    EXPECT_EQ(nullptr, rows[i].setter);
  }
  EXPECT_EQ(kHighBits | 13U, properties[0].words[3]);
  EXPECT_EQ(kHighBits | 0xC0001U, properties[1].words[3]) << "beyond the table";
  EXPECT_EQ(6U, sharedProperties[0].words[3]);
  EXPECT_EQ(6U, sharedMethod.flags);
}

TEST(Modules, AreLeftOutWithoutRowsOrWithAValueThatHasNoPlace) {
  const std::string endless(1000, 'a');
  void* any = &ModuleHost::modules;
  for (const auto& method : {REALmethodDefinition{nullptr, nullptr, "None", 0, 0, nullptr},
                             REALmethodDefinition{any, any, endless.c_str(), 0, 0, nullptr}}) {
    std::vector<REALmethodDefinition> methods = {method};
    const auto modules = ModulesFor(methods);
    ASSERT_EQ(1U, modules.size()) << method.declaration;
    EXPECT_STREQ("RastelGlobalsKVZ", modules[0]->common.name);
  }
}

TEST(Modules, StayWithAHostThatThrowsAfterItHasKeptThem) {
  std::vector<REALmethodDefinition> methods = {
      {&ModuleHost::modules, nullptr, "Name as integer", 0, 0, nullptr}};
  const std::size_t inUse = CallocsInUse();
  ModuleHost::throws = true;
  EXPECT_THROW(ModulesFor(methods), std::runtime_error);
  ModuleHost::throws = false;
  EXPECT_EQ(inUse + 2, CallocsInUse()) << "the module and its rows";
  const OldModuleDefinition& module = ModuleHost::modules.back()->common;
  EXPECT_STREQ("PictureRastelExtensionKVZ", module.name);
  EXPECT_STREQ("Name(extends ref as Picture) as integer", module.methods[0].declaration);
}

TEST(Modules, AreLeftOutWithTablesThatAreMissingOrTooLarge) {
  constexpr std::size_t kMostRows = 0x7FFFFFFF / sizeof(REALmethodDefinition);
  const AliasedMemory methods(0, (kMostRows / 2 + 2) * sizeof(REALmethodDefinition));
  std::fill_n(methods.bytes(), methods.size(), 1);  // each row has a function and a setter
  const FailingCallocs failing(0);
  EXPECT_TRUE(ModulesFor(nullptr, 18).empty());
  EXPECT_TRUE(ModulesFor(methods.base(), kMostRows / 2 + 1).empty());
  EXPECT_EQ(rastel::kGlobalMethodCount * sizeof(REALmethodDefinition), LargestCallocBytes());
}

TEST(Entries, AreNotFoundBeforeThereIsAHost) {
  rastel::gResolver = nullptr;
  EXPECT_EQ(nullptr, rastel::FindHostEntry("REALGetRBVersion"));
}

}  // namespace
}  // namespace tests
