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

namespace tests {
namespace {

struct OwnException : std::exception {
  const char* what() const noexcept override { return "own"; }
};

struct SilentException : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

// NOLINTBEGIN(bugprone-throw-keyword-missing): these are bases
struct BadLogic : std::bad_cast, std::logic_error {
  BadLogic() : std::logic_error("bad logic") {}
};

struct BadRun : std::bad_cast, std::runtime_error {
  BadRun() : std::runtime_error("bad run") {}
};
// NOLINTEND(bugprone-throw-keyword-missing)

struct Thrown {
  template <typename Exception>
  Thrown(const Exception& exception, std::string raisedClass, std::string raisedMessage)
      : act([exception] { throw exception; }),
        className(std::move(raisedClass)),
        message(std::move(raisedMessage)) {}

  std::function<void()> act;
  std::string className, message;
};

const std::vector<Thrown>& ThrownClasses() {
  static const std::vector<Thrown> classes = {
      {std::bad_alloc(), "OutOfMemoryException", "Failed to allocate memory."},
      {std::bad_array_new_length(), "OutOfMemoryException", "Failed to allocate memory."},
      {std::range_error("range"), "OutOfBoundsException", "range"},
      {std::out_of_range("outside"), "OutOfBoundsException", "outside"},
      {std::overflow_error("over"), "OutOfBoundsException", "over"},
      {std::underflow_error("under"), "OutOfBoundsException", "under"},
      {std::logic_error("logic"), "RuntimeException", "logic"},
      {std::invalid_argument("argument"), "RuntimeException", "argument"},
      {std::length_error("length"), "RuntimeException", "length"},
      {std::runtime_error("runtime"), "RuntimeException", "runtime"},
      {std::bad_cast(), "IllegalCastException", std::bad_cast().what()},
      {std::bad_any_cast(), "IllegalCastException", std::bad_any_cast().what()},
      {std::bad_typeid(), "RuntimeException", std::bad_typeid().what()},
      {OwnException(), "RuntimeException", "own"},
      {SilentException(), "RuntimeException", "(null)"},
      {BadLogic(), "RuntimeException", "bad logic"},
      {BadRun(), "RuntimeException", "bad run"},
      {42, "RuntimeException", "Sorry, but there was an unnamed C++ Exception."}};
  return classes;
}

TEST(Guard, RaisesWhatIsThrownInTheStringBuilder) {
  for (const Thrown& thrown : ThrownClasses()) {
    for (const char* entry : {"REALBuildString", "REALSetStringEncoding"}) {
      for (const bool always : {false, true}) {
        SCOPED_TRACE(thrown.className + ", " + thrown.message + ", " + entry);
        LinkedHost host;
        host.ThrowAt({entry}, thrown.act, always);
        EXPECT_EQ(nullptr, rastel::REALBuildUnicodeString("text", 4, rastel::kAscii));
        // The second time it is the message's text, which is left out.
        ExpectRaised(thrown.className, always ? "(null)" : thrown.message);
        EXPECT_EQ(1, CountCalls(host, "RuntimeRaiseException"));
        EXPECT_EQ((devhost::Balance{.objects = 1, .references = 1}), host.CurrentBalance())
            << "the exception";
      }
    }
  }
}

TEST(RaiseException, LetsExceptionsPass) {
  const auto raise = [] { rastel::RaiseException("NilObjectException", "Picture is nil"); };
  for (const std::vector<std::string>& entries :
       std::vector<std::vector<std::string>>{{"REALUnlockObject"},
                                             {"REALUnlockString"},
                                             {"REALBuildString", "REALUnlockObject"},
                                             {"REALBuildString", "REALUnlockString"}}) {
    LinkedHost host;
    host.ThrowAt(entries, [] { throw OwnException(); });
    EXPECT_THROW(raise(), OwnException) << entries.back();
    EXPECT_EQ(1, CountCalls(host, "RuntimeRaiseException"));
  }
}

TEST(RaiseException, FallsBackToTheClassThatEveryHostHasAndToNoMessage) {
  LinkedHost host;
  rastel::RaiseException("NoSuchException", "said all the same");
  ExpectRaised("RuntimeException", "said all the same");
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    rastel::RaiseException("NilObjectException", none);
    ExpectRaised("NilObjectException", "(null)");
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
    LinkedHost host(2013.04, {lack.entry});
    rastel::RaiseException("NilObjectException", "message");
    EXPECT_EQ(lack.isRaised, LinkedHost::Raised() != nullptr);
    EXPECT_EQ(lack.hasMessage, lack.isRaised && LinkedHost::Raised()->message.has_value());
    EXPECT_EQ(lack.isRaised ? 1 : 0, host.CurrentBalance().objects);
    EXPECT_TRUE(host.complaints.empty());
  }
}

TEST(RaiseOutOfBoundsException, SaysTheRangeIfThereIsMemory) {
  struct Index {
    std::int64_t value, count;
    const char* message;
  };
  using Limits = std::numeric_limits<std::int64_t>;
  for (const Index& index :
       {Index{5, 3, "Parameter index  is too big. Range is 0 to 2, but value is 5."},
        {-1, 4, "Parameter index  is too small. Range is 0 to 3, but value is -1."},
        {4, 4, "Parameter index  is too big. Range is 0 to 3, but value is 4."},
        {0, 0, "Parameter index  is too big. Range is 0 to -1, but value is 0."},
        {Limits::min(), Limits::max(),
         "Parameter index  is too small. Range is 0 to 9223372036854775806, but value is "
         "-9223372036854775808."}}) {
    LinkedHost host;
    rastel::RaiseOutOfBoundsException(index.value, index.count);
    ExpectRaised("OutOfBoundsException", index.message);
    const FailingCallocs failing(0);
    rastel::RaiseOutOfBoundsException(index.value, index.count);
    ExpectRaised("OutOfBoundsException", "Out of Bounds");
  }
}

}  // namespace
}  // namespace tests
