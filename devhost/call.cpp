// A call of a method from the application: the overload is picked, left-out arguments are filled in.
#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "devhost/nearest.h"
#include "devhost/trace.h"

namespace devhost {
namespace {

using rastel::abi::HostType;
using rastel::abi::SameName;

/// An argument as it is passed. On x86-64, i386 and 64-bit ARM under Linux, an integer, a boolean and an
/// address each take one word in a register or on the stack. A callee reads no more of it than its type has,
/// and no more words than it has parameters. So every method may be called with as many words as any has, if
/// small values are sign-extended.
using Word = std::intptr_t;

/// A declaration's parameters and the picture that a class method takes first.
constexpr std::size_t kMostWords = rastel::abi::Declaration::kMostParameters + 1;

template <std::size_t... Index>
Word CallWithWords(void* function, std::vector<Word> words, std::index_sequence<Index...>) {
  using Function = Word (*)(decltype(Index, Word{})...);
  words.resize(sizeof...(Index));
  return reinterpret_cast<Function>(function)(words[Index]...);
}

struct ToWord {
  Word operator()(std::nullptr_t) const { return 0; }
  Word operator()(std::int32_t integer) const { return integer; }
  Word operator()(bool boolean) const { return boolean ? 1 : 0; }
  Word operator()(Ptr ptr) const { return reinterpret_cast<Word>(ptr.address); }
  template <typename Object>
  Word operator()(Object* object) const {
    return reinterpret_cast<Word>(object);
  }
};

/// The word for an argument, if it fits the type. The host's language converts nothing here.
std::optional<Word> WordFor(HostType type, const Value& value) {
  // Behind nil, the values have the order of the types.
  static_assert(static_cast<int>(HostType::kIntegerArray) + 2 == std::variant_size_v<Value>);
  const bool isNil = std::holds_alternative<std::nullptr_t>(value);
  const bool takesNil = type != HostType::kInteger && type != HostType::kBoolean;
  if (isNil ? !takesNil : value.index() != 1 + static_cast<std::size_t>(type)) {
    return std::nullopt;
  }
  return std::visit(ToWord(), value);
}

/// The word for an argument that was left out.
std::optional<Word> DefaultWord(const Parameter& parameter) {
  if (!parameter.standard) {
    return std::nullopt;
  }
  const std::string& text = *parameter.standard;
  if (parameter.type == HostType::kBoolean) {
    return SameName(text, "true") ? 1 : 0;
  }
  std::int32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

using Overloads = std::vector<const Registration*>;

/// The argument for parameter `index`; null if it was left out.
const Value* ArgumentFor(const Registration& method, std::size_t index, const Arguments& arguments) {
  if (index < arguments.inOrder.size()) {
    return &arguments.inOrder[index];
  }
  const auto named = std::ranges::find_if(arguments.named, [&](const auto& argument) {
    return SameName(argument.first, method.parameters[index].name);
  });
  return named == arguments.named.end() ? nullptr : &named->second;
}

/// All words of a call, or nothing if the arguments do not fit.
std::optional<std::vector<Word>> WordsFor(const Registration& method, const Arguments& arguments) {
  std::size_t unused = arguments.named.size();
  std::vector<Word> words;
  for (std::size_t i = 0; i < method.parameters.size(); ++i) {
    const Parameter& parameter = method.parameters[i];
    const Value* argument = ArgumentFor(method, i, arguments);
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

std::string NameOf(const Value& value) {
  return value.index() == 0 ? "nil" : TypeName(static_cast<HostType>(value.index() - 1));
}

/// "Picture, offset=integer".
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
std::string UnknownNames(const Overloads& overloads, const Arguments& arguments) {
  std::vector<std::string> known;
  for (const Registration* method : overloads) {
    std::ranges::transform(method->parameters, std::back_inserter(known), &Parameter::name);
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

HostError WrongArguments(const Overloads& overloads, const Arguments& arguments, const char* problem) {
  std::string text = std::string(problem) + " (" + TypesOf(arguments) + ")" +
                     UnknownNames(overloads, arguments) + "; expected";
  for (const Registration* method : overloads) {
    const bool isDeclared = method->declaration.find("(extends ") != std::string::npos;
    text += method->extendsPicture && !isDeclared ? "\n  a picture first, then " : "\n  ";
    text += method->declaration;
  }
  return HostError(text);
}

struct Match {
  const Registration* method;
  std::vector<Word> words;
};

Match PickOverload(const Overloads& overloads, const Arguments& arguments) {
  std::optional<Match> match;
  for (const Registration* method : overloads) {
    auto words = WordsFor(*method, arguments);
    if (words && match) {
      throw WrongArguments(overloads, arguments, "more than one overload takes");
    }
    if (words) {
      match = Match{method, std::move(*words)};
    }
  }
  if (!match) {
    throw WrongArguments(overloads, arguments, "no overload takes");
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
  const std::string& declaration = match.method->declaration;
  const Word word =
      CallWithWords(match.method->function, match.words, std::make_index_sequence<kMostWords>());
  CallResult result;
  if (match.method->result == HostType::kBoolean) {
    result.boolean = static_cast<Boolean>(word) != 0;
    if (static_cast<Boolean>(word) > 1) {
      Complain(declaration + " returned a boolean that is neither 0 nor 1");
    }
  } else if (match.method->result == HostType::kPicture) {
    result.returnsPicture = true;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how it was returned
    auto* picture = reinterpret_cast<REALpictureStruct*>(word);
    if (picture != nullptr && FindLive(picture) == nullptr) {
      Complain(declaration + " returned a picture that does not exist");
    } else {
      result.picture.reset(picture);
    }
  } else {
    throw HostError("a host does not understand the declaration, or results of its type: " + declaration);
  }
  result.exception = RaisedInCall::Get();
  return result;
}

}  // namespace

const char* TypeName(HostType type) {
  constexpr const char* kNames[] = {"integer", "boolean", "Ptr", "Picture", "MemoryBlock", "integer array"};
  return kNames[static_cast<std::size_t>(type)];
}

std::vector<const Registration*> Host::MethodsNamed(std::string_view name) const {
  Overloads overloads;
  std::vector<std::string> known;
  for (const Registration& method : methods_) {
    known.push_back(method.name);
    if (SameName(method.name, name)) {
      overloads.push_back(&method);
    }
  }
  if (overloads.empty()) {
    throw HostError("there is no method '" + std::string(name) + "'" + Nearest(name, known));
  }
  return overloads;
}

// NOLINTNEXTLINE(readability-make-member-function-const): the host is not the same afterwards
CallResult Host::Call(std::string_view method, const Arguments& arguments) {
  return CallMatch(PickOverload(MethodsNamed(method), arguments));
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the method is one of this host
CallResult Host::Call(const Registration& method, const std::vector<Value>& arguments) {
  return CallMatch(PickOverload({&method}, {arguments, {}}));
}

}  // namespace devhost
