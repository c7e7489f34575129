// One call of a method, told by a few numbers: its objects, its arguments, what has to come of it, and
// whether it did.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "aliased_memory.h"
#include "devhost/faults.h"
#include "devhost/oracle.h"
#include "methods.h"
#include "support.h"

namespace tests {

struct Size {
  std::int32_t width, height;
};

struct PictureSpec {
  Size size;
  devhost::PixelFormat format;
};

using Integers = std::map<std::string, std::int32_t, std::less<>>;

/// What a call is about. What its method does not take does not count.
struct CallSpec {
  PictureSpec picture;         // the one that is read; its size is that of a buffer, too
  PictureSpec mask = picture;  // the mask that is passed
  bool isMasked = false;       // the picture has a mask of its own
  std::optional<PictureSpec> dest = {};
  std::int32_t kind = 2;  // of all of them, as the host says; 0, 1 and 3 are read alone
  bool flag = false;      // FlipVertically, LittleEndian
  oracle::Palettes palettes = {};
  /// Integers by the names of their parameters. Others are the picture's width and height, one pixel byte,
  /// the last line, and else 0.
  Integers integers = {};
  std::set<std::string, std::less<>> nil = {};  // what is nil
};

std::ostream& operator<<(std::ostream& stream, const CallSpec& spec);

/// A call that every method takes, about all of a picture as the host reads it, with a yield after the first
/// row.
CallSpec GoodCall(const HostCase& hostCase, Size size);

/// `spec` with an argument that is refused.
CallSpec Refused(CallSpec spec, const Refusal& refusal);

/// A call that can be made again and again.
class Call {
 public:
  /// The block is as large as it has to be, or lies in `memory`.
  Call(devhost::Host& host, const Method& method, CallSpec spec, const AliasedMemory* memory = nullptr);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  /// Fills the objects anew, calls the method and says what is wrong with what came of it; empty: nothing.
  /// With nothing missing that counts and no fault so far all of it is known. Otherwise each byte is the old
  /// one or a right one, nothing is lost, no exception is swallowed, and a failure has a reason.
  std::string Run(const devhost::Injection* faults = nullptr);

  /// True if the call reaches bytes from `before` bytes before the block's first one to `behind` bytes behind
  /// it alone, and no picture of more than `mostPixels` has to be made.
  bool Fits(std::int64_t before, std::int64_t behind, std::int64_t mostPixels) const;

  /// For what a host does in the middle of the call: from `firstRow` on the picture shows `other`, or no one
  /// but the plug-in holds the picture and the mask any more.
  void ChangePicture(REALpictureStruct& other, std::int32_t firstRow, bool isSeen);
  void DropPictures();

  devhost::Ref<REALpictureStruct> picture, mask, dest;
  devhost::Ref<REALmemoryBlockStruct> block;
  int straysMeanwhile = 0;  // that calls in the middle of this one were due to lead to

 private:
  struct Outcome {
    devhost::CallResult result;
    bool isDest = false;  // the picture returned is the one passed
    bool threw = false;
    bool swallowed = false;  // an exception of the host

    bool Succeeded() const { return result.picture || isDest || result.boolean; }
  };

  std::int32_t Integer(std::string_view name) const;
  void Plan();
  bool CanSucceed() const;
  void MakeObjects();

  void Refill();
  std::span<std::uint8_t> BlockBytes() const;
  devhost::Value Argument(const devhost::Parameter& parameter) const;
  Outcome Invoke();

  // What may come of it.
  void LearnTroubles();
  bool Lost(std::initializer_list<const char*> names) const;
  bool IsDestUsable() const;
  std::vector<oracle::Image> Readings(REALpictureStruct* read, const oracle::Image& image,
                                      bool inDoubt) const;
  std::vector<Bytes> Copies(bool areWhole, bool inDoubt) const;
  std::vector<Bytes> Fillings(const REALpictureStruct& filled, const Bytes& before) const;

  // What is wrong with what came of it.
  std::string Judge(const Outcome& outcome) const;
  std::string JudgeSuccess(const Outcome& outcome) const;
  std::string JudgeRaised(const Outcome& outcome) const;
  std::string JudgeBlock(const Outcome& outcome) const;
  std::string JudgePictures(const Outcome& outcome) const;
  std::string JudgeMade(REALpictureStruct& made) const;
  std::string JudgeDest(bool isUsed) const;
  std::string JudgeRest(const Outcome& outcome) const;
  std::string JudgeBalance() const;

  devhost::Host& host_;
  const Method& method_;
  const CallSpec spec_;
  const AliasedMemory* memory_;
  const Refusal* refusal_ = nullptr;
  oracle::Copy copy_;
  oracle::Buffer buffer_;
  devhost::Ref<_REALarrayInteger> arrays_[3];
  oracle::Image shown_, shownByMask_;
  Bytes pictureBefore_, destBefore_, blockBefore_;
  REALpictureStruct* maskBefore_ = nullptr;
  devhost::Balance before_;
  std::size_t complaintsBefore_ = 0;
  const devhost::Injection* faults_ = nullptr;
  devhost::Names missing_;  // what the host lacks
  bool isInDoubt_ = false;  // not all is known of what has to come of the call
};

}  // namespace tests
