// How errors become host exceptions, whatever the host throws meanwhile.
#include <exception>
#include <ios>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "host/errors.h"
#include "host/strings.h"
#include "unit_host.h"

namespace tests {
namespace {

using std::make_exception_ptr;

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
  std::exception_ptr exception;
  std::string className, message;
};

TEST(Guard, RaisesWhatIsThrownInTheStringBuilder) {
  for (const Thrown& thrown :
       {Thrown{make_exception_ptr(std::bad_alloc()), "OutOfMemoryException", "Failed to allocate memory."},
        {make_exception_ptr(std::range_error("range")), "OutOfBoundsException", "range"},
        {make_exception_ptr(std::out_of_range("outside")), "OutOfBoundsException", "outside"},
        {make_exception_ptr(std::overflow_error("over")), "OutOfBoundsException", "over"},
        {make_exception_ptr(std::underflow_error("under")), "OutOfBoundsException", "under"},
        {make_exception_ptr(std::logic_error("logic")), "RuntimeException", "logic"},
        {make_exception_ptr(std::runtime_error("runtime")), "RuntimeException", "runtime"},
        {make_exception_ptr(std::bad_cast()), "IllegalCastException", std::bad_cast().what()},
        {make_exception_ptr(OwnException()), "RuntimeException", "own"},
        {make_exception_ptr(SilentException()), "RuntimeException", "(null)"},
        {make_exception_ptr(BadLogic()), "RuntimeException", "bad logic"},
        {make_exception_ptr(BadRun()), "RuntimeException", "bad run"},
        {make_exception_ptr(42), "RuntimeException", "Sorry, but there was an unnamed C++ Exception."}}) {
    for (const char* entry : {"REALBuildString", "REALSetStringEncoding"}) {
      for (const bool always : {false, true}) {
        SCOPED_TRACE(thrown.className + ", " + thrown.message + ", " + entry);
        LinkedHost host;
        host.ThrowAt(entry, thrown.exception, always);
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

TEST(RaiseException, FallsBackToTheClassThatEveryHostHas) {
  const LinkedHost host;
  rastel::RaiseException("NoSuchException", "said all the same");
  ExpectRaised("RuntimeException", "said all the same");
}

}  // namespace
}  // namespace tests
