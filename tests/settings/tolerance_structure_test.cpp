// The tolerance structure, read and written.
#include "kvrntob/settings/structures.h"

#include <cmath>
#include <limits>

#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {
namespace {

// The fields in their order, with the word that a bad number is reported under.
struct NumberRow {
  const char* name;
  double ToleranceSettings::*member;
  const char* word;
};
const NumberRow kNumbers[] = {
    {"absolute", &ToleranceSettings::absolute, "Absolute tolerance"},
    {"relative", &ToleranceSettings::relative, "Relative tolerance"},
    {"timeStart", &ToleranceSettings::timeStart, "Start time"},
    {"timeEnd", &ToleranceSettings::timeEnd, "End time"},
    {"timeStep", &ToleranceSettings::timeStep, "Time step"},
    {"initAbsTolVal", &ToleranceSettings::initAbsTolVal, "Initial absolute tolerance"},
    {"absStep", &ToleranceSettings::absStep, "Absolute step"},
    {"initRelTolVal", &ToleranceSettings::initRelTolVal, "Initial relative tolerance"},
    {"relStep", &ToleranceSettings::relStep, "Relative step"},
};

class ToleranceStructTest : public LiveArraysTest {
 protected:
  static ToleranceSettings read(const OwnedArray& array) {
    return readToleranceStruct(array.get());
  }
  static OwnedArray write(const ToleranceSettings& settings) {
    return owned(writeToleranceStruct(settings));
  }
};

TEST_F(ToleranceStructTest, read_takes_each_field) {
  const ToleranceSettings settings = read(toleranceFields().build());
  EXPECT_EQ(settings.toleranceType, 1);
  double value = 0;
  for (const NumberRow& number : kNumbers)
    EXPECT_EQ(settings.*number.member, ++value) << number.name;
  EXPECT_EQ(settings.fcnCall, "f");
}

TEST_F(ToleranceStructTest, read_goes_by_name_and_not_by_order) {
  EXPECT_EQ(read(toleranceFields().reversed().build()), read(toleranceFields().build()));
}

TEST_F(ToleranceStructTest, read_takes_a_value_object) {
  EXPECT_EQ(read(toleranceFields().buildObject()), read(toleranceFields().build()));
}

TEST_F(ToleranceStructTest, read_of_several_elements_takes_the_first) {
  EXPECT_EQ(read(toleranceFields().build({1, 2})), read(toleranceFields().build()));
}

TEST_F(ToleranceStructTest, read_of_another_class_reports_struct) {
  for (const OwnedArray& array : {aNumber(1), aText("x"), aCell(), anEmpty()}) {
    expectFailure("INPUT_MISMATCH", "struct", [&] { read(array); });
  }
}

TEST_F(ToleranceStructTest, read_of_an_empty_structure_reports_struct) {
  expectFailure("INPUT_MISMATCH", "struct", [&] { read(toleranceFields().build({0, 0})); });
}

TEST_F(ToleranceStructTest, read_of_an_empty_structure_without_fields_reports_struct) {
  expectFailure("INPUT_MISMATCH", "struct", [&] { read(aStruct({}, {0, 0})); });
}

TEST_F(ToleranceStructTest, read_of_twelve_fields_reports_eleven) {
  expectFailure("NUMBER_OF_FIELDS", "11",
                [&] { read(toleranceFields().with("extra", aNumber(0)).build()); });
}

TEST_F(ToleranceStructTest, read_of_ten_fields_reports_eleven) {
  expectFailure("NUMBER_OF_FIELDS", "11",
                [&] { read(toleranceFields().without("relStep").build()); });
}

TEST_F(ToleranceStructTest, read_of_a_value_object_counts_its_properties) {
  expectFailure("NUMBER_OF_FIELDS", "11",
                [&] { read(toleranceFields().without("relStep").buildObject()); });
}

TEST_F(ToleranceStructTest, read_with_a_misnamed_field_reports_a_missing_one) {
  for (const char* name : {"toleranceType", "absolute", "relative", "timeStart", "timeEnd",
                           "initAbsTolVal", "absStep", "initRelTolVal", "relStep", "fcnCall"})
    expectFailure("MISSING_FIELD", [&] { read(toleranceFields().renamed(name, "other").build()); });
}

TEST_F(ToleranceStructTest, read_compares_field_names_with_their_case) {
  expectFailure("MISSING_FIELD",
                [&] { read(toleranceFields().renamed("absolute", "Absolute").build()); });
}

TEST_F(ToleranceStructTest, read_truncates_the_type) {
  EXPECT_EQ(read(toleranceFields().with("toleranceType", aNumber(1.9)).build()).toleranceType, 1);
  EXPECT_EQ(read(toleranceFields().with("toleranceType", aNumber(2.7)).build()).toleranceType, 2);
  EXPECT_EQ(read(toleranceFields().with("toleranceType", aNumber(-0.9)).build()).toleranceType, 0);
}

TEST_F(ToleranceStructTest, read_of_a_type_beyond_0_to_2_reports_the_type) {
  for (const double type : {-1.0, 3.0, 1e10, std::nan(""), std::numeric_limits<double>::infinity()})
    expectFailure("TOL_TYPE",
                  [&] { read(toleranceFields().with("toleranceType", aNumber(type)).build()); });
}

TEST_F(ToleranceStructTest, read_of_a_type_that_is_no_real_numeric_scalar_reports_the_type) {
  for (const OwnedArray& type : {aText("1"), aTruth(true), aRow({1, 1}), anEmpty(),
                                 aComplex(vrDOUBLE_CLASS, {1, 1}), aCell()}) {
    const OwnedArray array =
        toleranceFields().with("toleranceType", owned(vrDuplicateArray(type.get()))).build();
    expectFailure("TOL_TYPE", [&] { read(array); });
  }
}

TEST_F(ToleranceStructTest, read_takes_numbers_of_every_numeric_class) {
  const ToleranceSettings settings =
      read(toleranceFields()
               .with("toleranceType", aScalar<float>(vrSINGLE_CLASS, 2))
               .with("absolute", aScalar<float>(vrSINGLE_CLASS, 0.5F))
               .with("relative", aScalar<std::int8_t>(vrINT8_CLASS, -3))
               .with("absStep", aScalar<std::uint64_t>(vrUINT64_CLASS, 9))
               .build());
  EXPECT_EQ(settings.toleranceType, 2);
  EXPECT_EQ(settings.absolute, 0.5);
  EXPECT_EQ(settings.relative, -3);
  EXPECT_EQ(settings.absStep, 9);
}

TEST_F(ToleranceStructTest, read_of_a_number_of_the_wrong_kind_reports_its_word) {
  for (const NumberRow& number : kNumbers) {
    for (const OwnedArray& value : {aText("1"), aTruth(true), aRow({1, 1}), anEmpty(),
                                    aComplex(vrDOUBLE_CLASS, {1, 1}), aCell()}) {
      const OwnedArray array =
          toleranceFields().with(number.name, owned(vrDuplicateArray(value.get()))).build();
      expectFailure("NOT_NUMERIC", number.word, [&] { read(array); });
    }
  }
}

TEST_F(ToleranceStructTest, read_keeps_any_number_unchanged) {
  const double infinity = std::numeric_limits<double>::infinity();
  const ToleranceSettings settings = read(toleranceFields()
                                              .with("absolute", aNumber(-1))
                                              .with("timeStart", aNumber(infinity))
                                              .with("timeEnd", aNumber(std::nan("")))
                                              .build());
  EXPECT_EQ(settings.absolute, -1);
  EXPECT_EQ(settings.timeStart, infinity);
  EXPECT_TRUE(std::isnan(settings.timeEnd));
}

TEST_F(ToleranceStructTest, read_of_a_function_call_of_another_class_reports_characters) {
  expectFailure("INPUT_MISMATCH", "Character of strings",
                [&] { read(toleranceFields().with("fcnCall", aNumber(0)).build()); });
}

TEST_F(ToleranceStructTest, read_takes_an_empty_function_call) {
  EXPECT_EQ(read(toleranceFields().with("fcnCall", aText("")).build()).fcnCall, "");
}

TEST_F(ToleranceStructTest, read_with_several_faults_reports_them_in_order) {
  StructBuilder fields = toleranceFields();
  fields.with("fcnCall", aNumber(0));
  const auto expect = [&](const char* failureClass, const char* word) {
    expectFailure(failureClass, word, [&] { read(fields.build()); });
  };
  expect("INPUT_MISMATCH", "Character of strings");
  for (auto number = std::rbegin(kNumbers); number != std::rend(kNumbers); ++number) {
    fields.with(number->name, aText("no number"));
    expect("NOT_NUMERIC", number->word);
  }
  fields.with("toleranceType", aNumber(3));
  expectFailure("TOL_TYPE", [&] { read(fields.build()); });
  fields.renamed("relStep", "other");
  expectFailure("MISSING_FIELD", [&] { read(fields.build()); });
  fields.with("extra", aNumber(0));
  expect("NUMBER_OF_FIELDS", "11");
}

TEST_F(ToleranceStructTest, read_without_time_step_reports_the_faults_before_it) {
  StructBuilder fields = toleranceFields();
  fields.renamed("timeStep", "other").with("timeEnd", aText("x"));
  expectFailure("NOT_NUMERIC", "End time", [&] { read(fields.build()); });
}

TEST_F(ToleranceStructTest, write_has_eleven_fields_in_their_order) {
  const OwnedArray structure = write(ToleranceSettings());
  std::vector<std::string> names{"toleranceType"};
  for (const NumberRow& number : kNumbers) names.emplace_back(number.name);
  names.emplace_back("fcnCall");
  EXPECT_EQ(vormel::fieldNames(structure.get()), names);
  EXPECT_EQ(vrGetClassID(structure.get()), vrSTRUCT_CLASS);
  EXPECT_TRUE(vrIsScalar(structure.get()));
}

TEST_F(ToleranceStructTest, write_gives_each_field_its_class_and_shape) {
  ToleranceSettings settings;
  settings.fcnCall = "f(x)";
  const OwnedArray structure = write(settings);
  const OwnedArray expected = [] {
    StructBuilder fields;
    fields.with("toleranceType", anInt32(0));
    for (const NumberRow& number : kNumbers) fields.with(number.name, aNumber(0));
    return fields.with("fcnCall", aText("f(x)")).build();
  }();
  EXPECT_TRUE(vormel::equal(structure.get(), expected.get()));
}

TEST_F(ToleranceStructTest, write_gives_all_groups_whatever_the_type) {
  const ToleranceSettings settings = read(toleranceFields().build());
  EXPECT_TRUE(vormel::equal(write(settings).get(), toleranceFields().build().get()));
}

TEST_F(ToleranceStructTest, read_of_what_was_written_gives_it_back) {
  const ToleranceSettings settings = read(toleranceFields().build());
  EXPECT_EQ(read(write(settings)), settings);
}

}  // namespace
}  // namespace kvr::test
