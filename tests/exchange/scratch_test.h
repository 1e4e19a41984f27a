// The fixture of tests of the scratch file: a directory of its own, which the host names, and a
// run.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "kvrntob/host/libvf.h"
#include "kvrntob/store/scratch_file.h"
#include "tests/support/replaced_function.h"
#include "tests/support/store_test.h"

namespace kvr::test {

class ScratchTest : public StoreTest {
 protected:
  ~ScratchTest() override { std::filesystem::remove_all(directory); }

  // Does it as a host call, at whose end the host reclaims what was left behind.
  template <class Action>
  static auto call(Action action) {
    const vormel::CallScope scope;
    return action();
  }

  // File mode on; adding as a call; the id.
  static void writeToFile() {
    call([] { store().writeToFile(); });
  }
  static int32 addInCall(const SignalBuilder& signal) {
    return call([&] { return add(signal); });
  }
  int32 addSeries(const std::vector<double>& data) {
    std::vector<double> time(data.size());
    for (std::size_t i = 0; i < time.size(); ++i) time[i] = 0.5 * static_cast<double>(i);
    return addInCall(aSignal().inRun(run).withValues(kept(aTimeseries(data, time))));
  }
  int32 addNoSeries() { return addInCall(aSignal().inRun(run).withValues(kept(aNumber(1)))); }

  // The values of a signal, read from the file as a call.
  static OwnedArray read(int32 id) {
    return call([&] { return owned(readScratchVariable(id)); });
  }
  static std::vector<double> property(const OwnedArray& series, const char* name) {
    return numbersOf(owned(vrGetProperty_730(series.get(), 0, name)).get());
  }
  static std::vector<double> readData(int32 id) { return property(read(id), "Data"); }

  // Descriptors of this process that are open on the scratch file.
  static int openDescriptors() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      count += std::filesystem::read_symlink(entry.path(), gone) == scratchFileName;
    }
    return count;
  }

  static std::string makeDirectory() {
    std::string name = testing::TempDir() + "scratch.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    return name + "/";
  }

  const std::string directory = makeDirectory();
  const std::string path = directory + "KVR.vdf";
  std::string answer = directory;  // what the host names
  const ReplacedFunction tempdir{"tempdir", [this] { return aText(answer); }};
  const int32 run = addRun();
};

}  // namespace kvr::test
