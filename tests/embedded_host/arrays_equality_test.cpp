// Comparing arrays.
#include <limits>

#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysEquality : public LiveArraysTest {};

bool areEqual(const OwnedArray& a, const OwnedArray& b) {
  return vormel::equal(a.get(), b.get()) && vormel::equal(b.get(), a.get());
}

TEST_F(ArraysEquality, same_class_shape_and_content_is_equal) {
  EXPECT_TRUE(areEqual(aRow({1, 2, 3}), aRow({1, 2, 3})));
  EXPECT_TRUE(areEqual(aText("abc"), aText("abc")));
  EXPECT_TRUE(areEqual(aTimeseries({1}, {2}), aTimeseries({1}, {2})));
}

TEST_F(ArraysEquality, any_difference_makes_unequal) {
  EXPECT_FALSE(areEqual(aRow({1, 2, 3}), aRow({1, 2, 4})));
  EXPECT_FALSE(areEqual(aRow({1, 2, 3}), aColumn({1, 2, 3})));
  EXPECT_FALSE(areEqual(aNumber(1), anInt32(1)));
  EXPECT_FALSE(areEqual(aNumeric(6, {1, 2}), aNumeric(6, {1, 2, 1})));
  EXPECT_FALSE(areEqual(aNumeric(6, {1, 2}), aComplex(6, {1, 2})));
  EXPECT_FALSE(areEqual(aStruct({"a", "b"}), aStruct({"b", "a"})));
  EXPECT_FALSE(areEqual(anObject("point"), anObject("line")));
  EXPECT_FALSE(areEqual(aTimeseries({1}, {2}), aTimeseries({1}, {3})));
}

TEST_F(ArraysEquality, imaginary_part_counts) {
  for (const std::size_t count : {1, 2}) {
    const OwnedArray array = aComplex(vrDOUBLE_CLASS, {1, count});
    *static_cast<double*>(vrGetImagData(array.get())) = 1;
    EXPECT_FALSE(areEqual(array, aComplex(vrDOUBLE_CLASS, {1, count})));
  }
}

TEST_F(ArraysEquality, nan_equals_nan_and_zeros_differ_by_sign) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(areEqual(aNumber(nan), aNumber(nan)));
  EXPECT_FALSE(areEqual(aNumber(0.0), aNumber(-0.0)));
}

TEST_F(ArraysEquality, unset_field_equals_a_0_by_0_double) {
  const OwnedArray structure = aStruct({"a"});
  vrSetFieldByNumber_730(structure.get(), 0, 0, anEmpty().release());
  EXPECT_TRUE(areEqual(structure, aStruct({"a"})));
}

TEST_F(ArraysEquality, function_handles_are_equal_by_name) {
  const auto handle = [](const char* name) { return owned(vormel::makeFunctionHandle(name)); };
  EXPECT_TRUE(areEqual(handle("sin"), handle("sin")));
  EXPECT_FALSE(areEqual(handle("sin"), handle("cos")));
}

TEST_F(ArraysEquality, opaque_arrays_are_equal_by_subclass) {
  const auto opaque = [](const char* subclass) { return owned(vormel::makeOpaque(subclass)); };
  EXPECT_TRUE(areEqual(opaque("stream"), opaque("stream")));
  EXPECT_TRUE(areEqual(opaque(nullptr), opaque(nullptr)));
  EXPECT_FALSE(areEqual(opaque("stream"), opaque(nullptr)));
}

}  // namespace
}  // namespace kvr::test
