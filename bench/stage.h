// One case set up: a host with plug-ins' files loaded, a picture, perhaps a mask, and a buffer, all touched;
// and everyone who is to work on them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "abi/declaration.h"
#include "bench/cases.h"
#include "bench/task.h"
#include "bench/turns.h"
#include "devhost/host.h"

namespace bench {

class Stage {
 public:
  /// The first of `plugins` is the one that is measured, a second one is held against it, with no one else.
  /// Throws std::runtime_error if anyone gives a wrong result.
  Stage(const Case& one, std::span<const std::string> plugins);
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  const Task& task() const { return task_; }

  /// The plug-in first. All have taken their first turn.
  std::vector<Contestant> contestants;

 private:
  using Word = std::intptr_t;

  void Load(const std::string& plugin);
  bool Has(std::string_view parameter, rastel::abi::HostType type) const;
  void MakeObjects();
  void DescribeTask();
  void ComputeExpected();
  void AddContestants();
  Word ArgumentFor(std::string_view parameter) const;
  std::function<void()> CallOf(const devhost::Registration& method) const;
  void CopyHalfTheTraffic() const;

  /// Lets `contestant` work, and compares all rows.
  void Check(Contestant& contestant) const;
  bool IsRowSame(const Contestant& contestant, int y) const;

  const Case one_;
  devhost::Host host_;
  std::vector<std::shared_ptr<void>> libraries_;  // keep the plug-ins in memory
  std::vector<devhost::Registration> methods_;    // of the plug-ins
  rastel::abi::Declaration declaration_;          // of the first of them
  bool makesPicture_ = false;
  devhost::Ref<REALpictureStruct> picture_;
  devhost::Ref<REALpictureStruct> mask_;
  devhost::Ref<REALmemoryBlockStruct> block_;
  devhost::Ref<_REALarrayInteger> arrays_[3];
  Task task_;
  std::vector<std::uint8_t> expected_;  // rows next to each other
};

}  // namespace bench
