// Signals for tests: aSignal().inRun(1).withSource("s").addTo(store).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kvrntob/store/signal_repository.h"
#include "tests/support/array_builders.h"

namespace kvr::test {

// Hands an array over to the store.
inline SharedArray kept(vormel::OwnedArray array) { return keepBeyondCall(array.release()); }

// Holds what a signal is to be made of. Unless told otherwise every string names its field, the
// root data source is the data source, the arrays are made for each signal anew, and there is no
// parent.
class SignalBuilder {
 public:
  SignalBuilder& inRun(int32 run) { return set(run_, run); }
  SignalBuilder& withSource(std::string source) { return set(dataSource_, std::move(source)); }
  SignalBuilder& withRootDataSource(std::string source) {
    hasRootDataSource_ = true;
    return set(rootDataSource_, std::move(source));
  }
  SignalBuilder& withRootSource(std::string source) { return set(rootSource_, std::move(source)); }
  SignalBuilder& inBlock(std::string block) { return set(block_, std::move(block)); }
  SignalBuilder& inModel(std::string model) { return set(model_, std::move(model)); }
  SignalBuilder& withLabel(std::string label) { return set(label_, std::move(label)); }
  SignalBuilder& under(int32 parent) { return set(parent_, parent); }
  SignalBuilder& withTimeDim(int32 dimension) { return set(timeDim_, dimension); }
  SignalBuilder& withSampleDims(std::vector<int32> dims) {
    return set(sampleDims_, std::move(dims));
  }
  SignalBuilder& withPortIndex(int32 index) { return set(portIndex_, index); }
  SignalBuilder& withChannel(std::vector<int32> channel) {
    return set(channel_, std::move(channel));
  }
  SignalBuilder& withValues(SharedArray values) { return set(values_, std::move(values)); }
  SignalBuilder& withMetaData(SharedArray metaData) { return set(metaData_, std::move(metaData)); }

  // Returns the id.
  int32 addTo(SignalRepository& store) const { return store.addSignal(description()); }

  // A record in no store; the parent plays no part.
  Data makeRecord(bool storedInFile = false, int32 instance = -1) const {
    return Data(description(), storedInFile, instance);
  }

 private:
  template <class T>
  SignalBuilder& set(T& field, T value) {
    field = std::move(value);
    return *this;
  }
  SharedArray values() const { return values_ ? values_ : kept(aTimeseries({1, 2, 3}, {0, 1, 2})); }
  SharedArray metaData() const { return metaData_ ? metaData_ : kept(aText("metadata")); }
  NewSignal description() const {
    NewSignal signal;
    signal.rootSource = rootSource_;
    signal.timeSource = "time source";
    signal.dataSource = dataSource_;
    signal.values = values();
    signal.blockSource = block_;
    signal.modelSource = model_;
    signal.signalLabel = label_;
    signal.timeDim = timeDim_;
    signal.sampleDims = sampleDims_;
    signal.portIndex = portIndex_;
    signal.channel = channel_;
    signal.sid = "sid";
    signal.runID = run_;
    signal.metaData = metaData();
    signal.parentID = parent_;
    signal.rootDataSrc = rootDataSource();
    return signal;
  }
  std::string rootDataSource() const { return hasRootDataSource_ ? rootDataSource_ : dataSource_; }

  std::string rootSource_ = "root source";
  std::string dataSource_ = "data source";
  std::string rootDataSource_;
  bool hasRootDataSource_ = false;
  std::string block_ = "block";
  std::string model_ = "model";
  std::string label_ = "label";
  SharedArray values_;
  SharedArray metaData_;
  int32 timeDim_ = 1;
  std::vector<int32> sampleDims_{1, 3};
  int32 portIndex_ = 2;
  std::vector<int32> channel_{4};
  int32 run_ = 1;
  int32 parent_ = 0;
};

inline SignalBuilder aSignal() { return SignalBuilder(); }

}  // namespace kvr::test
