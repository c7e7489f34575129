// The arguments of a call, written as words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {

/// Bytes that a method may write to, in a block of the host's or behind a raw address.
struct Block {
  std::string name;  // "destination (block:64)"
  Ref<REALmemoryBlockStruct> block;
  std::vector<std::uint8_t> before;  // what it held

  std::vector<std::uint8_t> Bytes() const { return {block->bytes(), block->bytes() + block->size}; }
};

/// The arguments of a call, with all that they refer to. Lives no longer than its host.
class WrittenArguments {
 public:
  /// Throws Failure: kUsage for a word that is no argument, kFile for a file that cannot be read.
  WrittenArguments(const Session& session, const std::vector<std::string>& words);

  const Arguments& arguments() const { return arguments_; }
  const std::vector<Block>& blocks() const { return blocks_; }

  /// Where an address lies, if that is in a block or picture of these or near its ends: "destination
  /// (block:47): offset 48, 1 byte behind its last one".
  std::optional<std::string> PlaceOf(const void* address) const;

 private:
  struct PictureArgument {
    std::string name;
    Ref<REALpictureStruct> picture;
  };

  void Add(const std::string& word);
  Value Parse(const std::string& word);
  Value MakePicture(const std::string& word, const std::string& source);
  REALmemoryBlockStruct* MakeBlock(const std::string& word, const std::string& source);

  const Session& session_;
  std::string what_;  // the argument being parsed
  Arguments arguments_;
  std::vector<Block> blocks_;
  std::vector<PictureArgument> pictures_;
  std::vector<Ref<_REALarrayInteger>> arrays_;
};

}  // namespace devhost::program
