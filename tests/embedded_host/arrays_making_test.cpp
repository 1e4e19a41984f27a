// Making arrays: classes, shapes, and what is refused.
#include <cstdint>
#include <cstring>
#include <limits>

#include "kvrntob/host/libhu.h"
#include "kvrntob/host/ntob.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

// The class numbers are the host's.
static_assert(vrUNKNOWN_CLASS == 0 && vrCELL_CLASS == 1 && vrSTRUCT_CLASS == 2);
static_assert(vrLOGICAL_CLASS == 3 && vrCHAR_CLASS == 4);
static_assert(vrDOUBLE_CLASS == 6 && vrSINGLE_CLASS == 7);
static_assert(vrINT8_CLASS == 8 && vrUINT8_CLASS == 9);
static_assert(vrINT16_CLASS == 10 && vrUINT16_CLASS == 11);
static_assert(vrINT32_CLASS == 12 && vrUINT32_CLASS == 13);
static_assert(vrINT64_CLASS == 14 && vrUINT64_CLASS == 15);
static_assert(vrFUNCTION_CLASS == 16 && vrOPAQUE_CLASS == 17 && vrOBJECT_CLASS == 18);

class ArraysMaking : public LiveArraysTest {};

struct ClassRow {
  int id;
  const char* name;
  std::size_t elementSize;
  bool isNumeric;
};

constexpr ClassRow elementClasses[] = {
    {vrLOGICAL_CLASS, "logical", 1, false}, {vrCHAR_CLASS, "char", 2, false},
    {vrDOUBLE_CLASS, "double", 8, true},    {vrSINGLE_CLASS, "single", 4, true},
    {vrINT8_CLASS, "int8", 1, true},        {vrUINT8_CLASS, "uint8", 1, true},
    {vrINT16_CLASS, "int16", 2, true},      {vrUINT16_CLASS, "uint16", 2, true},
    {vrINT32_CLASS, "int32", 4, true},      {vrUINT32_CLASS, "uint32", 4, true},
    {vrINT64_CLASS, "int64", 8, true},      {vrUINT64_CLASS, "uint64", 8, true}};

OwnedArray anArrayOf(const ClassRow& row, const std::vector<std::size_t>& dimensions) {
  return row.id == vrCHAR_CLASS ? someCharacters(dimensions) : aNumeric(row.id, dimensions);
}

std::vector<std::size_t> shapeOf(const OwnedArray& array) {
  const std::size_t* first = vrGetDimensions_730(array.get());
  return {first, first + vrGetNumberOfDimensions_730(array.get())};
}

TEST_F(ArraysMaking, class_name_of_every_class_gives_its_number) {
  for (const ClassRow& row : elementClasses) {
    EXPECT_EQ(vrClassIDFromClassName(row.name), row.id) << row.name;
    EXPECT_EQ(vormel::className(anArrayOf(row, {1, 1}).get()), row.name);
  }
  EXPECT_EQ(vrClassIDFromClassName("cell"), vrCELL_CLASS);
  EXPECT_EQ(vrClassIDFromClassName("struct"), vrSTRUCT_CLASS);
  EXPECT_EQ(vrClassIDFromClassName("function_handle"), vrFUNCTION_CLASS);
}

TEST_F(ArraysMaking, class_name_that_is_none_gives_0) {
  for (const char* name : {"", "Double", "int", "int32 ", "timeseries"}) {
    EXPECT_EQ(vrClassIDFromClassName(name), 0) << name;
  }
}

TEST_F(ArraysMaking, array_of_every_class_has_its_facts) {
  for (const ClassRow& row : elementClasses) {
    const OwnedArray array = anArrayOf(row, {2, 3});
    EXPECT_EQ(vrGetClassID(array.get()), row.id);
    EXPECT_EQ(vrIsNumeric(array.get()), row.isNumeric) << row.name;
    EXPECT_EQ(vrGetElementSize(array.get()), row.elementSize) << row.name;
    EXPECT_EQ(vrGetNumberOfElements(array.get()), 6U);
    EXPECT_FALSE(vrIsComplex(array.get()));
  }
}

TEST_F(ArraysMaking, new_storage_is_zero_for_every_class_and_size) {
  for (const ClassRow& row : elementClasses) {
    for (const std::size_t count : {0, 1, 2, 3, 4, 5, 8, 9, 17, 1000}) {
      const OwnedArray array = anArrayOf(row, {1, count});
      const auto* bytes = static_cast<const char*>(vrGetData(array.get()));
      const std::size_t size = std::max<std::size_t>(8, row.elementSize * count);
      EXPECT_EQ(std::count(bytes, bytes + size, '\0'), static_cast<std::ptrdiff_t>(size));
    }
  }
}

TEST_F(ArraysMaking, scalar_has_one_element_and_is_not_empty) {
  const OwnedArray array = aNumber(2.5);
  EXPECT_TRUE(vrIsScalar(array.get()));
  EXPECT_FALSE(vrIsEmpty(array.get()));
  EXPECT_EQ(shapeOf(array), (std::vector<std::size_t>{1, 1}));
}

TEST_F(ArraysMaking, any_dimension_of_0_makes_an_array_empty) {
  for (const auto& shape : {std::vector<std::size_t>{0, 0}, {0, 5}, {5, 0}, {3, 2, 0, 4}}) {
    const OwnedArray array = aNumeric(vrINT16_CLASS, shape);
    EXPECT_TRUE(vrIsEmpty(array.get()));
    EXPECT_FALSE(vrIsScalar(array.get()));
    EXPECT_EQ(shapeOf(array), shape);
  }
}

TEST_F(ArraysMaking, n_dimensional_array_counts_columns_over_all_but_the_first) {
  const OwnedArray array = aNumeric(vrDOUBLE_CLASS, {2, 3, 4, 5});
  EXPECT_EQ(vrGetM(array.get()), 2U);
  EXPECT_EQ(vrGetN(array.get()), 60U);
  EXPECT_EQ(vrGetNumberOfElements(array.get()), 120U);
}

TEST_F(ArraysMaking, trailing_dimensions_of_1_are_kept) {
  EXPECT_EQ(shapeOf(aNumeric(vrSINGLE_CLASS, {2, 1, 1})), (std::vector<std::size_t>{2, 1, 1}));
  EXPECT_TRUE(vrIsScalar(aNumeric(vrSINGLE_CLASS, {1, 1, 1}).get()));
}

TEST_F(ArraysMaking, complex_array_has_zero_imaginary_storage_of_its_own) {
  for (const std::size_t count : {0, 1, 2, 9}) {
    const OwnedArray array = aComplex(vrSINGLE_CLASS, {1, count});
    EXPECT_TRUE(vrIsComplex(array.get()));
    const void* imaginary = vrGetImagData(array.get());
    ASSERT_NE(imaginary, nullptr);
    EXPECT_NE(imaginary, vrGetData(static_cast<const vrArray*>(array.get())));
    EXPECT_EQ(*static_cast<const std::uint64_t*>(imaginary), 0U);
  }
}

TEST_F(ArraysMaking, real_array_has_no_imaginary_storage) {
  const OwnedArray array = aRow({1, 2, 3});
  EXPECT_EQ(vrGetImagData(array.get()), nullptr);
  EXPECT_EQ(vrGetImagData(static_cast<const vrArray*>(array.get())), nullptr);
}

TEST_F(ArraysMaking, numeric_array_of_another_class_is_refused) {
  for (const int id : {-1, 0, 1, 2, 4, 5, 16, 17, 18, 19, 1000}) {
    expectHostError("NotNumeric", [&] { aNumeric(id, {1, 1}); });
  }
}

TEST_F(ArraysMaking, complex_logical_array_is_refused) {
  expectHostError("NotNumeric", [&] { aComplex(vrLOGICAL_CLASS, {1, 1}); });
}

TEST_F(ArraysMaking, impossible_sizes_are_refused) {
  constexpr std::size_t huge = std::numeric_limits<std::size_t>::max();
  const std::vector<std::size_t> shapes[] = {
      {}, {3}, {huge, 1}, {huge, 2}, {1UL << 33, 1UL << 33}, {0, huge, huge}, {1UL << 62, 2, 2}};
  for (const auto& shape : shapes) {
    expectHostError("ArraySize", [&] { aNumeric(vrDOUBLE_CLASS, shape); });
    expectHostError("ArraySize", [&] { someCharacters(shape); });
    expectHostError("ArraySize", [&] { aCell(shape); });
    expectHostError("ArraySize", [&] { anObject("point", shape); });
    expectHostError("ArraySize", [&] { aStruct({"a"}, shape); });
    expectHostError("ArraySize", [&] { aStruct({}, shape); });
  }
}

TEST_F(ArraysMaking, size_that_fits_bytes_but_not_doubles_is_refused_for_doubles_alone) {
  const std::vector<std::size_t> shape{1UL << 61, 0};
  EXPECT_TRUE(vrIsEmpty(aNumeric(vrINT8_CLASS, shape).get()));
  expectHostError("ArraySize", [&] { aNumeric(vrDOUBLE_CLASS, shape); });
}

TEST_F(ArraysMaking, more_memory_than_there_is_throws) {
  constexpr std::size_t many = 1UL << 56;  // more than can be addressed, less than is impossible
  EXPECT_THROW(aNumeric(vrDOUBLE_CLASS, {many, 1}), ntob::TOBOutOfMemoryException);
  EXPECT_THROW(aComplex(vrDOUBLE_CLASS, {many, 1}), ntob::TOBOutOfMemoryException);
  EXPECT_THROW(someCharacters({many, 1}), ntob::TOBOutOfMemoryException);
  EXPECT_THROW(aCell({many, 1}), ntob::TOBOutOfMemoryException);
  EXPECT_THROW(aStruct({"a", "b"}, {many, 1}), ntob::TOBOutOfMemoryException);
}

TEST_F(ArraysMaking, numeric_matrix_of_more_memory_than_there_is_gives_null) {
  EXPECT_EQ(vrCreateNumericMatrix_730(1UL << 56, 1, vrDOUBLE_CLASS, 0), nullptr);
}

TEST_F(ArraysMaking, numeric_matrix_of_another_class_or_an_impossible_size_is_refused) {
  expectHostError("NotNumeric", [] { vrCreateNumericMatrix_730(1, 1, vrCHAR_CLASS, 0); });
  expectHostError("ArraySize", [] { vrCreateNumericMatrix_730(1UL << 62, 4, vrINT8_CLASS, 0); });
}

TEST_F(ArraysMaking, create_string_of_an_empty_text_gives_0_by_0) {
  EXPECT_EQ(shapeOf(aText("")), (std::vector<std::size_t>{0, 0}));
  EXPECT_EQ(shapeOf(aText("abc")), (std::vector<std::size_t>{1, 3}));
}

TEST_F(ArraysMaking, empty_copy_is_0_by_0_real_and_of_the_same_class) {
  for (const ClassRow& row : elementClasses) {
    const OwnedArray array = anArrayOf(row, {4, 3, 2});
    const OwnedArray copy = owned(vrCreateEmptyCopy(array.get()));
    EXPECT_EQ(vrGetClassID(copy.get()), row.id);
    EXPECT_EQ(shapeOf(copy), (std::vector<std::size_t>{0, 0}));
  }
  EXPECT_FALSE(vrIsComplex(owned(vrCreateEmptyCopy(aComplex(6, {2, 2}).get())).get()));
}

TEST_F(ArraysMaking, empty_copy_of_arrays_with_names_keeps_the_names) {
  const OwnedArray structure = owned(vrCreateEmptyCopy(aStruct({"a", "b"}).get()));
  EXPECT_EQ(vormel::fieldNames(structure.get()), (std::vector<std::string>{"a", "b"}));
  const OwnedArray object = owned(vrCreateEmptyCopy(anObject("point").get()));
  EXPECT_EQ(vormel::className(object.get()), "point");
}

TEST_F(ArraysMaking, class_names_of_the_other_classes) {
  EXPECT_EQ(vormel::className(aCell().get()), "cell");
  EXPECT_EQ(vormel::className(aStruct({}).get()), "struct");
  EXPECT_EQ(vormel::className(anObject("point").get()), "point");
  EXPECT_EQ(vormel::className(owned(vormel::makeFunctionHandle("sin")).get()), "function_handle");
  EXPECT_EQ(vormel::className(owned(vormel::makeOpaque(nullptr)).get()), "opaque");
  EXPECT_EQ(vormel::className(owned(vormel::makeOpaque("stream")).get()), "stream");
}

TEST_F(ArraysMaking, only_an_opaque_array_has_a_subclass) {
  EXPECT_STREQ(vrGetSubclass(owned(vormel::makeOpaque("stream")).get()), "stream");
  EXPECT_EQ(vrGetSubclass(owned(vormel::makeOpaque(nullptr)).get()), nullptr);
  EXPECT_EQ(vrGetSubclass(anObject("point").get()), nullptr);
  EXPECT_EQ(vrGetSubclass(aNumber(1).get()), nullptr);
}

TEST_F(ArraysMaking, function_handle_is_a_scalar_that_keeps_its_name) {
  const OwnedArray array = owned(vormel::makeFunctionHandle("sin"));
  EXPECT_EQ(vrGetClassID(array.get()), vrFUNCTION_CLASS);
  EXPECT_TRUE(vrIsScalar(array.get()));
  EXPECT_EQ(vormel::functionName(array.get()), "sin");
  EXPECT_EQ(vormel::functionName(aText("sin").get()), "");
}

TEST(HostMemory, calloc_gives_zeroed_memory) {
  auto* bytes = static_cast<unsigned char*>(huCalloc(16, 4));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(std::count(bytes, bytes + 64, 0), 64);
  huFree(bytes);
}

TEST(HostMemory, calloc_of_a_product_that_does_not_fit_gives_null) {
  volatile std::size_t half = std::numeric_limits<std::size_t>::max() / 2;
  EXPECT_EQ(huCalloc(half, 3), nullptr);
}

TEST(HostMemory, free_of_null_is_ignored) { huFree(nullptr); }

}  // namespace
}  // namespace kvr::test
