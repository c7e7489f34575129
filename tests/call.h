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
  /// With nothing missing and no fault so far all of it is known. Otherwise each byte is the old one or the
  /// right one, nothing is lost, no exception is swallowed, and a failure has a reason.
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
  bool succeeded = false;   // the last time
  int straysMeanwhile = 0;  // that calls in the middle of this one were due to lead to

 private:
  struct Outcome;

  // What is passed.
  std::int32_t Integer(std::string_view name) const;
  bool Meets(const Refusal& refusal) const;
  devhost::Value Argument(const Parameter& parameter) const;

  // What is expected.
  bool IsCopied(const PictureSpec& read) const;
  bool IsReadable(const PictureSpec& read) const;
  bool ArePicturesUsable() const;
  bool IsTooLarge() const;
  bool CanSucceed() const { return refusal_ == nullptr && !IsTooLarge(); }
  bool IsDestLargeEnough() const;
  bool IsDestUsed() const;
  std::int64_t PixelBytes() const;
  void PlanCopy();
  void PlanBuffer();
  Bytes Copied(Bytes bytes, const oracle::Image& from, const oracle::Image& alpha, oracle::Lines lines) const;
  Bytes Written(const REALpictureStruct& to, Bytes bytes) const;

  // What happened.
  void MakeObjects();
  void Refill();
  std::span<std::uint8_t> BlockBytes() const;
  Outcome Invoke();
  void LearnTroubles();
  bool LostAny(std::initializer_list<const char*> names) const;
  bool IsInDoubt() const;
  bool MayHaveOneRow() const;
  bool MayHoldAnything() const;
  bool MayBeBlack() const;
  std::vector<oracle::Image> Readings(const oracle::Image& image) const;
  bool HasReasonToFail() const;
  bool LosesByNature() const;
  int StraysDue() const;

  // The verdict.
  std::string Judge(const Outcome& outcome) const;
  std::string JudgeRaised(const Outcome& outcome) const;
  std::string JudgeSuccess(const Outcome& outcome) const;
  std::string JudgeRefused(const Outcome& outcome) const;
  std::string JudgeCopy(const Outcome& outcome) const;
  std::string JudgePartialCopy() const;
  std::string JudgePicture(const Outcome& outcome) const;
  std::string JudgeMade(REALpictureStruct& made) const;
  std::string JudgeDest(const Outcome& outcome) const;
  std::string JudgeSources(const Outcome& outcome) const;
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
  std::size_t traceBefore_ = 0, complaintsBefore_ = 0;
  const devhost::Injection* faults_ = nullptr;
  devhost::Names missing_;  // what the host lacks
  devhost::Names lost_;     // and what it failed in
};

}  // namespace tests
