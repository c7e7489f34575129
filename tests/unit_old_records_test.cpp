// Definitions in the form of old hosts.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "host/memory.h"
#include "registration/old_records.h"
#include "registration/version.h"
#include "unit_memory.h"

namespace tests {
namespace {

using rastel::CBuffer;

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
  const CBuffer<void> owned(table);
  ASSERT_EQ(Count, count);
  ASSERT_NE(nullptr, table);
  const auto* cut = static_cast<const unsigned char*>(table);
  for (const New& record : records) {
    EXPECT_TRUE(std::equal(cut, cut + sizeof(Old), reinterpret_cast<const unsigned char*>(&record)));
    cut += sizeof(Old);
  }
}

TEST(OldRecords, OfModulesAreCutAllOrNone) {
  auto methods = Filled<REALmethodDefinition, 3>(1);
  auto records4 = Filled<HostRecord<5>, 2>(2);
  auto properties = Filled<REALproperty, 4>(3);
  auto rows8 = Filled<REALmethodDefinition, 1>(4);
  auto records10 = Filled<HostRecord<7>, 5>(5);
  REALmoduleDefinition module{};
  OldModuleDefinition& form = module.common;
  form = {13,           "Name", methods.data(),   3, records4.data(), 2, properties.data(), 4,
          rows8.data(), 1,      records10.data(), 5};
  rastel::CurrentREALControlVersion = 10;
  EXPECT_TRUE(rastel::TakeFormForHost(module)) << "as it is";
  EXPECT_EQ(methods.data(), form.methods);
  rastel::CurrentREALControlVersion = 9;
  const std::size_t inUse = CallocsInUse();
  for (int calls = 0; calls < 6; ++calls) {
    const FailingCallocs failing(calls);
    EXPECT_FALSE(rastel::TakeFormForHost(module));
    EXPECT_EQ(methods.data(), form.methods);
    EXPECT_EQ(inUse, CallocsInUse());
  }
  ASSERT_TRUE(rastel::TakeFormForHost(module));
  EXPECT_EQ(9, form.version);
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
  module.common.propertyCount = 4;
  module.common.rows8 = &row;
  module.common.count9 = kTooMany;
  module.common.records10 = &unused;
  const CBuffer<OldModuleDefinition> old(rastel::FixModule(&module));
  ASSERT_NE(nullptr, old);
  EXPECT_EQ((std::array{0U, 4U, kTooMany, 0U}),
            (std::array{old->methodCount, old->propertyCount, old->count9, old->count11}));
  EXPECT_EQ(nullptr, old->methods);
  EXPECT_EQ(nullptr, old->properties);
  EXPECT_EQ(nullptr, old->rows8);
  EXPECT_EQ(nullptr, old->records10);
}

TEST(OldRecords, OfPropertiesAreCut) {
  const auto properties = Filled<REALproperty, 3>(9);
  ExpectCut<OldProperty>(properties, rastel::FixProperties(properties.data(), 3), 3);
  EXPECT_EQ(nullptr, rastel::FixProperties(properties.data(), 0));
  EXPECT_EQ(nullptr, rastel::FixProperties(nullptr, 3));
  EXPECT_EQ(nullptr, rastel::FixProperties(properties.data(), 0xFFFFFFFF)) << "more than 2 GiB";
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
  definition.common = {.version = 13,
                       .name = "Picture",
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
                       .sharedMethodCount = 2};
  const auto originalEvents = events;
  const std::size_t inUse = CallocsInUse();
  for (int calls = 0; calls < 7; ++calls) {
    const FailingCallocs failing(calls);
    EXPECT_EQ(nullptr, rastel::FixClass(definition));
    EXPECT_EQ(0, std::memcmp(&originalEvents, &events, sizeof events)) << "they lead nowhere";
    EXPECT_EQ(inUse, CallocsInUse());
  }
  const CBuffer<OldClassDefinition> old(rastel::FixClass(definition));
  ASSERT_NE(nullptr, old);
  EXPECT_EQ(9, old->version);
  EXPECT_STREQ("Picture", old->name);
  EXPECT_EQ(0, std::memcmp(old->words2to6, definition.common.words2to6, sizeof old->words2to6));
  EXPECT_TRUE(std::ranges::equal(std::array{6, 7, 8, 0, 0}, old->words13to17));
  EXPECT_EQ(0x1234U, old->flags);
  // Each event now leads to its own copy.
  auto* cut = reinterpret_cast<HostRecord<2>*>(old->events);
  for (std::size_t i = 0; i < events.size(); ++i) {
    const auto& words = originalEvents[i].words;
    EXPECT_TRUE(std::ranges::equal(
        std::array{words[0], reinterpret_cast<HostWord>(&cut[i]), words[2], words[3]}, events[i].words));
  }
  ExpectCut<HostRecord<2>>(originalEvents, old->events, old->eventCount);
  ExpectCut<OldProperty>(properties, old->properties, old->propertyCount);
  ExpectCut<OldMethodRow>(methods, old->methods, old->methodCount);
  ExpectCut<HostRecord<3>>(records18, old->records18, old->count19);
  ExpectCut<OldProperty>(sharedProperties, old->sharedProperties, old->sharedPropertyCount);
  ExpectCut<OldMethodRow>(sharedMethods, old->sharedMethods, old->sharedMethodCount);
}

}  // namespace
}  // namespace tests
