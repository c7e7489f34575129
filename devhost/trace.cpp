#include "devhost/trace.h"

#include <sstream>
#include <string_view>
#include <utility>

namespace devhost {

std::string TracedCall::Text() const {
  std::string text = entry + "(";
  const char* separator = "";
  for (const auto& argument : arguments) {
    text += separator + argument;
    separator = ", ";
  }
  text += ")";
  return result.empty() ? text : text + " = " + result;
}

std::string Format(const char* text) {
  if (text == nullptr) {
    return "nil";
  }
  return '"' + std::string(text) + '"';
}

std::string FormatDouble(double value) {
  std::ostringstream text;
  text.precision(10);
  text << value;
  return text.str();
}

std::string FormatObject(REALobjectStruct* object) {
  if (FindLive(object) == nullptr) {
    return "dead";
  }
  return std::string(object->kind) + "#" + std::to_string(object->number);
}

namespace {

void Tell(const std::string& piece) {
  if (const auto& onTrace = Host::Current().onTrace) {
    onTrace(piece);
  }
}

}  // namespace

Tracing::Tracing(const char* entry) : entry_(entry), outerEntry_(Entries::State().runningEntry) {
  Entries::State().runningEntry = entry;
}

void Tracing::Record(std::vector<std::string> arguments) {
  index_ = Host::Current().trace.size();
  Host::Current().trace.push_back({entry_, std::move(arguments), {}});
  Tell(Host::Current().trace.back().Text());
}

Tracing::~Tracing() {
  Entries::State().runningEntry = outerEntry_;
}

bool Tracing::ShouldAct() {
  // A copy, so that the function may replace itself.
  const auto ask = Host::Current().onEntry;
  bool acts = true;
  try {
    acts = !ask || ask(entry_) == Reaction::kAct;
  } catch (...) {
    Tell(" [made to throw]");
    throw;
  }
  if (!acts) {
    Tell(" [made to fail]");
  }
  if (!acts && std::string_view(entry_) == "REALLockPictureDescription") {
    ++Entries::State().refusedLocks;
  }
  return acts;
}

void Tracing::SetResult(std::string result) {
  // The trace may have been cleared meanwhile.
  auto& trace = Host::Current().trace;
  if (index_ < trace.size() && trace[index_].entry == entry_) {
    Tell(" = " + result);
    trace[index_].result = std::move(result);
  }
}

}  // namespace devhost
