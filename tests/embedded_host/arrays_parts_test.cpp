// Cells, structures and value objects.
#include "embedded_host/messages/host_exception.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysParts : public LiveArraysTest {};

using Names = std::vector<std::string>;

TEST_F(ArraysParts, new_structure_has_its_fields_in_order_and_all_are_0_by_0_doubles) {
  const OwnedArray structure = aStruct({"Time", "Data"}, {1, 2});
  EXPECT_EQ(vormel::fieldNames(structure.get()), (Names{"Time", "Data"}));
  EXPECT_EQ(vrGetNumberOfFields(structure.get()), 2);
  for (const char* name : {"Time", "Data"}) {
    EXPECT_TRUE(vormel::equal(vrGetField_730(structure.get(), 1, name), anEmpty().get()));
  }
}

TEST_F(ArraysParts, number_of_field_names_is_that_of_arrays_with_the_same_names_alone) {
  const OwnedArray first = aStruct({"a", "b"});
  const OwnedArray other = aStruct({"b", "a"});
  const OwnedArray copy(vormel::detachedCopy(first.get()));
  EXPECT_EQ(vormel::fieldNamesNumber(copy.get()), vormel::fieldNamesNumber(first.get()));
  EXPECT_NE(vormel::fieldNamesNumber(other.get()), vormel::fieldNamesNumber(first.get()));
  EXPECT_NE(vormel::fieldNamesNumber(first.get()), 0U);
  EXPECT_EQ(vormel::fieldNamesNumber(aCell().get()), 0U);
}

TEST_F(ArraysParts, property_that_is_added_gives_the_names_another_number) {
  const OwnedArray object = anObject("point");
  const std::uint64_t before = vormel::fieldNamesNumber(object.get());
  vrSetProperty_730(object.get(), 0, "x", aNumber(1).get());
  EXPECT_NE(vormel::fieldNamesNumber(object.get()), before);
}

TEST_F(ArraysParts, set_field_reaches_the_field_of_that_element_alone) {
  const OwnedArray structure = aStruct({"a", "b"}, {2, 2});
  vrSetFieldByNumber_730(structure.get(), 3, 1, aNumber(7).release());
  EXPECT_EQ(vrGetScalar(vrGetField_730(structure.get(), 3, "b")), 7);
  EXPECT_TRUE(vrIsEmpty(vrGetField_730(structure.get(), 3, "a")));
  EXPECT_TRUE(vrIsEmpty(vrGetField_730(structure.get(), 2, "b")));
}

TEST_F(ArraysParts, set_field_releases_what_the_field_held) {
  const OwnedArray structure = aStruct({"a"});
  vrSetFieldByNumber_730(structure.get(), 0, 0, aNumber(1).release());
  vrSetFieldByNumber_730(structure.get(), 0, 0, aNumber(2).release());
  EXPECT_EQ(liveArrays.made(), 2U);
}

TEST_F(ArraysParts, set_field_that_is_not_there_fails_and_leaves_the_value_to_the_caller) {
  const OwnedArray structure = aStruct({"a"});
  const OwnedArray value = aNumber(1);
  for (const auto& [index, field] : {std::pair{0, 1}, {1, 0}, {0, -1}}) {
    expectHostError("NoSuchField", [&, index = index, field = field] {
      vrSetFieldByNumber_730(structure.get(), index, field, value.get());
    });
  }
  expectHostError("NoSuchField", [&] { vrSetFieldByNumber_730(aCell().get(), 0, 0, value.get()); });
}

TEST_F(ArraysParts, get_field_that_is_not_there_gives_null) {
  const OwnedArray structure = aStruct({"a"});
  EXPECT_EQ(vrGetField_730(structure.get(), 0, "b"), nullptr);
  EXPECT_EQ(vrGetField_730(structure.get(), 1, "a"), nullptr);
  EXPECT_EQ(vrGetField_730(aNumber(1).get(), 0, "a"), nullptr);
}

TEST_F(ArraysParts, array_cannot_be_part_of_itself_or_of_two) {
  const OwnedArray structure = aStruct({"a", "b"});
  expectHostError("ArrayInUse",
                  [&] { vrSetFieldByNumber_730(structure.get(), 0, 0, structure.get()); });
  vrArray* value = aNumber(1).release();
  vrSetFieldByNumber_730(structure.get(), 0, 0, value);
  expectHostError("ArrayInUse", [&] { vrSetFieldByNumber_730(structure.get(), 0, 1, value); });
}

TEST_F(ArraysParts, structure_without_fields_or_elements_has_no_parts) {
  EXPECT_EQ(vrGetNumberOfFields(aStruct({}, {3, 3}).get()), 0);
  const OwnedArray empty = aStruct({"a"}, {0, 5});
  EXPECT_EQ(vrGetNumberOfFields(empty.get()), 1);
  EXPECT_EQ(vrGetField_730(empty.get(), 0, "a"), nullptr);
}

TEST_F(ArraysParts, cell_elements_are_set_and_read_by_index) {
  const OwnedArray cell = aCell({2, 2});
  vormel::setCellElement(cell.get(), 2, aText("x").release());
  EXPECT_EQ(vrArrayToStdString(vormel::cellElement(cell.get(), 2)), "x");
  EXPECT_TRUE(vormel::equal(vormel::cellElement(cell.get(), 3), anEmpty().get()));
}

TEST_F(ArraysParts, cell_element_that_is_not_there_fails) {
  const OwnedArray value = aNumber(1);
  expectHostError("NoSuchElement", [&] { vormel::cellElement(aCell({2, 2}).get(), 4); });
  expectHostError("NoSuchElement", [&] { vormel::cellElement(aStruct({"a"}).get(), 0); });
  expectHostError("NoSuchElement", [&] {
    vormel::setCellElement(aCell({2, 2}).get(), 4, value.get());
  });
}

TEST_F(ArraysParts, set_property_keeps_a_copy_and_adds_new_names_in_order) {
  const OwnedArray object = anObject("point");
  const OwnedArray value = aRow({1, 2, 3});
  vrSetProperty_730(object.get(), 0, "y", value.get());
  vrSetProperty_730(object.get(), 0, "x", value.get());
  static_cast<double*>(vrGetData(value.get()))[0] = 9;
  EXPECT_EQ(vormel::fieldNames(object.get()), (Names{"y", "x"}));
  const OwnedArray property = owned(vrGetProperty_730(object.get(), 0, "y"));
  EXPECT_EQ(numbersOf(property.get()), (std::vector<double>{1, 2, 3}));
}

TEST_F(ArraysParts, set_property_again_replaces_the_value) {
  const OwnedArray object = anObject("point");
  vrSetProperty_730(object.get(), 0, "x", aNumber(1).get());
  vrSetProperty_730(object.get(), 0, "x", aNumber(2).get());
  EXPECT_EQ(vrGetNumberOfFields(object.get()), 1);
  EXPECT_EQ(vrGetScalar(vrGetField_730(object.get(), 0, "x")), 2);
}

TEST_F(ArraysParts, set_property_of_one_element_gives_the_others_an_empty_one) {
  const OwnedArray object = anObject("point", {1, 3});
  vrSetProperty_730(object.get(), 1, "x", aNumber(1).get());
  vrSetProperty_730(object.get(), 2, "y", aNumber(2).get());
  EXPECT_EQ(vrGetScalar(vrGetField_730(object.get(), 1, "x")), 1);
  EXPECT_EQ(vrGetScalar(vrGetField_730(object.get(), 2, "y")), 2);
  EXPECT_TRUE(vrIsEmpty(vrGetField_730(object.get(), 0, "x")));
  EXPECT_TRUE(vrIsEmpty(vrGetField_730(object.get(), 1, "y")));
}

TEST_F(ArraysParts, object_may_hold_a_copy_of_itself) {
  const OwnedArray object = anObject("point");
  vrSetProperty_730(object.get(), 0, "x", aNumber(1).get());
  vrSetProperty_730(object.get(), 0, "self", object.get());
  const vrArray* inner = vrGetField_730(object.get(), 0, "self");
  EXPECT_EQ(vormel::fieldNames(inner), (Names{"x"}));
}

TEST_F(ArraysParts, set_property_of_what_is_no_value_object_fails) {
  const OwnedArray value = aNumber(1);
  expectHostError("NoSuchProperty",
                  [&] { vrSetProperty_730(aStruct({"x"}).get(), 0, "x", value.get()); });
  expectHostError("NoSuchProperty",
                  [&] { vrSetProperty_730(anObject("point").get(), 1, "x", value.get()); });
}

TEST_F(ArraysParts, set_property_of_null_fails) {
  const OwnedArray value = aNumber(1);
  expectHostError("NoArray", [&] { vrSetProperty_730(nullptr, 0, "x", value.get()); });
}

TEST_F(ArraysParts, set_property_of_null_after_a_trapped_failure_is_that_failure_once) {
  const OwnedArray value = aNumber(1);
  vormel::setTrappedFailure(std::make_exception_ptr(std::string("the function's own")));
  EXPECT_THROW(vrSetProperty_730(nullptr, 0, "x", value.get()), std::string);
  expectHostError("NoArray", [&] { vrSetProperty_730(nullptr, 0, "x", value.get()); });
}

TEST_F(ArraysParts, get_property_that_is_not_there_gives_null) {
  const OwnedArray object = anObject("point");
  vrSetProperty_730(object.get(), 0, "x", aNumber(1).get());
  EXPECT_EQ(vrGetProperty_730(object.get(), 0, "y"), nullptr);
  EXPECT_EQ(vrGetProperty_730(object.get(), 1, "x"), nullptr);
  EXPECT_EQ(vrGetProperty_730(aStruct({"x"}).get(), 0, "x"), nullptr);
}

TEST_F(ArraysParts, properties_of_a_value_object_read_as_fields) {
  const OwnedArray object = aTimeseries({1, 2}, {0, 1});
  EXPECT_EQ(vrGetNumberOfFields(object.get()), 2);
  EXPECT_EQ(numbersOf(vrGetField_730(object.get(), 0, "Time")), (std::vector<double>{0, 1}));
}

TEST_F(ArraysParts, arrays_of_other_classes_have_no_fields) {
  EXPECT_EQ(vrGetNumberOfFields(aNumber(1).get()), 0);
  EXPECT_EQ(vrGetNumberOfFields(aCell().get()), 0);
  EXPECT_EQ(vrGetNumberOfFields(owned(vormel::makeOpaque("handle")).get()), 0);
}

}  // namespace
}  // namespace kvr::test
