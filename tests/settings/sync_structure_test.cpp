// The sync options structure, read and written, and the keywords of its codes.
#include "kvrntob/settings/structures.h"

#include <cmath>

#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {
namespace {

class SyncStructTest : public LiveArraysTest {
 protected:
  static SyncOptions read(const OwnedArray& array) { return readSyncOptionsStruct(array.get()); }
  static OwnedArray write(const SyncOptions& options) {
    return owned(writeSyncOptionsStruct(options));
  }
};

// ---- Keywords ----

TEST(SyncKeywords, sync_methods_have_their_codes) {
  EXPECT_EQ(parseSyncMethod("union"), 0);
  EXPECT_EQ(parseSyncMethod("intersection"), 1);
  EXPECT_EQ(parseSyncMethod("uniform"), 2);
}

TEST(SyncKeywords, interpolation_methods_have_their_codes) {
  EXPECT_EQ(parseInterpMethod("zoh"), 0);
  EXPECT_EQ(parseInterpMethod("linear"), 1);
}

TEST(SyncKeywords, case_does_not_matter) {
  EXPECT_EQ(parseSyncMethod("UNION"), 0);
  EXPECT_EQ(parseSyncMethod("InterSection"), 1);
  EXPECT_EQ(parseInterpMethod("LiNeAr"), 1);
}

TEST(SyncKeywords, what_is_no_sync_method_is_refused) {
  for (const char* text : {"", " union", "union ", "unionx", "uni", "linear", "zoh"})
    expectFailure("INVALID_SYNC", [&] { parseSyncMethod(text); });
}

TEST(SyncKeywords, what_is_no_interpolation_method_is_refused) {
  for (const char* text : {"", " zoh", "zoh ", "zohx", "lin", "union"})
    expectFailure("INVALID_INTERP", [&] { parseInterpMethod(text); });
}

// ---- Reading ----

TEST_F(SyncStructTest, read_takes_each_field) {
  const SyncOptions options = read(syncFields().build());
  EXPECT_EQ(options.SyncMethod, 2);
  EXPECT_EQ(options.InterpMethod, 1);
  EXPECT_EQ(options.UniformTimeInterval, 0.5);
  EXPECT_EQ(options.customSyncMethod, "custom");
  EXPECT_EQ(options.syncType, 1);
}

TEST_F(SyncStructTest, read_goes_by_name_and_not_by_order) {
  EXPECT_EQ(read(syncFields().reversed().build()), read(syncFields().build()));
}

TEST_F(SyncStructTest, read_takes_a_value_object) {
  EXPECT_EQ(read(syncFields().buildObject()), read(syncFields().build()));
}

TEST_F(SyncStructTest, read_of_several_elements_takes_the_first) {
  EXPECT_EQ(read(syncFields().build({2, 2})), read(syncFields().build()));
}

TEST_F(SyncStructTest, read_takes_keywords_in_any_case) {
  const SyncOptions options = read(
      syncFields().with("SyncMethod", aText("Union")).with("InterpMethod", aText("ZOH")).build());
  EXPECT_EQ(options.SyncMethod, 0);
  EXPECT_EQ(options.InterpMethod, 0);
}

TEST_F(SyncStructTest, read_of_another_class_reports_struct) {
  for (const OwnedArray& array : {aNumber(1), aText("x"), aCell(), anEmpty()})
    expectFailure("INPUT_MISMATCH", "struct", [&] { read(array); });
}

TEST_F(SyncStructTest, read_of_an_empty_structure_reports_struct) {
  expectFailure("INPUT_MISMATCH", "struct", [&] { read(syncFields().build({0, 1})); });
}

TEST_F(SyncStructTest, read_of_another_number_of_fields_reports_five) {
  expectFailure("NUMBER_OF_FIELDS", "5", [&] { read(syncFields().without("syncType").build()); });
  expectFailure("NUMBER_OF_FIELDS", "5",
                [&] { read(syncFields().with("extra", aNumber(0)).build()); });
}

TEST_F(SyncStructTest, read_with_a_misnamed_field_reports_a_missing_one) {
  for (const char* name :
       {"SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"})
    expectFailure("MISSING_FIELD", [&] { read(syncFields().renamed(name, "other").build()); });
}

TEST_F(SyncStructTest, read_with_a_text_of_another_class_reports_a_missing_field) {
  for (const char* name : {"SyncMethod", "InterpMethod", "customSyncMethod"}) {
    expectFailure("MISSING_FIELD", [&] { read(syncFields().with(name, aNumber(0)).build()); });
    expectFailure("MISSING_FIELD", [&] { read(syncFields().with(name, aCell()).build()); });
  }
}

TEST_F(SyncStructTest, read_with_an_interval_of_another_class_reports_a_missing_field) {
  for (const OwnedArray& interval :
       {anInt32(1), aScalar<float>(vrSINGLE_CLASS, 1), aText("1"), aTruth(true)}) {
    const OwnedArray array =
        syncFields().with("UniformTimeInterval", owned(vrDuplicateArray(interval.get()))).build();
    expectFailure("MISSING_FIELD", [&] { read(array); });
  }
}

TEST_F(SyncStructTest, read_with_a_sync_type_that_is_no_number_reports_a_missing_field) {
  expectFailure("MISSING_FIELD",
                [&] { read(syncFields().with("syncType", aTruth(true)).build()); });
  expectFailure("MISSING_FIELD", [&] { read(syncFields().with("syncType", aText("1")).build()); });
}

TEST_F(SyncStructTest, read_of_a_longer_interval_takes_its_first_element) {
  const OwnedArray array = syncFields().with("UniformTimeInterval", aRow({0.25, 9})).build();
  EXPECT_EQ(read(array).UniformTimeInterval, 0.25);
}

TEST_F(SyncStructTest, read_of_a_complex_interval_takes_its_real_part) {
  OwnedArray interval = filled<double>(aComplex(vrDOUBLE_CLASS, {1, 1}), {0.75});
  const OwnedArray array = syncFields().with("UniformTimeInterval", std::move(interval)).build();
  EXPECT_EQ(read(array).UniformTimeInterval, 0.75);
}

TEST_F(SyncStructTest, read_of_an_empty_interval_gives_nan) {
  const OwnedArray array = syncFields().with("UniformTimeInterval", anEmpty()).build();
  EXPECT_TRUE(std::isnan(read(array).UniformTimeInterval));
}

TEST_F(SyncStructTest, read_accepts_intervals_of_zero_and_below) {
  for (const double interval : {0.0, -2.0})
    EXPECT_EQ(read(syncFields().with("UniformTimeInterval", aNumber(interval)).build())
                  .UniformTimeInterval,
              interval);
}

TEST_F(SyncStructTest, read_truncates_the_sync_type) {
  EXPECT_EQ(read(syncFields().with("syncType", aNumber(1.9)).build()).syncType, 1);
  EXPECT_EQ(read(syncFields().with("syncType", aNumber(-0.9)).build()).syncType, 0);
}

TEST_F(SyncStructTest, read_of_a_sync_type_beyond_0_and_1_reports_it) {
  for (const double type : {-1.0, 2.0, 1e10, std::nan("")})
    expectFailure("SYNC_TYPE", [&] { read(syncFields().with("syncType", aNumber(type)).build()); });
}

TEST_F(SyncStructTest, read_of_an_empty_sync_type_reports_it) {
  expectFailure("SYNC_TYPE", [&] { read(syncFields().with("syncType", anEmpty()).build()); });
}

TEST_F(SyncStructTest, read_of_a_longer_sync_type_takes_its_first_element) {
  EXPECT_EQ(read(syncFields().with("syncType", aRow({0, 7})).build()).syncType, 0);
}

TEST_F(SyncStructTest, read_wants_keywords_also_for_a_custom_method) {
  expectFailure("INVALID_SYNC",
                [&] { read(syncFields().with("SyncMethod", aText("custom")).build()); });
  expectFailure("INVALID_INTERP",
                [&] { read(syncFields().with("InterpMethod", aText("")).build()); });
}

TEST_F(SyncStructTest, read_accepts_an_empty_custom_method_that_is_in_force) {
  const OwnedArray array = syncFields().with("customSyncMethod", aText("")).build();
  EXPECT_EQ(read(array).customSyncMethod, "");
  EXPECT_EQ(read(array).syncType, 1);
}

TEST_F(SyncStructTest, read_with_several_faults_reports_them_in_order) {
  StructBuilder fields = syncFields();
  fields.with("InterpMethod", aText("x"));
  expectFailure("INVALID_INTERP", [&] { read(fields.build()); });
  fields.with("SyncMethod", aText("x"));
  expectFailure("INVALID_SYNC", [&] { read(fields.build()); });
  fields.with("syncType", aNumber(2));
  expectFailure("SYNC_TYPE", [&] { read(fields.build()); });
  fields.with("UniformTimeInterval", anInt32(1));
  expectFailure("MISSING_FIELD", [&] { read(fields.build()); });
  fields.with("extra", aNumber(0));
  expectFailure("NUMBER_OF_FIELDS", "5", [&] { read(fields.build()); });
}

// ---- Writing ----

TEST_F(SyncStructTest, write_gives_each_field_its_name_class_and_shape) {
  const OwnedArray expected = StructBuilder()
                                  .with("SyncMethod", aText("union"))
                                  .with("InterpMethod", aText("zoh"))
                                  .with("UniformTimeInterval", aNumber(0.01))
                                  .with("customSyncMethod", aText(""))
                                  .with("syncType", anInt32(0))
                                  .build();
  EXPECT_TRUE(vormel::equal(write(SyncOptions()).get(), expected.get()));
}

TEST_F(SyncStructTest, write_gives_lower_case_keywords_for_each_code) {
  const auto field = [](const SyncOptions& options, const char* name) {
    return vrArrayToStdString(vrGetField_730(write(options).get(), 0, name));
  };
  SyncOptions options;
  options.SyncMethod = 1;
  options.InterpMethod = 1;
  EXPECT_EQ(field(options, "SyncMethod"), "intersection");
  EXPECT_EQ(field(options, "InterpMethod"), "linear");
  options.SyncMethod = 2;
  EXPECT_EQ(field(options, "SyncMethod"), "uniform");
}

TEST_F(SyncStructTest, write_of_a_code_beyond_the_keywords_gives_an_empty_text) {
  SyncOptions options;
  for (const int32 code : {-1, 3}) {
    options.SyncMethod = code;
    EXPECT_TRUE(vrIsEmpty(vrGetField_730(write(options).get(), 0, "SyncMethod")));
  }
}

TEST_F(SyncStructTest, read_of_what_was_written_gives_it_back) {
  const SyncOptions options = read(syncFields().build());
  EXPECT_EQ(read(write(options)), options);
}

}  // namespace
}  // namespace kvr::test
