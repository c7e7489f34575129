// Declarations rewritten for modules, and the modules.
#include <span>
#include <stdexcept>
#include <string_view>

#include "host/memory.h"
#include "registration/declarations.h"
#include "registration/tables.h"
#include "unit_host.h"

extern "C" void REALPluginMain(Resolver resolver);

namespace tests {
namespace {

using rastel::CBuffer;

std::string WithClass(const std::string& declaration) {
  const CBuffer<char> text(rastel::AddClassParameter(declaration.c_str(), "Picture"));
  return text == nullptr ? "(null)" : text.get();
}

std::string WithValue(const std::string& declaration) {
  const CBuffer<char> text = rastel::AddAssignsParameter(declaration.c_str());
  return text == nullptr ? "(null)" : text.get();
}

TEST(Declarations, GetTheClassAsFirstAndTheValueAsLastParameter) {
  struct Rewritten {
    const char *declaration, *withClass, *withValue;
  };
  for (const Rewritten& rewritten : {
           Rewritten{"Name as integer", "Name(extends ref as Picture) as integer",
                     "Name(assigns value as integer)"},
           {"Name(x as integer) as boolean", "Name(extends ref as Picture, x as integer) as boolean",
            "Name(x as integer, assigns value as boolean)"},
           {"Name()", "Name(extends ref as Picture, )", "Name(, assigns value)"},
           {"Name (x)", "Name(extends ref as Picture) (x)", "Name (x, assigns value)"},
           {"Name", "Name(extends ref as Picture)", "(null)"},
           {"", "(extends ref as Picture)", "(null)"},
       }) {
    EXPECT_EQ(rewritten.withClass, WithClass(rewritten.declaration));
    EXPECT_EQ(rewritten.withValue, WithValue(rewritten.declaration));
  }
}

TEST(Declarations, AreCutWhereTheBufferEnds) {
  for (const std::size_t length : {900U, 975U, 976U, 997U, 998U, 999U, 1000U, 3000U}) {
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

/// What a host took. It keeps them to the end of the process.
auto& allModules = *new std::vector<const OldModuleDefinition*>;
bool hostThrows = false;

/// A host that takes modules only.
void* ResolveForModules(const char* name) {
  double (*const tellVersion)() = [] { return 2013.04; };
  void (*const takeModule)(REALmoduleDefinition*) = [](REALmoduleDefinition* module) {
    allModules.push_back(&module->common);
    if (hostThrows) {
      throw std::runtime_error("kept");
    }
  };
  const std::string_view entry = name;
  return entry == "REALGetRBVersion"       ? reinterpret_cast<void*>(tellVersion)
         : entry == "PluginRegisterModule" ? reinterpret_cast<void*>(takeModule)
                                           : nullptr;
}

/// What a plug-in with this class registers.
std::span<const OldModuleDefinition* const> ModulesFor(const OldClassDefinition& picture) {
  const std::size_t known = allModules.size();
  rastel::pictureClass.common = picture;
  REALPluginMain(ResolveForModules);
  return std::span(allModules).subspan(known);
}

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

void* Function(std::uintptr_t number) {
  return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr): nobody calls it
}

TEST(Modules, HaveARowForEachSetterAndEachFunction) {
  REALmethodDefinition methods[] = {{Function(1), Function(2), "Both(x as integer) as integer", 0x80001},
                                    {Function(3), nullptr, "Get as integer"},
                                    {nullptr, Function(4), "Set as text"}};
  REALmethodDefinition sharedMethod{.flags = 0x40002};
  // Words are as wide as addresses; what is above the flags stays.
  constexpr HostWord kHighBits = ~HostWord{0} << 31;
  REALproperty properties[] = {{0, 0, 0, kHighBits | 0xC0001}, {0, 0, 0, kHighBits | 0xC0001}};
  REALproperty sharedProperty{0, 0, 0, 0x40002};
  const auto modules = ModulesFor({.name = "Picture",
                                   .properties = properties,
                                   .propertyCount = 1,
                                   .methods = methods,
                                   .methodCount = 3,
                                   .sharedProperties = &sharedProperty,
                                   .sharedPropertyCount = 1,
                                   .sharedMethods = &sharedMethod,
                                   .sharedMethodCount = 1});
  ASSERT_EQ(2U, modules.size());
  EXPECT_EQ(13, modules[0]->version);
  EXPECT_STREQ("PictureRastelExtensionKVZ", modules[0]->name);
  EXPECT_EQ(
      (std::vector<std::string>{"2 Both(extends ref as Picture, x as integer, assigns value as integer) 25",
                                "1 Both(extends ref as Picture, x as integer) as integer 25",
                                "3 Get(extends ref as Picture) as integer 16",
                                "4 Set(extends ref as Picture, assigns value as text) 16"}),
      RowTexts(*modules[0]));
  EXPECT_STREQ("RastelGlobalsKVZ", modules[1]->name);
  EXPECT_EQ(kHighBits | 13U, properties[0].words[3]);
  EXPECT_EQ(kHighBits | 0xC0001U, properties[1].words[3]) << "beyond the table";
  EXPECT_EQ(6U, sharedProperty.words[3]);
  EXPECT_EQ(6U, sharedMethod.flags);
}

TEST(Modules, AreLeftOutWithoutRowsOrWithAValueThatHasNoPlace) {
  const std::string endless(1000, 'a');
  REALmethodDefinition none{nullptr, nullptr, "None"};
  REALmethodDefinition tooLong{Function(1), Function(2), endless.c_str()};
  for (REALmethodDefinition* method : {static_cast<REALmethodDefinition*>(nullptr), &none, &tooLong}) {
    const auto modules = ModulesFor({.name = "Picture", .methods = method, .methodCount = 1});
    ASSERT_EQ(1U, modules.size());
    EXPECT_STREQ("RastelGlobalsKVZ", modules[0]->name);
  }
}

TEST(Modules, StayWithAHostThatThrowsAfterItHasKeptThem) {
  const int inUse = FailingCallocs::inUse;
  REALmethodDefinition method{Function(1), nullptr, "Name as integer"};
  hostThrows = true;
  EXPECT_THROW(ModulesFor({.name = "Picture", .methods = &method, .methodCount = 1}), std::runtime_error);
  hostThrows = false;
  EXPECT_EQ(inUse + 2, FailingCallocs::inUse) << "the module and its rows";
  EXPECT_STREQ("PictureRastelExtensionKVZ", allModules.back()->name);
  EXPECT_EQ((std::vector<std::string>{"1 Name(extends ref as Picture) as integer 16"}),
            RowTexts(*allModules.back()));
}

TEST(Memory, IsNotAskedForMoreThanAnArrayMayHave) {
  using Record = HostRecord<8>;
  constexpr std::size_t kMost = rastel::kMostBytes / sizeof(Record);
  const FailingCallocs failing(0);
  EXPECT_EQ(nullptr, rastel::NewArray<Record>(kMost + 1));
  EXPECT_EQ(0U, FailingCallocs::largestBytes);
  EXPECT_EQ(nullptr, rastel::NewArray<Record>(kMost));
  EXPECT_EQ(kMost * sizeof(Record), FailingCallocs::largestBytes);
}

}  // namespace
}  // namespace tests
