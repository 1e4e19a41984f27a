// Variable files with several names: written to through a copy, so that the other names keep what
// they lead to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "embedded_host/files/file_status.h"
#include "tests/support/largest_file.h"
#include "tests/support/live_arrays.h"
#include "tests/support/private_directories.h"
#include "tests/support/stored_number.h"

namespace {

namespace fs = std::filesystem;
using kvr::test::LargestFile;
using kvr::test::listing;
using kvr::test::makeFile;
using kvr::test::numberAt;
using kvr::test::putNumber;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return status;
}

// A file with "a" = 1 and a second name.
class SoleName : public kvr::test::LiveArraysTest {
 protected:
  SoleName() {
    EXPECT_TRUE(makeFile(path) && putNumber(path, "a", 1));
    fs::create_hard_link(path, second);
  }

  const kvr::test::ScratchDirectory directory;
  const std::string path = directory.file("KVR.vdf");
  const std::string second = directory.file("second");
};

TEST_F(SoleName, other_name_keeps_its_file_byte_by_byte) {
  const std::string content = contentOf(second);
  const ino_t inode = statusOf(second).st_ino;
  EXPECT_TRUE(putNumber(path, "a", 2));
  EXPECT_EQ(numberAt(path, "a"), "2");
  EXPECT_EQ(contentOf(second), content);
  EXPECT_EQ(statusOf(second).st_ino, inode);
  EXPECT_THAT(listing(directory.path()), UnorderedElementsAre("KVR.vdf", "second"));
}

TEST_F(SoleName, copy_is_the_users_alone_whatever_mode_the_file_had) {
  fs::permissions(path, fs::perms::all);
  const mode_t mask = umask(0);
  EXPECT_TRUE(putNumber(path, "a", 2));
  umask(mask);
  EXPECT_EQ(statusOf(path).st_mode & 07777, 0600U);
}

TEST_F(SoleName, file_with_one_name_is_changed_in_place) {
  fs::remove(second);
  const ino_t inode = statusOf(path).st_ino;
  EXPECT_TRUE(putNumber(path, "a", 2));
  EXPECT_EQ(statusOf(path).st_ino, inode);
}

TEST_F(SoleName, reading_makes_no_copy) {
  const ino_t inode = statusOf(path).st_ino;
  EXPECT_EQ(numberAt(path, "a"), "1");
  EXPECT_EQ(statusOf(path).st_ino, inode);
  EXPECT_EQ(statusOf(path).st_nlink, 2U);
}

TEST_F(SoleName, full_disk_changes_nothing_and_leaves_no_copy) {
  const std::string content = contentOf(path);
  {
    const LargestFile full(16);
    EXPECT_FALSE(putNumber(path, "a", 2));
    EXPECT_THAT(vormel::lastFileError(), StartsWith(path + ": cannot copy the file"));
  }
  EXPECT_EQ(contentOf(path), content);
  EXPECT_EQ(statusOf(path).st_nlink, 2U);
  EXPECT_THAT(listing(directory.path()), UnorderedElementsAre("KVR.vdf", "second"));
  EXPECT_TRUE(putNumber(path, "a", 2));
}

TEST_F(SoleName, what_an_earlier_copy_left_behind_is_replaced_and_no_link_is_followed) {
  const std::string victim = directory.file("victim");
  std::ofstream(victim) << "precious";
  fs::create_symlink(victim, path + "-copy");
  EXPECT_TRUE(putNumber(path, "a", 2));
  EXPECT_EQ(contentOf(victim), "precious");
  std::ofstream(path + "-copy") << "half a copy";
  fs::remove(second);
  fs::create_hard_link(path, second);
  EXPECT_TRUE(putNumber(path, "a", 3));
  EXPECT_EQ(numberAt(path, "a") + numberAt(second, "a"), "32");
  EXPECT_THAT(listing(directory.path()), UnorderedElementsAre("KVR.vdf", "second", "victim"));
}

TEST_F(SoleName, making_the_file_anew_leaves_the_other_name_alone) {
  EXPECT_TRUE(makeFile(path));
  EXPECT_EQ(numberAt(path, "a") + numberAt(second, "a"), "none1");
}

}  // namespace
