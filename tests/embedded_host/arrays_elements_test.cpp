// Reading elements as numbers.
#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/support/array_builders.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysElements : public LiveArraysTest {};

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();

TEST_F(ArraysElements, facts_are_what_the_single_questions_answer) {
  const OwnedArray arrays[] = {aRow({1, 2, 3}),
                               anEmpty(),
                               aText("long enough for a block"),
                               aStruct({"a"}, {2, 3}),
                               aCell(),
                               aNumeric(vrINT8_CLASS, {2, 3, 4}),
                               aComplex(vrSINGLE_CLASS, {1, 1})};
  for (const OwnedArray& owned : arrays) {
    const vrArray* array = owned.get();
    const vormel::ArrayFacts facts = vormel::factsOf(array);
    EXPECT_EQ(facts.classID, vrGetClassID(array));
    EXPECT_EQ(facts.isComplex, vrIsComplex(array));
    EXPECT_EQ(facts.isMatrix, vrGetNumberOfDimensions_730(array) == 2);
    EXPECT_EQ(facts.rows, vrGetM(array));
    EXPECT_EQ(facts.count, vrGetNumberOfElements(array));
    EXPECT_EQ(facts.elements, vrGetData(array));
  }
}

TEST_F(ArraysElements, get_scalar_reads_the_first_element_of_every_class) {
  EXPECT_EQ(vrGetScalar(aRow({2.5, 3}).get()), 2.5);
  EXPECT_EQ(vrGetScalar(aScalar<float>(vrSINGLE_CLASS, 0.5F).get()), 0.5);
  EXPECT_EQ(vrGetScalar(aScalar<std::int8_t>(vrINT8_CLASS, -128).get()), -128);
  EXPECT_EQ(vrGetScalar(aScalar<std::uint8_t>(vrUINT8_CLASS, 255).get()), 255);
  EXPECT_EQ(vrGetScalar(aScalar<std::int16_t>(vrINT16_CLASS, -32768).get()), -32768);
  EXPECT_EQ(vrGetScalar(aScalar<std::uint16_t>(vrUINT16_CLASS, 65535).get()), 65535);
  EXPECT_EQ(vrGetScalar(anInt32(-2147483647).get()), -2147483647.0);
  EXPECT_EQ(vrGetScalar(aScalar<std::uint32_t>(vrUINT32_CLASS, 4294967295).get()), 4294967295.0);
  EXPECT_EQ(vrGetScalar(aScalar<std::int64_t>(vrINT64_CLASS, -(1L << 53)).get()), -0x1p53);
  EXPECT_EQ(vrGetScalar(aScalar<std::uint64_t>(vrUINT64_CLASS, 1UL << 63).get()), 0x1p63);
}

TEST_F(ArraysElements, get_scalar_reads_a_logical_as_0_or_1) {
  EXPECT_EQ(vrGetScalar(aTruth(true).get()), 1);
  EXPECT_EQ(vrGetScalar(aTruth(false).get()), 0);
  EXPECT_EQ(vrGetScalar(aScalar<std::uint8_t>(vrLOGICAL_CLASS, 7).get()), 1);
}

TEST_F(ArraysElements, get_scalar_reads_a_character_as_its_code) {
  EXPECT_EQ(vrGetScalar(aText("A").get()), 65);
  EXPECT_EQ(vrGetScalar(aText("\xE2\x82\xAC").get()), 0x20AC);
}

TEST_F(ArraysElements, get_scalar_reads_the_real_part_alone) {
  const OwnedArray array = filled<double>(aComplex(vrDOUBLE_CLASS, {1, 1}), {4});
  *static_cast<double*>(vrGetImagData(array.get())) = 9;
  EXPECT_EQ(vrGetScalar(array.get()), 4);
}

TEST_F(ArraysElements, get_scalar_of_what_holds_no_number_is_nan) {
  EXPECT_TRUE(std::isnan(vrGetScalar(anEmpty().get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(aText("").get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(aStruct({"a"}).get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(aCell().get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(anObject("point").get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(owned(vormel::makeFunctionHandle("f")).get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(owned(vormel::makeOpaque(nullptr)).get())));
}

TEST_F(ArraysElements, get_scalar_int_truncates_toward_zero_and_gives_the_lowest_for_misfits) {
  const std::pair<double, std::int32_t> rows[] = {{0, 0},
                                                  {2.9, 2},
                                                  {-2.9, -2},
                                                  {-0.0, 0},
                                                  {2147483647.0, 2147483647},
                                                  {2147483647.9, 2147483647},
                                                  {2147483648.0, lowest},
                                                  {-2147483648.0, lowest},
                                                  {-2147483648.9, lowest},
                                                  {-2147483649.0, lowest},
                                                  {1e300, lowest},
                                                  {infinity, lowest},
                                                  {-infinity, lowest},
                                                  {nan, lowest}};
  for (const auto& [value, expected] : rows) {
    EXPECT_EQ(vrGetScalarInt(aNumber(value).get()), expected) << value;
  }
}

TEST_F(ArraysElements, get_scalar_int_of_what_holds_no_number_is_the_lowest) {
  EXPECT_EQ(vrGetScalarInt(anEmpty().get()), lowest);
  EXPECT_EQ(vrGetScalarInt(aStruct({"a"}).get()), lowest);
}

TEST_F(ArraysElements, word_at_the_start_of_a_small_integer_reads_zero_beyond_the_element) {
  const OwnedArray byte = aScalar<std::int8_t>(vrINT8_CLASS, -1);
  EXPECT_EQ(*static_cast<const std::int32_t*>(vrGetData(byte.get())), 255);
  const OwnedArray list = filled<std::int16_t>(aNumeric(vrINT16_CLASS, {1, 1}), {-1});
  EXPECT_EQ(*static_cast<const std::int32_t*>(vrGetData(list.get())), 65535);
}

TEST_F(ArraysElements, arrays_without_elements_have_no_element_storage) {
  const OwnedArray cell = aCell();
  EXPECT_EQ(vrGetData(cell.get()), nullptr);
  EXPECT_EQ(vrGetData(static_cast<const vrArray*>(cell.get())), nullptr);
  EXPECT_EQ(vrGetElementSize(cell.get()), 8U);
  EXPECT_EQ(vrGetData(aStruct({"a"}).get()), nullptr);
  EXPECT_EQ(vrGetData(owned(vormel::makeFunctionHandle("f")).get()), nullptr);
}

}  // namespace
}  // namespace kvr::test
