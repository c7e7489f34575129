// What stands around every function that a plug-in calls: it records the call and asks whether to act.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "devhost/state.h"

namespace devhost {

/// The legacy framework's objects. Each stands for a picture.
struct LegacyWorld;
struct LegacyPixMap;
/// A constant string of the platform.
struct ConstantString {
  std::string text;
};

REALpictureStruct* PictureOf(LegacyWorld* world);
REALpictureStruct* PictureOf(LegacyPixMap* pixMap);

std::string Format(const char* text);
std::string FormatDouble(double value);
std::string FormatObject(REALobjectStruct* object);

template <typename Number>
requires std::is_arithmetic_v<Number> std::string Format(Number number) {
  if constexpr (std::is_floating_point_v<Number>) {
    return FormatDouble(number);
  } else {
    return std::to_string(+number);
  }
}

template <typename Pointee>
std::string Format(Pointee* address) {
  if (address == nullptr) {
    return "nil";
  }
  if constexpr (requires { AsObject(address); }) {
    return FormatObject(AsObject(address));
  } else if constexpr (std::same_as<Pointee, LegacyWorld>) {
    return "world of " + FormatObject(PictureOf(address));
  } else if constexpr (std::same_as<Pointee, LegacyPixMap>) {
    return "pixels of " + FormatObject(PictureOf(address));
  } else if constexpr (std::same_as<Pointee, const ConstantString>) {
    return Format(address->text.c_str());
  } else if constexpr (std::same_as<Pointee, const REALclassRefStruct>) {
    return Format(address->name);
  } else {
    return "address";
  }
}

/// One running call.
class Tracing {
 public:
  explicit Tracing(const char* entry);
  ~Tracing();
  Tracing(const Tracing&) = delete;
  Tracing& operator=(const Tracing&) = delete;

  void Record(std::vector<std::string> arguments);
  bool ShouldAct();
  void SetResult(std::string result);

 private:
  const char* entry_;
  const char* outerEntry_;
  std::size_t index_ = 0;  // in the trace
};

/// A text as a template argument.
template <std::size_t Length>
struct Name {
  constexpr Name(const char (&literal)[Length]) { std::copy_n(literal, Length, text); }  // NOLINT: implicit
  char text[Length];
};

template <Name entry, auto function>
struct Traced;

/// `Call` is `function` as plug-ins get to call it.
template <Name entry, typename Result, typename... Arguments, Result (*function)(Arguments...)>
struct Traced<entry, function> {
  static Result Call(Arguments... arguments) {
    if (!Host::Current().options().watched) {
      return function(arguments...);
    }
    const bool records = Host::Current().options().recorded;
    Tracing tracing(entry.text);
    if (records) {
      tracing.Record({Format(arguments)...});
    }
    const bool acts = tracing.ShouldAct();
    if constexpr (std::is_void_v<Result>) {
      if (acts) {
        function(arguments...);
      }
    } else {
      const Result result = acts ? function(arguments...) : Result{};
      if (records) {
        tracing.SetResult(Format(result));
      }
      return result;
    }
  }
};

template <Name entry, auto function>
NamedAddress Row() {
  return {entry.text, reinterpret_cast<void*>(&Traced<entry, function>::Call)};
}

}  // namespace devhost
