#include "rastel-host/call_trace.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <new>

namespace devhost::program {

CallTrace::CallTrace(Host& host, bool prints) : host_(host), prints_(prints), faults_(host.onEntry) {
  host_.trace.clear();
  host_.onEntry = [this](std::string_view entry) { return Enter(entry); };
}

CallTrace::~CallTrace() {
  EndCall();
  host_.onEntry = faults_;
}

void CallTrace::EndCall() {
  CompleteLine();
  host_.trace.clear();
}

Reaction CallTrace::Enter(std::string_view entry) {
  CompleteLine();
  lines_.emplace_back();
  open_ = host_.trace.size() - 1;
  isOpen_ = true;
  Append((prints_ ? "trace: " : "") + host_.trace[open_].Text());
  if (!faults_) {
    return Reaction::kAct;
  }
  try {
    const Reaction reaction = faults_(entry);
    if (reaction == Reaction::kFail) {
      Append(" [made to fail]");
    }
    return reaction;
  } catch (const HostFault&) {
    Append(" [made to throw]");
    throw;
  }
}

void CallTrace::Append(const std::string& text) {
  lines_.back() += text;
  if (prints_) {
    std::cout << text << std::flush;
  }
}

void CallTrace::CompleteLine() {
  if (!isOpen_) {
    return;
  }
  isOpen_ = false;
  if (const std::string& result = host_.trace[open_].result; !result.empty()) {
    Append(" = " + result);
  }
  if (prints_) {
    std::cout << std::endl;  // NOLINT(performance-avoid-endl): the next call may end the process
  }
}

WrittenBytes::WrittenBytes(const std::function<void()>& call, const std::vector<Block>& blocks)
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
  std::cout.flush();
  const pid_t process = fork();
  if (process == 0) {
    Try(call);
    _exit(0);
  }
  waitpid(process, nullptr, 0);
}

WrittenBytes::~WrittenBytes() {
  munmap(isWritten_.data(), isWritten_.size());
}

void WrittenBytes::Try(const std::function<void()>& call) {
  for (const Block& block : blocks_) {
    std::transform(block.before.begin(), block.before.end(), block.block->bytes(),
                   [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
  }
  try {
    call();
  } catch (const std::exception&) {  // the true call tells it
  }
  std::uint8_t* isWritten = isWritten_.data();
  for (const Block& block : blocks_) {
    isWritten = std::transform(block.before.begin(), block.before.end(), block.block->bytes(), isWritten,
                               [](std::uint8_t before, std::uint8_t byte) {
                                 return static_cast<std::uint8_t>(~before) != byte ? 1 : 0;
                               });
  }
}

std::size_t WrittenBytes::CountOf(const Block& counted) const {
  const std::uint8_t* isWritten = isWritten_.data();
  for (const Block& block : blocks_) {
    if (&block == &counted) {
      break;
    }
    isWritten += block.before.size();
  }
  std::size_t count = 0;
  for (std::size_t i = 0; i < counted.before.size(); ++i) {
    count += isWritten[i] != 0 || counted.block->bytes()[i] != counted.before[i] ? 1 : 0;
  }
  return count;
}

}  // namespace devhost::program
