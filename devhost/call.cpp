// A call of a method from the application: the overload is picked, left-out arguments are filled in.
#include <algorithm>
#include <charconv>
#include <utility>

#include "abi/declaration.h"
#include "devhost/nearest.h"
#include "devhost/trace.h"

namespace devhost {
namespace {

using rastel::abi::Declaration;
using rastel::abi::HostType;
using rastel::abi::Parameter;
using rastel::abi::ParseDeclaration;
using rastel::abi::SameName;

/// An argument as it is passed. On x86-64, i386 and 64-bit ARM under Linux, an integer, a boolean and an
/// address each take one word in a register or on the stack. A callee reads no more of it than its type has,
/// and no more words than it has parameters. So every method may be called with as many words as any has, if
/// small values are sign-extended.
using Word = std::intptr_t;

/// A declaration's parameters and the picture that a class method takes first.
constexpr std::size_t kMostWords = Declaration::kMostParameters + 1;

template <std::size_t... Index>
Word CallWithWords(void* function, std::vector<Word> words, std::index_sequence<Index...>) {
  using Function = Word (*)(decltype(Index, Word{})...);
  words.resize(sizeof...(Index));
  return reinterpret_cast<Function>(function)(words[Index]...);
}

Word WordOf(std::nullptr_t) {
  return 0;
}
Word WordOf(std::int32_t integer) {
  return integer;
}
Word WordOf(bool boolean) {
  return boolean ? 1 : 0;
}
Word WordOf(Ptr ptr) {
  return reinterpret_cast<Word>(ptr.address);
}
template <typename Object>
Word WordOf(Object* object) {
  return reinterpret_cast<Word>(object);
}

/// The word for an argument, if it fits the type. The host's language converts nothing here.
std::optional<Word> WordFor(HostType type, const Value& value) {
  // Behind nil, the values have the order of the types.
  static_assert(static_cast<int>(HostType::kIntegerArray) + 2 == std::variant_size_v<Value>);
  const bool isNil = std::holds_alternative<std::nullptr_t>(value);
  const bool takesNil = type != HostType::kInteger && type != HostType::kBoolean;
  if (isNil ? !takesNil : value.index() != 1 + static_cast<std::size_t>(type)) {
    return std::nullopt;
  }
  return std::visit([](auto argument) { return WordOf(argument); }, value);
}

/// The word for an argument that was left out.
std::optional<Word> DefaultWord(const Parameter& parameter) {
  if (!parameter.defaultValue) {
    return std::nullopt;
  }
  const std::string_view text = *parameter.defaultValue;
  if (parameter.type == HostType::kBoolean) {
    return SameName(text, "true") ? 1 : 0;
  }
  std::int32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

struct Overload {
  const Registration* method;
  Declaration declaration;
  std::vector<Parameter> parameters;  // with the picture that a class method takes first
};

Overload OverloadOf(const Registration& method, const Declaration& declaration) {
  Overload overload = {&method, declaration, {}};
  const auto* first = overload.declaration.parameters.data();
  overload.parameters.assign(first, first + declaration.parameterCount);
  const bool named = declaration.parameterCount > 0 && first->role == rastel::abi::ParameterRole::kExtends;
  if (method.extendsPicture && !named) {
    overload.parameters.insert(overload.parameters.begin(), {"ref", HostType::kPicture, {}, {}});
  }
  return overload;
}

std::vector<Overload> OverloadsOf(const std::vector<Registration>& methods, std::string_view name) {
  std::vector<Overload> overloads;
  for (const Registration& method : methods) {
    const auto declaration = ParseDeclaration(method.declaration);
    if (declaration && SameName(declaration->name, name)) {
      overloads.push_back(OverloadOf(method, *declaration));
    }
  }
  return overloads;
}

/// The argument for parameter `index`; null if it was left out.
const Value* ArgumentFor(const Overload& overload, std::size_t index, const Arguments& arguments) {
  if (index < arguments.inOrder.size()) {
    return &arguments.inOrder[index];
  }
  const auto named = std::ranges::find_if(arguments.named, [&](const auto& argument) {
    return SameName(argument.first, overload.parameters[index].name);
  });
  return named == arguments.named.end() ? nullptr : &named->second;
}

/// All words of a call, or nothing if the arguments do not fit.
std::optional<std::vector<Word>> WordsFor(const Overload& overload, const Arguments& arguments) {
  std::size_t unused = arguments.named.size();
  std::vector<Word> words;
  for (std::size_t i = 0; i < overload.parameters.size(); ++i) {
    const Parameter& parameter = overload.parameters[i];
    const Value* argument = ArgumentFor(overload, i, arguments);
    const auto word = argument != nullptr ? WordFor(parameter.type, *argument) : DefaultWord(parameter);
    if (!word) {
      return std::nullopt;
    }
    unused -= argument != nullptr && i >= arguments.inOrder.size() ? 1 : 0;
    words.push_back(*word);
  }
  const bool tooMany = unused != 0 || arguments.inOrder.size() > words.size();
  return tooMany ? std::nullopt : std::optional(words);
}

std::string UnknownMethod(const std::vector<Registration>& methods, std::string_view name) {
  std::vector<std::string> known;
  for (const Registration& method : methods) {
    known.push_back(method.declaration.substr(0, method.declaration.find('(')));
    if (SameName(known.back(), name)) {
      return "a host does not understand the declaration " + method.declaration;
    }
  }
  return "there is no method '" + std::string(name) + "'" + Nearest(name, known);
}

std::string NameOf(const Value& value) {
  constexpr const char* kNames[] = {"nil",     "integer",     "boolean",  "ptr",
                                    "picture", "memoryblock", "integer()"};
  return kNames[value.index()];
}

/// "picture, offset=integer".
std::string TypesOf(const Arguments& arguments) {
  std::string text;
  const char* separator = "";
  for (const Value& argument : arguments.inOrder) {
    text += separator + NameOf(argument);
    separator = ", ";
  }
  for (const auto& [name, argument] : arguments.named) {
    text += separator + name + "=" + NameOf(argument);
    separator = ", ";
  }
  return text;
}

/// What is wrong with names that no overload knows: "; there is no argument 'hight'; the nearest is height".
std::string UnknownNames(const std::vector<Overload>& overloads, const Arguments& arguments) {
  std::vector<std::string> known;
  for (const Overload& overload : overloads) {
    for (const Parameter& parameter : overload.parameters) {
      known.emplace_back(parameter.name);
    }
  }
  std::string text;
  for (const auto& argument : arguments.named) {
    const std::string& name = argument.first;
    if (std::ranges::none_of(known, [&](const std::string& each) { return SameName(each, name); })) {
      text += "; there is no argument '" + name + "'" + Nearest(name, known);
    }
  }
  return text;
}

std::string WrongArguments(const std::vector<Overload>& overloads, const Arguments& arguments,
                           const char* problem) {
  std::string text = std::string(problem) + " (" + TypesOf(arguments) + ")" +
                     UnknownNames(overloads, arguments) + "; expected";
  for (const Overload& overload : overloads) {
    const bool isMember = overload.parameters.size() > overload.declaration.parameterCount;
    text += isMember ? "\n  a picture first, then " : "\n  ";
    text += overload.method->declaration;
  }
  return text;
}

struct Match {
  const Overload* overload;
  std::vector<Word> words;
};

Match PickOverload(const std::vector<Overload>& overloads, const Arguments& arguments) {
  std::optional<Match> match;
  for (const Overload& overload : overloads) {
    auto words = WordsFor(overload, arguments);
    if (words && match) {
      throw HostError(WrongArguments(overloads, arguments, "more than one overload takes"));
    }
    if (words) {
      match = Match{&overload, std::move(*words)};
    }
  }
  if (!match) {
    throw HostError(WrongArguments(overloads, arguments, "no overload takes"));
  }
  return *match;
}

/// What is raised during one call. Calls nest when the host gets control in the middle of one.
class RaisedInCall {
 public:
  RaisedInCall() : outer_(std::exchange(Entries::State().raised, nullptr)) {}
  ~RaisedInCall() {
    if (ExceptionObject* raised = std::exchange(Entries::State().raised, outer_)) {
      Release(raised);
    }
  }
  RaisedInCall(const RaisedInCall&) = delete;
  RaisedInCall& operator=(const RaisedInCall&) = delete;

  static std::optional<RaisedException> Get() {
    const ExceptionObject* raised = Entries::State().raised;
    if (raised == nullptr) {
      return std::nullopt;
    }
    return RaisedException{raised->className, raised->message, raised->errorNumber};
  }

 private:
  ExceptionObject* outer_;
};

CallResult CallMatch(const Match& match) {
  const RaisedInCall raised;
  const Word word =
      CallWithWords(match.overload->method->function, match.words, std::make_index_sequence<kMostWords>());
  CallResult result;
  switch (match.overload->declaration.result) {
    case HostType::kBoolean:
      result.boolean = static_cast<Boolean>(word) != 0;
      if (static_cast<Boolean>(word) > 1) {
        Complain(match.overload->method->declaration + " returned a boolean that is neither 0 nor 1");
      }
      break;
    case HostType::kPicture:
      result.returnsPicture = true;
      // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how it was returned
      if (auto* picture = reinterpret_cast<REALpictureStruct*>(word)) {
        if (FindLive(picture) == nullptr) {
          Complain(match.overload->method->declaration + " returned a picture that does not exist");
        } else {
          result.picture.reset(picture);
        }
      }
      break;
    default:
      throw HostError("results of that type are not known: " + match.overload->method->declaration);
  }
  result.exception = RaisedInCall::Get();
  return result;
}

}  // namespace

CallResult Host::Call(std::string_view method, const Arguments& arguments) {
  const auto overloads = OverloadsOf(methods_, method);
  if (overloads.empty()) {
    throw HostError(UnknownMethod(methods_, method));
  }
  return CallMatch(PickOverload(overloads, arguments));
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the method is one of this host
CallResult Host::Call(const Registration& method, const std::vector<Value>& arguments) {
  const auto declaration = ParseDeclaration(method.declaration);
  if (!declaration) {
    throw HostError("no declaration: " + method.declaration);
  }
  const std::vector<Overload> only = {OverloadOf(method, *declaration)};
  return CallMatch(PickOverload(only, {arguments, {}}));
}

}  // namespace devhost
