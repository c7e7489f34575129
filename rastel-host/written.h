// Which bytes calls write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "rastel-host/arguments.h"

namespace devhost::program {

/// Which bytes of blocks calls write, though they may write what is there already: before the true calls,
/// they are made in a process of its own, with other bytes in the blocks.
class WrittenBytes {
 public:
  WrittenBytes(const std::function<void()>& calls, const std::vector<Block>& blocks);
  ~WrittenBytes();
  WrittenBytes(const WrittenBytes&) = delete;
  WrittenBytes& operator=(const WrittenBytes&) = delete;

  /// Bytes written of a block, once the true calls are over.
  std::size_t CountOf(const Block& block) const;

 private:
  void Try(const std::function<void()>& calls);

  const std::vector<Block>& blocks_;
  std::span<std::uint8_t> isWritten_;  // of all blocks, one behind the other; shared with the other process
};

}  // namespace devhost::program
