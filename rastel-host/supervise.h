// What the plug-in does to the process that it runs in: crash it, or end it.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "rastel-host/failure.h"

namespace devhost::program {

/// Runs `work`, which gives an exit status, in a child process, and gives the status to end with. If the
/// child ended otherwise, `fail` tells why, and gives the status. Signals that ask this process to end reach
/// the child, and end both.
int Supervise(const std::function<int()>& work, const std::function<int(Status, const std::string&)>& fail);

/// What is being done with the plug-in from now on, should it end the process: "loading 'rastel.so'", with
/// `status` for an end without a crash.
void NowDoing(const std::string& what, Status status);

struct Crash {
  std::string signal;   // "SIGSEGV"
  const void* address;  // that was accessed; null if the signal has none
};

/// Runs `work`. A crash in it is given back; what `work` held is lost then, so that the process should tell
/// the crash and end.
std::optional<Crash> CatchCrash(const std::function<void()>& work);

}  // namespace devhost::program
