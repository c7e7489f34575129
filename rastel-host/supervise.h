// What the plug-in does to the process that it runs in: crash it, or end it.
#pragma once

#include <functional>
#include <string>

#include "rastel-host/program.h"

namespace devhost::program {

/// Runs `work`, which gives an exit status, in a child process, and gives the status to end with. If the work
/// crashes or ends the process, `fail` tells it, and gives the status. Signals that ask this process to end
/// reach the child, and end both.
int Supervise(const std::function<int()>& work, const std::function<int(Status, const std::string&)>& fail);

/// What is being done with the plug-in from now on, should it end the process: "loading 'rastel.so'", with
/// `status` for an end without a crash. `tellAccess` adds to a crash what the address that was accessed is;
/// the stack of the work is gone by then, and what was there.
void NowDoing(const std::string& what, Status status,
              const std::function<std::string(const void* address)>& tellAccess = nullptr);

/// Calls `act` in a process of its own, whose crashes nobody is told of, and waits for its end.
void TryApart(const std::function<void()>& act);

/// Zeros that processes forked from now on share with this one. Throws std::bad_alloc.
void* SharedMemory(std::size_t size);

}  // namespace devhost::program
