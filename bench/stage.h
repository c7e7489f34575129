// One case set up: a host, a picture, perhaps a mask, and a buffer, all touched; and everyone who is to work
// on them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/cases.h"
#include "bench/task.h"
#include "bench/turns.h"
#include "devhost/host.h"

namespace bench {

class Stage {
 public:
  /// The plug-in beside memcpy and the peers or, if `otherPlugin` is not empty, beside that file alone.
  /// Throws std::runtime_error if anyone gives a wrong result.
  Stage(const Case& one, const std::string& otherPlugin);
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  /// The plug-in first. All have taken their first turn.
  std::vector<Contestant> contestants;

 private:
  using Word = std::intptr_t;

  void MakeObjects();
  void DescribeTask();
  std::string LayoutOfBuffer() const;
  void ComputeExpected();
  void AddPlugin(Role role, const std::string& file);
  std::function<void()> CallOf(const devhost::Registration& method) const;
  Word ArgumentFor(std::string_view parameter) const;
  void AddOthers();
  void CopyHalfTheTraffic() const;

  /// Lets `contestant` work, and compares all rows.
  void Check(Contestant& contestant) const;

  const Case one_;
  devhost::Host host_;
  std::vector<std::shared_ptr<void>> libraries_;  // keep the plug-ins in memory
  devhost::Ref<REALpictureStruct> picture_;
  devhost::Ref<REALpictureStruct> mask_;
  devhost::Ref<REALmemoryBlockStruct> block_;
  devhost::Ref<_REALarrayInteger> arrays_[3];
  Task task_;
  std::vector<std::uint8_t> expected_;  // rows next to each other
};

}  // namespace bench
