// A disk that takes no more: what is in the file stays there, and later calls work.
#include <sys/mount.h>

#include <fstream>
#include <iterator>

#include "tests/support/array_builders.h"
#include "tests/support/largest_file.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesFullDisk : public VariableFileTest {
 protected:
  std::string bytes() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST_F(FilesFullDisk, put_that_does_not_fit_leaves_every_byte_as_it_was) {
  ASSERT_TRUE(put(path, "x", aRow({1, 2, 3})));
  const std::string before = bytes();
  int failures = 0;
  for (std::size_t room = 0; room < 40'000; room += 97) {
    ScratchDirectory other;
    std::filesystem::copy(path, other.file("copy"));
    {
      const LargestFile limit(before.size() + room);
      if (put(path, "y", aColumn(std::vector<double>(200, 1.0)))) break;
    }
    ++failures;
    ASSERT_EQ(bytes(), before) << room;
  }
  EXPECT_GT(failures, 5);
  EXPECT_TRUE(get(path, "y"));
}

TEST_F(FilesFullDisk, replacement_that_does_not_fit_leaves_the_variable_as_it_was) {
  ASSERT_TRUE(put(path, "x", aRow({1, 2, 3})));
  {
    const LargestFile limit(bytes().size() + 500);
    EXPECT_FALSE(put(path, "x", aColumn(std::vector<double>(100'000, 1.0))));
  }
  EXPECT_TRUE(vormel::equal(get(path, "x").get(), aRow({1, 2, 3}).get()));
  EXPECT_TRUE(put(path, "x", aNumber(4)));
}

TEST_F(FilesFullDisk, handle_of_a_put_that_failed_goes_on_when_there_is_room_again) {
  const OpenFile file = openFile(path, "u");
  ASSERT_EQ(vfPutVariable(file.get(), "x", aNumber(1).get()), 0);
  {
    const LargestFile limit(bytes().size() + 500);
    EXPECT_NE(vfPutVariable(file.get(), "y", aColumn(std::vector<double>(100'000)).get()), 0);
    EXPECT_EQ(vormel::lastFileError(), "database or disk is full");
    EXPECT_TRUE(OwnedArray(vfGetVariable(file.get(), "x")));
  }
  EXPECT_EQ(vfGetVariable(file.get(), "y"), nullptr);
  EXPECT_EQ(vfPutVariable(file.get(), "y", aNumber(2).get()), 0);
  EXPECT_TRUE(get(path, "x"));
  EXPECT_TRUE(get(path, "y"));
}

TEST_F(FilesFullDisk, file_that_cannot_be_written_is_not_made) {
  {
    const LargestFile limit(100);
    EXPECT_EQ(openFile(path, "w7.3"), nullptr);
    EXPECT_NE(vormel::lastFileError(), "");
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  EXPECT_NE(openFile(path, "w7.3"), nullptr);
}

// A file system of its own, with little room; the tests that want one are skipped where nobody may
// mount it.
class SmallDisk {
 public:
  SmallDisk()
      : isMounted_(mount("none", directory_.path().c_str(), "tmpfs", 0, "size=512k") == 0) {}
  ~SmallDisk() {
    if (isMounted_) umount(directory_.path().c_str());
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool isThere() const { return isMounted_; }
  std::string file(const std::string& name) const { return directory_.file(name); }

 private:
  ScratchDirectory directory_;
  bool isMounted_;
};

TEST_F(FilesFullDisk, disk_that_is_really_full_keeps_what_it_took_and_goes_on_when_there_is_room) {
  const SmallDisk disk;
  if (!disk.isThere()) GTEST_SKIP() << "no file system can be mounted here";
  const std::string small = disk.file("small.vdf");
  const std::string filler = disk.file("filler");
  ASSERT_NE(openFile(small, "w7.3"), nullptr);
  std::ofstream(filler) << std::string(100'000, 'x');
  const OwnedArray values = aColumn(std::vector<double>(2000, 1.5));
  int count = 0;
  while (put(small, std::to_string(count), values)) ++count;
  EXPECT_EQ(vormel::lastFileError(), "database or disk is full");
  EXPECT_GT(count, 10);
  for (int i = 0; i < count; ++i) {
    const OwnedArray back = get(small, std::to_string(i));
    ASSERT_TRUE(back && vormel::equal(back.get(), values.get())) << i;
  }
  EXPECT_FALSE(get(small, std::to_string(count)));
  std::filesystem::remove(filler);
  EXPECT_TRUE(put(small, std::to_string(count), values));
}

}  // namespace
}  // namespace kvr::test
