// Parses method declarations in the host's language. The compiler compares those of the plug-in with the
// types of their functions; a host picks overloads and fills in default values.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "abi/records.h"

namespace rastel::abi {

/// The host types that declarations name, and what each is in C.
enum class HostType : unsigned char {
  kInteger,       // std::int32_t
  kBoolean,       // Boolean
  kPtr,           // void*
  kPicture,       // REALpictureStruct*
  kMemoryblock,   // REALmemoryBlockStruct*
  kIntegerArray,  // _REALarrayInteger*, declared as "name() as integer"
};

enum class ParameterRole : unsigned char { kPlain, kExtends, kAssigns };

struct Parameter {
  std::string_view name;
  HostType type = HostType::kInteger;
  ParameterRole role = ParameterRole::kPlain;
  std::optional<std::string_view> defaultValue;  // as written, without blanks around it
};

/// A parsed declaration. Every text in it points into the text that was parsed.
struct Declaration {
  static constexpr std::size_t kMostParameters = 16;

  std::string_view name;
  std::array<Parameter, kMostParameters> parameters;
  std::size_t parameterCount = 0;
  HostType result = HostType::kInteger;
};

constexpr char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// True if the names are the same but for upper and lower case, as the host's language has it.
constexpr bool SameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, Lower, Lower);
}

constexpr std::string_view Trim(std::string_view text) {
  while (text.starts_with(' ')) {
    text.remove_prefix(1);
  }
  while (text.ends_with(' ')) {
    text.remove_suffix(1);
  }
  return text;
}

constexpr std::optional<HostType> TypeNamed(std::string_view name) {
  constexpr std::pair<std::string_view, HostType> kTypes[] = {{"integer", HostType::kInteger},
                                                              {"boolean", HostType::kBoolean},
                                                              {"ptr", HostType::kPtr},
                                                              {"picture", HostType::kPicture},
                                                              {"memoryblock", HostType::kMemoryblock}};
  for (const auto& [known, type] : kTypes) {
    if (SameName(name, known)) {
      return type;
    }
  }
  return std::nullopt;
}

/// Removes `word` and the blanks behind it from the front of `text`. False if `text` does not begin so.
constexpr bool TakeWord(std::string_view& text, std::string_view word) {
  if (text.size() <= word.size() || text[word.size()] != ' ' ||
      !SameName(text.substr(0, word.size()), word)) {
    return false;
  }
  text = Trim(text.substr(word.size()));
  return true;
}

/// Parses "[extends|assigns] name[()] as type [= default]", or gives nothing if `text` is not that.
constexpr std::optional<Parameter> ParseParameter(std::string_view text) {
  Parameter parameter;
  text = Trim(text);
  if (const auto equals = text.find('='); equals != std::string_view::npos) {
    parameter.defaultValue = Trim(text.substr(equals + 1));
    text = Trim(text.substr(0, equals));
  }
  if (TakeWord(text, "extends")) {
    parameter.role = ParameterRole::kExtends;
  } else if (TakeWord(text, "assigns")) {
    parameter.role = ParameterRole::kAssigns;
  }
  parameter.name = text.substr(0, text.find(' '));
  text = Trim(text.substr(parameter.name.size()));
  if (!TakeWord(text, "as")) {
    // Nor is a value without a type, "assigns value", parsed.
    return std::nullopt;
  }
  const auto type = TypeNamed(text);
  if (!type || parameter.name.empty()) {
    return std::nullopt;
  }
  parameter.type = *type;
  if (parameter.name.ends_with("()")) {
    if (*type != HostType::kInteger) {
      return std::nullopt;
    }
    parameter.type = HostType::kIntegerArray;
    parameter.name.remove_suffix(2);
  }
  return parameter;
}

/// Parses "name(parameter, parameter, …) as type", or gives nothing if `text` is not that.
constexpr std::optional<Declaration> ParseDeclaration(std::string_view text) {
  Declaration declaration;
  const auto open = text.find('(');
  const auto close = text.rfind(')');  // there is none in a type
  if (open == 0 || close == std::string_view::npos || close < open) {
    return std::nullopt;
  }
  declaration.name = text.substr(0, open);
  std::string_view result = Trim(text.substr(close + 1));
  if (!TakeWord(result, "as")) {
    return std::nullopt;
  }
  const auto resultType = TypeNamed(result);
  if (!resultType) {
    return std::nullopt;
  }
  declaration.result = *resultType;

  std::string_view list = Trim(text.substr(open + 1, close - open - 1));
  while (!list.empty()) {
    const auto comma = list.find(',');
    const auto parameter = ParseParameter(list.substr(0, comma));
    if (!parameter || declaration.parameterCount == Declaration::kMostParameters) {
      return std::nullopt;
    }
    declaration.parameters[declaration.parameterCount++] = *parameter;
    list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
  }
  return declaration;
}

/// The host type that `T` is in C.
template <typename T>
constexpr HostType kHostTypeOf = [] { static_assert(sizeof(T) == 0, "not a type of the host"); }();
template <>
inline constexpr HostType kHostTypeOf<std::int32_t> = HostType::kInteger;
template <>
inline constexpr HostType kHostTypeOf<Boolean> = HostType::kBoolean;
template <>
inline constexpr HostType kHostTypeOf<void*> = HostType::kPtr;
template <>
inline constexpr HostType kHostTypeOf<REALpictureStruct*> = HostType::kPicture;
template <>
inline constexpr HostType kHostTypeOf<REALmemoryBlockStruct*> = HostType::kMemoryblock;
template <>
inline constexpr HostType kHostTypeOf<_REALarrayInteger*> = HostType::kIntegerArray;

/// True if `text` declares a function with this result and these arguments.
template <typename Result, typename... Arguments>
constexpr bool Declares(std::string_view text) {
  const auto declaration = ParseDeclaration(text);
  if (!declaration || declaration->parameterCount != sizeof...(Arguments) ||
      declaration->result != kHostTypeOf<Result>) {
    return false;
  }
  std::size_t next = 0;
  return ((declaration->parameters[next++].type == kHostTypeOf<Arguments>)&&... && true);
}

}  // namespace rastel::abi
