// add: its 18 inputs, taken strictly in order, and what each may be.
#include <limits>

#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

using In = AddInputs;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

class Add : public RepositoryTest {
 protected:
  int32 add(const AddInputs& inputs) const {
    return callWithArrays("add", inputs.arrays()).toInt32();
  }
  int32 addWith(std::size_t position, OwnedArray array) const {
    return add(AddInputs(run).with(position, std::move(array)));
  }
  Data record(int32 id) const { return store().copyRecordByID(id); }

  const int32 run = addRun("run", 7);
};

// ---- Order of the failures ----

// An input that fails, and how. A run that is unknown is found last of all.
struct BadInput {
  std::size_t position;
  OwnedArray (*make)();
  const char* failure;
  const char* word;
};

OwnedArray minusOne() { return aNumber(-1); }
OwnedArray minusOneInt32() { return anInt32(-1); }
OwnedArray squareInt32() { return aNumeric(vrINT32_CLASS, {2, 2}); }

const BadInput kBadInputs[] = {
    {In::TimeDim, twoNumbers, "NOT_INTEGER_SCALAR", "Time Dimension"},
    {In::TimeDim, minusOne, "NOT_POSITIVE", "Time Dimension"},
    {In::SampleDims, half, "NOT_INTEGER", "sample dimensions"},
    {In::SampleDims, squareInt32, "NOT_VECTOR", "sample dimensions"},
    {In::PortIndex, half, "NOT_INTEGER_SCALAR", "Port Index"},
    {In::PortIndex, minusOneInt32, "NOT_POSITIVE", "Port Index"},
    {In::Channel, half, "NOT_INTEGER", "channel"},
    {In::Channel, squareInt32, "NOT_1BY2VECTOR", "channel"},
    {In::Parent, someText, "NOT_INTEGER_SCALAR", "Parent data id"},
    {In::Parent, minusOne, "NOT_POSITIVE", "Parent id"},
    {In::Run, [] { return anInt32(99); }, "NON_EXISTENT", "Run ID"},
};

TEST_F(Add, each_bad_input_reports_its_own_word_and_changes_nothing) {
  const UnchangedStore unchanged;
  for (const BadInput& bad : kBadInputs)
    expectFailure(bad.failure, bad.word, [&] { addWith(bad.position, bad.make()); });
}

TEST_F(Add, of_two_bad_inputs_the_earlier_in_the_order_is_reported) {
  const UnchangedStore unchanged;
  for (const BadInput& first : kBadInputs) {
    for (const BadInput* second = &first + 1; second != std::end(kBadInputs); ++second) {
      if (first.position == second->position) continue;
      SCOPED_TRACE(std::string(first.word) + " and " + second->word);
      AddInputs inputs(run);
      inputs.with(first.position, first.make()).with(second->position, second->make());
      expectFailure(first.failure, first.word, [&] { add(inputs); });
    }
  }
}

TEST_F(Add, unknown_run_outranks_an_unknown_parent) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Run ID",
                [&] { add(AddInputs(99).with(In::Parent, anInt32(99))); });
}

// An identifier string that is no text fails in the host's own conversion, in its place.
TEST_F(Add, sid_that_is_no_text_fails_after_the_channel_and_before_the_parent) {
  const UnchangedStore unchanged;
  const auto hostKey = [&](const AddInputs& inputs) -> std::string {
    try {
      add(inputs);
    } catch (const vormel::HostException& failure) {
      return failure.identifier().substr(0, 7);
    }
    return "nothing";
  };
  EXPECT_EQ(hostKey(AddInputs(run).with(In::SID, half())), "Vormel:");
  EXPECT_EQ(hostKey(AddInputs(run).with(In::SID, half()).with(In::Parent, minusOne())), "Vormel:");
  expectFailure("NOT_INTEGER", "channel",
                [&] { add(AddInputs(run).with(In::SID, half()).with(In::Channel, half())); });
}

// The arguments come first, the handle after them, the store last.
class AddThroughDeadHandle : public Add {
 protected:
  AddThroughDeadHandle() { vormel::Interpreter::instance().end(repository); }
};

TEST_F(AddThroughDeadHandle, bad_inputs_outrank_the_handle) {
  for (const BadInput& bad : kBadInputs) {
    if (bad.position == In::Run) continue;
    expectFailure(bad.failure, bad.word, [&] { addWith(bad.position, bad.make()); });
  }
}

TEST_F(AddThroughDeadHandle, handle_outranks_an_unknown_run) {
  const UnchangedStore unchanged;
  expectFailure("INVALID_OBJ", [&] { add(AddInputs(99)); });
}

TEST_F(AddThroughDeadHandle, good_inputs_report_the_handle_and_use_up_no_id) {
  const UnchangedStore unchanged;
  expectFailure("INVALID_OBJ", [&] { add(AddInputs(run)); });
}

// ---- Ids ----

TEST_F(Add, gives_ids_in_order) {
  EXPECT_EQ(add(AddInputs(run)), 1);
  EXPECT_EQ(add(AddInputs(run)), 2);
}

TEST_F(Add, failed_argument_or_run_uses_up_no_id) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { add(AddInputs(99)); });
  expectFailure("NOT_POSITIVE", "Parent id", [&] { addWith(In::Parent, minusOne()); });
  EXPECT_EQ(add(AddInputs(run)), 1);
}

TEST_F(Add, unknown_parent_reports_id_and_uses_up_an_id) {
  EXPECT_EQ(add(AddInputs(run)), 1);
  expectFailure("NON_EXISTENT", "ID", [&] { addWith(In::Parent, anInt32(99)); });
  EXPECT_EQ(store().signalCount(), 1);
  EXPECT_EQ(add(AddInputs(run)), 3);
}

TEST_F(Add, id_comes_as_an_int32_cell_whatever_is_asked_for) {
  for (const int nargout : {0, 1, 2}) {
    vormel::CallFrame frame(repositoryMethod("add"), AddInputs::kCount, nargout);
    const AddInputs inputs(run);
    frame.setInput(0, repository.handle());
    for (std::size_t i = 1; i < AddInputs::kCount; ++i) frame.setInput(i, inputs.at(i));
    frame.run();
    EXPECT_EQ(frame.outputCount(), nargout);
    EXPECT_EQ(frame.int32At(0), lastSignalID);
  }
}

TEST_F(Add, fewer_inputs_are_refused_by_the_host) {
  const UnchangedStore unchanged;
  std::vector<const vrArray*> inputs;
  const AddInputs good(run);
  for (const vrArray* array : good.arrays()) {
    expectHostError("NotEnoughInputs", [&] { callWithArrays("add", inputs); });
    inputs.push_back(array);
  }
}

TEST_F(Add, surplus_inputs_are_not_looked_at) {
  std::vector<const vrArray*> inputs;
  const AddInputs good(run);
  inputs = good.arrays();
  const OwnedArray more = someText();
  inputs.push_back(more.get());
  EXPECT_EQ(callWithArrays("add", inputs).toInt32(), 1);
}

// ---- What is stored ----

TEST_F(Add, strings_are_stored_as_they_are) {
  const Data signal = record(add(AddInputs(run)));
  EXPECT_EQ(signal.getRootSource(), "root source");
  EXPECT_EQ(signal.getTimeSource(), "time source");
  EXPECT_EQ(signal.getDataSource(), "data source");
  EXPECT_EQ(signal.getBlockSource(), "block");
  EXPECT_EQ(signal.getModelSource(), "model");
  EXPECT_EQ(signal.getSignalLabel(), "label");
  EXPECT_EQ(signal.getSID(), "sid");
  EXPECT_EQ(signal.getRootDataSrc(), "root data source");
}

TEST_F(Add, new_signal_is_hidden_inherits_and_has_the_runs_instance) {
  const Data signal = record(add(AddInputs(run)));
  EXPECT_FALSE(signal.isVisible());
  EXPECT_TRUE(signal.isToleranceInherited());
  EXPECT_TRUE(signal.isSyncOptionsInherited());
  EXPECT_FALSE(signal.isStoredInFile());
  EXPECT_EQ(signal.getInstanceID(), 7);
  EXPECT_EQ(signal.getRunID(), run);
}

TEST_F(Add, second_input_is_never_read) {
  for (const auto& any : {half, someText, emptyCell, point, noInt32}) {
    EXPECT_NO_THROW(addWith(1, any()));
    EXPECT_NO_THROW(addWith(1, owned(vrDuplicateArray(repository.handle()))));
  }
}

TEST_F(Add, values_are_not_looked_into_and_metadata_never) {
  for (const std::size_t position : {In::Values, In::MetaData})
    for (const auto& any : {half, someText, emptyCell, fieldlessStruct, point, noInt32, truth})
      EXPECT_NO_THROW(addWith(position, any()));
}

TEST_F(Add, values_are_duplicated_and_metadata_shares_its_elements) {
  AddInputs inputs(run);
  inputs.with(In::Values, aRow({1, 2})).with(In::MetaData, aRow({3, 4}));
  const Data signal = record(add(inputs));
  const auto elements = [](const vrArray* array) { return vrGetData(array); };
  EXPECT_NE(elements(signal.getDataValues().get()), elements(inputs.at(In::Values)));
  EXPECT_EQ(elements(signal.getMetaData().get()), elements(inputs.at(In::MetaData)));
}

TEST_F(Add, empty_inputs_of_any_class_stand_for_nothing) {
  AddInputs inputs(run);
  for (const std::size_t position :
       {In::TimeDim, In::SampleDims, In::PortIndex, In::Channel, In::SID, In::Parent})
    inputs.with(position, aCell({0, 3}));
  const Data signal = record(add(inputs));
  EXPECT_EQ(signal.getTimeDim(), 0);
  EXPECT_EQ(signal.getSampleDims(), std::vector<int32>());
  EXPECT_EQ(signal.getPortIndex(), 0);
  EXPECT_EQ(signal.getChannel(), std::vector<int32>());
  EXPECT_EQ(signal.getSID(), "");
  EXPECT_FALSE(signal.hasParent());
}

// ---- Numbers ----

TEST_F(Add, time_dimension_is_a_number_truncated) {
  EXPECT_EQ(record(addWith(In::TimeDim, aNumber(2.9))).getTimeDim(), 2);
  EXPECT_EQ(record(addWith(In::TimeDim, aNumber(-0.9))).getTimeDim(), 0);
  EXPECT_EQ(record(addWith(In::TimeDim, aNumber(0))).getTimeDim(), 0);
  EXPECT_EQ(record(addWith(In::TimeDim, singleTwo())).getTimeDim(), 2);
  EXPECT_EQ(record(addWith(In::TimeDim, aNumber(INT32_MAX))).getTimeDim(), INT32_MAX);
}

TEST_F(Add, numbers_may_be_complex) {
  EXPECT_NO_THROW(addWith(In::TimeDim, aComplex(vrDOUBLE_CLASS, {1, 1})));
  EXPECT_NO_THROW(addWith(In::PortIndex, aComplex(vrINT8_CLASS, {1, 1})));
  EXPECT_NO_THROW(addWith(In::Parent, aComplex(vrSINGLE_CLASS, {1, 1})));
}

TEST_F(Add, time_dimension_and_parent_that_are_no_numeric_scalars_report_it) {
  const UnchangedStore unchanged;
  for (const auto& bad : {truth, someText, twoNumbers, twoInt32s, emptyCell, point}) {
    expectFailure("NOT_INTEGER_SCALAR", "Time Dimension", [&] { addWith(In::TimeDim, bad()); });
    expectFailure("NOT_INTEGER_SCALAR", "Parent data id", [&] { addWith(In::Parent, bad()); });
  }
}

TEST_F(Add, numbers_outside_int32_read_as_negative) {
  const UnchangedStore unchanged;
  for (const double number : {kNaN, kInfinity, -kInfinity, 2147483648.0, -1.0}) {
    expectFailure("NOT_POSITIVE", "Time Dimension", [&] { addWith(In::TimeDim, aNumber(number)); });
    expectFailure("NOT_POSITIVE", "Parent id", [&] { addWith(In::Parent, aNumber(number)); });
  }
  expectFailure("NOT_POSITIVE", "Port Index", [&] {
    addWith(In::PortIndex, aScalar<std::int64_t>(vrINT64_CLASS, std::int64_t{1} << 32));
  });
}

TEST_F(Add, port_index_is_of_every_integer_class) {
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls)
    EXPECT_EQ(record(addWith(In::PortIndex, aScalar<std::int8_t>(cls, 3))).getPortIndex(), 3);
  EXPECT_EQ(record(addWith(In::PortIndex, anInt32(0))).getPortIndex(), 0);
}

// Unlike the time dimension.
TEST_F(Add, port_index_that_is_no_integer_scalar_reports_it) {
  const UnchangedStore unchanged;
  expectFailure("NOT_INTEGER_SCALAR", "Port Index", [&] { addWith(In::PortIndex, aNumber(3)); });
  for (const auto& bad : {singleTwo, truth, someText, twoInt32s, emptyCell, point})
    expectFailure("NOT_INTEGER_SCALAR", "Port Index", [&] { addWith(In::PortIndex, bad()); });
}

// ---- Lists: sample dimensions and channel ----

struct ListInput {
  std::size_t position;
  const char* word;
  const char* shapeFailure;
  std::vector<int32> (Data::*stored)() const;
};

const ListInput kLists[] = {
    {In::SampleDims, "sample dimensions", "NOT_VECTOR", &Data::getSampleDims},
    {In::Channel, "channel", "NOT_1BY2VECTOR", &Data::getChannel},
};

class AddLists : public Add {
 protected:
  std::vector<int32> stored(const ListInput& list, OwnedArray array) const {
    return (record(addWith(list.position, std::move(array))).*list.stored)();
  }
};

TEST_F(AddLists, rows_columns_and_scalars_of_int32_are_stored_in_order) {
  for (const ListInput& list : kLists) {
    for (const std::vector<std::size_t>& shape : {std::vector<std::size_t>{1, 4}, {4, 1}})
      EXPECT_EQ(stored(list, filled<int32>(aNumeric(vrINT32_CLASS, shape), {4, -3, 2, INT32_MIN})),
                (std::vector<int32>{4, -3, 2, INT32_MIN}));
    EXPECT_EQ(stored(list, anInt32(5)), std::vector<int32>{5});
  }
}

TEST_F(AddLists, no_integer_class_reports_it) {
  const UnchangedStore unchanged;
  for (const ListInput& list : kLists)
    for (const auto& bad : {half, singleTwo, truth, someText, twoNumbers, emptyCell, point})
      expectFailure("NOT_INTEGER", list.word, [&] { addWith(list.position, bad()); });
}

TEST_F(AddLists, matrix_or_more_dimensions_report_the_shape) {
  const UnchangedStore unchanged;
  for (const ListInput& list : kLists)
    for (const std::vector<std::size_t>& shape :
         {std::vector<std::size_t>{2, 2}, {3, 2}, {1, 1, 3}, {1, 2, 2}, {1, 3, 1}})
      expectFailure(list.shapeFailure, list.word,
                    [&] { addWith(list.position, aNumeric(vrINT32_CLASS, shape)); });
}

TEST_F(AddLists, class_outranks_the_shape) {
  for (const ListInput& list : kLists)
    expectFailure("NOT_INTEGER", list.word, [&] {
      addWith(list.position, aNumeric(vrDOUBLE_CLASS, {2, 2}));
    });
}

// Only int32 gives the numbers that were meant, and that is required.
TEST_F(AddLists, narrow_classes_are_read_as_32_bit_words_and_zero_beyond_their_end) {
  for (const ListInput& list : kLists) {
    EXPECT_EQ(stored(list, filled<std::int8_t>(aNumeric(vrINT8_CLASS, {1, 5}), {1, 2, 3, 4, 5})),
              (std::vector<int32>{0x04030201, 5, 0, 0, 0}));
    EXPECT_EQ(stored(list, filled<std::uint16_t>(aNumeric(vrUINT16_CLASS, {3, 1}), {1, 2, 3})),
              (std::vector<int32>{0x00020001, 3, 0}));
    EXPECT_EQ(stored(list, aScalar<std::int8_t>(vrINT8_CLASS, -1)), std::vector<int32>{255});
  }
}

TEST_F(AddLists, wide_classes_are_read_as_the_first_32_bit_words) {
  const std::int64_t high = std::int64_t{7} << 32;
  for (const ListInput& list : kLists)
    EXPECT_EQ(stored(list, filled<std::int64_t>(aNumeric(vrINT64_CLASS, {1, 3}), {high + 1, 2, 3})),
              (std::vector<int32>{1, 7, 2}));
}

TEST_F(AddLists, unsigned_words_wrap) {
  for (const ListInput& list : kLists)
    EXPECT_EQ(stored(list, aScalar<std::uint32_t>(vrUINT32_CLASS, 0xffffffffU)),
              std::vector<int32>{-1});
}

// ---- Parents and groups ----

TEST_F(Add, parent_links_both_sides) {
  const int32 parent = add(AddInputs(run));
  const int32 child = addWith(In::Parent, aNumber(parent + 0.9));
  EXPECT_EQ(store().childIDs(parent), std::vector<int32>{child});
  EXPECT_EQ(store().parentID(child), parent);
  EXPECT_TRUE(store().hasParent(child));
}

TEST_F(Add, parent_0_is_no_parent) {
  const int32 id = addWith(In::Parent, anInt32(0));
  EXPECT_FALSE(store().hasParent(id));
  EXPECT_EQ(store().parentID(id), 0);
}

TEST_F(Add, parent_may_be_in_another_run) {
  const int32 parent = add(AddInputs(run));
  const int32 child = add(AddInputs(addRun()).with(In::Parent, anInt32(parent)));
  EXPECT_EQ(store().parentID(child), parent);
}

TEST_F(Add, first_signal_seeds_the_runs_settings) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getToleranceByRun", {run}); });
  add(AddInputs(run));
  EXPECT_EQ(call("getToleranceByRun", {run}).field("toleranceType").toInt32(), 0);
  EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("SyncMethod").toString(), "union");
}

TEST_F(Add, two_signals_of_one_source_are_both_listed_in_its_group) {
  const int32 first = add(AddInputs(run));
  const int32 second = add(AddInputs(run));
  EXPECT_EQ(call("getIDCount", {"data source", "GDATASOURCE"}).toInt32(), 2);
  EXPECT_EQ(call("getIDFromGroup", {1, "data source", "GDATASOURCE"}).toInt32(), first);
  EXPECT_EQ(call("getIDFromGroup", {2, "data source", "GDATASOURCE"}).toInt32(), second);
  EXPECT_EQ(call("getGroupCount", {"GDATASOURCE"}).toInt32(), 1);
  EXPECT_EQ(call("getSignal", {"data source"}).field("DataID").toInt32(), second);
}

// ---- Failures keep no arrays: the fixture counts them ----

TEST_F(Add, every_failure_releases_what_was_duplicated) {
  LiveArraysGuard live;
  for (const BadInput& bad : kBadInputs)
    expectFailure(bad.failure, bad.word, [&] { addWith(bad.position, bad.make()); });
  expectFailure("NON_EXISTENT", "ID", [&] { addWith(In::Parent, anInt32(99)); });
}

TEST_F(Add, typed_inputs_that_do_not_fit_are_refused_by_the_host) {
  const UnchangedStore unchanged;
  for (const std::size_t position :
       {In::Run, In::RootSource, In::TimeSource, In::DataSource, In::BlockSource, In::ModelSource,
        In::SignalLabel, In::RootDataSource})
    for (const auto& bad : {twoNumbers, emptyCell, point, fieldlessStruct})
      expectHostError("InvalidInput", [&] { addWith(position, bad()); });
}

}  // namespace
}  // namespace kvr::test
