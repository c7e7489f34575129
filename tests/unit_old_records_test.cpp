// Definitions in the form of old hosts.
#include <algorithm>
#include <array>
#include <cstring>

#include "host/memory.h"
#include "registration/old_records.h"
#include "registration/version.h"
#include "unit_host.h"

namespace tests {
namespace {

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

/// Expects that `table` holds the first sizeof(Old) bytes of each record, and frees it.
template <typename Old, typename New, std::size_t Count>
void ExpectCut(const std::array<New, Count>& records, void* table, std::uint32_t count) {
  const rastel::CBuffer<void> owned(table);
  ASSERT_EQ(Count, count);
  ASSERT_NE(nullptr, table);
  const auto* cut = static_cast<const unsigned char*>(table);
  for (const New& record : records) {
    EXPECT_TRUE(std::equal(cut, cut + sizeof(Old), reinterpret_cast<const unsigned char*>(&record)));
    cut += sizeof(Old);
  }
}

/// Brings `definition` into its old form, which takes so many allocations; all of them or none.
template <typename Definition>
void TakeOldForm(Definition& definition, int allocations) {
  const auto* methods = definition.common.methods;
  rastel::CurrentREALControlVersion = 9;
  const int inUse = FailingCallocs::inUse;
  for (int calls = 0; calls < allocations; ++calls) {
    const FailingCallocs failing(calls);
    EXPECT_FALSE(rastel::TakeFormForHost(definition));
    EXPECT_EQ(methods, definition.common.methods);
    EXPECT_EQ(inUse, FailingCallocs::inUse);
  }
  EXPECT_TRUE(rastel::TakeFormForHost(definition));
  EXPECT_EQ(9, definition.common.version);
}

TEST(OldRecords, OfModulesAreCut) {
  auto methods = Filled<REALmethodDefinition, 3>(1);
  auto records4 = Filled<HostRecord<5>, 2>(2);
  auto properties = Filled<REALproperty, 4>(3);
  auto rows8 = Filled<REALmethodDefinition, 1>(4);
  auto records10 = Filled<HostRecord<7>, 5>(5);
  REALmoduleDefinition module{};
  OldModuleDefinition& form = module.common;
  form = {13,           "Name", methods.data(),   3, records4.data(), 2, properties.data(), 4,
          rows8.data(), 1,      records10.data(), 5};
  TakeOldForm(module, 6);
  EXPECT_STREQ("Name", form.name);
  ExpectCut<OldMethodRow>(methods, form.methods, form.methodCount);
  ExpectCut<HostRecord<3>>(records4, form.records4, form.count5);
  ExpectCut<OldProperty>(properties, form.properties, form.propertyCount);
  ExpectCut<OldMethodRow>(rows8, form.rows8, form.count9);
  ExpectCut<HostRecord<5>>(records10, form.records10, form.count11);
}

TEST(OldRecords, KeepCountsWithoutTables) {
  constexpr std::uint32_t kTooMany = 0xFFFFFFFF;  // more than 2 GiB
  REALmethodDefinition row{};
  HostRecord<7> unused{};
  REALmoduleDefinition module{};
  OldModuleDefinition& form = module.common;
  form = {.propertyCount = 4, .rows8 = &row, .count9 = kTooMany, .records10 = &unused};
  TakeOldForm(module, 1);
  EXPECT_EQ((std::array{0U, 4U, kTooMany, 0U}),
            (std::array{form.methodCount, form.propertyCount, form.count9, form.count11}));
  EXPECT_TRUE(form.methods == nullptr && form.properties == nullptr && form.rows8 == nullptr &&
              form.records10 == nullptr);
}

TEST(OldRecords, OfClassesAreCut) {
  auto properties = Filled<REALproperty, 2>(1);
  auto methods = Filled<REALmethodDefinition, 3>(2);
  auto events = Filled<HostRecord<4>, 3>(3);
  auto records18 = Filled<HostRecord<5>, 4>(4);
  auto sharedProperties = Filled<REALproperty, 1>(5);
  auto sharedMethods = Filled<REALmethodDefinition, 2>(6);
  REALclassDefinition definition{.common = {.name = "Picture",
                                            .words2to6 = {1, 2, 3, 4, 5},
                                            .properties = properties.data(),
                                            .propertyCount = 2,
                                            .methods = methods.data(),
                                            .methodCount = 3,
                                            .events = events.data(),
                                            .eventCount = 3,
                                            .words13to17 = {6, 7, 8, 9, 10},
                                            .records18 = records18.data(),
                                            .count19 = 4,
                                            .flags = 0x1234,
                                            .sharedProperties = sharedProperties.data(),
                                            .sharedPropertyCount = 1,
                                            .sharedMethods = sharedMethods.data(),
                                            .sharedMethodCount = 2}};
  const OldClassDefinition& form = definition.common;
  const auto originalEvents = events;
  rastel::CurrentREALControlVersion = 9;
  {
    const FailingCallocs failing(6);
    EXPECT_FALSE(rastel::TakeFormForHost(definition));
    EXPECT_EQ(0, std::memcmp(&originalEvents, &events, sizeof events)) << "they lead nowhere";
  }
  TakeOldForm(definition, 7);
  EXPECT_STREQ("Picture", form.name);
  EXPECT_TRUE(std::ranges::equal(std::array{1, 2, 3, 4, 5}, form.words2to6));
  EXPECT_TRUE(std::ranges::equal(std::array{6, 7, 8, 0, 0}, form.words13to17));
  EXPECT_EQ(0x1234U, form.flags);
  // Each event now leads to its own copy.
  auto linked = originalEvents;
  for (std::size_t i = 0; i < linked.size(); ++i) {
    linked[i].words[1] = reinterpret_cast<HostWord>(reinterpret_cast<HostRecord<2>*>(form.events) + i);
  }
  EXPECT_EQ(0, std::memcmp(&linked, &events, sizeof events));
  ExpectCut<HostRecord<2>>(originalEvents, form.events, form.eventCount);
  ExpectCut<OldProperty>(properties, form.properties, form.propertyCount);
  ExpectCut<OldMethodRow>(methods, form.methods, form.methodCount);
  ExpectCut<HostRecord<3>>(records18, form.records18, form.count19);
  ExpectCut<OldProperty>(sharedProperties, form.sharedProperties, form.sharedPropertyCount);
  ExpectCut<OldMethodRow>(sharedMethods, form.sharedMethods, form.sharedMethodCount);
}

}  // namespace
}  // namespace tests
