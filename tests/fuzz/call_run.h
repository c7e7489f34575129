// One call of a scenario: its objects, what it has to do, and what it did.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/host.h"
#include "fuzz/faulty_host.h"
#include "fuzz/scenario.h"
#include "methods.h"
#include "support.h"

namespace tests {

/// What a scenario should not have done.
struct ScenarioFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class CallRun {
 public:
  CallRun(devhost::Host& host, const CallSpec& spec, const FaultyHost& fault);
  virtual ~CallRun() = default;
  CallRun(const CallRun&) = delete;
  CallRun& operator=(const CallRun&) = delete;

  /// Calls the method and checks everything. `sabotage` is as in ScenarioRunner. Throws ScenarioFailure.
  void Run(const devhost::Registration& registration, std::string_view sabotage);

 protected:
  struct Outcome {
    const devhost::CallResult& result;
    bool threw;
    bool isExact;  // nothing went wrong before, so all of it is known
  };

  virtual void Prepare() = 0;
  /// "self" is the picture of a method of Picture.
  virtual devhost::Value Argument(const std::string& name) = 0;
  virtual void Check(const Outcome& outcome) const = 0;
  /// True if the plug-in can do with the pictures whatever the host offers.
  virtual bool ArePicturesUsable() const = 0;
  /// The class of the exception that the arguments lead to, or null.
  virtual const char* ExpectedException() const = 0;
  /// True if the arguments lead to a refusal without an exception.
  virtual bool IsSilentlyRefused() const = 0;
  /// UnlockPixels calls on unlocked pixel maps that the call leads to.
  virtual int StraysDue() const = 0;
  /// The pictures that were there before the call, or null.
  virtual std::vector<REALpictureStruct*> Pictures() const = 0;
  /// The picture whose lock a saboteur gives back and the byte that it changes, or null.
  virtual REALpictureStruct* Locked() const = 0;
  virtual std::uint8_t* ChangedByte(REALpictureStruct* made) const = 0;

  bool IsDesktop() const { return host_.options().kind == devhost::Kind::kDesktop; }
  bool IsBad(Bad bad) const { return spec_.bad == bad; }
  bool IsInOrder() const { return ExpectedException() == nullptr && !IsSilentlyRefused(); }
  bool HasStep() const { return method_.Has("PixelByteSize"); }
  static bool IsWorld(const PictureSpec& picture);

  /// True if the host lacks that entry or it has failed.
  bool Misses(const char* name) const;

  devhost::Ref<REALpictureStruct> MakePicture(const PictureSpec& spec, std::uint64_t seed);
  void MakeBlock(std::int64_t size);

  /// An argument of the call, or a bad value in its place if that is what the call is for.
  template <typename Object>
  devhost::Value OrNil(Object* object, Bad bad) const {
    return IsBad(bad) ? devhost::Value(nullptr) : devhost::Value(object);
  }
  std::int32_t Or(std::int64_t value, Bad bad, std::int32_t badValue) const {
    return IsBad(bad) ? badValue : static_cast<std::int32_t>(value);
  }

  static void Require(bool holds, const char* what);
  static void RequireSame(const Bytes& expected, const Bytes& actual, const char* what);

  devhost::Host& host_;
  const CallSpec& spec_;
  const Method& method_;
  const FaultyHost& fault_;
  devhost::Ref<REALmemoryBlockStruct> block_;
  Bytes blockBefore_;

 private:
  std::vector<devhost::Value> Arguments();
  bool IsExact() const;
  void Sabotage(std::string_view sabotage, REALpictureStruct* made) const;
  void CheckRaised(const Outcome& outcome) const;
  void CheckSurroundings(REALpictureStruct* made) const;
  void CheckBalance(devhost::Balance before, bool isExact) const;
};

/// The run of a call, whichever kind its method is of.
std::unique_ptr<CallRun> MakeCopyRun(devhost::Host& host, const CallSpec& spec, const FaultyHost& fault);
std::unique_ptr<CallRun> MakeMakingRun(devhost::Host& host, const CallSpec& spec, const FaultyHost& fault);

}  // namespace tests
