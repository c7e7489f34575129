#include "rastel-host/written.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <new>

#include "rastel-host/output.h"

namespace devhost::program {

WrittenBytes::WrittenBytes(const std::function<void()>& calls, const std::vector<Block>& blocks)
    : blocks_(blocks) {
  std::size_t count = 1;
  for (const Block& block : blocks) {
    count += block.before.size();
  }
  void* memory = mmap(nullptr, count, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
  isWritten_ = {static_cast<std::uint8_t*>(memory), count};
  FlushOutput();
  const pid_t process = fork();
  if (process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Try(calls);
    _exit(0);
  }
  waitpid(process, nullptr, 0);
}

WrittenBytes::~WrittenBytes() {
  munmap(isWritten_.data(), isWritten_.size());
}

void WrittenBytes::Try(const std::function<void()>& calls) {
  for (const Block& block : blocks_) {
    std::transform(block.before.begin(), block.before.end(), block.block->bytes(),
                   [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
  }
  try {
    calls();
  } catch (const std::exception&) {  // the true calls tell it
  }
  std::uint8_t* isWritten = isWritten_.data();
  for (const Block& block : blocks_) {
    isWritten = std::transform(block.before.begin(), block.before.end(), block.block->bytes(), isWritten,
                               [](std::uint8_t before, std::uint8_t byte) {
                                 return static_cast<std::uint8_t>(~before) != byte ? 1 : 0;
                               });
  }
}

std::size_t WrittenBytes::CountOf(const Block& block) const {
  const std::uint8_t* isWritten = isWritten_.data();
  for (const Block& each : blocks_) {
    if (&each == &block) {
      break;
    }
    isWritten += each.before.size();
  }
  std::size_t count = 0;
  for (std::size_t i = 0; i < block.before.size(); ++i) {
    count += isWritten[i] != 0 || block.block->bytes()[i] != block.before[i] ? 1 : 0;
  }
  return count;
}

}  // namespace devhost::program
