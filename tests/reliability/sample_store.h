// A store with something of everything, in memory or in the scratch file, and a handle to it.
//
//   run 1, instance 1   signal 1 with its children 2 and 3
//   run 2, instance 1   signals 4, with settings of its own, and 5
//   run 3, instance 2   no signals, no list of signals
//
// Run 1 has tolerances of its own. Names are in no order, and shared by some signals.
#pragma once

#include <string>

#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/records.h"
#include "kvrntob/binding/packages.h"
#include "kvrntob/settings/structures.h"
#include "tests/support/signal_builder.h"

namespace kvr::test {

enum class Keeping {
  InMemory,
  InFile
};

inline const char* nameOf(Keeping keeping) {
  return keeping == Keeping::InFile ? "in the file" : "in memory";
}

// The registered class of that name, its root package registered on first use.
inline vormel::ClassRecord& kvrClass(const std::string& name) {
  static const bool isRegistered = [] {
    ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
    return true;
  }();
  return isRegistered ? *vormel::findClass("Dravik.kvr." + name) : kvrClass(name);
}

// A new handle to the store that is there, or to a new one.
inline vormel::Object aRepository() {
  kvrClass("SignalRepository");
  return vormel::Interpreter::instance().construct("Dravik.kvr.SignalRepository");
}

// The store of the process as long as it lives; freed at its end, and with it the one that took its
// place since.
class SampleStore {
 public:
  static constexpr const char* kBlock = "the block of two signals";
  static std::string source(int signal) {
    return "the data source of signal " + std::to_string(signal);
  }

  explicit SampleStore(Keeping keeping) {
    for (const int instance : {1, 1, 2})
      store().createEmptyRun("a run of instance " + std::to_string(instance), instance);
    if (keeping == Keeping::InFile) store().writeToFile();
    add(1, 0, kBlock, "z");
    add(1, 1, "another block", "a");
    add(1, 1, kBlock, "z");
    add(2, 0, "a third block", "m");
    add(2, 0, "the empty model's block", "");
    store().setToleranceByRun(1, toleranceField::absolute, 0.25);
    store().setTolerance(4, toleranceField::relative, 0.5);
    store().setCustomSyncMethod(4, "a custom method with a long name");
  }

  ~SampleStore() {
    handle_ = vormel::Object();
    SignalRepository* present = SignalRepository::getInstance();
    if (present != store_) delete present;
    delete store_;
    SignalRepository::drop();
  }
  SampleStore(const SampleStore&) = delete;
  SampleStore& operator=(const SampleStore&) = delete;

  SignalRepository& store() const { return *store_; }
  const vrArray* handle() const { return handle_.handle(); }

 private:
  static SignalRepository* newStore() {
    SignalRepository::drop();
    return SignalRepository::getInstance();
  }

  void add(int32 run, int32 parent, const std::string& block, const std::string& model) const {
    const std::string source = SampleStore::source(lastSignalID + 1);
    aSignal()
        .inRun(run)
        .under(parent)
        .inBlock(block)
        .inModel(model)
        .withSource(source)
        .withRootDataSource(lastSignalID % 2 == 0 ? source : "root of " + source)
        .withLabel("label " + model)
        .addTo(store());
  }

  SignalRepository* store_ = newStore();
  vormel::Object handle_ = aRepository();
};

}  // namespace kvr::test
