// One case set up: a host with the plug-in's file loaded, a picture, perhaps a mask, and a buffer, all
// touched; and everyone who is to work on them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/peers.h"
#include "devhost/host.h"
#include "pixels/conversion.h"

namespace bench {

enum class Role : unsigned char { kPlugin, kLimit, kPeer, kKernel };

struct Contestant {
  Role role;
  std::string name;
  std::function<void()> run;
  bool hasSameBytes = true;  // as far as it makes any
  double seconds = 1e9;      // the call whose result was checked took
};

class Stage {
 public:
  /// Throws std::runtime_error if a contestant gives a wrong result.
  Stage(const Case& one, const std::string& plugin);
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  /// The plug-in first.
  const std::vector<Contestant>& contestants() const { return contestants_; }

  /// Bytes of the source's pixels, the mask's, and the destination's extent.
  double traffic() const;

 private:
  using Row = std::function<std::uint8_t*(std::int32_t)>;

  void DescribeConversion();
  void MakeObjects();
  void DescribeRows();
  void AddContestants();
  void* Method() const;
  std::function<void()> PluginCall();
  template <typename Function, typename... Arguments>
  std::function<void()> PictureCall(Function /*type*/, Arguments... arguments);
  template <typename Function, typename... Arguments>
  std::function<void()> CopyCall(Function /*type*/, Arguments... arguments);
  void CopyHalfTheTraffic() const;

  /// Lets `contestant` convert, and compares all rows.
  void Check(Contestant& contestant) const;
  /// False if only bytes differ that are no channel, and may.
  bool HasSameBytes(const Contestant& contestant, bool mayDiffer) const;
  rastel::pixels::Rows RowsOf(std::int32_t row) const;
  bool isToPicture() const { return one_.family->shape <= Shape::kPalette; }

  const Case& one_;
  devhost::Host host_;
  devhost::Ref<REALpictureStruct> picture_;
  devhost::Ref<REALpictureStruct> mask_;
  devhost::Ref<REALmemoryBlockStruct> block_;
  devhost::Ref<_REALarrayInteger> arrays_[3];
  rastel::pixels::ChannelWeights weights_{{300, 200, 100}};
  rastel::pixels::ChannelTables tables_{};
  rastel::pixels::Conversion conversion_{};
  rastel::pixels::Rows rows_{};  // for anyone but the plug-in
  PeerTask task_{conversion_, rows_};
  std::vector<Contestant> contestants_;
};

}  // namespace bench
