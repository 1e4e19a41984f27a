#include "kvrntob/base/host_arrays.h"

#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

using HostArraysTest = LiveArraysTest;

void expectShape(const OwnedArray& array, int classID, std::size_t rows, std::size_t columns) {
  EXPECT_EQ(vrGetClassID(array.get()), classID);
  EXPECT_EQ(vrGetNumberOfDimensions_730(array.get()), 2U);
  EXPECT_EQ(vrGetM(array.get()), rows);
  EXPECT_EQ(vrGetN(array.get()), columns);
  EXPECT_FALSE(vrIsComplex(array.get()));
}

TEST_F(HostArraysTest, make_int32_gives_a_scalar) {
  const OwnedArray array = owned(makeInt32(-5));
  expectShape(array, vrINT32_CLASS, 1, 1);
  EXPECT_EQ(vrGetScalarInt(array.get()), -5);
}

TEST_F(HostArraysTest, make_int32_row_gives_one_row) {
  const OwnedArray array = owned(makeInt32Row({3, -4}));
  expectShape(array, vrINT32_CLASS, 1, 2);
  const auto* data = static_cast<const int32*>(vrGetData(static_cast<const vrArray*>(array.get())));
  EXPECT_EQ(data[0], 3);
  EXPECT_EQ(data[1], -4);
}

TEST_F(HostArraysTest, make_int32_row_of_nothing_is_1_by_0) {
  expectShape(owned(makeInt32Row({})), vrINT32_CLASS, 1, 0);
}

TEST_F(HostArraysTest, make_empty_int32_is_0_by_0) {
  expectShape(owned(makeEmptyInt32()), vrINT32_CLASS, 0, 0);
}

TEST_F(HostArraysTest, make_double_gives_a_scalar) {
  const OwnedArray array = owned(makeDouble(0.25));
  expectShape(array, vrDOUBLE_CLASS, 1, 1);
  EXPECT_EQ(vrGetScalar(array.get()), 0.25);
}

TEST_F(HostArraysTest, make_double_row_gives_one_row) {
  const OwnedArray array = owned(makeDoubleRow({0.5, 1.5}));
  expectShape(array, vrDOUBLE_CLASS, 1, 2);
  EXPECT_EQ(numbersOf(array.get()), (std::vector<double>{0.5, 1.5}));
}

TEST_F(HostArraysTest, make_string_gives_a_character_row) {
  const OwnedArray array = owned(makeString("text"));
  expectShape(array, vrCHAR_CLASS, 1, 4);
  EXPECT_EQ(vrArrayToStdString(array.get()), "text");
}

TEST_F(HostArraysTest, make_string_of_an_empty_text_is_0_by_0) {
  expectShape(owned(makeString("")), vrCHAR_CLASS, 0, 0);
}

TEST_F(HostArraysTest, make_string_ends_at_a_nul_character) {
  const OwnedArray array = owned(makeString(std::string("ab\0cd", 5)));
  EXPECT_EQ(vrArrayToStdString(array.get()), "ab");
}

TEST_F(HostArraysTest, make_structure_has_its_fields_in_order) {
  const char* const names[] = {"second", "First"};
  const OwnedArray array = owned(makeStructure(names));
  expectShape(array, vrSTRUCT_CLASS, 1, 1);
  EXPECT_EQ(vormel::fieldNames(array.get()), (std::vector<std::string>{"second", "First"}));
}

}  // namespace
}  // namespace kvr::test
