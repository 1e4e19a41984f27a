// The structure in which a signal leaves the store.
#include "kvrntob/store/data.h"

#include "kvrntob/base/host_arrays.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

class ExportTest : public StoreTest {
 protected:
  const int32 run = addRun();

  // A field of the structure of a signal just added.
  static OwnedArray fieldOf(const SignalBuilder& signal, const char* name) {
    return field(store().copyRecordByID(add(signal)), name);
  }
  static OwnedArray field(const Data& record, const char* name) {
    const OwnedArray structure = owned(exportSignal(record));
    return owned(vrDuplicateArray(vrGetField_730(structure.get(), 0, name)));
  }
  static void expectEqual(const OwnedArray& actual, const OwnedArray& expected) {
    EXPECT_TRUE(vormel::equal(actual.get(), expected.get()));
  }
  static OwnedArray int32s(const std::vector<int32>& values) { return owned(makeInt32Row(values)); }
};

TEST_F(ExportTest, structure_has_nineteen_fields_in_their_order) {
  const OwnedArray structure = owned(exportSignal(store().copyRecordByID(addTo(run))));
  EXPECT_TRUE(vrIsScalar(structure.get()));
  EXPECT_EQ(
      vormel::fieldNames(structure.get()),
      (std::vector<std::string>{"DataID", "RunID", "RootSource", "TimeSource", "DataSource",
                                "DataValues", "BlockSource", "ModelSource", "SignalLabel",
                                "TimeDim", "SampleDims", "PortIndex", "Channel", "SID", "LineColor",
                                "LineDashed", "MetaData", "ParentID", "rootDataSrc"}));
}

TEST_F(ExportTest, ids_are_int32_scalars) {
  const int32 other = addRun();
  expectEqual(fieldOf(aSignal().inRun(other), "DataID"), anInt32(1));
  expectEqual(fieldOf(aSignal().inRun(other), "RunID"), anInt32(other));
}

TEST_F(ExportTest, strings_are_character_rows) {
  const Data record = store().copyRecordByID(add(aSignal().inRun(run).withRootDataSource("root")));
  const std::pair<const char*, const char*> texts[] = {{"RootSource", "root source"},
                                                       {"TimeSource", "time source"},
                                                       {"DataSource", "data source"},
                                                       {"BlockSource", "block"},
                                                       {"ModelSource", "model"},
                                                       {"SignalLabel", "label"},
                                                       {"SID", "sid"},
                                                       {"rootDataSrc", "root"}};
  for (const auto& [name, text] : texts) expectEqual(field(record, name), aText(text));
}

TEST_F(ExportTest, empty_string_is_0_by_0_characters) {
  const OwnedArray label = fieldOf(aSignal().inRun(run).withLabel(""), "SignalLabel");
  expectEqual(label, someCharacters({0, 0}));
}

TEST_F(ExportTest, time_dimension_is_an_int32_scalar) {
  expectEqual(fieldOf(aSignal().inRun(run).withTimeDim(2), "TimeDim"), anInt32(2));
}

TEST_F(ExportTest, lists_are_int32_rows) {
  expectEqual(fieldOf(aSignal().inRun(run).withSampleDims({3, 1}), "SampleDims"), int32s({3, 1}));
  expectEqual(fieldOf(aSignal().inRun(run).withChannel({5}), "Channel"), int32s({5}));
}

TEST_F(ExportTest, empty_lists_are_1_by_0) {
  expectEqual(fieldOf(aSignal().inRun(run).withSampleDims({}), "SampleDims"),
              aNumeric(vrINT32_CLASS, {1, 0}));
  expectEqual(fieldOf(aSignal().inRun(run).withChannel({}), "Channel"),
              aNumeric(vrINT32_CLASS, {1, 0}));
}

TEST_F(ExportTest, port_index_0_is_a_scalar) {
  expectEqual(fieldOf(aSignal().inRun(run).withPortIndex(0), "PortIndex"), anInt32(0));
}

TEST_F(ExportTest, port_index_minus_1_is_0_by_0) {
  expectEqual(field(aSignal().withPortIndex(-1).makeRecord(), "PortIndex"),
              aNumeric(vrINT32_CLASS, {0, 0}));
}

TEST_F(ExportTest, parent_is_an_int32_scalar_and_0_without_one) {
  expectEqual(fieldOf(aSignal().inRun(run), "ParentID"), anInt32(0));
  expectEqual(fieldOf(aSignal().inRun(run).under(1), "ParentID"), anInt32(1));
}

TEST_F(ExportTest, color_is_a_row_of_three_doubles) {
  const int32 id = addTo(run);
  store().setLineColor(id, 0.25, 0.5, 1);
  expectEqual(field(store().copyRecordByID(id), "LineColor"), aRow({0.25, 0.5, 1}));
}

TEST_F(ExportTest, line_style_is_the_text_that_is_stored) {
  const int32 id = addTo(run);
  store().setLineStyle(id, "wavy");
  expectEqual(field(store().copyRecordByID(id), "LineDashed"), aText("wavy"));
}

TEST_F(ExportTest, values_in_memory_share_their_elements_with_the_store) {
  const SharedArray values = kept(aRow({1, 2, 3}));
  const int32 id = add(aSignal().inRun(run).withValues(values));
  const OwnedArray structure = owned(exportSignal(store().copyRecordByID(id)));
  const vrArray* exported = vrGetField_730(structure.get(), 0, "DataValues");
  EXPECT_EQ(vrGetData(exported), vrGetData(static_cast<const vrArray*>(values.get())));
}

TEST_F(ExportTest, values_in_memory_keep_properties_beyond_data_and_time) {
  OwnedArray series = aTimeseries({1}, {0});
  vrSetProperty_730(series.get(), 0, "Name", aText("mine").get());
  const OwnedArray values =
      fieldOf(aSignal().inRun(run).withValues(kept(std::move(series))), "DataValues");
  const OwnedArray name = owned(vrGetProperty_730(values.get(), 0, "Name"));
  EXPECT_EQ(vrArrayToStdString(name.get()), "mine");
}

TEST_F(ExportTest, metadata_is_what_was_stored_and_shares_its_elements) {
  const SharedArray metaData = kept(aRow({4, 5}));
  const int32 id = add(aSignal().inRun(run).withMetaData(metaData));
  const OwnedArray structure = owned(exportSignal(store().copyRecordByID(id)));
  const vrArray* exported = vrGetField_730(structure.get(), 0, "MetaData");
  EXPECT_EQ(vrGetData(exported), vrGetData(static_cast<const vrArray*>(metaData.get())));
}

TEST_F(ExportTest, writing_to_what_was_exported_leaves_the_store_alone) {
  const int32 id = add(aSignal().inRun(run).withMetaData(kept(aNumber(1))));
  const OwnedArray structure = owned(exportSignal(store().copyRecordByID(id)));
  OwnedArray exported =
      owned(vrCreateSharedDataCopy(vrGetField_730(structure.get(), 0, "MetaData")));
  *static_cast<double*>(vrGetData(exported.get())) = 99;
  EXPECT_EQ(vrGetScalar(store().copyRecordByID(id).getMetaData().get()), 1);
}

TEST_F(ExportTest, structure_outlives_the_signal) {
  const int32 id = add(aSignal().inRun(run).withMetaData(kept(aNumber(8))));
  const OwnedArray structure = owned(exportSignal(store().copyRecordByID(id)));
  store().removeSignal(id);
  EXPECT_EQ(vrGetScalar(vrGetField_730(structure.get(), 0, "MetaData")), 8);
}

}  // namespace
}  // namespace kvr::test
