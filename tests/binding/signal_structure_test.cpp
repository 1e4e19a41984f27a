// The structure in which a signal leaves the store: 19 fields, their classes, shapes and contents.
#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"

namespace kvr::test {
namespace {

using Shape = std::vector<std::size_t>;

class SignalStructure : public RepositoryTest {
 protected:
  // Adds a signal and reads it back.
  Value exported(const AddInputs& inputs) const {
    return call("getSignal", {callWithArrays("add", inputs.arrays()).toInt32()});
  }
  Value exported() const { return exported(AddInputs(run)); }
  Value exportedWith(std::size_t position, OwnedArray array) const {
    return exported(AddInputs(run).with(position, std::move(array)));
  }

  const int32 run = addRun();
};

TEST_F(SignalStructure, has_its_19_fields_in_order) {
  const Value signal = exported();
  expectArray(signal, vrSTRUCT_CLASS, {1, 1});
  EXPECT_EQ(
      signal.fieldNames(),
      (std::vector<std::string>{"DataID", "RunID", "RootSource", "TimeSource", "DataSource",
                                "DataValues", "BlockSource", "ModelSource", "SignalLabel",
                                "TimeDim", "SampleDims", "PortIndex", "Channel", "SID", "LineColor",
                                "LineDashed", "MetaData", "ParentID", "rootDataSrc"}));
}

TEST_F(SignalStructure, texts_are_character_rows) {
  const Value signal = exported();
  const std::pair<const char*, std::string> texts[] = {{"RootSource", "root source"},
                                                       {"TimeSource", "time source"},
                                                       {"DataSource", "data source"},
                                                       {"BlockSource", "block"},
                                                       {"ModelSource", "model"},
                                                       {"SignalLabel", "label"},
                                                       {"SID", "sid"},
                                                       {"rootDataSrc", "root data source"}};
  for (const auto& [field, text] : texts) {
    expectArray(signal.field(field), vrCHAR_CLASS, {1, text.size()});
    EXPECT_EQ(signal.field(field).toString(), text);
  }
}

TEST_F(SignalStructure, texts_keep_characters_beyond_ascii) {
  EXPECT_EQ(exportedWith(AddInputs::SignalLabel, aText("Größe €")).field("SignalLabel").toString(),
            "Größe €");
}

TEST_F(SignalStructure, empty_texts_are_0_by_0_characters) {
  for (const auto& [position, field] :
       {std::pair(AddInputs::RootSource, "RootSource"), std::pair(AddInputs::SID, "SID"),
        std::pair(AddInputs::RootDataSource, "rootDataSrc")})
    expectArray(exportedWith(position, aText("")).field(field), vrCHAR_CLASS, {0, 0});
}

TEST_F(SignalStructure, numbers_are_int32_scalars) {
  const int32 parent = exported().field("DataID").toInt32();
  const Value signal = exportedWith(AddInputs::Parent, aNumber(parent));
  const std::pair<const char*, int32> numbers[] = {
      {"DataID", 2}, {"RunID", run}, {"TimeDim", 1}, {"PortIndex", 4}, {"ParentID", parent}};
  for (const auto& [field, number] : numbers) {
    expectArray(signal.field(field), vrINT32_CLASS, {1, 1});
    EXPECT_EQ(signal.field(field).toInt32(), number) << field;
  }
}

TEST_F(SignalStructure, port_index_0_is_a_scalar) {
  const Value signal = exportedWith(AddInputs::PortIndex, anInt32(0));
  expectArray(signal.field("PortIndex"), vrINT32_CLASS, {1, 1});
  EXPECT_EQ(signal.field("PortIndex").toInt32(), 0);
}

TEST_F(SignalStructure, signal_without_parent_has_parent_0) {
  const Value signal = exportedWith(AddInputs::Parent, anEmpty());
  expectArray(signal.field("ParentID"), vrINT32_CLASS, {1, 1});
  EXPECT_EQ(signal.field("ParentID").toInt32(), 0);
}

TEST_F(SignalStructure, lists_are_int32_rows) {
  const Value signal = exported();
  expectArray(signal.field("SampleDims"), vrINT32_CLASS, {1, 2});
  EXPECT_EQ(signal.field("SampleDims").toInt32s(), (std::vector<int32>{2, 3}));
  expectArray(signal.field("Channel"), vrINT32_CLASS, {1, 3});
  EXPECT_EQ(signal.field("Channel").toInt32s(), (std::vector<int32>{7, 8, 9}));
}

TEST_F(SignalStructure, empty_lists_are_1_by_0) {
  expectArray(exportedWith(AddInputs::SampleDims, anEmpty()).field("SampleDims"), vrINT32_CLASS,
              {1, 0});
  expectArray(exportedWith(AddInputs::Channel, aCell({0, 0})).field("Channel"), vrINT32_CLASS,
              {1, 0});
}

TEST_F(SignalStructure, line_color_is_a_row_of_three_doubles_and_follows_its_setter) {
  expectArray(exported().field("LineColor"), vrDOUBLE_CLASS, {1, 3});
  call("setLineColor", {1, 0.25, 0.5, 1.0});
  EXPECT_EQ(call("getSignal", {1}).field("LineColor").toDoubles(),
            (std::vector<double>{0.25, 0.5, 1.0}));
}

TEST_F(SignalStructure, line_style_follows_its_setter) {
  exported();
  for (const std::string style : {"--", "anything", ""}) {
    call("setLineStyle", {1, style});
    EXPECT_EQ(call("getSignal", {1}).field("LineDashed").toString(), style);
  }
}

TEST_F(SignalStructure, values_are_the_object_that_was_added_with_all_its_properties) {
  OwnedArray series = aTimeseries({5, 6}, {0, 1});
  vrSetProperty_730(series.get(), 0, "Note", aText("mine").get());
  const OwnedArray given(vrDuplicateArray(series.get()));
  const Value values = exportedWith(AddInputs::Values, std::move(series)).field("DataValues");
  EXPECT_TRUE(vormel::equal(values.array(), given.get()));
  EXPECT_EQ(values.field("Note").toString(), "mine");
}

TEST_F(SignalStructure, values_and_metadata_of_any_class_come_back_as_they_were_given) {
  const Value number = exportedWith(AddInputs::Values, aRow({1, 2, 3}));
  EXPECT_TRUE(vormel::equal(number.field("DataValues").array(), aRow({1, 2, 3}).get()));
  const Value cell = exportedWith(AddInputs::MetaData, aCell({2, 2}));
  EXPECT_TRUE(vormel::equal(cell.field("MetaData").array(), aCell({2, 2}).get()));
}

TEST_F(SignalStructure, values_and_metadata_do_not_follow_later_changes_of_what_was_given) {
  AddInputs inputs(run);
  OwnedArray values = aRow({1, 2}), metaData = aRow({3, 4});
  inputs.with(AddInputs::Values, OwnedArray(vrCreateSharedDataCopy(values.get())));
  inputs.with(AddInputs::MetaData, OwnedArray(vrCreateSharedDataCopy(metaData.get())));
  exported(inputs);
  static_cast<double*>(vrGetData(values.get()))[0] = 9;
  static_cast<double*>(vrGetData(metaData.get()))[0] = 9;
  const Value signal = call("getSignal", {1});
  EXPECT_EQ(signal.field("DataValues").toDoubles(), (std::vector<double>{1, 2}));
  EXPECT_EQ(signal.field("MetaData").toDoubles(), (std::vector<double>{3, 4}));
}

TEST_F(SignalStructure, read_values_and_metadata_share_their_elements_with_the_store) {
  exportedWith(AddInputs::Values, aRow({1, 2}));
  const Value first = call("getSignal", {1});
  const Value second = call("getSignal", {1});
  const auto data = [](const Value& signal, const char* field) {
    return vrGetData(signal.field(field).array());
  };
  EXPECT_EQ(data(first, "DataValues"), data(second, "DataValues"));
  EXPECT_EQ(data(first, "MetaData"), data(second, "MetaData"));
}

TEST_F(SignalStructure, outlives_the_signal_it_was_read_from) {
  const Value signal = exported();
  call("remove", {1});
  EXPECT_EQ(signal.field("MetaData").toString(), "metadata");
  EXPECT_EQ(signal.field("DataValues").field("Data").toDoubles(), (std::vector<double>{5, 6}));
}

}  // namespace
}  // namespace kvr::test
