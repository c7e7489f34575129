// The arguments of a call, written as words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {

using Bytes = std::vector<std::uint8_t>;

/// Bytes that a method may write to, in a block of the host's or behind a raw address.
struct Block {
  std::string name;  // "destination (block:64)"
  Ref<REALmemoryBlockStruct> block;
  program::Bytes before;  // what it held

  program::Bytes Bytes() const { return {block->bytes(), block->bytes() + block->size}; }
};

/// The arguments of a call, with all that they refer to. Lives no longer than its host.
class WrittenArguments {
 public:
  /// Throws Failure: kUsage for a word that is no argument, kFile for a file that cannot be read.
  WrittenArguments(const Session& session, const std::vector<std::string>& words);

  const Arguments& arguments() const { return arguments_; }
  const std::vector<Block>& blocks() const { return blocks_; }

  /// Where an address lies: "destination (block:47): offset 48, 1 byte behind its last one", or "memory that
  /// is no argument's".
  std::string PlaceOf(const void* address) const;

 private:
  /// Bytes that belong to an argument.
  struct Region {
    std::string name;
    const std::uint8_t* start;
    std::int64_t size;
  };

  void Add(const std::string& word);
  Value Parse(const std::string& word);
  Value MakePicture(const std::string& word, const std::string& source);
  REALmemoryBlockStruct* MakeBlock(const std::string& word, const std::string& source);

  const Session& session_;
  std::string what_;  // the argument being parsed
  Arguments arguments_;
  std::vector<Block> blocks_;
  std::vector<Region> regions_;
  std::vector<Ref<REALpictureStruct>> pictures_;
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

}  // namespace devhost::program
