// Functions that are found by their names when they are called.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace rastel {

/// A text that can be a template argument.
template <std::size_t Size>
struct FixedText {
  char text[Size];
  // NOLINTNEXTLINE(google-explicit-constructor): a literal is to be enough
  consteval FixedText(const char (&literal)[Size]) { std::copy_n(literal, Size, text); }
};

/// Gives the address of the function called `name`, or null.
using Finder = void* (*)(const char* name);

/// A function that is found by `Name`, or else by `Fallback` unless that is empty. Once found it is kept. As
/// long as it is not found, a call does nothing and gives 0, null or false, and the next call looks again.
/// Several threads may look for it at once: all find the same address.
template <Finder Find, FixedText Name, typename Signature, FixedText Fallback = "">
class Bound;

template <Finder Find, FixedText Name, typename Result, typename... Arguments, FixedText Fallback>
class Bound<Find, Name, Result(Arguments...), Fallback> {
 public:
  Result operator()(Arguments... arguments) {
    const auto function = Get();
    return function == nullptr ? Result() : function(arguments...);
  }

  /// True if there is a function to call. Looks for it if it has not been found yet.
  bool IsAvailable() { return Get() != nullptr; }

 private:
  using Function = Result (*)(Arguments...);

  Function Get() {
    Function function = bound_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      void* address = Find(Name.text);
      if (address == nullptr && Fallback.text[0] != '\0') {
        address = Find(Fallback.text);
      }
      function = reinterpret_cast<Function>(address);
      bound_.store(function, std::memory_order_relaxed);
    }
    return function;
  }

  std::atomic<Function> bound_ = nullptr;
};

}  // namespace rastel
