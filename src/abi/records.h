// The host's handles and records: the binary interface that the plug-in and every host share.
//
// In a 32-bit build every field is a word of 32 bits, and each record has the size and the offsets that the
// host counts in words. In a 64-bit build pointers and HostWords have 8 bytes; nothing else is different.
#pragma once

#include <cstddef>
#include <cstdint>

// Opaque host objects. The host owns them and counts the references to them.
struct REALobjectStruct;
struct REALpictureStruct;
struct REALmemoryBlockStruct;
struct REALstringStruct;
struct REALclassRefStruct;
struct _REALarrayInteger;  // NOLINT(bugprone-reserved-identifier): the host's name

/// The host's boolean: non-zero is true.
using Boolean = signed char;

/// A word that only the host understands.
using HostWord = std::uintptr_t;

/// Gives the address of a host entry, or null. `entryName` is NUL-terminated.
using Resolver = void* (*)(const char* entryName);

template <std::size_t Words>
struct HostRecord {
  HostWord words[Words];
};

/// One method that the plug-in offers.
struct REALmethodDefinition {
  void* function;           // null in a row that is only a setter
  void* setter;             // null in a row that cannot be assigned to
  const char* declaration;  // the signature in the host's language
  std::uint32_t flags;
  std::uint32_t count;
  void* list;
};

/// A method row as hosts below 2012.0 know it.
struct OldMethodRow {
  void* function;
  void* setter;
  const char* declaration;
  std::uint32_t flags;
};

using REALproperty = HostRecord<12>;
using OldProperty = HostRecord<10>;

/// Words 0 to 24 of a class definition: all that hosts below 2012.0 know. For them the method pointers
/// address OldMethodRows and the property pointers OldProperties.
struct OldClassDefinition {
  std::int32_t version;
  const char* name;
  HostWord words2to6[5];
  REALproperty* properties;
  std::uint32_t propertyCount;
  REALmethodDefinition* methods;
  std::uint32_t methodCount;
  HostRecord<4>* events;
  std::uint32_t eventCount;
  HostWord words13to17[5];
  HostRecord<5>* records18;
  std::uint32_t count19;
  std::uint32_t flags;
  REALproperty* sharedProperties;
  std::uint32_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  std::uint32_t sharedMethodCount;
};

struct REALclassDefinition {
  OldClassDefinition common;
  HostWord words25to28[4];
};

/// Words 0 to 11 of a module definition: all that hosts below 2012.0 know.
struct OldModuleDefinition {
  std::int32_t version;
  const char* name;
  REALmethodDefinition* methods;
  std::uint32_t methodCount;
  HostRecord<5>* records4;
  std::uint32_t count5;
  REALproperty* properties;
  std::uint32_t propertyCount;
  REALmethodDefinition* rows8;
  std::uint32_t count9;
  HostRecord<7>* records10;
  std::uint32_t count11;
};

struct REALmoduleDefinition {
  OldModuleDefinition common;
  HostWord words12to23[12];
};

/// What the host says of a picture while its pixels are locked.
struct REALpictureDescription {
  std::int32_t type;  // 4: `data` is a legacy graphics world; 10: `data` is a BitmapRecord
  void* data;
  std::int32_t width;   // pixels
  std::int32_t height;  // rows
  std::int32_t word4;
  std::int32_t word5;
  void* buffer;  // pixels of a picture that does not exist yet
};

inline constexpr std::int32_t kLegacyWorldDescription = 4;
inline constexpr std::int32_t kBitmapDescription = 10;

/// The host's own bitmap: pixels of four bytes (blue, green, red, fourth), rows found through a table.
struct BitmapRecord {
  std::int32_t word0;   // 0, or the record cannot be used
  std::int32_t width;   // pixels
  std::int32_t height;  // rows
  std::int32_t words3to1805[1803];
  std::uint32_t word1806;   // not 0, or the record cannot be used
  std::uint8_t** rowTable;  // the address of each row
};

/// An integer array object of hosts below 2008.0.
struct ArrayBefore2008 {
  std::int32_t words[2];
  std::int32_t* elements;
};

/// An integer array object of hosts from 2008.0 up to 2016.0.
struct ArrayBefore2016 {
  std::int32_t words[7];
  std::int32_t* elements;
};

namespace rastel::abi {

/// Words are counted in 32-bit builds alone: other builds pass.
constexpr bool AreWords(std::size_t bytes, std::size_t words) {
  return sizeof(void*) != 4 || bytes == words * 4;
}

// No field is smaller than a word, so each is in its place in a record of the right size. Only two arrays of
// one record could be too short and too long.
static_assert(AreWords(sizeof(REALmethodDefinition), 6) && AreWords(sizeof(OldMethodRow), 4));
static_assert(AreWords(sizeof(REALproperty), 12) && AreWords(sizeof(OldProperty), 10));
static_assert(AreWords(sizeof(REALclassDefinition), 29) && AreWords(sizeof(OldClassDefinition), 25));
static_assert(AreWords(offsetof(OldClassDefinition, properties), 7));
static_assert(AreWords(sizeof(REALmoduleDefinition), 24) && AreWords(sizeof(OldModuleDefinition), 12));
static_assert(AreWords(sizeof(REALpictureDescription), 7) && AreWords(sizeof(BitmapRecord), 1808));
static_assert(AreWords(sizeof(ArrayBefore2008), 3) && AreWords(sizeof(ArrayBefore2016), 8));

}  // namespace rastel::abi
