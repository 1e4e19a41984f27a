// Files that are damaged: a variable comes back equal or not at all, and nothing else happens.
#include <fstream>
#include <iterator>

#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesDamage : public VariableFileTest {
 protected:
  void SetUp() override {
    VariableFileTest::SetUp();
    const OwnedArray structure = aStruct({"Time", "Data"});
    vrSetFieldByNumber_730(structure.get(), 0, 0, aColumn({0, 0.5, 1}).release());
    vrSetFieldByNumber_730(structure.get(), 0, 1, aColumn({1, 2, 3}).release());
    const OwnedArray cell = aCell({1, 2});
    vormel::setCellElement(cell.get(), 0, aText("inside").release());
    vormel::setCellElement(cell.get(), 1, aComplex(vrDOUBLE_CLASS, {1, 2}).release());
    keep("id1", structure);
    keep("cell", cell);
    keep("object", aTimeseries({4, 5}, {6, 7}));
    keep("function", owned(vormel::makeFunctionHandle("sin")));
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
  }

  void keep(const std::string& name, const OwnedArray& array) {
    ASSERT_TRUE(put(path, name, array));
    arrays_.emplace_back(name, owned(vrDuplicateArray(array.get())));
  }

  void write(const std::string& bytes) const {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }

  // Brings one byte of bytes_ to the file, which holds the others.
  void overwrite(std::size_t place) const {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(place)).put(bytes_[place]);
  }

  // Counts the variables that come back; each must be equal to what was put.
  std::size_t countBack(const std::string& what) const {
    std::size_t count = 0;
    const OpenFile file = openFile(path, "r");
    for (const auto& [name, array] : arrays_) {
      const OwnedArray back(file == nullptr ? nullptr : vfGetVariable(file.get(), name.c_str()));
      if (!back) continue;
      ++count;
      EXPECT_TRUE(vormel::equal(array.get(), back.get())) << name << ", " << what;
    }
    return count;
  }

  // Nothing stays open, whatever was wrong.
  void TearDown() override { EXPECT_EQ(openDescriptors(), descriptorsAtStart_); }

  std::size_t descriptorsAtStart_ = openDescriptors();
  std::string bytes_;
  std::vector<std::pair<std::string, OwnedArray>> arrays_;
};

TEST_F(FilesDamage, whole_file_gives_every_variable) {
  write(bytes_);
  EXPECT_EQ(countBack("whole"), 4U);
}

TEST_F(FilesDamage, file_cut_short_anywhere_gives_nothing) {
  for (std::size_t length = bytes_.size(); length-- > 0;) {
    std::filesystem::resize_file(path, length);
    ASSERT_EQ(countBack("cut to " + std::to_string(length)), 0U);
  }
}

TEST_F(FilesDamage, changed_byte_anywhere_gives_variables_equal_or_not_at_all) {
  std::size_t damaged = 0;
  for (std::size_t place = 0; place < bytes_.size(); ++place) {
    const char whole = bytes_[place];
    bytes_[place] = static_cast<char>(whole ^ (place % 2 == 0 ? 0xFF : 1 << place % 8));
    overwrite(place);
    if (countBack("byte " + std::to_string(place)) < 4) ++damaged;
    bytes_[place] = whole;
    overwrite(place);
  }
  EXPECT_GT(damaged, 4000U) << "the first page, and most of what the others hold, counts";
}

TEST_F(FilesDamage, zeroed_stretch_anywhere_gives_variables_equal_or_not_at_all) {
  for (std::size_t place = 0; place + 64 < bytes_.size(); place += 61) {
    std::string changed = bytes_;
    changed.replace(place, 64, 64, '\0');
    write(changed);
    countBack("zeroed at " + std::to_string(place));
  }
}

// SQLite may find no place in a damaged tree of rows for what it has put there.
TEST_F(FilesDamage, variable_put_into_a_damaged_file_comes_back_equal_or_not_at_all) {
  int found = 0;
  for (std::size_t place = 0; place < bytes_.size(); place += 37) {
    std::string changed = bytes_;
    changed[place] = static_cast<char>(~changed[place]);
    write(changed);
    if (!put(path, "new", aNumber(5))) continue;
    const OwnedArray back = get(path, "new");
    if (!back) continue;
    EXPECT_EQ(vrGetScalar(back.get()), 5) << place;
    ++found;
  }
  EXPECT_GT(found, 100);
}

TEST_F(FilesDamage, changed_element_is_noticed_everywhere_in_a_large_array) {
  std::vector<double> values(10'000, 1.5);
  ASSERT_TRUE(put(path, "large", aColumn(values)));
  const std::string whole = [&] {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }();
  const std::string element(reinterpret_cast<const char*>(values.data()), 8);
  std::size_t places = 0;
  for (std::size_t place = whole.find(element); place < whole.size() - 8;
       place = whole.find(element, place + 800)) {
    std::string changed = whole;
    changed[place + places % 8] ^= 1;
    write(changed);
    EXPECT_FALSE(get(path, "large")) << place;
    ++places;
  }
  EXPECT_GT(places, 90U);
}

TEST_F(FilesDamage, what_is_no_variable_file_is_refused) {
  for (const std::string& bytes : {std::string(), std::string("SQLite format 3"),
                                   std::string(100'000, 'x'), std::string(5000, '\0')}) {
    write(bytes);
    EXPECT_EQ(openFile(path, "r"), nullptr);
    EXPECT_EQ(openFile(path, "u"), nullptr);
  }
}

TEST_F(FilesDamage, file_cut_short_under_an_open_handle_fails_and_later_files_work) {
  const OpenFile file = openFile(path, "u");
  std::filesystem::resize_file(path, 20'000);
  EXPECT_NE(vfPutVariable(file.get(), "x", aNumber(1).get()), 0);
  for (const auto& [name, array] : arrays_) {
    const OwnedArray back(vfGetVariable(file.get(), name.c_str()));
    if (back) {
      EXPECT_TRUE(vormel::equal(array.get(), back.get()));
    }
  }
  ASSERT_NE(openFile(path, "w7.3"), nullptr);
  EXPECT_TRUE(put(path, "x", aNumber(1)));
}

TEST_F(FilesDamage, file_deleted_under_an_open_handle_does_no_harm) {
  const OpenFile file = openFile(path, "u");
  std::filesystem::remove(path);
  EXPECT_EQ(vfPutVariable(file.get(), "x", aNumber(1).get()), 0);
  EXPECT_EQ(openFile(path, "r"), nullptr);
}

}  // namespace
}  // namespace kvr::test
