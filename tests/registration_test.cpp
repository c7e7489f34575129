// What a host of each version gets to know of the methods.
#include <cmath>
#include <fstream>

#include "methods.h"
#include "support.h"

namespace tests {
namespace {

struct Threshold {
  double version;  // 0: the host does not tell
  std::int32_t pluginVersion;
  bool usesModules;
  std::uint32_t flags;
};

constexpr Threshold kThresholds[] = {
    {0.0, 9, false, 0},       {2007.5, 9, false, 0},     {2008.0, 9, false, 0},     {2010.028, 9, false, 0},
    {2010.029, 9, false, 4},  {2011.9, 9, false, 4},     {2012.0, 10, false, 4},    {2012.5, 10, false, 4},
    {2013.0, 11, true, 0x14}, {2013.03, 12, true, 0x14}, {2013.04, 13, true, 0x14}, {2016.0, 13, true, 0x14},
    {2999.9, 13, true, 0x14}, {3000.0, 13, false, 4}};

devhost::HostOptions OptionsFor(double version) {
  devhost::HostOptions options;
  if (version == 0.0) {
    options.without.insert("REALGetRBVersion");
  } else {
    options.version = version;
  }
  return options;
}

std::string ExtendsForm(const std::string& declaration) {
  const std::size_t list = declaration.find('(') + 1;
  return declaration.substr(0, list) + "extends ref as Picture, " + declaration.substr(list);
}

/// All declarations, in the order of their registration: the 18 of Picture first.
std::vector<std::string> Declarations() {
  std::ifstream file(RASTEL_DECLARATIONS);
  std::vector<std::string> declarations;
  for (std::string line; std::getline(file, line);) {
    declarations.push_back(line);
  }
  return declarations;
}

class Registered : public testing::TestWithParam<Threshold> {};

TEST_P(Registered, MethodsFitTheVersion) {
  const Threshold& expected = GetParam();
  const LoadedHost host(OptionsFor(expected.version));
  EXPECT_EQ(expected.pluginVersion, host.pluginVersion());
  const std::vector<std::string> declarations = Declarations();
  ASSERT_EQ(50U, declarations.size());
  ASSERT_EQ(declarations.size(), host.methods().size());
  for (std::size_t i = 0; i < declarations.size(); ++i) {
    SCOPED_TRACE(declarations[i]);
    const devhost::Registration& method = host.methods()[i];
    const bool ofPicture = i < kPictureMethods;
    const bool isOwned = ofPicture || expected.usesModules;
    EXPECT_EQ(expected.usesModules ? "PluginRegisterModule"
              : ofPicture          ? "PluginRegisterClassExtension"
                                   : "PluginRegisterMethod",
              method.route);
    EXPECT_EQ(!isOwned                ? ""
              : !expected.usesModules ? "Picture"
              : ofPicture             ? "PictureRastelExtensionKVZ"
                                      : "RastelGlobalsKVZ",
              method.owner);
    EXPECT_EQ(isOwned ? expected.pluginVersion : 0, method.version);
    EXPECT_EQ(ofPicture && expected.usesModules ? ExtendsForm(declarations[i]) : declarations[i],
              method.declaration);
    EXPECT_EQ(expected.flags, method.flags);
    EXPECT_EQ(ofPicture, method.extendsPicture);
    EXPECT_NE(nullptr, method.function);
  }
  EXPECT_TRUE(host.complaints.empty());
}

std::string NameOfVersion(const testing::TestParamInfo<Threshold>& info) {
  return "Version" + std::to_string(std::lround(info.param.version * 1000));
}

INSTANTIATE_TEST_SUITE_P(, Registered, testing::ValuesIn(kThresholds), NameOfVersion);

TEST(Registration, CallsTheHostInOrder) {
  const LoadedHost modules;
  const std::vector<std::string> expected = {"REALGetRBVersion() = 2013.04", "RegisterPluginVersion(13)",
                                             "PluginRegisterModule(address)",
                                             "PluginRegisterModule(address)"};
  EXPECT_EQ(expected, Calls(modules));
  EXPECT_EQ((std::vector<std::string>{"REALGetRBVersion", "RegisterPluginVersion", "PluginRegisterModule"}),
            modules.lookups);
}

TEST(Registration, RegistersTheClassBeforeTheGlobals) {
  const LoadedHost host(OptionsFor(2012.5));
  ASSERT_EQ(3U + 32U, host.trace.size());
  EXPECT_EQ("PluginRegisterClassExtension", host.trace[2].entry);
  EXPECT_EQ(1, CountLookups(host, "PluginRegisterMethod"));
}

struct Missing {
  double version;
  const char* entry;
  std::size_t registered;
  int lookups;
};

TEST(Registration, LeavesOutWhatTheHostCannotTake) {
  for (const Missing& missing : {Missing{2012.5, "PluginRegisterMethod", 18, 32},
                                 {2012.5, "PluginRegisterClassExtension", 32, 1},
                                 {2011.0, "PluginRegisterClassExtension", 32, 1},
                                 {2011.0, "PluginRegisterMethod", 18, 32},
                                 {2012.5, "PluginRegisterModule", 50, 0},
                                 {2013.04, "PluginRegisterModule", 0, 2},
                                 {2013.04, "PluginRegisterMethod", 50, 0},
                                 {2013.04, "RegisterPluginVersion", 50, 1},
                                 {2007.5, "RegisterPluginVersion", 50, 1}}) {
    SCOPED_TRACE(testing::Message() << missing.version << " without " << missing.entry);
    devhost::HostOptions options = OptionsFor(missing.version);
    options.without.insert(missing.entry);
    const LoadedHost host(options);
    EXPECT_EQ(missing.registered, host.methods().size());
    EXPECT_EQ(missing.lookups, CountLookups(host, missing.entry));
    EXPECT_TRUE(host.complaints.empty());
  }
}

}  // namespace
}  // namespace tests
