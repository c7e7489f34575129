// The development host: a stand-in for the host that loads the shipped plug-in and plays one host of a chosen
// version and kind, with pictures, memory blocks, strings, arrays, exceptions and a clock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "abi/declaration.h"
#include "abi/records.h"
#include "devhost/objects.h"

namespace devhost {

/// What kind of application the host runs. A desktop host has the legacy graphics framework; the others
/// have none, and describe every picture by a bitmap record.
enum class Kind { kDesktop, kConsole, kWeb, kUnknown };

/// How a host is set up. The defaults are a current desktop host.
struct HostOptions {
  double version = 2013.04;
  Kind kind = Kind::kDesktop;
  /// The pixel type of the pictures that the host makes: 13 or 12 on a desktop host, 8 on the others.
  int pixelType = 13;
  /// Names that the resolver does not know: host entries, functions of the legacy framework, and the
  /// declarations of host objects' methods. Without "REALGetRBVersion" the host is older than any version.
  std::set<std::string, std::less<>> without;
  /// True puts the rows of pictures and the bytes of memory blocks between pages without access.
  bool guarded = false;
  /// False: the calls of entries are neither recorded nor checked, and `Host::onEntry` is not asked. A
  /// method's call then takes little more than what the plug-in does: for measurements.
  bool watched = true;
  /// False: calls are checked and `Host::onEntry` is asked, but neither calls nor lookups are recorded.
  bool recorded = true;
};

/// What a host call does instead of acting, chosen for each call by `Host::onEntry`.
enum class Reaction { kAct, kFail };  // kFail: null, 0 or false is returned and nothing happens

/// One call that the plug-in made, in the order of the calls.
struct TracedCall {
  /// The name the plug-in looked up; "DrawPicture", "Mask" and "IntegerArrayGetter" for what it got as an
  /// address.
  std::string entry;
  /// Numbers in decimal, texts quoted, objects as "picture#2", null as "nil", other addresses as "address".
  std::vector<std::string> arguments;
  /// Likewise; empty for a call without a result.
  std::string result;

  std::string Text() const;  // "newPicture(10, 10, 32) = picture#2"
};

struct Parameter {
  std::string name;
  rastel::abi::HostType type;
  std::optional<std::string> standard;  // what an argument that is left out is
};

/// "integer", "MemoryBlock", "integer array".
const char* TypeName(rastel::abi::HostType type);

/// A method as the host got to know it.
struct Registration {
  std::string route;        // the host entry that registered it: "PluginRegisterMethod", …
  std::string owner;        // the module's or class's name, empty for a method of neither
  std::int32_t version;     // the definition version of module or class, 0 for a method of neither
  std::string declaration;  // as registered
  std::uint32_t flags;      // as registered
  void* function;
  bool extendsPicture;  // the picture is the function's first argument

  // What the declaration says.
  std::string name = {};
  std::vector<Parameter> parameters = {};  // with the picture, which is "ref" where it is not declared
  std::optional<rastel::abi::HostType> result = {};  // nothing if the host does not understand it
};

struct RaisedException {
  std::string className;
  std::optional<std::string> message;  // nothing if the message is a null string
  std::int32_t errorNumber;
};

/// A raw address, as opposed to a host object.
struct Ptr {
  void* address;
};

/// An argument of a method. nullptr stands for nil of any type.
using Value = std::variant<std::nullptr_t, std::int32_t, bool, Ptr, REALpictureStruct*,
                           REALmemoryBlockStruct*, _REALarrayInteger*>;

/// The arguments of a call: those at the front in the order of the declaration, the others by name.
struct Arguments {
  std::vector<Value> inOrder;
  std::vector<std::pair<std::string, Value>> named;
};

struct CallResult {
  Ref<REALpictureStruct> picture;  // the picture returned, with the reference that came with it; or nil
  bool boolean = false;            // the boolean returned
  bool returnsPicture = false;     // which of the two the method returns
  std::optional<RaisedException> exception;  // what was raised, to be thrown in the application
};

/// What is held of a host at one moment. Two moments compare equal if nothing was lost in between.
struct Balance {
  int objects = 0;           // live objects of every kind
  int references = 0;        // references to them
  int descriptionLocks = 0;  // locked picture descriptions
  int pixelLocks = 0;        // locked legacy pixel maps
  int strayUnlocks = 0;      // UnlockPixels calls on pixel maps that were not locked

  bool operator==(const Balance&) const = default;
};

/// The clocks that the host offers. They stand still unless told otherwise.
struct Clock {
  std::uint32_t ticks = 1000;                  // 1/60 seconds since system start
  std::uint64_t nanoseconds = 16'000'000'000;  // since system start
  std::uint32_t ticksPerReading = 0;           // added after each reading
  std::uint64_t nanosecondsPerReading = 0;
};

/// A plug-in that could not be loaded, a method that does not exist, arguments that fit no overload. The text
/// says what was expected.
struct HostError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A host. At most one exists at a time: the entries that a plug-in calls have no argument that names the
/// host, so they act on the one that exists.
class Host {
 public:
  /// Throws HostError if there is a host already, or if the options contradict each other or name what no
  /// host has.
  explicit Host(HostOptions options = {});
  ~Host();  // unloads the plug-in; objects of the host die with it
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// The host that exists; throws HostError if there is none.
  static Host& Current();

  /// Loads the plug-in at `path` anew and calls its REALPluginMain. Throws HostError if the file is missing,
  /// is no shared library, or does not export REALPluginMain.
  void Load(const std::string& path);

  /// The function that plug-ins get: the address of an entry, or null if it is unknown or in `without`.
  static void* Resolve(const char* entryName);

  /// What `onEntry` may be asked about: every entry, platform function and legacy function.
  static std::vector<std::string> EntryNames();

  const HostOptions& options() const { return options_; }

  /// All registered methods in the order of their registration.
  const std::vector<Registration>& methods() const { return methods_; }

  /// The definition version that the plug-in reported through RegisterPluginVersion; 0 if it did not.
  std::int32_t pluginVersion() const { return pluginVersion_; }

  /// All overloads of a method. Throws HostError, which names the nearest, if there is none.
  std::vector<const Registration*> MethodsNamed(std::string_view name) const;

  /// Calls the overload of `method` that `arguments` fit, through its registered address; arguments left out
  /// get the declaration's default values. A method that extends Picture takes the picture first, or as
  /// "ref". Throws HostError if no overload fits. Exceptions that entries throw (see `onEntry`) pass through.
  CallResult Call(std::string_view method, const Arguments& arguments);
  CallResult Call(std::string_view method, const std::vector<Value>& arguments) {
    return Call(method, Arguments{arguments, {}});
  }

  /// Likewise, but calls exactly `method`.
  CallResult Call(const Registration& method, const std::vector<Value>& arguments);

  /// Makes a 32-bit picture of the host's pixel type, as "newPicture" does, filled with zeros.
  Ref<REALpictureStruct> NewPicture(std::int32_t width, std::int32_t height);

  /// Makes a picture of the given format, whatever the host's own pixel type is.
  Ref<REALpictureStruct> NewPicture(std::int32_t width, std::int32_t height, PixelFormat format);

  Ref<REALmemoryBlockStruct> NewMemoryBlock(std::int32_t size);
  Ref<_REALarrayInteger> NewIntegerArray(const std::vector<std::int32_t>& elements);

  Balance CurrentBalance() const;

  /// Calls of entries that break the host's rules: an unlock of what is not locked, a reference dropped that
  /// is not held, a call on an object that no longer exists, a picture that dies locked. UnlockPixels is
  /// counted in Balance instead.
  std::vector<std::string> complaints;

  /// Every call that the plug-in made, and every name that it looked up (of an entry or of a legacy
  /// function), since the lists were last cleared.
  std::vector<TracedCall> trace;
  std::vector<std::string> lookups;

  /// Told of each recorded call while it goes on: first "newPicture(4, 4, 32)", then what comes of it, in
  /// pieces that begin with a blank: " [made to fail]", " = nil".
  std::function<void(const std::string& piece)> onTrace;

  /// Asked before each call of an entry, of a platform function and of a legacy function. May throw: the
  /// exception passes through the plug-in.
  std::function<Reaction(std::string_view entry)> onEntry;

  /// Names that are unknown like those in `HostOptions::without`, for as long as they are in here.
  std::set<std::string, std::less<>> hidden;

  /// True if the host is without the entry, function or method `name` now.
  bool Lacks(std::string_view name) const { return options_.without.contains(name) || hidden.contains(name); }

  /// Called by "REALYieldToRB".
  std::function<void()> onYield;

  /// What "newPicture" gives, with a reference for the caller, instead of making a picture of the size asked
  /// for; null: nothing. Measurements leave out the making.
  REALpictureStruct* spare = nullptr;

  Clock clock;

 private:
  friend struct Entries;  // the entries' implementations

  HostOptions options_;
  std::vector<Registration> methods_;
  std::int32_t pluginVersion_ = 0;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace devhost
