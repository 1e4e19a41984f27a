// The inputs of add, each a good one until it is replaced.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/array_builders.h"

namespace kvr::test {

class AddInputs {
 public:
  // Positions as in the call; the handle's is 0 and not among these.
  enum Position : std::size_t {
    Run = 2,
    RootSource,
    TimeSource,
    DataSource,
    Values,
    BlockSource,
    ModelSource,
    SignalLabel,
    TimeDim,
    SampleDims,
    PortIndex,
    Channel,
    SID,
    MetaData,
    Parent,
    RootDataSource
  };
  static constexpr std::size_t kCount = 18;

  explicit AddInputs(std::int32_t run) {
    with(1, anEmpty());
    with(Run, anInt32(run));
    with(RootSource, aText("root source"));
    with(TimeSource, aText("time source"));
    with(DataSource, aText("data source"));
    with(Values, aTimeseries({5, 6}, {0, 1}));
    with(BlockSource, aText("block"));
    with(ModelSource, aText("model"));
    with(SignalLabel, aText("label"));
    with(TimeDim, anInt32(1));
    with(SampleDims, filled<std::int32_t>(aNumeric(vrINT32_CLASS, {1, 2}), {2, 3}));
    with(PortIndex, anInt32(4));
    with(Channel, filled<std::int32_t>(aNumeric(vrINT32_CLASS, {1, 3}), {7, 8, 9}));
    with(SID, aText("sid"));
    with(MetaData, aText("metadata"));
    with(Parent, anInt32(0));
    with(RootDataSource, aText("root data source"));
  }

  AddInputs& with(std::size_t position, OwnedArray array) & {
    arrays_[position] = std::move(array);
    return *this;
  }
  AddInputs&& with(std::size_t position, OwnedArray array) && {
    return std::move(with(position, std::move(array)));
  }

  const vrArray* at(std::size_t position) const { return arrays_[position].get(); }

  // All but the handle.
  std::vector<const vrArray*> arrays() const {
    std::vector<const vrArray*> all;
    for (std::size_t i = 1; i < kCount; ++i) all.push_back(at(i));
    return all;
  }

 private:
  std::array<OwnedArray, kCount> arrays_;
};

}  // namespace kvr::test
