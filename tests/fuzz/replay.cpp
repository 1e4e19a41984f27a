// Runs a fuzz target over kept inputs: replay NAME FILE-OR-FOLDER... It needs no fuzzer, so that
// every build can see that inputs that once failed no longer do.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/verdict.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(place)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

void run(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  kvr::fuzz::require(file.good(), "cannot read " + path.string());
  const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  std::cout << path.string() << std::endl;  // at once: the next may be the last line
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) try {
  std::size_t count = 0;
  for (int i = 2; i < argc; ++i) {
    for (const fs::path& path : filesOf(argv[i])) {
      run(path);
      ++count;
    }
  }
  kvr::fuzz::require(count > 0, "there are no inputs");
  std::cout << "tally: kept fuzz inputs run again, " << argv[1] << ": " << count << std::endl;
  return 0;
} catch (const std::exception& failure) {
  kvr::fuzz::complain(failure.what());
}
