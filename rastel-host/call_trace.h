// What calls do to the host and to blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rastel-host/arguments.h"

namespace devhost::program {

/// The calls that the plug-in makes to a host while this lives, which is no longer than the host.
class CallTrace {
 public:
  /// With `prints`, each is printed before it is made, and its result behind it.
  CallTrace(Host& host, bool prints);
  ~CallTrace();
  CallTrace(const CallTrace&) = delete;
  CallTrace& operator=(const CallTrace&) = delete;

  /// Ends the last line; the host forgets its own records.
  void EndCall();

  const std::vector<std::string>& lines() const { return lines_; }  // "newPicture(4, 4, 32) = picture#3"

 private:
  Reaction Enter(std::string_view entry);
  void Append(const std::string& text);
  void CompleteLine();

  Host& host_;
  bool prints_;
  std::function<Reaction(std::string_view entry)> faults_;  // what decides whether calls go wrong
  std::vector<std::string> lines_;
  std::size_t open_ = 0;  // the call of the last line, in the host's records
  bool isOpen_ = false;   // its result is still to come
};

/// Which bytes of blocks a call writes, though it may write what they hold already: before the true call, it
/// is made in a process of its own, with other bytes in the blocks.
class WrittenBytes {
 public:
  WrittenBytes(const std::function<void()>& call, const std::vector<Block>& blocks);
  ~WrittenBytes();
  WrittenBytes(const WrittenBytes&) = delete;
  WrittenBytes& operator=(const WrittenBytes&) = delete;

  /// Bytes written of a block, once the true call is over.
  std::size_t CountOf(const Block& block) const;

 private:
  void Try(const std::function<void()>& call);

  const std::vector<Block>& blocks_;
  std::span<std::uint8_t> isWritten_;  // of all blocks, one behind the other; shared with the other process
};

}  // namespace devhost::program
