// Files that somebody made by hand: well formed for HDF5, but not what a variable file holds. Each
// is refused for its own reason, which shows in the error's text.
#include <hdf5.h>

#include <utility>

#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FilesCrafted : public VariableFileTest {
 protected:
  // Puts the array as the only variable, "x", and opens the group that holds it.
  void craft(const OwnedArray& array) {
    ASSERT_TRUE(put(path, "x", array));
    file_ = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    folder_ = H5Gopen2(file_, "/", H5P_DEFAULT);
    while (firstMember(folder_) != "x") {
      const hid_t outer =
          std::exchange(folder_, H5Gopen2(folder_, firstMember(folder_).c_str(), H5P_DEFAULT));
      H5Gclose(outer);
    }
    ASSERT_GE(folder_, 0);
  }

  static std::string firstMember(hid_t group) {
    char name[100] = "";
    H5Lget_name_by_idx(group, ".", H5_INDEX_NAME, H5_ITER_INC, 0, name, sizeof name, H5P_DEFAULT);
    return name;
  }

  hid_t openX() const { return H5Oopen(folder_, "x", H5P_DEFAULT); }
  void removeX() const { ASSERT_GE(H5Ldelete(folder_, "x", H5P_DEFAULT), 0); }

  void expectRefused(const std::string& reason) {
    ASSERT_GE(H5Gclose(folder_), 0);
    ASSERT_EQ(H5Fget_obj_count(file_, H5F_OBJ_ALL), 1) << "the test left something open";
    ASSERT_GE(H5Fclose(file_), 0);
    EXPECT_FALSE(get(path, "x"));
    EXPECT_EQ(vormel::lastFileError(), reason);
  }

  // Replaces x by a dataset, and closes it.
  void makeDataset(hid_t type, const std::vector<hsize_t>& extents,
                   hid_t list = H5P_DEFAULT) const {
    const hid_t space = H5Screate_simple(static_cast<int>(extents.size()), extents.data(), nullptr);
    removeX();
    const hid_t dataset = H5Dcreate2(folder_, "x", type, space, H5P_DEFAULT, list, H5P_DEFAULT);
    ASSERT_GE(dataset, 0);
    H5Dclose(dataset);
    H5Sclose(space);
  }

  static void setText(hid_t object, const char* name, const std::string& text) {
    const hid_t type = H5Tcopy(H5T_C_S1);
    H5Tset_size(type, text.size());
    if (H5Aexists(object, name) > 0) H5Adelete(object, name);
    const hid_t space = H5Screate(H5S_SCALAR);
    const hid_t attribute = H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT);
    EXPECT_GE(H5Awrite(attribute, type, text.data()), 0);
    H5Aclose(attribute);
    H5Sclose(space);
    H5Tclose(type);
  }

  static void setNumbers(hid_t object, const char* name, const std::vector<std::uint64_t>& values) {
    if (H5Aexists(object, name) > 0) H5Adelete(object, name);
    const hsize_t count = values.size();
    const hid_t space = H5Screate_simple(1, &count, nullptr);
    const hid_t attribute =
        H5Acreate2(object, name, H5T_STD_U64LE, space, H5P_DEFAULT, H5P_DEFAULT);
    EXPECT_GE(H5Awrite(attribute, H5T_NATIVE_UINT64, values.data()), 0);
    H5Aclose(attribute);
    H5Sclose(space);
  }

  hid_t file_ = -1;
  hid_t folder_ = -1;
};

OwnedArray aFullCell(std::size_t count) {
  OwnedArray cell = aCell({1, count});
  for (std::size_t i = 0; i < count; ++i) {
    vormel::setCellElement(cell.get(), i, aNumber(1).release());
  }
  return cell;
}

TEST_F(FilesCrafted, file_without_the_mark_is_refused) {
  const hid_t unmarked = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  H5Adelete(unmarked, "variable_file_version");
  H5Fclose(unmarked);
  EXPECT_EQ(openFile(path, "r"), nullptr);
  EXPECT_EQ(vormel::lastFileError(), path + ": it is no variable file");
  EXPECT_EQ(openFile(path, "u"), nullptr);
}

TEST_F(FilesCrafted, file_whose_structure_has_no_sums_is_refused) {
  const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
  setNumbers(file, "variable_file_version", {1});
  H5Fclose(file);
  EXPECT_EQ(openFile(path, "r"), nullptr);
  EXPECT_EQ(vormel::lastFileError(), path + ": it is no variable file");
  EXPECT_EQ(openFile(path, "u"), nullptr);
}

TEST_F(FilesCrafted, file_of_another_version_is_refused) {
  const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
  setNumbers(file, "variable_file_version", {2});
  H5Fclose(file);
  EXPECT_EQ(openFile(path, "r"), nullptr);
  EXPECT_EQ(vormel::lastFileError(), path + ": it is a variable file of another version");
}

TEST_F(FilesCrafted, dataset_that_claims_more_than_the_file_holds_is_refused) {
  craft(aNumber(1));
  makeDataset(H5T_IEEE_F64LE, {1'000'000'000, 1'000'000});
  expectRefused("found more data than the file can hold");
}

TEST_F(FilesCrafted, dataset_without_storage_is_refused) {
  craft(aNumber(1));
  makeDataset(H5T_IEEE_F64LE, {2, 2});
  expectRefused("found data that lies outside the file");
}

TEST_F(FilesCrafted, empty_dataset_of_an_impossible_size_is_refused) {
  craft(aNumber(1));
  makeDataset(H5T_IEEE_F64LE, {0, hsize_t{1} << 62});
  expectRefused("found an impossible size");
}

TEST_F(FilesCrafted, types_that_no_host_array_has_are_refused) {
  const hid_t narrow = H5Tcopy(H5T_IEEE_F64LE);
  H5Tset_ebias(narrow, 1000);
  for (const hid_t type : {H5T_IEEE_F64BE, H5T_STD_I32BE, H5T_C_S1, H5T_STD_REF_OBJ, H5T_UNIX_D32LE,
                           H5T_STD_B8LE, narrow}) {
    craft(aNumber(1));
    makeDataset(type, {1, 1});
    expectRefused("found elements of a type that no host array has");
  }
  H5Tclose(narrow);
}

TEST_F(FilesCrafted, compound_that_is_no_complex_number_is_refused) {
  const hid_t pair = H5Tcreate(H5T_COMPOUND, 16);
  H5Tinsert(pair, "r", 0, H5T_IEEE_F64LE);
  H5Tinsert(pair, "j", 8, H5T_IEEE_F64LE);
  craft(aNumber(1));
  makeDataset(pair, {1, 1});
  expectRefused("found elements of a type that no host array has");
  H5Tclose(pair);
}

TEST_F(FilesCrafted, dataset_in_another_file_is_refused) {
  const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
  H5Pset_external(list, "/etc/hostname", 0, 8);
  craft(aNumber(1));
  makeDataset(H5T_STD_U8LE, {1, 8}, list);
  expectRefused("found data that lies outside the file");
  H5Pclose(list);
}

TEST_F(FilesCrafted, dataset_in_chunks_is_refused) {
  const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
  const hsize_t chunk[] = {1, 8};
  H5Pset_chunk(list, 2, chunk);
  H5Pset_deflate(list, 9);
  craft(aNumber(1));
  makeDataset(H5T_STD_U8LE, {1, 8}, list);
  expectRefused("found data that lies outside the file");
  H5Pclose(list);
}

TEST_F(FilesCrafted, dataset_in_its_own_header_is_refused) {
  const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
  H5Pset_layout(list, H5D_COMPACT);
  craft(aNumber(1));
  makeDataset(H5T_STD_U8LE, {1, 8}, list);
  expectRefused("found data that lies outside the file");
  H5Pclose(list);
}

TEST_F(FilesCrafted, scalar_dataset_is_refused) {
  craft(aNumber(1));
  removeX();
  const hid_t space = H5Screate(H5S_SCALAR);
  H5Dclose(H5Dcreate2(folder_, "x", H5T_IEEE_F64LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
  H5Sclose(space);
  expectRefused("found a dataset without dimensions");
}

TEST_F(FilesCrafted, soft_and_external_links_are_refused) {
  craft(aNumber(1));
  removeX();
  H5Lcreate_soft("/", folder_, "x", H5P_DEFAULT, H5P_DEFAULT);
  expectRefused("found a link that leads elsewhere");
  craft(aNumber(1));
  removeX();
  H5Lcreate_external(path.c_str(), "/", folder_, "x", H5P_DEFAULT, H5P_DEFAULT);
  expectRefused("found a link that leads elsewhere");
}

TEST_F(FilesCrafted, named_type_is_refused) {
  craft(aNumber(1));
  removeX();
  const hid_t type = H5Tcopy(H5T_STD_U8LE);
  H5Tcommit2(folder_, "x", type, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  H5Tclose(type);
  expectRefused("found something that is no array");
}

TEST_F(FilesCrafted, class_that_is_none_is_refused) {
  craft(aFullCell(1));
  const hid_t cell = openX();
  setText(cell, "class", "opaque");
  H5Oclose(cell);
  expectRefused("found a class that is none");
}

TEST_F(FilesCrafted, class_that_does_not_fit_the_type_is_refused) {
  craft(aText("text"));
  const hid_t text = openX();
  setText(text, "class", "logical");
  H5Oclose(text);
  expectRefused("found a class that does not fit its data");
}

TEST_F(FilesCrafted, group_without_a_class_is_refused) {
  craft(aFullCell(1));
  const hid_t cell = openX();
  H5Adelete(cell, "class");
  H5Oclose(cell);
  expectRefused("cannot open an attribute");
}

TEST_F(FilesCrafted, class_that_is_no_text_is_refused) {
  craft(aFullCell(1));
  const hid_t cell = openX();
  H5Adelete(cell, "class");
  setNumbers(cell, "class", {1});
  H5Oclose(cell);
  expectRefused("found an attribute that is no text");
}

TEST_F(FilesCrafted, cell_with_fewer_parts_than_its_shape_is_refused) {
  craft(aFullCell(3));
  const hid_t cell = openX();
  setNumbers(cell, "dimensions", {std::uint64_t{1} << 40, 1});
  H5Oclose(cell);
  expectRefused("found a wrong number of parts");
}

TEST_F(FilesCrafted, cell_with_a_part_under_another_name_is_refused) {
  craft(aFullCell(3));
  const hid_t cell = openX();
  H5Lmove(cell, "1", cell, "7", H5P_DEFAULT, H5P_DEFAULT);
  H5Oclose(cell);
  expectRefused("found a part missing");
}

TEST_F(FilesCrafted, impossible_shapes_of_cells_are_refused) {
  constexpr std::uint64_t half = std::uint64_t{1} << 32;
  for (const std::vector<std::uint64_t>& shape :
       {std::vector<std::uint64_t>{half, half}, {half, half, half}, {0, ~std::uint64_t{0}}}) {
    craft(aFullCell(3));
    const hid_t cell = openX();
    setNumbers(cell, "dimensions", shape);
    H5Oclose(cell);
    expectRefused("found an impossible size");
  }
  craft(aFullCell(3));
  const hid_t cell = openX();
  setNumbers(cell, "dimensions", {3});
  H5Oclose(cell);
  expectRefused("found an impossible shape");
}

TEST_F(FilesCrafted, structure_array_of_more_parts_than_the_file_holds_is_refused) {
  craft(aStruct({"a"}, {1, 2}));
  const hid_t structure = openX();
  setNumbers(structure, "dimensions", {std::uint64_t{1} << 40, 1});
  H5Oclose(structure);
  expectRefused("found more parts than the file can hold");
}

TEST_F(FilesCrafted, field_that_no_writer_names_so_is_refused) {
  for (const char* name : {"a%2f", "%41", "a%2", "%2F%"}) {
    craft(aStruct({"a"}));
    const hid_t structure = openX();
    H5Lmove(structure, "a", structure, name, H5P_DEFAULT, H5P_DEFAULT);
    H5Oclose(structure);
    expectRefused("found a name that is none");
  }
}

TEST_F(FilesCrafted, array_that_contains_itself_is_refused) {
  craft(aFullCell(1));
  const hid_t cell = openX();
  H5Ldelete(cell, "0", H5P_DEFAULT);
  H5Olink(cell, cell, "0", H5P_DEFAULT, H5P_DEFAULT);
  H5Oclose(cell);
  expectRefused("found more parts than the file can hold");
}

TEST_F(FilesCrafted, cell_that_contains_itself_twice_is_refused) {
  craft(aFullCell(2));
  const hid_t cell = openX();
  for (const char* name : {"0", "1"}) {
    H5Ldelete(cell, name, H5P_DEFAULT);
    H5Olink(cell, cell, name, H5P_DEFAULT, H5P_DEFAULT);
  }
  H5Oclose(cell);
  expectRefused("found more parts than the file can hold");
}

TEST_F(FilesCrafted, arrays_nested_too_deep_are_refused) {
  craft(aFullCell(1));
  hid_t inner = openX();
  H5Ldelete(inner, "0", H5P_DEFAULT);
  for (int i = 0; i < 400; ++i) {
    const hid_t next = H5Gcreate2(inner, "0", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    setText(next, "class", "cell");
    H5Oclose(inner);
    inner = next;
  }
  H5Oclose(inner);
  expectRefused("found arrays nested too deep");
}

TEST_F(FilesCrafted, one_dataset_under_many_names_is_refused) {
  OwnedArray cell = aFullCell(50);
  vormel::setCellElement(cell.get(), 0, aRow(std::vector<double>(10'000, 1.0)).release());
  craft(cell);
  const hid_t group = openX();
  for (int i = 1; i < 50; ++i) {
    const std::string name = std::to_string(i);
    H5Ldelete(group, name.c_str(), H5P_DEFAULT);
    H5Lcreate_hard(group, "0", group, name.c_str(), H5P_DEFAULT, H5P_DEFAULT);
  }
  H5Oclose(group);
  expectRefused("found more data than the file can hold");
}

TEST_F(FilesCrafted, changed_checksum_is_refused) {
  craft(aNumber(1));
  const hid_t number = openX();
  setNumbers(number, "checksum", {1});
  H5Oclose(number);
  expectRefused("found data that has changed since it was written");
}

TEST_F(FilesCrafted, shape_of_a_list_that_does_not_fit_is_refused) {
  craft(aNumeric(vrDOUBLE_CLASS, std::vector<std::size_t>(40, 1)));
  const hid_t list = openX();
  setNumbers(list, "dimensions", {2, 3});
  H5Oclose(list);
  expectRefused("found a shape that does not fit");
}

TEST_F(FilesCrafted, function_handle_of_many_elements_is_refused) {
  craft(owned(vormel::makeFunctionHandle("sin")));
  const hid_t function = openX();
  setNumbers(function, "dimensions", {2, 2});
  H5Oclose(function);
  expectRefused("found an impossible function handle");
}

TEST_F(FilesCrafted, folder_that_is_a_soft_link_is_refused_though_it_stays_in_the_file) {
  craft(aNumber(1));
  const std::string outer = firstMember(file_);
  H5Gclose(folder_);
  H5Lmove(file_, outer.c_str(), file_, "moved", H5P_DEFAULT, H5P_DEFAULT);
  H5Lcreate_soft("/moved", file_, outer.c_str(), H5P_DEFAULT, H5P_DEFAULT);
  H5Fclose(file_);
  EXPECT_FALSE(get(path, "x"));
  EXPECT_EQ(vormel::lastFileError(), "found a link that leads elsewhere");
  EXPECT_FALSE(put(path, "x", aNumber(1)));
}

TEST_F(FilesCrafted, folder_that_is_a_link_elsewhere_is_refused) {
  craft(aNumber(1));
  const std::string outer = firstMember(file_);
  H5Gclose(folder_);
  H5Ldelete(file_, outer.c_str(), H5P_DEFAULT);
  H5Lcreate_external("/etc/hostname", "/", file_, outer.c_str(), H5P_DEFAULT, H5P_DEFAULT);
  H5Fclose(file_);
  EXPECT_FALSE(get(path, "x"));
  EXPECT_EQ(vormel::lastFileError(), "found a link that leads elsewhere");
  EXPECT_FALSE(put(path, "x", aNumber(1)));
}

}  // namespace
}  // namespace kvr::test
