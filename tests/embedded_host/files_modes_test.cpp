// Opening, closing, and the names of variables.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "embedded_host/arrays/call_scope.h"
#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesModes : public VariableFileTest {
 protected:
  // Reads the variable x as a number.
  double stored(const std::string& name = "x") {
    const OwnedArray array = get(path, name);
    return array ? vrGetScalar(array.get()) : -1;
  }
};

TEST_F(FilesModes, new_file_is_empty_and_for_the_user_alone) {
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_FALSE(get(path, "x"));
}

TEST_F(FilesModes, new_file_is_for_the_user_whatever_the_umask) {
  const mode_t before = umask(0777);
  EXPECT_NE(openFile(path, "w7.3"), nullptr);
  umask(before);
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(FilesModes, new_file_takes_variables_at_once) {
  const OpenFile file = openFile(path, "w7.3");
  EXPECT_EQ(vfPutVariable(file.get(), "x", aNumber(4).get()), 0);
  EXPECT_EQ(stored(), 4);
}

TEST_F(FilesModes, making_a_file_anew_empties_it) {
  EXPECT_TRUE(put(path, "x", aNumber(4)));
  EXPECT_NE(openFile(path, "w7.3"), nullptr);
  EXPECT_FALSE(get(path, "x"));
}

TEST_F(FilesModes, making_a_file_replaces_what_is_there_and_follows_no_link) {
  const std::string target = directory.file("target");
  std::ofstream(target) << "kept";
  const std::string link = directory.file("link");
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  EXPECT_NE(openFile(link, "w7.3"), nullptr);
  std::string text;
  std::ifstream(target) >> text;
  EXPECT_EQ(text, "kept");
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(FilesModes, opening_follows_no_link) {
  const std::string link = directory.file("link");
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  EXPECT_EQ(openFile(link, "u"), nullptr);
  EXPECT_EQ(openFile(link, "r"), nullptr);
}

TEST_F(FilesModes, update_and_read_of_a_file_that_is_not_there_give_null_and_make_none) {
  const std::string missing = directory.file("missing");
  EXPECT_EQ(openFile(missing, "u"), nullptr);
  EXPECT_EQ(openFile(missing, "r"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_EQ(vormel::lastFileError(), missing + ": " + std::strerror(ENOENT));
}

TEST_F(FilesModes, file_that_does_not_open_is_reported_with_the_reason) {
  const std::string folder = directory.file("folder");
  std::filesystem::create_directory(folder);
  EXPECT_EQ(openFile(folder, "r"), nullptr);
  EXPECT_EQ(vormel::lastFileError(), folder + ": it is not a regular file");
  std::filesystem::resize_file(path, 20);
  EXPECT_EQ(openFile(path, "r"), nullptr);
  EXPECT_EQ(vormel::lastFileError(), path + ": it is truncated");
}

TEST_F(FilesModes, other_modes_and_null_give_null) {
  for (const char* mode : {"", "w", "rw", "R", "w7", "w7.30"}) {
    EXPECT_EQ(openFile(path, mode), nullptr) << mode;
  }
  EXPECT_EQ(vfOpen(nullptr, "r"), nullptr);
  EXPECT_EQ(vfOpen(path.c_str(), nullptr), nullptr);
  EXPECT_EQ(vfClose(nullptr), 0);
}

TEST_F(FilesModes, what_is_no_regular_file_gives_null_without_waiting) {
  const std::string pipe = directory.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const char* mode : {"u", "r"}) {
    EXPECT_EQ(openFile(directory.path(), mode), nullptr);
    EXPECT_EQ(openFile(pipe, mode), nullptr);
  }
  EXPECT_EQ(openFile(directory.path(), "w7.3"), nullptr);
  EXPECT_EQ(openFile(directory.file("no/such/directory"), "w7.3"), nullptr);
  EXPECT_EQ(openFile(" ", "r"), nullptr);
}

TEST_F(FilesModes, variable_is_replaced_by_one_of_the_same_name) {
  EXPECT_TRUE(put(path, "x", aText("before")));
  EXPECT_TRUE(put(path, "x", aNumber(2)));
  EXPECT_EQ(stored(), 2);
}

TEST_F(FilesModes, file_opened_to_read_takes_no_variable) {
  const OpenFile file = openFile(path, "r");
  EXPECT_NE(vfPutVariable(file.get(), "x", aNumber(2).get()), 0);
  EXPECT_FALSE(get(path, "x"));
}

TEST_F(FilesModes, put_and_get_without_file_name_or_array_fail) {
  const OpenFile file = openFile(path, "u");
  EXPECT_NE(vfPutVariable(nullptr, "x", aNumber(2).get()), 0);
  EXPECT_NE(vfPutVariable(file.get(), nullptr, aNumber(2).get()), 0);
  EXPECT_NE(vfPutVariable(file.get(), "x", nullptr), 0);
  EXPECT_EQ(vfGetVariable(nullptr, "x"), nullptr);
  EXPECT_EQ(vfGetVariable(file.get(), nullptr), nullptr);
}

TEST_F(FilesModes, names_of_any_bytes_are_told_apart) {
  const std::string names[] = {"", "%", "a/b", "a", "a/", "/", ".", "..", "id1", "id10", "\xFF"};
  for (std::size_t i = 0; i < std::size(names); ++i) EXPECT_TRUE(put(path, names[i], aNumber(i)));
  for (std::size_t i = 0; i < std::size(names); ++i) EXPECT_EQ(stored(names[i]), i) << names[i];
  EXPECT_NE(put(path, std::string(50'001, 'n'), aNumber(1)), true);
}

TEST_F(FilesModes, thousands_of_variables_are_all_there) {
  {
    const OpenFile file = openFile(path, "u");
    for (int i = 1; i <= 5000; ++i) {
      ASSERT_EQ(vfPutVariable(file.get(), ("id" + std::to_string(i)).c_str(), aNumber(i).get()), 0);
    }
  }
  const OpenFile file = openFile(path, "r");
  for (int i = 1; i <= 5000; ++i) {
    const OwnedArray array(vfGetVariable(file.get(), ("id" + std::to_string(i)).c_str()));
    ASSERT_EQ(vrGetScalar(array.get()), i);
  }
}

TEST_F(FilesModes, variable_put_by_one_handle_is_there_for_the_next_while_the_first_is_open) {
  const OpenFile first = openFile(path, "u");
  EXPECT_EQ(vfPutVariable(first.get(), "x", aNumber(1).get()), 0);
  EXPECT_EQ(stored(), 1);
}

TEST_F(FilesModes, handle_whose_file_another_changed_sees_the_change_and_takes_variables) {
  const OpenFile first = openFile(path, "u");
  EXPECT_EQ(vfPutVariable(first.get(), "w", aNumber(0).get()), 0);
  EXPECT_TRUE(put(path, "x", aNumber(1)));
  EXPECT_EQ(vrGetScalar(OwnedArray(vfGetVariable(first.get(), "x")).get()), 1);
  EXPECT_EQ(vfPutVariable(first.get(), "y", aNumber(2).get()), 0);
  EXPECT_TRUE(put(path, "z", aNumber(3)));
  EXPECT_EQ(stored("w"), 0);
  EXPECT_EQ(stored("x"), 1);
  EXPECT_EQ(stored("y"), 2);
  EXPECT_EQ(stored("z"), 3);
}

TEST_F(FilesModes, handle_that_put_first_does_no_harm_when_it_closes_after_another_put) {
  OpenFile first = openFile(path, "u");
  EXPECT_EQ(vfPutVariable(first.get(), "x", aNumber(1).get()), 0);
  EXPECT_TRUE(put(path, "y", aNumber(2)));
  first.reset();
  EXPECT_TRUE(put(path, "z", aNumber(3)));
  EXPECT_EQ(stored("x"), 1);
  EXPECT_EQ(stored("y"), 2);
  EXPECT_EQ(stored("z"), 3);
}

TEST_F(FilesModes, file_made_anew_under_an_open_handle_is_another_file) {
  const OpenFile old = openFile(path, "u");
  EXPECT_NE(openFile(path, "w7.3"), nullptr);
  EXPECT_EQ(vfPutVariable(old.get(), "x", aNumber(1).get()), 0);
  EXPECT_FALSE(get(path, "x"));
  EXPECT_TRUE(put(path, "x", aNumber(2)));
  EXPECT_EQ(stored(), 2);
}

TEST_F(FilesModes, file_left_open_is_closed_when_the_call_ends) {
  const std::size_t before = openDescriptors();
  {
    const vormel::CallScope call;
    EXPECT_NE(vfOpen(path.c_str(), "r"), nullptr);
    EXPECT_NE(vfOpen(path.c_str(), "u"), nullptr);
    EXPECT_EQ(openDescriptors(), before + 2);
  }
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_TRUE(put(path, "x", aNumber(1)));
}

TEST_F(FilesModes, array_got_during_a_call_ends_with_it) {
  EXPECT_TRUE(put(path, "x", aTimeseries({1}, {2})));
  {
    const vormel::CallScope call;
    const OpenFile file = openFile(path, "r");
    EXPECT_NE(vfGetVariable(file.get(), "x"), nullptr);
  }
  EXPECT_EQ(liveArrays.made(), 0U);
}

// Links within the path lead where they lead; a path through a held directory stays as it is.
TEST_F(FilesModes, path_through_a_held_directory_is_opened_as_it_is) {
  EXPECT_TRUE(put(path, "x", aNumber(1)));
  const int held = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::string moved = directory.path().string() + ".moved";
  std::filesystem::rename(directory.path(), moved);
  const std::string through = "/proc/self/fd/" + std::to_string(held) + "/test.vdf";
  EXPECT_TRUE(put(through, "y", aNumber(2)));
  EXPECT_TRUE(get(through, "x"));
  EXPECT_TRUE(get(through, "y"));
  std::filesystem::rename(moved, directory.path());
  close(held);
  EXPECT_EQ(stored("y"), 2);
}

TEST_F(FilesModes, nothing_lies_beside_the_file_during_a_put_or_after_it) {
  const OpenFile file = openFile(path, "u");
  EXPECT_EQ(vfPutVariable(file.get(), "x", aNumber(1).get()), 0);
  const auto list = std::filesystem::directory_iterator(directory.path());
  EXPECT_EQ(std::distance(begin(list), end(list)), 1);
}

TEST_F(FilesModes, reading_works_in_a_directory_that_takes_no_file) {
  EXPECT_TRUE(put(path, "x", aNumber(1)));
  std::filesystem::permissions(
      directory.path(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  std::filesystem::permissions(path, std::filesystem::perms::owner_read);
  EXPECT_EQ(stored(), 1);
  std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all);
}

// SQLite would play back a journal of that name, and take in a log.
TEST_F(FilesModes, journals_beside_the_file_are_never_read) {
  EXPECT_TRUE(put(path, "x", aNumber(1)));
  for (const char* suffix : {"-journal", "-wal"}) {
    std::filesystem::copy_file(path, path + suffix);
    EXPECT_EQ(stored(), 1);
    EXPECT_TRUE(put(path, "x", aNumber(1)));
    EXPECT_TRUE(std::filesystem::exists(path + suffix));
  }
}

TEST_F(FilesModes, failing_opens_leave_nothing_open) {
  const std::size_t before = openDescriptors();
  std::ofstream(directory.file("foreign")) << "this is no variable file";
  for (const char* name : {"foreign", "missing", "."}) {
    EXPECT_EQ(openFile(directory.file(name), "u"), nullptr);
    EXPECT_EQ(openFile(directory.file(name), "r"), nullptr);
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace kvr::test
