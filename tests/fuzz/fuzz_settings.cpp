// Bytes to the two structures of settings: the system and its model read each, for a signal and for
// a run, and must agree on the failure or on the settings, which a failure leaves as they were.
// What was read comes back the same when it is written and read again.
#include <optional>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/settings/structures.h"
#include "tests/fuzz/any_array.h"
#include "tests/fuzz/trial.h"
#include "tests/fuzz/verdict.h"

namespace kvr::fuzz {
namespace {

using namespace models;
using vormel::OwnedArray;

constexpr int kMostStructures = 2;

// Empty if the reader refuses the array.
template <class Settings>
std::optional<Settings> readBy(Settings (*reader)(const vrArray*), const vrArray* array) {
  try {
    return reader(array);
  } catch (const vormel::HostException&) {
    return std::nullopt;
  }
}

template <class Settings>
void requireSameAgain(const PlainArray& plain, Settings (*reader)(const vrArray*),
                      vrArray* (*writer)(const Settings&)) {
  const OwnedArray array = build(plain, NoObjects());
  const std::optional<Settings> settings = readBy(reader, array.get());
  if (!settings) return;
  const OwnedArray written(writer(*settings));
  const std::optional<Settings> again = readBy(reader, written.get());
  if (!again) complain("what was written is refused: " + describe(plain));
  const OwnedArray twice(writer(*again));
  if (!vormel::equal(written.get(), twice.get()))
    complain("changed by reading: " + describe(plain));
}

void takeStructure(Trial& trial, Bytes& bytes) {
  const PlainArray run = int32Scalar(1);
  const PlainArray index = int32Scalar(1);
  const bool ofTolerance = bytes.below(2) == 0;
  const PlainArray array = bytes.onceIn(16) ? anyArray(bytes, 1)
                           : ofTolerance    ? toleranceLike(bytes, 1)
                                            : syncLike(bytes, 1);
  const int form = bytes.below(3);
  const std::string name = ofTolerance ? "Tolerance" : "SyncOptions";
  if (form == 0) trial.take(callOf("set" + name, {int32Scalar(1), array}));
  if (form == 1) trial.take(callOf("set" + name, {run, index, array}));
  if (form == 2) trial.take(callOf("set" + name + "ByRun", {run, array}));
  trial.take(callOf("get" + name, {int32Scalar(1)}));
  trial.take(callOf("get" + name + "ByRun", {run}));
  requireSameAgain(array, readToleranceStruct, writeToleranceStruct);
  requireSameAgain(array, readSyncOptionsStruct, writeSyncOptionsStruct);
}

}  // namespace
}  // namespace kvr::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvr::fuzz;
  Bytes bytes(data, size);
  Trial trial;
  trial.prepareStore();
  for (int count = 0; bytes.left() > 0 && count < kMostStructures; ++count)
    takeStructure(trial, bytes);
  trial.finish(Trial::Look::AtLeftovers);
  return 0;
}
