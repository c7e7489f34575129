#include "fuzz/runner.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>

#include "oracle.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Balance;
using devhost::Host;
using devhost::HostOptions;
using HostKind = devhost::Kind;
using devhost::PixelFormat;
using devhost::Reaction;
using devhost::Ref;

struct HostFault {};

void Require(bool holds, const char* what) {
  if (!holds) {
    throw ScenarioFailure(what);
  }
}

/// Entries that give something back. Where they do not act, or where they throw in a destructor, something is lost by
/// the nature of it.
bool IsRelease(std::string_view entry) {
  constexpr std::string_view kReleases[] = {"UnlockPixels", "unlockPictureDescription", "REALUnlockObject",
                                            "REALUnlockString", "CFRelease"};
  return std::ranges::find(kReleases, entry) != std::end(kReleases);
}

/// True if a host can be expected to fail there: not in what a release needs as well.
bool MayFail(std::string_view entry, FaultKind kind) {
  constexpr std::string_view kNeeded[] = {"CFBundleGetFunctionPointerForName", "__CFStringMakeConstantString",
                                          "Mask", "REALPictureClearCache"};
  const bool isBookkeeping = kind == FaultKind::kFails && entry == "REALLockObject";
  return !IsRelease(entry) && !isBookkeeping && std::ranges::find(kNeeded, entry) == std::end(kNeeded);
}

/// Makes the host calls fail that a fault tells.
class FaultyHost {
 public:
  FaultyHost(Host& host, const Fault& fault) : host_(host), fault_(fault) {
    if (fault.kind != FaultKind::kNone) {
      host.onEntry = [this](std::string_view entry) { return React(entry); };
    }
  }
  ~FaultyHost() { host_.onEntry = nullptr; }
  FaultyHost(const FaultyHost&) = delete;
  FaultyHost& operator=(const FaultyHost&) = delete;

  FaultKind Kind() const { return fault_.kind; }
  /// True if a call has failed or thrown.
  bool HasFailed() const { return hasFailed_; }
  /// True if one of them was a call of `entry`.
  bool HasFailedIn(std::string_view entry) const { return failed_ == entry || (fault_.lasts && hasFailed_); }

 private:
  Reaction React(std::string_view entry) {
    if (!MayFail(entry, fault_.kind)) {
      return Reaction::kAct;
    }
    const int number = count_++;
    if (number < fault_.number || (number > fault_.number && !fault_.lasts)) {
      return Reaction::kAct;
    }
    hasFailed_ = true;
    failed_ = entry;
    if (fault_.kind == FaultKind::kThrows) {
      throw HostFault();
    }
    return Reaction::kFail;
  }

  Host& host_;
  Fault fault_;
  int count_ = 0;
  bool hasFailed_ = false;
  std::string failed_;
};

/// One call of a scenario: its objects, what it has to do, and what it did.
class CallRun {
 public:
  CallRun(Host& host, const CallSpec& spec, const FaultyHost& fault)
      : host_(host), spec_(spec), method_(AllMethods()[spec.method]), fault_(fault) {}

  void Run(const devhost::Registration& registration) {
    Prepare();
    const std::vector<devhost::Value> arguments = Arguments();
    const Balance before = host_.CurrentBalance();
    devhost::CallResult result;
    bool threw = false;
    try {
      result = host_.Call(registration, arguments);
    } catch (const HostFault&) {
      threw = true;
    }
    const bool isExact = IsExact();
    Require(isExact ? !threw : true, "an exception of the host without a fault");
    CheckRaised(result, isExact);
    if (Copies()) {
      CheckCopy(result.boolean, threw, isExact);
    } else {
      CheckMade(result.picture.get(), threw, isExact);
    }
    CheckSurroundings(result.picture.get());
    result.picture.reset();
    CheckBalance(before, isExact);
  }

 private:
  bool Copies() const { return method_.result == "boolean"; }
  bool IsDesktop() const { return host_.options().kind == HostKind::kDesktop; }
  bool IsBad(Bad bad) const { return spec_.bad == bad; }

  /// True if nothing went wrong, so that all that follows is known.
  bool IsExact() const {
    if (!host_.options().without.empty() || fault_.HasFailed()) {
      return false;
    }
    return !Copies() || (IsReadable(spec_.picture) && (!HasAlphaMask() || IsReadable(spec_.alpha)));
  }

  /// True if the host's pictures of that format can be read, be it through a copy, which has to have pixels.
  bool IsReadable(const PictureSpec& picture) const {
    if (!IsDesktop()) {
      return picture.format == PixelFormat::kBitmap;
    }
    return IsWorld(picture) || (picture.size.width > 0 && picture.size.height > 0);
  }

  static bool IsWorld(const PictureSpec& picture) {
    return picture.format == PixelFormat::kWorld32 || picture.format == PixelFormat::kWorld24;
  }

  bool HasAlphaMask() const { return method_.Has("MaskForAlpha"); }
  bool HasStep() const { return method_.Has("PixelByteSize"); }

  Ref<REALpictureStruct> MakePicture(const PictureSpec& spec, std::uint64_t seed) {
    auto picture = host_.NewPicture(spec.size.width, spec.size.height, spec.format);
    FillWithNoise(*picture, seed);
    return picture;
  }

  void Prepare() {
    if (Copies()) {
      PrepareCopy();
    } else {
      PrepareMaking();
    }
    FillWithNoise(*block_, 4242);
    blockBefore_ = BytesOf(*block_);
  }

  // Copies into a memory block.

  std::string CopiedLayout() const {
    if (!method_.Has("LittleEndian")) {
      return method_.layout;
    }
    const bool keepsAlpha = spec_.alphaValue < 0 || spec_.alphaValue > 255;
    return spec_.flag ? (keepsAlpha ? "BGRX" : "BGRA") : (keepsAlpha ? "XRGB" : "ARGB");
  }

  void PrepareCopy() {
    picture_ = MakePicture(spec_.picture, 5);
    if (spec_.isMasked) {
      picture_->SetMask(MakePicture({spec_.picture.size, PixelFormat::kBitmap}, 6).get());
    }
    alpha_ = MakePicture(spec_.alpha, 77777);
    pictureBefore_ = BytesOf(*picture_);
    const Size sized = HasAlphaMask() ? spec_.alpha.size : spec_.picture.size;
    copy_.layout = CopiedLayout();
    copy_.width = sized.width;
    copy_.lines =
        oracle::LinesOf(spec_.startLine, spec_.endLine, spec_.picture.size.height < 1 ? 0 : sized.height);
    copy_.offset = spec_.offset;
    copy_.pixelBytes = HasStep() ? spec_.pixelBytes : static_cast<std::int64_t>(copy_.layout.size());
    copy_.destRowBytes = spec_.destRowBytes;
    copy_.alpha = spec_.alphaValue;
    block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(copy_.BlockSize()));
  }

  /// What the picture shows at a place that it may lack: black beyond its right edge, row 0 below its end.
  static oracle::Colour Shown(REALpictureStruct& picture, std::int64_t x, std::int64_t y) {
    if (x >= picture.width) {
      return {0, 0, 0};
    }
    return ColourAt(picture, static_cast<std::int32_t>(x), static_cast<std::int32_t>(y < picture.height ? y : 0));
  }

  Bytes Copied(Bytes block, bool hasColours, bool hasAlpha) const {
    oracle::Write(
        copy_,
        [&](std::int64_t x, std::int64_t y) {
          return hasColours ? Shown(*picture_, x, y) : oracle::Colour{0, 0, 0};
        },
        [&](std::int64_t x, std::int64_t y) {
          return hasAlpha && HasAlphaMask() ? Shown(*alpha_, x, y) : oracle::Colour{0, 0, 0};
        },
        block);
    return block;
  }

  void CheckCopy(bool copied, bool threw, bool isExact) {
    const Bytes block = BytesOf(*block_);
    Require(pictureBefore_ == BytesOf(*picture_), "the picture was changed");
    if (isExact) {
      Require(copied == IsInOrder(), copied ? "true instead of false" : "false instead of true");
    }
    if (!copied && !threw) {
      RequireSame(blockBefore_, block, "the block, though nothing was copied,");
      return;
    }
    const Bytes expected = Copied(blockBefore_, true, true);
    if (isExact) {
      RequireSame(expected, block, "the block");
    } else {
      CheckDoubtful(expected, block);
    }
  }

  /// A copy in which something went wrong: bytes may be as before, as expected, or of a picture that stayed black.
  void CheckDoubtful(const Bytes& expected, const Bytes& block) const {
    const Bytes onZeros = Copied(Bytes(block.size(), 0), true, true);
    const Bytes onOnes = Copied(Bytes(block.size(), 255), true, true);
    const Bytes variants[] = {blockBefore_, expected, Copied(blockBefore_, false, true),
                              Copied(blockBefore_, true, false), Copied(blockBefore_, false, false)};
    const bool anyValue = spec_.isMasked || HasStep() || Misses("GetPixRowBytes");
    for (std::size_t i = 0; i < block.size(); ++i) {
      if (onZeros[i] != onOnes[i]) {
        Require(block[i] == blockBefore_[i], "a byte beside the pixels was written");
        continue;
      }
      const bool isKnown =
          std::ranges::any_of(variants, [&](const Bytes& variant) { return variant[i] == block[i]; });
      Require(anyValue || isKnown, "a byte of the block is of no picture");
    }
  }

  bool Misses(const char* name) const {
    return host_.options().without.contains(name) || fault_.HasFailedIn(name);
  }

  // Pictures made of buffers.

  void PrepareMaking() {
    const bool isLittleEndian = method_.Has("LittleEndian") && spec_.flag;
    const Size size = spec_.picture.size;
    buffer_.layout = isLittleEndian ? "BGRA" : method_.layout;
    buffer_.width = size.width;
    buffer_.height = size.height;
    buffer_.offset = spec_.offset;
    buffer_.pixelBytes = HasStep() ? Step() : static_cast<std::int64_t>(buffer_.layout.size());
    buffer_.flip = method_.Has("FlipVertically") && spec_.flag;
    if (buffer_.pixelBytes < 0) {
      buffer_.offset += std::max<std::int64_t>(0, buffer_.width * buffer_.height - 1) * -buffer_.pixelBytes;
    }
    if (method_.Has("Red")) {
      buffer_.weights = spec_.weights;
    }
    if (method_.Has("Red()")) {
      const std::vector<std::int32_t> half(spec_.palette.begin(),
                                           spec_.palette.begin() + std::ssize(spec_.palette) / 2);
      buffer_.palettes = {spec_.palette, spec_.isMasked ? oracle::Palette() : spec_.palette, half};
    }
    block_ = host_.NewMemoryBlock(static_cast<std::int32_t>(buffer_.BlockSize()));
    if (method_.Has("dest") && spec_.dest) {
      dest_ = MakePicture(*spec_.dest, 99);
      dest_->pictureType = spec_.destType;
      destBefore_ = BytesOf(*dest_);
    }
  }

  /// The step of a buffer's pixels; far steps would need a buffer as large.
  std::int32_t Step() const { return spec_.pixelBytes % 8; }

  /// True if the picture passed as dest is to be filled.
  bool IsDestUsed() const {
    const bool isWritable = spec_.destType == 2 || spec_.destType == 4;
    return dest_ && isWritable && dest_->width >= buffer_.width && dest_->height >= buffer_.height &&
           (IsDesktop() ? IsWorld(*spec_.dest) : spec_.dest->format == PixelFormat::kBitmap);
  }

  /// `bytes` of a picture after the buffer was written into its top-left corner.
  Bytes Written(const REALpictureStruct& picture, Bytes bytes) const {
    oracle::Write(buffer_, blockBefore_.data(), PixelTypeOf(picture.format), picture.width, bytes);
    return bytes;
  }

  void CheckMade(REALpictureStruct* made, bool threw, bool isExact) {
    RequireSame(blockBefore_, BytesOf(*block_), "the buffer");
    Require(!isExact || (made != nullptr) == IsInOrder(), made == nullptr ? "no picture" : "a picture");
    const bool isDest = made != nullptr && made == dest_.get();
    if (isExact && made != nullptr) {
      Require(isDest == IsDestUsed(), isDest ? "dest was used" : "dest was not used");
      Require(isDest || made->references == 1, "the new picture has too many references");
      Require(isDest || PixelTypeOf(made->format) == host_.options().pixelType, "a picture of a wrong type");
    }
    if (made != nullptr && !isDest) {
      Require(made->width == buffer_.width && made->height == buffer_.height, "a picture of a wrong size");
    }
    if (isExact && made != nullptr) {
      RequireSame(Written(*made, isDest ? destBefore_ : BytesOf(*made)), BytesOf(*made), "the picture");
    }
    CheckDest(isDest, threw, isExact);
  }

  void CheckDest(bool isDest, bool threw, bool isExact) {
    if (!dest_ || (isDest && isExact)) {
      return;
    }
    const Bytes now = BytesOf(*dest_);
    // A host that lost something may have given up in the middle of it.
    if (!isDest && !threw && isExact) {
      RequireSame(destBefore_, now, "dest, though not used,");
    } else if (PixelTypeOf(dest_->format) != 0 && dest_->width >= buffer_.width && dest_->height >= buffer_.height) {
      CheckDoubtfulDest(now);
    } else {
      RequireSame(destBefore_, now, "dest, though too small,");
    }
  }

  void CheckDoubtfulDest(const Bytes& now) {
    const Bytes written = Written(*dest_, destBefore_);
    const bool anyValue = method_.Has("Red()") || Misses("GetPixRowBytes");
    const Bytes onZeros = Written(*dest_, Bytes(now.size(), 0));
    const Bytes onOnes = Written(*dest_, Bytes(now.size(), 255));
    for (std::size_t i = 0; i < now.size(); ++i) {
      const bool isInside = onZeros[i] == onOnes[i];
      Require(now[i] == destBefore_[i] || (isInside && (anyValue || now[i] == written[i])),
              "a byte of dest is of no buffer");
    }
  }

  // Both.

  /// True if the call is to do something: no argument is bad that the method has.
  bool IsInOrder() const { return ExpectedException() == nullptr && !IsSilentlyRefused(); }

  bool IsSilentlyRefused() const {
    return Copies() && (IsBad(Bad::kStartLine) || IsBad(Bad::kEndLine) || IsBad(Bad::kStride));
  }

  /// The class of the exception that the arguments are to lead to, or null.
  const char* ExpectedException() const {
    if (IsBad(Bad::kNilBlock) || (IsBad(Bad::kNilPicture) && Copies()) ||
        (IsBad(Bad::kNilMask) && HasAlphaMask())) {
      return "NilObjectException";
    }
    const bool isTooSmall = !Copies() && (IsBad(Bad::kWidth) || IsBad(Bad::kHeight) || buffer_.width < 1 ||
                                          buffer_.height < 1);
    return isTooSmall || IsBad(Bad::kOffset) ? "UnsupportedOperationException" : nullptr;
  }

  std::vector<devhost::Value> Arguments() {
    constexpr const char* kArrays[] = {"Red()", "Blue()", "Green()"};
    std::vector<devhost::Value> arguments;
    if (Copies()) {
      arguments.push_back(OrNil(picture_.get(), Bad::kNilPicture));
    }
    for (const std::string& name : method_.ParameterNames()) {
      const auto* const array = std::ranges::find(kArrays, name);
      arguments.push_back(array == std::end(kArrays) ? Argument(name) : Array(array - kArrays));
    }
    return arguments;
  }

  template <typename Object>
  devhost::Value OrNil(Object* object, Bad bad) const {
    return IsBad(bad) ? devhost::Value(nullptr) : devhost::Value(object);
  }

  std::int32_t Or(std::int64_t value, Bad bad, std::int32_t badValue) const {
    return IsBad(bad) ? badValue : static_cast<std::int32_t>(value);
  }

  devhost::Value Array(std::ptrdiff_t channel) {
    auto& array = arrays_[static_cast<std::size_t>(channel)];
    if (const auto& palette = (*buffer_.palettes)[static_cast<std::size_t>(channel)]) {
      std::vector<std::int32_t> elements = *palette;
      // Where a host does not tell the highest index it counts as 0.
      if (elements.empty() && MayLackUpperBounds()) {
        elements.push_back(0);
      }
      array = host_.NewIntegerArray(elements);
    }
    return array ? devhost::Value(array.get()) : devhost::Value(nullptr);
  }

  bool MayLackUpperBounds() const {
    return host_.options().without.contains("RuntimeUBound") || fault_.Kind() == FaultKind::kFails;
  }

  devhost::Value Argument(const std::string& name) const {
    if (name == "source" && method_.ReadsPtr()) {
      return IsBad(Bad::kNilBlock) ? devhost::Value(nullptr) : devhost::Value(devhost::Ptr{block_->bytes()});
    }
    if (name == "source" || name == "destination") {
      return OrNil(block_.get(), Bad::kNilBlock);
    }
    if (name == "dest") {
      return dest_ ? devhost::Value(dest_.get()) : devhost::Value(nullptr);
    }
    if (name == "MaskForAlpha") {
      return OrNil(alpha_.get(), Bad::kNilMask);
    }
    if (name == "FlipVertically" || name == "LittleEndian") {
      return spec_.flag;
    }
    return Integer(name);
  }

  std::int32_t Integer(const std::string& name) const {
    const std::pair<std::string_view, std::int32_t> integers[] = {
        {"offset", Or(Copies() ? spec_.offset : buffer_.offset, Bad::kOffset, -1)},
        {"width", Or(buffer_.width, Bad::kWidth, 0)},
        {"height", Or(buffer_.height, Bad::kHeight, -1)},
        {"PixelByteSize", Copies() ? spec_.pixelBytes : Step()},
        {"AlphaValue", spec_.alphaValue},
        {"StartLine", Or(spec_.startLine, Bad::kStartLine, -1)},
        {"EndLine", Or(spec_.endLine, Bad::kEndLine, -2)},
        {"Yield", spec_.yield},
        {"DestRowBytes", Or(spec_.destRowBytes, Bad::kStride, -1)},
        {"Red", spec_.weights[0]},
        {"Blue", spec_.weights[1]},
        {"Green", spec_.weights[2]}};
    return std::ranges::find(integers, name, &std::pair<std::string_view, std::int32_t>::first)->second;
  }

  void CheckRaised(const devhost::CallResult& result, bool isExact) const {
    if (!isExact) {
      return;
    }
    const char* expected = IsSilentlyRefused() ? nullptr : ExpectedException();
    if (!result.exception || expected == nullptr) {
      Require(!result.exception && expected == nullptr, "an exception was raised or missing");
      return;
    }
    Require(result.exception->className == expected, "an exception of another class was raised");
  }

  void CheckSurroundings(REALpictureStruct* made) const {
    const bool areIntact = block_->SurroundingsIntact() && (!picture_ || picture_->SurroundingsIntact()) &&
                           (!alpha_ || alpha_->SurroundingsIntact()) && (!dest_ || dest_->SurroundingsIntact()) &&
                           (made == nullptr || made->SurroundingsIntact());
    Require(areIntact, "bytes around a picture or a block were written");
  }

  void CheckBalance(Balance before, bool isExact) const {
    Balance after = host_.CurrentBalance();
    const int strays = after.strayUnlocks - before.strayUnlocks;
    const int due = StraysDue();
    Require(isExact ? strays == due : strays <= 2, "a wrong number of stray unlocks");
    before.strayUnlocks = after.strayUnlocks;
    const bool canLose = std::ranges::any_of(host_.options().without, IsRelease);
    if (canLose) {
      return;
    }
    if (before != after) {
      std::ostringstream text;
      text << before << " became " << after;
      throw ScenarioFailure(text.str());
    }
    if (!host_.complaints.empty()) {
      throw ScenarioFailure(host_.complaints.front());
    }
  }

  /// Each copy of a world of an unsupported depth leads to one.
  int StraysDue() const {
    if (!Copies() || !IsDesktop() || !IsInOrder()) {
      return 0;
    }
    const auto isCopied = [](const PictureSpec& picture) { return picture.format == PixelFormat::kWorld16; };
    return int{isCopied(spec_.picture)} + int{HasAlphaMask() && isCopied(spec_.alpha)};
  }

  static void RequireSame(const Bytes& expected, const Bytes& actual, const char* what) {
    if (expected != actual) {
      throw ScenarioFailure(std::string(what) + ": " + SameBytes(expected, actual).message());
    }
  }

  Host& host_;
  const CallSpec& spec_;
  const Method& method_;
  const FaultyHost& fault_;
  Ref<REALpictureStruct> picture_, alpha_, dest_;
  Ref<REALmemoryBlockStruct> block_;
  std::array<Ref<_REALarrayInteger>, 3> arrays_;
  Bytes blockBefore_, pictureBefore_, destBefore_;
  oracle::BlockCopy copy_{};
  oracle::Buffer buffer_{};
};

/// What a host is as far as a plug-in learns it while it registers.
std::string KeyOf(const HostOptions& options) {
  std::string key = std::to_string(options.version);
  for (const char* entry : {"REALGetRBVersion", "PluginRegisterMethod", "PluginRegisterClassExtension",
                            "PluginRegisterModule"}) {
    key += options.without.contains(entry) ? '-' : '+';
  }
  return key;
}

}  // namespace

ScenarioRunner::ScenarioRunner(const std::string& path) : image_(path), fresh_(image_.Save()) {}

const ScenarioRunner::Registered& ScenarioRunner::RegisteredWith(Host& host) {
  Registered& registered = registered_[KeyOf(host.options())];
  if (registered.methods.empty()) {
    image_.Restore(fresh_);
    image_.Start(&Host::Resolve);
    registered.image = image_.Save();
    registered.methods.resize(AllMethods().size());
    std::size_t next[] = {PictureMethods().size(), 0};
    for (const devhost::Registration& method : host.methods()) {
      registered.methods.at(next[method.extendsPicture ? 1 : 0]++) = method;
    }
  }
  return registered;
}

void ScenarioRunner::Run(const Scenario& scenario) {
  Host host(scenario.options);
  host.clock.ticksPerReading = scenario.ticksPerReading;
  host.clock.nanosecondsPerReading = scenario.ticksPerReading * 1'000'000;
  const Registered& registered = RegisteredWith(host);
  image_.Restore(registered.image);
  const FaultyHost fault(host, scenario.fault);
  for (const CallSpec& call : scenario.calls) {
    if (const auto& method = registered.methods[call.method]) {
      CallRun(host, call, fault).Run(*method);
    }
  }
}

}  // namespace tests
