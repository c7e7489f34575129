// How errors become host exceptions, whatever the host lacks and whatever it throws meanwhile.
#include <any>
#include <functional>
#include <ios>
#include <limits>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/errors.h"
#include "host/strings.h"
#include "unit_host.h"
#include "unit_memory.h"

namespace tests {
namespace {

using devhost::Reaction;

struct OwnException : std::exception {
  const char* what() const noexcept override { return "own"; }
};

struct SilentException : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

struct BadLogic : std::bad_cast, std::logic_error {
  BadLogic() : std::logic_error("bad logic") {}
};

struct BadRun : std::bad_cast, std::runtime_error {
  BadRun() : std::runtime_error("bad run") {}
};

struct Thrown {
  std::function<void()> act;
  std::string className, message;
};

const std::vector<Thrown>& ThrownClasses() {
  static const std::vector<Thrown> classes = {
      {[] { throw std::bad_alloc(); }, "OutOfMemoryException", "Failed to allocate memory."},
      {[] { throw std::bad_array_new_length(); }, "OutOfMemoryException", "Failed to allocate memory."},
      {[] { throw std::range_error("range"); }, "OutOfBoundsException", "range"},
      {[] { throw std::out_of_range("outside"); }, "OutOfBoundsException", "outside"},
      {[] { throw std::overflow_error("over"); }, "OutOfBoundsException", "over"},
      {[] { throw std::underflow_error("under"); }, "OutOfBoundsException", "under"},
      {[] { throw std::logic_error("logic"); }, "RuntimeException", "logic"},
      {[] { throw std::invalid_argument("argument"); }, "RuntimeException", "argument"},
      {[] { throw std::length_error("length"); }, "RuntimeException", "length"},
      {[] { throw std::runtime_error("runtime"); }, "RuntimeException", "runtime"},
      {[] { throw std::bad_cast(); }, "IllegalCastException", std::bad_cast().what()},
      {[] { throw std::bad_any_cast(); }, "IllegalCastException", std::bad_any_cast().what()},
      {[] { throw std::bad_typeid(); }, "RuntimeException", std::bad_typeid().what()},
      {[] { throw OwnException(); }, "RuntimeException", "own"},
      {[] { throw SilentException(); }, "RuntimeException", "(null)"},
      {[] { throw BadLogic(); }, "RuntimeException", "bad logic"},
      {[] { throw BadRun(); }, "RuntimeException", "bad run"},
      {[] { throw 42; }, "RuntimeException", "Sorry, but there was an unnamed C++ Exception."}};
  return classes;
}

REALstringStruct* BuildText() {
  return rastel::REALBuildUnicodeString("text", 4, rastel::kAscii);
}

TEST(Guard, RaisesWhatIsThrownInTheStringBuilder) {
  for (const Thrown& thrown : ThrownClasses()) {
    for (const char* entry : {"REALBuildString", "REALSetStringEncoding"}) {
      SCOPED_TRACE(thrown.className + ", " + thrown.message + ", " + entry);
      LinkedHost host;
      bool isFirst = true;
      host.onEntry = [&](std::string_view called) {
        if (called == entry && std::exchange(isFirst, false)) {
          thrown.act();
        }
        return Reaction::kAct;
      };
      EXPECT_EQ(nullptr, BuildText());
      ASSERT_NE(nullptr, LinkedHost::Raised());
      EXPECT_EQ(thrown.className, LinkedHost::Raised()->className);
      EXPECT_EQ(thrown.message, LinkedHost::Raised()->message.value_or("(null)"));
      EXPECT_EQ((devhost::Balance{.objects = 1, .references = 1}), host.CurrentBalance()) << "the exception";
    }
  }
}

TEST(Guard, RaisesWithoutAMessageWhenThatIsThrownAtAsWell) {
  for (const Thrown& thrown : ThrownClasses()) {
    SCOPED_TRACE(thrown.className + ", " + thrown.message);
    LinkedHost host;
    host.onEntry = [&](std::string_view called) {
      if (called == "REALBuildString") {
        thrown.act();
      }
      return Reaction::kAct;
    };
    EXPECT_EQ(nullptr, BuildText());
    ASSERT_NE(nullptr, LinkedHost::Raised());
    EXPECT_EQ(thrown.className, LinkedHost::Raised()->className);
    EXPECT_FALSE(LinkedHost::Raised()->message);
    EXPECT_EQ(1, CountCalls(host, "RuntimeRaiseException"));
  }
}

TEST(RaiseException, LetsExceptionsPass) {
  for (const char* entry : {"REALUnlockObject", "REALUnlockString"}) {
    for (const bool isGuarded : {false, true}) {
      LinkedHost host;
      bool isFirst = true;
      std::string_view throwing = isGuarded ? "REALBuildString" : entry;
      host.onEntry = [&](std::string_view called) {
        if (called != throwing) {
          return Reaction::kAct;
        }
        throwing = std::exchange(isFirst, false) && isGuarded ? entry : "";
        throw OwnException();
      };
      const auto raise = [] { rastel::RaiseException("NilObjectException", "Picture is nil"); };
      EXPECT_THROW(raise(), OwnException) << entry;
      EXPECT_EQ(1, CountCalls(host, "RuntimeRaiseException"));
    }
  }
}

TEST(RaiseException, CallsTheHostInOrder) {
  LinkedHost host;
  rastel::RaiseException("NilObjectException", "Picture is nil");
  EXPECT_EQ(
      (std::vector<std::string>{
          "REALBuildString(address, 14) = string#1", "REALSetStringEncoding(string#1, 1536)",
          "PluginNewInstance(\"NilObjectException\") = exception#1",
          "REALSetPropValueString(exception#1, \"Message\", string#1)",
          "REALSetPropValueInteger(exception#1, \"ErrorNumber\", 0)", "RuntimeRaiseException(exception#1)",
          "REALUnlockObject(exception#1)", "REALUnlockString(string#1)"}),
      Calls(host));
  EXPECT_EQ(1, LinkedHost::Raised()->references);
}

TEST(RaiseException, FallsBackToTheClassThatEveryHostHas) {
  LinkedHost host;
  rastel::RaiseException("NoSuchException", "said all the same");
  EXPECT_EQ("RuntimeException", LinkedHost::Raised()->className);
  EXPECT_EQ("said all the same", LinkedHost::Raised()->message);
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    rastel::RaiseException("NilObjectException", none);
    EXPECT_EQ("NilObjectException", LinkedHost::Raised()->className);
    EXPECT_FALSE(LinkedHost::Raised()->message);
  }
}

TEST(RaiseException, LeavesOutWhatTheHostLacks) {
  struct Lack {
    const char* entry;
    bool isRaised, hasMessage;
  };
  for (const Lack& lack : {Lack{"PluginNewInstance", false, false},
                           {"REALSetPropValueString", true, false},
                           {"REALSetPropValueInteger", true, true},
                           {"RuntimeRaiseException", false, false},
                           {"REALBuildString", true, false},
                           {"REALSetStringEncoding", true, true}}) {
    SCOPED_TRACE(lack.entry);
    LinkedHost host(OptionsFor(2013.04, {lack.entry}));
    rastel::RaiseException("NilObjectException", "message");
    EXPECT_EQ(lack.isRaised, LinkedHost::Raised() != nullptr);
    EXPECT_EQ(lack.hasMessage, lack.isRaised && LinkedHost::Raised()->message.has_value());
    EXPECT_EQ(lack.isRaised ? 1 : 0, host.CurrentBalance().objects);
    EXPECT_TRUE(host.complaints.empty());
  }
}

TEST(RaiseOutOfBoundsException, SaysTheRange) {
  struct Index {
    std::int64_t value, count;
    const char* message;
  };
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  for (const Index& index :
       {Index{5, 3, "Parameter index  is too big. Range is 0 to 2, but value is 5."},
        {-1, 4, "Parameter index  is too small. Range is 0 to 3, but value is -1."},
        {4, 4, "Parameter index  is too big. Range is 0 to 3, but value is 4."},
        {0, 0, "Parameter index  is too big. Range is 0 to -1, but value is 0."},
        {kLowest, kHighest,
         "Parameter index  is too small. Range is 0 to 9223372036854775806, but value is "
         "-9223372036854775808."}}) {
    LinkedHost host;
    rastel::RaiseOutOfBoundsException(index.value, index.count);
    EXPECT_EQ("OutOfBoundsException", LinkedHost::Raised()->className);
    EXPECT_EQ(index.message, LinkedHost::Raised()->message.value_or("(null)"));
  }
}

TEST(RaiseOutOfBoundsException, SaysLessWithoutMemory) {
  LinkedHost host;
  const FailingCallocs failing(0);
  rastel::RaiseOutOfBoundsException(5, 3);
  EXPECT_EQ("OutOfBoundsException", LinkedHost::Raised()->className);
  EXPECT_EQ("Out of Bounds", LinkedHost::Raised()->message);
}

}  // namespace
}  // namespace tests
