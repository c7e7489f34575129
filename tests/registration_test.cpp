// What a host of each version gets to know of the methods.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>

#include "figures.h"
#include "isolated.h"
#include "methods.h"
#include "plugin.h"
#include "support.h"

namespace tests {
namespace {

struct Threshold {
  double version;  // 0: the host does not tell
  std::int32_t pluginVersion;
  bool usesModules;
  std::uint32_t flags;
};

// Each threshold with a version just below it.
constexpr Threshold kThresholds[] = {
    {0.0, 9, false, 0},         {2007.5, 9, false, 0},      {2008.0, 9, false, 0},
    {2010.028, 9, false, 0},    {2010.029, 9, false, 4},    {2011.99, 9, false, 4},
    {2012.0, 10, false, 4},     {2012.99, 10, false, 4},    {2013.0, 11, true, 0x14},
    {2013.02, 11, true, 0x14},  {2013.029, 11, true, 0x14}, {2013.03, 12, true, 0x14},
    {2013.039, 12, true, 0x14}, {2013.04, 13, true, 0x14},  {2016.0, 13, true, 0x14},
    {2999.9, 13, true, 0x14},   {3000.0, 13, false, 4}};

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
  std::vector<std::string> expected = {"REALGetRBVersion", "RegisterPluginVersion", "PluginRegisterModule"};
  EXPECT_EQ(expected, modules.lookups);
  expected.emplace_back("PluginRegisterModule");
  EXPECT_EQ(expected, Entries(modules));
}

TEST(Registration, RegistersTheClassBeforeTheGlobals) {
  const LoadedHost host(OptionsFor(2012.5));
  std::vector<std::string> expected = {"REALGetRBVersion", "RegisterPluginVersion",
                                       "PluginRegisterClassExtension"};
  expected.resize(3 + 32, "PluginRegisterMethod");
  EXPECT_EQ(expected, Entries(host));
  EXPECT_EQ(1, std::ranges::count(host.lookups, "PluginRegisterMethod"));
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
    EXPECT_EQ(missing.lookups, std::ranges::count(host.lookups, missing.entry));
    EXPECT_TRUE(host.complaints.empty());
  }
}

/// How much memory is the host's from the registration on: of a module its record, its name, its rows and
/// each declaration that was rewritten; of a class for old hosts the table that was made for it.
std::size_t AllocationsOfHost(const devhost::Host& host) {
  std::size_t count = 0;
  std::set<std::string> owners;
  for (const devhost::Registration& method : host.methods()) {
    const bool isNewOwner = !method.owner.empty() && owners.insert(method.owner).second;
    if (method.route == "PluginRegisterModule") {
      count += (isNewOwner ? 3 : 0) + (method.extendsPicture ? 1 : 0);
    } else if (isNewOwner && method.version <= 9) {
      ++count;
    }
  }
  return count;
}

/// Registers on a host of `version` while allocations fail. Says what is wrong afterwards.
std::string RegisterWithout(double version, int failFrom, bool once, Verdict& verdict) {
  devhost::Host host(OptionsFor(version));
  Plugin plugin;
  plugin.failFrom = failFrom;
  plugin.failsOnce = once;
  plugin.Register(&devhost::Host::Resolve);
  verdict.reached = plugin.allocations > failFrom;
  if (plugin.live.size() != AllocationsOfHost(host)) {
    return "memory was neither freed nor handed to the host";
  }
  const auto count = host.methods().size();
  const bool isWhole = count == 50 || (verdict.reached && (count == 0 || count == 18 || count == 32));
  if (!isWhole || !host.complaints.empty()) {
    return std::to_string(count) + " methods were registered";
  }
  const auto block = host.NewMemoryBlock(4);
  const auto picture = host.NewPicture(1, 1);
  if (count >= 32 && !host.Call("MemoryblockRGBtoPictureKVZ", {block.get(), 0, 1, 1}).picture) {
    return "no picture was made";
  }
  if ((count == 18 || count == 50) &&
      !host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), 0}).boolean) {
    return "no picture was copied";
  }
  return "";
}

TEST(RegistrationFaults, OfAllocations) {
  int points = 0;
  for (const Threshold& threshold : kThresholds) {
    for (const bool once : {true, false}) {
      bool isReached = true;
      for (int n = 0; isReached; ++n) {
        const Verdict verdict = RunIsolated(
            [&](Verdict& result) { result.Fail(RegisterWithout(threshold.version, n, once, result)); });
        isReached = verdict.reached;
        points += isReached ? 1 : 0;
        EXPECT_STREQ("", verdict.failure) << "host " << threshold.version << ", allocation " << n
                                          << (once ? " alone" : " and all later ones");
      }
    }
  }
  EXPECT_GT(points, 0);
  Figure("allocations_in_registration")
      .Add("points", points)
      .Add("failures", HasFailure() ? 1 : 0)
      .Add("versions", std::size(kThresholds));
}

}  // namespace
}  // namespace tests
