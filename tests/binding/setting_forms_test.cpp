// What the methods that set something of a signal have in common, looped over all of them.
#include <cstdint>
#include <limits>

#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

// A run of two signals.
class SettingForms : public RepositoryTest {
 protected:
  SettingForms() { addSignals(run, 2); }

  // Calls with a signal id, or a run and an index, and a value.
  void set(const SettingMethod& method, const OwnedArray& id, const OwnedArray& value) const {
    callWithArrays(method.name, {id.get(), value.get()});
  }
  void set(const SettingMethod& method, const OwnedArray& runID, const OwnedArray& index,
           const OwnedArray& value) const {
    callWithArrays(method.name, {runID.get(), index.get(), value.get()});
  }

  StoreState state() const { return stateOf(store()); }

  const int32 run = addRun();
  const OwnedArray runArray = anInt32(run);
  const OwnedArray one = anInt32(1);
  const OwnedArray two = anInt32(2);
  const OwnedArray nine = anInt32(9);
};

TEST_F(SettingForms, id_form_changes_that_signal_alone) {
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    const StoreState before = state();
    set(method, two, method.value.good());
    EXPECT_EQ(state().signals[0], before.signals[0]);
    EXPECT_NE(state().signals[1], before.signals[1]);
  }
}

TEST_F(SettingForms, run_and_index_form_changes_that_signal_alone) {
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    call("resetTolerance", {2});
    const StoreState before = state();
    set(method, runArray, two, method.value.good());
    EXPECT_EQ(state().signals[0], before.signals[0]);
    EXPECT_NE(state().signals[1], before.signals[1]);
  }
}

TEST_F(SettingForms, other_counts_than_three_or_four_report_invalid_signature) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    const bool typed = method.first == FirstInput::Typed;
    const OwnedArray value = method.value.good();
    const Cells inputs{handle(),      typed ? cellOf(1) : cellOf(one),
                       cellOf(value), cellOf(value),
                       cellOf(value), cellOf(value)};
    for (const std::size_t count : {1, 2, 5, 6})
      expectFailure("INVALID_SIGNATURE", [&] { executeByHand(method.name, inputs, count); });
  }
}

TEST_F(SettingForms, five_inputs_through_the_host_report_invalid_signature) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    const OwnedArray value = method.value.good();
    expectFailure("INVALID_SIGNATURE", [&] {
      callWithArrays(method.name, {runArray.get(), one.get(), value.get(), value.get()});
    });
  }
}

TEST_F(SettingForms, handle_and_one_input_report_invalid_signature_where_the_host_lets_them_pass) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    const auto call = [&] { callWithArrays(method.name, {one.get()}); };
    if (method.first == FirstInput::Typed) {
      expectHostError("NotEnoughInputs", call);
    } else {
      expectFailure("INVALID_SIGNATURE", call);
    }
  }
}

TEST_F(SettingForms, unknown_signal_reports_id) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods())
    for (const int32 unknown : {0, -1, 3, INT32_MAX, INT32_MIN})
      expectFailure("NON_EXISTENT", "ID",
                    [&] { set(method, anInt32(unknown), method.value.good()); });
}

TEST_F(SettingForms, unknown_run_reports_run_id) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods())
    expectFailure("NON_EXISTENT", "Run ID", [&] { set(method, nine, one, method.value.good()); });
}

TEST_F(SettingForms, index_outside_the_run_reports_index) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods())
    for (const int32 index : {0, -1, 3, INT32_MAX, INT32_MIN})
      expectFailure("NON_EXISTENT", "Index",
                    [&] { set(method, runArray, anInt32(index), method.value.good()); });
}

// ---- Values ----

TEST_F(SettingForms, bad_value_with_id_reports_the_methods_word) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    for (const auto& bad : method.value.bad)
      expectFailure(method.value.failure, method.word, [&] { set(method, one, bad()); });
  }
}

TEST_F(SettingForms, bad_value_with_run_and_index_reports_the_methods_word_for_that_form) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    for (const auto& bad : method.value.bad)
      expectFailure(method.value.failure, method.wordAtFour,
                    [&] { set(method, runArray, one, bad()); });
  }
}

TEST_F(SettingForms, bad_value_outranks_an_unknown_signal_run_or_index) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    if (method.value.bad.empty()) continue;
    SCOPED_TRACE(method.name);
    const OwnedArray bad = method.value.bad.front()();
    const char* failure = method.value.failure;
    expectFailure(failure, method.word, [&] { set(method, nine, bad); });
    expectFailure(failure, method.wordAtFour, [&] { set(method, nine, one, bad); });
    expectFailure(failure, method.wordAtFour, [&] { set(method, runArray, nine, bad); });
  }
}

TEST_F(SettingForms, numeric_values_of_every_numeric_class_pass) {
  constexpr std::size_t kNumericScalarMethods = 8;
  std::size_t seen = 0;
  for (const SettingMethod& method : settingMethods()) {
    if (&method.value != &kNumericScalar) continue;
    ++seen;
    for (int cls = vrDOUBLE_CLASS; cls <= vrUINT64_CLASS; ++cls) {
      EXPECT_NO_THROW(set(method, one, aNumeric(cls, {1, 1}))) << method.name << cls;
      EXPECT_NO_THROW(set(method, runArray, one, aComplex(cls, {1, 1}))) << method.name << cls;
    }
  }
  EXPECT_EQ(seen, kNumericScalarMethods);
}

TEST_F(SettingForms, character_values_of_any_shape_pass) {
  for (const char* method : {"setFcnCallTol", "setCustomSyncMethod"})
    for (const std::vector<std::size_t>& shape :
         {std::vector<std::size_t>{0, 0}, {1, 0}, {3, 1}, {2, 2}, {1, 2, 2}})
      EXPECT_NO_THROW(callWithArrays(method, {one.get(), someCharacters(shape).get()})) << method;
}

// ---- Indexes ----

TEST_F(SettingForms, index_that_is_no_integer_scalar_reports_the_methods_word) {
  const UnchangedStore unchanged;
  const Makers badIndexes{half,    singleTwo,       truth, someText,  twoInt32s, noInt32,
                          anEmpty, fieldlessStruct, point, emptyCell, twoNumbers};
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    for (const auto& bad : badIndexes)
      expectFailure("NOT_INTEGER_SCALAR", method.indexWord,
                    [&] { set(method, runArray, bad(), method.value.good()); });
  }
}

TEST_F(SettingForms, bad_index_outranks_an_unknown_run) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods())
    expectFailure("NOT_INTEGER_SCALAR", method.indexWord,
                  [&] { set(method, nine, half(), method.value.good()); });
}

TEST_F(SettingForms, of_bad_index_and_bad_value_the_one_tested_first_is_reported) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    if (method.value.bad.empty()) continue;
    SCOPED_TRACE(method.name);
    const auto call = [&] { set(method, runArray, half(), method.value.bad.front()()); };
    if (method.order == Order::ValueFirst) {
      expectFailure(method.value.failure, method.wordAtFour, call);
    } else {
      expectFailure("NOT_INTEGER_SCALAR", method.indexWord, call);
    }
  }
}

TEST_F(SettingForms, index_may_be_of_every_integer_class_and_complex) {
  for (const SettingMethod& method : settingMethods()) {
    for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls) {
      SCOPED_TRACE(method.name + std::to_string(cls));
      EXPECT_NO_THROW(set(method, runArray, aScalar<std::int8_t>(cls, 1), method.value.good()));
      expectFailure("NON_EXISTENT", "Index", [&] {
        set(method, runArray, aComplex(cls, {1, 1}), method.value.good());
      });
    }
  }
}

// The two readings of an integer are not interchangeable.
TEST_F(SettingForms,
       int64_index_beyond_32_bits_reads_as_its_low_half_only_where_it_is_read_stored) {
  const OwnedArray index = aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + 2);
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    const auto call = [&] { set(method, runArray, index, method.value.good()); };
    if (method.indexRead == IndexRead::AsStored) {
      EXPECT_NO_THROW(call());
    } else {
      expectFailure("NON_EXISTENT", "Index", call);
    }
  }
}

TEST_F(SettingForms, negative_index_of_a_narrow_class_reads_unsigned_where_it_is_read_stored) {
  addSignals(run, 253);  // to 255
  const OwnedArray index = aScalar<std::int8_t>(vrINT8_CLASS, -1);
  for (const SettingMethod& method : settingMethods()) {
    SCOPED_TRACE(method.name);
    const auto call = [&] { set(method, runArray, index, method.value.good()); };
    if (method.indexRead == IndexRead::AsStored) {
      const SignalState before = stateOf(store(), 255);
      call();
      EXPECT_NE(stateOf(store(), 255), before);
    } else {
      expectFailure("NON_EXISTENT", "Index", call);
    }
  }
}

// ---- The first input ----

TEST_F(SettingForms, untested_first_input_is_read_as_a_number_truncated) {
  for (const SettingMethod& method : settingMethods()) {
    if (method.first != FirstInput::Untested) continue;
    SCOPED_TRACE(method.name);
    for (const double id : {2.9, 2.0}) {
      const OwnedArray good = method.value.good();
      EXPECT_NO_THROW(set(method, aNumber(id), good));
    }
    EXPECT_NO_THROW(set(method, aTruth(true), method.value.good()));
    EXPECT_NO_THROW(set(method, aRow({1, 7}), method.value.good()));
    EXPECT_NO_THROW(set(method, aNumber(run + 0.5), one, method.value.good()));
  }
}

TEST_F(SettingForms, untested_first_input_without_a_number_in_int32_names_no_signal) {
  const UnchangedStore unchanged;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const SettingMethod& method : settingMethods()) {
    if (method.first != FirstInput::Untested) continue;
    SCOPED_TRACE(method.name);
    for (const double id : {nan, infinity, -infinity, 4294967298.0, 0.9})
      expectFailure("NON_EXISTENT", "ID", [&] { set(method, aNumber(id), method.value.good()); });
    for (const auto& other : {fieldlessStruct, emptyCell, anEmpty, someText, point})
      expectFailure("NON_EXISTENT", "ID", [&] { set(method, other(), method.value.good()); });
  }
}

TEST_F(SettingForms, untested_first_input_is_read_before_the_inputs_are_counted) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    if (method.first != FirstInput::Untested) continue;
    for (const auto& any : {fieldlessStruct, emptyCell, anEmpty, half})
      expectFailure("INVALID_SIGNATURE", [&] { callWithArrays(method.name, {any().get()}); });
  }
}

TEST_F(SettingForms, tested_first_input_is_tested_before_the_inputs_are_counted) {
  const UnchangedStore unchanged;
  const OwnedArray value = toleranceStructure();
  const Makers noIntegerScalars{half,    truth, someText,        anEmpty,  twoInt32s,
                                noInt32, point, fieldlessStruct, emptyCell};
  for (const auto& bad : noIntegerScalars) {
    const OwnedArray first = bad();
    std::vector<const vrArray*> inputs{first.get()};
    for (; inputs.size() <= 5; inputs.push_back(value.get()))
      expectFailure("NOT_INTEGER_SCALAR", "Index or Data Run ID",
                    [&] { callWithArrays("setTolerance", inputs); });
  }
}

TEST_F(SettingForms, tested_first_input_is_read_as_a_number) {
  addSignals(run, 253);  // 255 is what the storage of the second one holds
  const UnchangedStore unchanged;
  const OwnedArray id = aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + 2);
  const OwnedArray value = toleranceStructure();
  expectFailure("NON_EXISTENT", "ID", [&] {
    callWithArrays("setTolerance", {id.get(), value.get()});
  });
  const OwnedArray minusOne = aScalar<std::int8_t>(vrINT8_CLASS, -1);
  expectFailure("NON_EXISTENT", "ID", [&] {
    callWithArrays("setTolerance", {minusOne.get(), value.get()});
  });
}

TEST_F(SettingForms, typed_first_input_that_is_no_whole_number_is_refused_by_the_host) {
  const UnchangedStore unchanged;
  for (const SettingMethod& method : settingMethods()) {
    if (method.first != FirstInput::Typed) continue;
    for (const auto& bad : {half, someText, anEmpty, emptyCell})
      expectHostError("InvalidInput", [&] { set(method, bad(), method.value.good()); });
  }
}

// ---- Outputs ----

TEST_F(SettingForms, output_count_is_left_alone_and_nothing_is_written) {
  for (const SettingMethod& method : settingMethods()) {
    const OwnedArray value = method.value.good();
    for (const int count : {0, 1, 3}) {
      const CallResult result = invoke(method.name, count, {one.get(), value});
      EXPECT_EQ(result.count, count) << method.name;
      for (const Value& cell : result.cells) EXPECT_TRUE(cell.isNothing()) << method.name;
    }
  }
}

}  // namespace
}  // namespace kvr::test
