#include "host/errors.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/entries.h"
#include "host/held.h"
#include "host/memory.h"
#include "host/strings.h"

namespace rastel {
namespace {

/// Raises an exception with a message, which may be null, and gives the message back.
void RaiseWithText(const char* className, REALstringStruct* message) {
  Reference<REALstringStruct> text(message);
  Reference<REALobjectStruct> exception(REALnewInstance(className));
  if (exception.Get() == nullptr) {
    exception.Reset(REALnewInstance("RuntimeException"));
  }
  if (exception.Get() != nullptr) {
    REALSetPropValueString(exception.Get(), "Message", text.Get());
    REALSetPropValueInteger(exception.Get(), "ErrorNumber", 0);
    REALRaiseException(exception.Get());
  }
  exception.GiveBack();
  text.GiveBack();
}

std::int64_t LengthOf(const char* message) {
  return message == nullptr ? 0 : static_cast<std::int64_t>(std::strlen(message));
}

/// Like RaiseException, but for errors of the string builder itself. If it throws once more, the message is
/// null and nothing else is raised.
void RaiseUnguarded(const char* className, const char* message) {
  REALstringStruct* text = nullptr;
  try {
    text = BuildUnicodeStringUnguarded(message, LengthOf(message), kAscii);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a null message is the answer
  }
  RaiseWithText(className, text);
}

}  // namespace

bool CheckArguments(std::initializer_list<Check> checks) {
  const auto* const failed = std::ranges::find(checks, false, &Check::holds);
  if (failed == checks.end()) {
    return true;
  }
  RaiseException(failed->error.className, failed->error.message);
  return false;
}

void RaiseException(const char* className, const char* message) {
  RaiseWithText(className, REALBuildUnicodeString(message, LengthOf(message), kAscii));
}

void RaiseOutOfBoundsException(std::int64_t value, std::int64_t count) {
  constexpr std::size_t kSize = 205;
  const CBuffer<char> message = NewArray<char>(kSize);
  if (message == nullptr) {
    RaiseException("OutOfBoundsException", "Out of Bounds");
    return;
  }
  const char* format = value < 0 ? "Parameter %s %s%s is too small. Range is %lld to %lld, but value is %lld."
                                 : "Parameter %s %s%s is too big. Range is %lld to %lld, but value is %lld.";
  // The empty texts leave two blanks behind "index", as in the host's own messages.
  std::snprintf(message.get(), kSize, format, "index", "", "", 0LL, static_cast<long long>(count - 1),
                static_cast<long long>(value));
  RaiseException("OutOfBoundsException", message.get());
}

void RaiseCurrentException() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    RaiseUnguarded("OutOfMemoryException", "Failed to allocate memory.");
  } catch (const std::range_error& error) {
    RaiseUnguarded("OutOfBoundsException", error.what());
  } catch (const std::out_of_range& error) {
    RaiseUnguarded("OutOfBoundsException", error.what());
  } catch (const std::overflow_error& error) {
    RaiseUnguarded("OutOfBoundsException", error.what());
  } catch (const std::underflow_error& error) {
    RaiseUnguarded("OutOfBoundsException", error.what());
  } catch (const std::logic_error& error) {
    // Even if it is a bad_cast as well: the first clause that fits is taken.
    RaiseUnguarded("RuntimeException", error.what());
  } catch (const std::runtime_error& error) {
    RaiseUnguarded("RuntimeException", error.what());
  } catch (const std::bad_cast& error) {
    RaiseUnguarded("IllegalCastException", error.what());
  } catch (const std::exception& error) {
    RaiseUnguarded("RuntimeException", error.what());
  } catch (...) {
    RaiseUnguarded("RuntimeException", "Sorry, but there was an unnamed C++ Exception.");
  }
}

}  // namespace rastel
