#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "embedded_host/objects/call_frame.h"
#include "tests/embedded_host/sample_fixture.h"

namespace {

using kvr::test::aComplex;
using kvr::test::aNumber;
using kvr::test::aNumeric;
using kvr::test::aScalar;
using kvr::test::aText;
using kvr::test::aTruth;
using kvr::test::expectFailure;
using kvr::test::expectHostError;
using kvr::test::SampleTest;
using kvr::test::someCharacters;
using sample::log;
using vormel::Arguments;
using vormel::CallFrame;
using vormel::CallResult;
using vormel::Object;
using vormel::OwnedArray;

class Dispatch : public SampleTest {
 protected:
  // Expects the call to be refused before the body.
  void expectRefused(const char* key, const char* method, Arguments inputs) {
    const int before = bodies();
    expectHostError(key, [&] { box_.call(method, inputs); });
    EXPECT_EQ(bodies(), before) << method;
  }

  // Bodies of Box that have run since the test began.
  int bodies() const { return log().bodies - bodiesBefore_; }

  Object box_ = aBox();

 private:
  int bodiesBefore_ = log().bodies;
};

// ---- Numbers ----

TEST_F(Dispatch, int32_takes_whole_numbers_of_every_class) {
  const OwnedArray accepted[] = {
      aNumber(-7),
      aScalar<float>(vrSINGLE_CLASS, -7),
      aScalar<std::int8_t>(vrINT8_CLASS, -7),
      aScalar<std::int16_t>(vrINT16_CLASS, -7),
      aScalar<std::int32_t>(vrINT32_CLASS, -7),
      aScalar<std::int64_t>(vrINT64_CLASS, -7),
  };
  for (const OwnedArray& number : accepted) {
    box_.call("setNumber", {0});
    box_.call("setNumber", {number});
    EXPECT_EQ(box_.call("getNumber").toInt32(), -7) << vormel::className(number.get());
  }
}

TEST_F(Dispatch, int32_takes_unsigned_and_logical_scalars) {
  const OwnedArray accepted[] = {aScalar<std::uint8_t>(vrUINT8_CLASS, 1),
                                 aScalar<std::uint16_t>(vrUINT16_CLASS, 1),
                                 aScalar<std::uint32_t>(vrUINT32_CLASS, 1),
                                 aScalar<std::uint64_t>(vrUINT64_CLASS, 1), aTruth(true)};
  for (const OwnedArray& number : accepted) {
    box_.call("setNumber", {0});
    box_.call("setNumber", {number});
    EXPECT_EQ(box_.call("getNumber").toInt32(), 1) << vormel::className(number.get());
  }
}

TEST_F(Dispatch, int32_takes_the_bounds_of_its_range) {
  for (const double bound : {-2147483648.0, 2147483647.0}) {
    box_.call("setNumber", {bound});
    EXPECT_EQ(box_.call("getNumber").toDouble(), bound);
  }
}

TEST_F(Dispatch, int32_refuses_what_is_no_whole_number_within_it) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double value :
       {0.5, -2147483649.0, 2147483648.0, infinity, -infinity, std::nan(""), 1e300}) {
    expectRefused("InvalidInput", "setNumber", {value});
  }
  expectRefused("InvalidInput", "setNumber",
                {aScalar(vrINT64_CLASS, std::numeric_limits<std::int64_t>::max())});
  expectRefused("InvalidInput", "setNumber",
                {aScalar(vrUINT64_CLASS, std::numeric_limits<std::uint64_t>::max())});
}

TEST_F(Dispatch, numbers_refuse_every_other_kind_of_array) {
  const OwnedArray refused[] = {aText("1"),
                                aText(""),
                                aNumeric(vrDOUBLE_CLASS, {1, 2}),
                                aNumeric(vrDOUBLE_CLASS, {0, 0}),
                                aNumeric(vrLOGICAL_CLASS, {2, 1}),
                                aComplex(vrDOUBLE_CLASS, {1, 1}),
                                kvr::test::aCell(),
                                kvr::test::aStruct({"x"}),
                                kvr::test::anObject("timeseries"),
                                OwnedArray(vormel::detachedCopy(box_.handle()))};
  for (const OwnedArray& array : refused) {
    expectRefused("InvalidInput", "setNumber", {array});
    expectRefused("InvalidInput", "record", {1, array, true, box_});
  }
}

TEST_F(Dispatch, typed_cells_hold_what_the_signature_says) {
  box_.call("record", {-3, aScalar<std::int8_t>(vrINT8_CLASS, 2), true, box_});
  ASSERT_EQ(log().inputCount, 5);
  EXPECT_EQ(static_cast<std::int32_t>(log().words[1]), -3);
  EXPECT_EQ(std::bit_cast<double>(log().words[2]), 2.0);
  EXPECT_EQ(log().words[3], 1);
  EXPECT_EQ(std::bit_cast<const vrArray*>(log().words[4]), box_.handle());
}

TEST_F(Dispatch, logical_takes_logical_scalars_alone) {
  expectRefused("InvalidInput", "record", {1, 1.0, 1.0, box_});
  expectRefused("InvalidInput", "record", {1, 1.0, aNumeric(vrLOGICAL_CLASS, {1, 2}), box_});
}

// ---- Texts ----

TEST_F(Dispatch, string_takes_character_rows_as_utf8) {
  const OwnedArray rows[] = {aText("plain"), aText("gr\u00fc\u00df \U0001F600"), aText("x")};
  for (const OwnedArray& row : rows) {
    box_.call("recordText", {row});
    EXPECT_EQ(log().text, vrArrayToStdString(row.get()));
  }
}

TEST_F(Dispatch, string_takes_empty_character_arrays_of_any_shape) {
  for (const std::vector<std::size_t>& shape :
       std::vector<std::vector<std::size_t>>{{0, 0}, {1, 0}, {3, 0}, {2, 0, 4}}) {
    log().text = "unset";
    box_.call("recordText", {someCharacters(shape)});
    EXPECT_EQ(log().text, "");
  }
}

TEST_F(Dispatch, string_refuses_other_shapes_and_classes) {
  const OwnedArray refused[] = {someCharacters({2, 1}), someCharacters({1, 2, 2}), aNumber(65),
                                aNumeric(vrDOUBLE_CLASS, {0, 0}), kvr::test::aCell()};
  for (const OwnedArray& array : refused) expectRefused("InvalidInput", "recordText", {array});
}

TEST_F(Dispatch, string_refuses_nul_characters) {
  expectRefused("InvalidInput", "recordText", {someCharacters({1, 3})});
  expectRefused("InvalidInput", "recordText", {std::string_view("a\0b", 3)});
}

// ---- Inputs made in the frame ----

// What "echo" gives back for an input of the class whose one element is `value`, which has to be
// small enough for it.
template <class T>
OwnedArray echoed(const Object& box, const vormel::MethodRecord& echo, int classID, T value) {
  CallFrame call(echo, 2, 1);
  call.setInput(0, box.handle());
  *static_cast<T*>(call.makeInput(1, classID, 1, 1)) = value;
  call.run();
  return call.takeArray(0);
}

TEST_F(Dispatch, input_made_in_the_frame_is_an_array_of_its_class_to_the_body) {
  const auto& echo = boxMethod("echo");
  const OwnedArray number = echoed<std::int32_t>(box_, echo, vrINT32_CLASS, -7);
  EXPECT_TRUE(vormel::equal(number.get(), aScalar<std::int32_t>(vrINT32_CLASS, -7).get()));
  const OwnedArray text = echoed<char16_t>(box_, echo, vrCHAR_CLASS, u'x');
  EXPECT_TRUE(vormel::equal(text.get(), aText("x").get()));
}

TEST_F(Dispatch, copy_of_a_long_input_made_in_the_frame_outlives_it) {
  OwnedArray copy;
  {
    CallFrame call(boxMethod("echo"), 2, 1);
    call.setInput(0, box_.handle());
    std::fill_n(static_cast<char16_t*>(call.makeInput(1, vrCHAR_CLASS, 1, 50)), 50, u'y');
    call.run();
    copy = call.takeArray(0);
  }
  EXPECT_EQ(vrArrayToStdString(copy.get()), std::string(50, 'y'));
}

TEST_F(Dispatch, input_made_in_the_frame_is_alive_until_it_ends) {
  const std::size_t before = vormel::liveArrayCount();
  {
    CallFrame call(boxMethod("echo"), 2, 1);
    call.makeInput(1, vrDOUBLE_CLASS, 0, 0);
    EXPECT_EQ(vormel::liveArrayCount(), before + 1);
  }
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

TEST_F(Dispatch, more_inputs_can_be_made_than_the_frame_has_room_for) {
  constexpr std::size_t count = 40;
  CallFrame call(boxMethod("echo"), count, 1);
  call.setInput(0, box_.handle());
  for (std::size_t i = 1; i < count; ++i) {
    *static_cast<double*>(call.makeInput(i, vrDOUBLE_CLASS, 1, 1)) = static_cast<double>(i);
  }
  call.run();
  EXPECT_EQ(vrGetScalar(call.takeArray(0).get()), 39);
}

TEST_F(Dispatch, input_made_in_the_frame_is_no_object_to_dispatch_on) {
  expectHostError("WrongObject", [&] {
    CallFrame call(boxMethod("echo"), 1, 1);
    call.makeInput(0, vrDOUBLE_CLASS, 1, 1);
  });
}

// ---- Objects ----

TEST_F(Dispatch, object_inputs_take_ended_objects_of_the_class) {
  const Object other = aBox();
  host().end(other);
  box_.call("record", {1, 1.0, false, other});
  EXPECT_EQ(std::bit_cast<const vrArray*>(log().words[4]), other.handle());
}

TEST_F(Dispatch, object_inputs_refuse_everything_else) {
  expectRefused("InvalidInput", "record", {1, 1.0, false, 1});
  expectRefused("InvalidInput", "record",
                {1, 1.0, false, OwnedArray(vormel::makeOpaque("handle"))});
  expectRefused("InvalidInput", "record", {1, 1.0, false, OwnedArray()});
}

TEST_F(Dispatch, first_input_must_be_an_object_of_the_class) {
  for (const char* name : {"getNumber", "echo"}) {
    CallFrame call(boxMethod(name), 1, 1);
    expectHostError("WrongObject", [&] { call.setInput(0, aNumber(1).get()); });
    expectHostError("WrongObject", [&] { call.setInput(0, nullptr); });
  }
  EXPECT_EQ(bodies(), 0);
}

TEST_F(Dispatch, call_without_its_object_is_refused) {
  CallFrame call(boxMethod("getNumber"), 1, 1);
  expectHostError("WrongObject", [&] { call.run(); });
}

TEST_F(Dispatch, ended_object_is_refused_where_the_body_looks_into_it) {
  host().end(box_);
  expectHostError("DeadObject", [&] { box_.call("getNumber"); });
}

// ---- Counts ----

TEST_F(Dispatch, fewer_inputs_than_declared_are_refused) {
  expectRefused("NotEnoughInputs", "setNumber", {});
  expectRefused("NotEnoughInputs", "record", {1, 1.0, true});
}

TEST_F(Dispatch, count_is_refused_before_values) {
  expectRefused("NotEnoughInputs", "record", {"wrong"});
}

TEST_F(Dispatch, surplus_inputs_come_under_the_last_declared_type) {
  box_.call("recordNumbers", {1, 2, 3.0});
  ASSERT_EQ(log().inputCount, 4);
  EXPECT_EQ(static_cast<std::int32_t>(log().words[3]), 3);
  expectRefused("InvalidInput", "recordNumbers", {1, 2, "three"});
}

TEST_F(Dispatch, surplus_inputs_of_any_go_through_unconverted) {
  EXPECT_EQ(box_.call("echo", {1, "last"}).toString(), "last");
}

TEST_F(Dispatch, surplus_inputs_beside_the_handle_alone_must_be_objects) {
  EXPECT_EQ(box_.call("getNumber", {box_, box_}).toInt32(), 0);
  expectRefused("InvalidInput", "getNumber", {1});
}

TEST_F(Dispatch, inputs_where_none_are_declared_are_refused) {
  expectHostError("TooManyInputs", [&] { CallFrame call(boxMethod("free"), 1, 0); });
  CallFrame call(boxMethod("free"), 0, 0);
  call.run();
  EXPECT_EQ(bodies(), 1);
}

TEST_F(Dispatch, more_inputs_than_the_inline_cells_arrive) {
  std::vector<OwnedArray> numbers;
  CallFrame call(boxMethod("recordNumbers"), 200, 0);
  call.setInput(0, box_.handle());
  for (std::size_t i = 1; i < 200; ++i) call.setInt32(i, static_cast<std::int32_t>(i));
  call.run();
  ASSERT_EQ(log().words.size(), 200U);
  EXPECT_EQ(log().words[199], 199);
}

TEST_F(Dispatch, too_many_inputs_are_refused) {
  expectHostError("TooManyInputs", [&] { CallFrame call(boxMethod("echo"), 65537, 0); });
}

TEST_F(Dispatch, output_counts_out_of_range_are_refused) {
  expectHostError("InvalidOutputCount", [&] { box_.invoke("getNumber", -1); });
  expectHostError("InvalidOutputCount", [&] { box_.invoke("getNumber", 65537); });
  EXPECT_EQ(bodies(), 0);
}

// ---- Outputs ----

TEST_F(Dispatch, unwritten_cells_are_told_from_written_ones) {
  const CallResult result = box_.invoke("three", 1);
  EXPECT_EQ(result.count, 7);
  ASSERT_EQ(result.cells.size(), 3U);
  EXPECT_TRUE(result.cells[0].isNothing());
  EXPECT_TRUE(result.cells[1].toBool());
  EXPECT_EQ(result.cells[2].toInt32(), -5);
}

TEST_F(Dispatch, more_outputs_than_declared_may_be_asked_for) {
  const CallResult result = box_.invoke("many", 10);
  ASSERT_EQ(result.cells.size(), 10U);
  EXPECT_EQ(result.cells[9].toDouble(), 9);
}

TEST_F(Dispatch, cells_under_the_last_type_that_stay_unwritten_are_nothing) {
  const CallResult result = box_.invoke("three", 6);
  ASSERT_EQ(result.cells.size(), 6U);
  EXPECT_TRUE(result.cells[5].isNothing());
}

TEST_F(Dispatch, method_without_outputs_is_offered_one_cell_that_is_nothing) {
  const CallResult result = box_.invoke("setNumber", 0, {1});
  EXPECT_EQ(result.count, 0);
  ASSERT_EQ(result.cells.size(), 1U);
  EXPECT_TRUE(result.cells[0].isNothing());
}

TEST_F(Dispatch, outputs_nobody_takes_are_released) {
  CallFrame call(boxMethod("many"), 1, 3);
  call.setInput(0, box_.handle());
  call.run();
  EXPECT_EQ(vrGetScalar(call.takeArray(1).get()), 1);
  EXPECT_FALSE(call.takeArray(1));
}

TEST_F(Dispatch, arrays_left_behind_end_with_the_call) { box_.call("leaveArrays"); }

TEST_F(Dispatch, result_outlives_the_call_and_its_input) {
  vormel::Value result;
  {
    const OwnedArray input = aText("kept");
    result = box_.call("echo", {input});
  }
  EXPECT_EQ(result.toString(), "kept");
}

// ---- Failures ----

TEST_F(Dispatch, failure_of_a_body_names_the_method_and_releases_its_output) {
  try {
    box_.call("fail");
    FAIL();
  } catch (const vormel::HostException& failure) {
    EXPECT_EQ(failure.identifier(), "KVR:kvr:NON_EXISTENT");
    EXPECT_EQ(failure.word(), "Run ID");
    EXPECT_EQ(failure.functionName(), "fail");
  }
}

TEST_F(Dispatch, other_exceptions_pass_unchanged) {
  EXPECT_THROW(box_.call("exhaust"), ntob::TOBOutOfMemoryException);
  EXPECT_THROW(box_.call("overrun"), std::out_of_range);
}

TEST_F(Dispatch, refusal_says_which_argument_and_what_came) {
  try {
    box_.call("setNumber", {"seven"});
    FAIL();
  } catch (const vormel::CallRefused& refusal) {
    EXPECT_STREQ(refusal.what(),
                 "Argument 1 of \"setNumber\" must be a real numeric or logical scalar that is a "
                 "whole number within int32, got a char 1-by-5.");
  }
}

// ---- Nested calls ----

TEST_F(Dispatch, method_called_from_a_host_function_is_a_call_of_its_own) {
  box_.call("setNumber", {41});
  host().functions().set("answer", [&] {
    const double number = box_.call("getNumber").toDouble();
    return OwnedArray(vrCreateDoubleScalar(number + 1));
  });
  EXPECT_EQ(box_.call("callFunction", {"answer"}).toDouble(), 42);
  host().functions().reset("answer");
}

TEST_F(Dispatch, object_ended_from_within_its_method_stays_until_it_returns) {
  const int destroyed = log().destroyed;
  host().functions().set("answer", [&] {
    host().end(box_);
    EXPECT_EQ(log().destroyed, destroyed);
    return OwnedArray(vrCreateDoubleScalar(1));
  });
  box_.call("callFunction", {"answer"});
  EXPECT_EQ(log().destroyed, destroyed + 1);
  host().functions().reset("answer");
}

TEST_F(Dispatch, failure_of_a_nested_method_passes_through_with_its_name) {
  host().functions().set("answer", [&]() -> OwnedArray {
    box_.call("fail");
    return {};
  });
  expectFailure("NON_EXISTENT", "Run ID", [&] { box_.call("callFunction", {"answer"}); });
  host().functions().reset("answer");
}

// ---- Construction ----

TEST_F(Dispatch, constructor_gets_its_object_and_inputs) {
  EXPECT_EQ(host().construct(sample::kBox, {12}).call("getNumber").toInt32(), 12);
}

TEST_F(Dispatch, construction_refused_makes_nothing) {
  const int created = log().created;
  expectHostError("NotEnoughInputs", [] { host().construct(sample::kBox); });
  expectHostError("InvalidInput", [] { host().construct(sample::kBox, {OwnedArray()}); });
  EXPECT_EQ(log().created, created);
}

TEST_F(Dispatch, class_without_constructor_is_refused) {
  expectHostError("NoConstructor", [] { host().construct("Sample.tools.Other"); });
  expectHostError("NoSuchClass", [] { host().construct("Sample.tools.None"); });
}

TEST_F(Dispatch, constructor_cannot_be_called_on_an_object) {
  expectRefused("NoSuchMethod", "Box", {1});
  expectRefused("NoSuchMethod", "none", {});
}

}  // namespace
