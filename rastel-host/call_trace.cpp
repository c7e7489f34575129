#include "rastel-host/call_trace.h"

#include <iostream>

#include "rastel-host/output.h"

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
    std::cout << text;
    FlushOutput();  // the call may end the process
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
    std::cout << '\n';
    FlushOutput();
  }
}

}  // namespace devhost::program
