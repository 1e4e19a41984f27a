// Where the host looks for the module that is installed with it. A program of its own,
// load_installed, runs with a copy of the host library in a folder that each test fills.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

class InstalledModule : public ::testing::Test {
 protected:
  InstalledModule() {
    std::string pattern = ::testing::TempDir() + "vormel_installed_XXXXXX";
    folder_ = fs::canonical(mkdtemp(pattern.data()));
    fs::copy_file(HOST_LIBRARY, library());
  }
  ~InstalledModule() override { fs::remove_all(folder_); }
  InstalledModule(const InstalledModule&) = delete;
  InstalledModule& operator=(const InstalledModule&) = delete;

  fs::path library() const { return folder_ / fs::path(HOST_LIBRARY).filename(); }
  fs::path beside() const { return folder_ / "kvrntob.so"; }
  fs::path below() const { return folder_ / "kvrntob" / "kvrntob.so"; }
  static void putModule(const fs::path& path) {
    fs::create_directories(path.parent_path());
    fs::copy_file(NAMED_MODULE, path);
  }

  // What load_installed prints with KVRNTOB_MODULE set to `named`, without the end of the line.
  std::string loaded(const std::string& named = "") const {
    const std::string command = "LD_LIBRARY_PATH='" + folder_.string() + "' KVRNTOB_MODULE='" +
                                named + "' '" LOAD_INSTALLED "' 2>&1";
    FILE* output = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> line;
    while (fgets(line.data(), line.size(), output) != nullptr) text += line.data();
    pclose(output);
    return text.substr(0, text.find('\n'));
  }

  fs::path folder_;
};

TEST_F(InstalledModule, beside_the_library_is_found_first) {
  putModule(beside());
  putModule(below());
  EXPECT_EQ(loaded(), beside());
}

TEST_F(InstalledModule, in_the_sub_folder_is_found_next) {
  putModule(below());
  EXPECT_EQ(loaded(), below());
}

TEST_F(InstalledModule, is_found_through_a_symbolic_link_to_the_library) {
  const fs::path real = folder_ / "real";
  putModule(real / "kvrntob.so");
  fs::rename(library(), real / library().filename());
  fs::create_symlink(real / library().filename(), library());
  EXPECT_EQ(loaded(), real / "kvrntob.so");
}

TEST_F(InstalledModule, that_the_environment_names_goes_before_all_others) {
  putModule(beside());
  putModule(folder_ / "other" / "kvrntob.so");
  EXPECT_EQ(loaded(folder_ / "other" / "kvrntob.so"), folder_ / "other" / "kvrntob.so");
}

TEST_F(InstalledModule, that_the_environment_names_and_is_not_there_is_reported) {
  putModule(beside());
  EXPECT_EQ(loaded("/nowhere/kvrntob.so"),
            "Vormel:FileNotFound: The module file /nowhere/kvrntob.so, which "
            "KVRNTOB_MODULE names, does not exist.");
}

TEST_F(InstalledModule, that_is_nowhere_is_reported_with_the_places_looked_at) {
  EXPECT_EQ(loaded(), "Vormel:FileNotFound: The module kvrntob was not found: there is neither " +
                          beside().string() + " nor " + below().string() +
                          ". Set KVRNTOB_MODULE to the path of the module's file.");
}

}  // namespace
