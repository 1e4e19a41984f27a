// Copies share storage until one side is written.
#include <cstring>

#include "kvrntob/host/ntob.h"
#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysSharing : public LiveArraysTest {};

const void* storage(const OwnedArray& array) {
  return vrGetData(static_cast<const vrArray*>(array.get()));
}

OwnedArray sharedCopy(const OwnedArray& array) {
  return owned(vrCreateSharedDataCopy(array.get()));
}

TEST_F(ArraysSharing, shared_copy_reads_the_same_storage) {
  const OwnedArray array = aRow({1, 2, 3});
  const OwnedArray copy = sharedCopy(array);
  EXPECT_EQ(storage(copy), storage(array));
  EXPECT_TRUE(vormel::equal(copy.get(), array.get()));
}

TEST_F(ArraysSharing, write_to_a_shared_copy_leaves_the_other_side) {
  const OwnedArray array = aRow({1, 2, 3});
  const OwnedArray copy = sharedCopy(array);
  static_cast<double*>(vrGetData(copy.get()))[1] = 20;
  EXPECT_EQ(numbersOf(array.get()), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(numbersOf(copy.get()), (std::vector<double>{1, 20, 3}));
}

TEST_F(ArraysSharing, write_to_the_original_leaves_the_copy) {
  const OwnedArray array = aNumber(1);
  const OwnedArray copy = sharedCopy(array);
  *static_cast<double*>(vrGetData(array.get())) = 2;
  EXPECT_EQ(vrGetScalar(copy.get()), 1);
}

TEST_F(ArraysSharing, write_without_another_side_keeps_the_storage) {
  const OwnedArray array = aRow({1, 2, 3});
  sharedCopy(array);
  const void* before = storage(array);
  EXPECT_EQ(vrGetData(array.get()), before);
}

TEST_F(ArraysSharing, write_to_the_imaginary_part_leaves_the_other_side) {
  const OwnedArray array = aComplex(vrDOUBLE_CLASS, {1, 2});
  const OwnedArray copy = sharedCopy(array);
  static_cast<double*>(vrGetImagData(copy.get()))[1] = 5;
  static_cast<double*>(vrGetData(copy.get()))[1] = 4;
  const auto imaginary = [](const OwnedArray& a) {
    return static_cast<const double*>(vrGetImagData(static_cast<const vrArray*>(a.get())))[1];
  };
  EXPECT_EQ(imaginary(array), 0);
  EXPECT_EQ(imaginary(copy), 5);
  EXPECT_EQ(numbersOf(copy.get()), (std::vector<double>{0, 4}));
}

TEST_F(ArraysSharing, storage_outlives_the_array_it_was_made_with) {
  OwnedArray array = aRow({4, 5, 6});
  const OwnedArray copy = sharedCopy(array);
  array.reset();
  EXPECT_EQ(numbersOf(copy.get()), (std::vector<double>{4, 5, 6}));
}

TEST_F(ArraysSharing, n_dimensional_copy_keeps_its_shape_after_the_original_ended) {
  OwnedArray array = aNumeric(vrINT8_CLASS, {2, 3, 4});
  const OwnedArray copy = sharedCopy(array);
  array.reset();
  EXPECT_EQ(vrGetNumberOfDimensions_730(copy.get()), 3U);
  EXPECT_EQ(vrGetDimensions_730(copy.get())[2], 4U);
}

TEST_F(ArraysSharing, structure_copy_shares_its_fields_until_one_side_is_set) {
  const OwnedArray structure = aStruct({"a", "b"});
  vrSetFieldByNumber_730(structure.get(), 0, 0, aRow({1, 2, 3}).release());
  const OwnedArray copy = sharedCopy(structure);
  EXPECT_EQ(vrGetField_730(copy.get(), 0, "a"), vrGetField_730(structure.get(), 0, "a"));
  vrSetFieldByNumber_730(copy.get(), 0, 1, aNumber(7).release());
  EXPECT_TRUE(vrIsEmpty(vrGetField_730(structure.get(), 0, "b")));
  EXPECT_EQ(vrGetData(vrGetField_730(copy.get(), 0, "a")),
            vrGetData(vrGetField_730(structure.get(), 0, "a")));
}

TEST_F(ArraysSharing, object_copy_gains_a_property_alone) {
  const OwnedArray object = aTimeseries({1, 2}, {0, 1});
  const OwnedArray copy = sharedCopy(object);
  vrSetProperty_730(copy.get(), 0, "Name", aText("x").get());
  EXPECT_EQ(vrGetNumberOfFields(object.get()), 2);
  EXPECT_EQ(vrGetNumberOfFields(copy.get()), 3);
}

TEST_F(ArraysSharing, duplicate_shares_no_storage) {
  const OwnedArray array = aRow({1, 2, 3});
  const OwnedArray copy = owned(vrDuplicateArray(array.get()));
  EXPECT_NE(storage(copy), storage(array));
  EXPECT_TRUE(vormel::equal(copy.get(), array.get()));
}

TEST_F(ArraysSharing, duplicate_shares_no_storage_at_any_depth) {
  const OwnedArray inner = aCell();
  vormel::setCellElement(inner.get(), 0, aRow({1, 2, 3}).release());
  const OwnedArray outer = aStruct({"x"});
  vrSetFieldByNumber_730(outer.get(), 0, 0, sharedCopy(inner).release());
  const OwnedArray copy = owned(vrDuplicateArray(outer.get()));
  const auto deepStorage = [](const OwnedArray& a) {
    return vrGetData(vormel::cellElement(vrGetField_730(a.get(), 0, "x"), 0));
  };
  EXPECT_NE(deepStorage(copy), deepStorage(outer));
  EXPECT_TRUE(vormel::equal(copy.get(), outer.get()));
}

TEST_F(ArraysSharing, internal_form_shares_storage_and_is_marked) {
  const OwnedArray array = aRow({1, 2, 3});
  const OwnedArray kept(ntobConvertArrayToInternal(array.get()));
  EXPECT_TRUE(vormel::isInternalForm(kept.get()));
  EXPECT_FALSE(vormel::isInternalForm(array.get()));
  EXPECT_EQ(storage(kept), storage(array));
}

TEST_F(ArraysSharing, copy_of_an_internal_form_is_external) {
  const OwnedArray kept(ntobConvertArrayToInternal(aNumber(1).get()));
  EXPECT_FALSE(vormel::isInternalForm(sharedCopy(kept).get()));
}

TEST_F(ArraysSharing, conversion_to_external_takes_the_mark_off_in_place) {
  const OwnedArray kept(ntobConvertArrayToInternal(aNumber(3).get()));
  ntobConvertArrayToExternalInPlace(kept.get());
  EXPECT_FALSE(vormel::isInternalForm(kept.get()));
  EXPECT_EQ(vrGetScalar(kept.get()), 3);
}

}  // namespace
}  // namespace kvr::test
