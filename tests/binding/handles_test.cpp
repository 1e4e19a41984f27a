// Every method on handles that name no store: null, of an ended object, of another class.
#include <algorithm>
#include <functional>
#include <optional>

#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

using vormel::CellType;

// A method's inputs, by its declared types. None of them fits anything: each method would fail on
// them too, if it came to them.
class UselessInputs {
 public:
  Cells forMethod(const MethodRecord& method, ArgumentCell handle) const {
    Cells cells{handle};
    for (std::size_t i = 1; i < kCount; ++i)
      cells.push_back(cellFor(method.inputs()[std::min(i, method.inputs().size() - 1)].type));
    return cells;
  }

 private:
  static constexpr std::size_t kCount = 18;

  ArgumentCell cellFor(CellType type) const {
    switch (type) {
      case CellType::Int32Scalar:
        return cellOf(-99);
      case CellType::DoubleScalar:
        return cellOf(9.5);
      case CellType::String:
        return cellOf("none such");
      default:
        return cellOf(cell_);
    }
  }

  OwnedArray cell_ = aCell({2, 2});
};

// The names of all methods that look at their handle before anything else.
std::vector<std::string> handleFirstMethods() {
  std::vector<std::string> names;
  for (const MethodRow& row : kRepositoryRows)
    if (row.handle == HandleTest::First) names.emplace_back(row.name);
  return names;
}

class Handles : public RepositoryTest {
 protected:
  Handles() {
    addTo(addRun());
    vormel::Interpreter::instance().end(ended);
  }

  // What stands where a handle should, and names no object.
  std::vector<ArgumentCell> badHandles() const {
    return {cellOf(static_cast<const vrArray*>(nullptr)), cellOf(ended.handle()), cellOf(number_),
            cellOf(opaque_), cellOf(text_)};
  }

  const Object ended = construct();
  const UselessInputs useless;

 private:
  OwnedArray number_ = aNumber(1);
  OwnedArray opaque_ = owned(vormel::makeOpaque("handle"));
  OwnedArray text_ = aText("handle");
};

// The five are in the tests below; the constructor has no handle, clean takes a dead one.
TEST_F(Handles, all_registrations_but_seven_look_at_the_handle_first) {
  EXPECT_EQ(handleFirstMethods().size() + 7, std::size(kRepositoryRows));
}

TEST_F(Handles, bad_handle_is_reported_ahead_of_every_other_fault) {
  const UnchangedStore unchanged;
  for (const std::string& method : handleFirstMethods()) {
    SCOPED_TRACE(method);
    for (const ArgumentCell& bad : badHandles())
      expectFailure("INVALID_OBJ", [&] {
        executeByHand(method, useless.forMethod(repositoryMethod(method), bad),
                      repositoryMethod(method).inputs().size());
      });
  }
}

TEST_F(Handles, bad_handle_is_reported_ahead_of_a_wrong_count) {
  const UnchangedStore unchanged;
  for (const std::string& method : handleFirstMethods()) {
    SCOPED_TRACE(method);
    const Cells inputs = useless.forMethod(repositoryMethod(method), cellOf(ended.handle()));
    for (std::size_t count = 1; count <= 6; ++count)
      expectFailure("INVALID_OBJ", [&] { executeByHand(method, inputs, count); });
  }
}

TEST_F(Handles, bad_handle_leaves_the_output_count_alone) {
  for (const std::string& method : handleFirstMethods()) {
    const Cells inputs = useless.forMethod(repositoryMethod(method), cellOf(ended.handle()));
    std::int32_t outputCount = 0;
    ArgumentCell outputs[4] = {};
    expectFailure("INVALID_OBJ", [&] {
      repositoryMethod(method).descriptor().execute(nullptr, &outputCount, outputs, 2,
                                                    const_cast<ArgumentCell*>(inputs.data()));
    });
    EXPECT_EQ(outputCount, 0) << method;
    EXPECT_EQ(outputs[0].word, 0) << method;
  }
}

// ---- The five that come to their handle later ----

TEST_F(Handles, text_of_set_fcn_call_tol_by_run_is_tested_before_the_handle) {
  const OwnedArray number = half();
  const OwnedArray text = someText();
  for (const ArgumentCell& bad : badHandles()) {
    expectFailure("INPUT_MISMATCH", "string of characters", [&] {
      executeByHand("setFcnCallTolByRun", {bad, cellOf(99), cellOf(number)});
    });
    expectFailure("INVALID_OBJ", [&] {
      executeByHand("setFcnCallTolByRun", {bad, cellOf(99), cellOf(text)});
    });
  }
}

TEST_F(Handles, keywords_of_the_run_setters_are_parsed_before_the_handle) {
  for (const ArgumentCell& bad : badHandles()) {
    expectFailure("INVALID_SYNC", [&] {
      executeByHand("setSyncMethodByRun", {bad, cellOf(99), cellOf("linear")});
    });
    expectFailure("INVALID_INTERP", [&] {
      executeByHand("setInterpMethodByRun", {bad, cellOf(99), cellOf("union")});
    });
  }
}

TEST_F(Handles, good_text_and_keywords_report_the_handle_ahead_of_the_run) {
  const UnchangedStore unchanged;
  for (const ArgumentCell& bad : badHandles())
    for (const auto& [method, text] : {std::pair("setSyncMethodByRun", "union"),
                                       {"setInterpMethodByRun", "zoh"},
                                       {"setCustomSyncMethodByRun", "anything"}})
      expectFailure("INVALID_OBJ", [&, method = method, text = text] {
        executeByHand(method, {bad, cellOf(99), cellOf(text)});
      });
}

// The fifth, add, is in add_test.cpp.

// ---- Through the host ----

TEST_F(Handles, ended_object_is_let_through_by_the_host_and_reported_by_the_body) {
  const UnchangedStore unchanged;
  expectFailure("INVALID_OBJ", [&] { ended.call("getRunCount"); });
  expectFailure("INVALID_OBJ", [&] { ended.call("getSignal", {1}); });
  expectFailure("INVALID_OBJ", [&] { ended.call("getSignalCount", {1, 2, 3}); });
  expectFailure("INVALID_OBJ", [&] { ended.call("remove", {1, 2, 3}); });
  expectFailure("INVALID_OBJ", [&] { ended.call("setAbsoluteTolerance", {"no id"}); });
  expectFailure("INVALID_OBJ", [&] { ended.call("getGroup", {1, "none", "none"}); });
  expectFailure("INVALID_OBJ", [&] { ended.call("writeToFile"); });
}

TEST_F(Handles, object_of_another_class_is_refused_by_the_host_for_every_method) {
  const UnchangedStore unchanged;
  const Object map = vormel::Interpreter::instance().construct("Dravik.kvr.Map", {"k", 1.0});
  for (const auto& method : repositoryClass().methods()) {
    if (method->isConstructor()) continue;
    vormel::CallFrame frame(*method, method->inputs().size(), 0);
    expectHostError("WrongObject", [&] { frame.setInput(0, map.handle()); });
  }
}

TEST_F(Handles, what_is_no_handle_is_refused_by_the_host_for_every_method) {
  const UnchangedStore unchanged;
  for (const auto& method : repositoryClass().methods()) {
    if (method->isConstructor()) continue;
    vormel::CallFrame frame(*method, method->inputs().size(), 0);
    for (const auto& any : {half, someText, emptyCell, point})
      expectHostError("WrongObject", [&] { frame.setInput(0, any().get()); });
    expectHostError("WrongObject", [&] { frame.setInput(0, nullptr); });
  }
}

TEST_F(Handles, surplus_handle_alone_may_follow_where_only_the_handle_is_declared) {
  for (const char* method : {"getRunCount", "getNextRunID"}) {
    EXPECT_EQ(call(method, {repository}).toInt32(), call(method).toInt32());
    expectHostError("InvalidInput", [&] { call(method, {1}); });
  }
}

// ---- The name of the failing function ----

std::optional<std::string> functionNameOf(const std::function<void()>& failing) {
  try {
    failing();
  } catch (const vormel::HostException& failure) {
    return failure.functionName();
  }
  return "no failure";
}

TEST_F(Handles, failure_names_the_method_by_its_plain_host_name) {
  EXPECT_EQ(functionNameOf([&] { call("getRunName", {99}); }), "getRunName");
  EXPECT_EQ(functionNameOf([&] { call("remove", {99}); }), "remove");
  EXPECT_EQ(functionNameOf([&] { call("getIDFromGroup", {1, "a", "b"}); }), "getIDFromGroup");
}

TEST_F(Handles, failure_outside_any_host_function_names_none) {
  EXPECT_EQ(functionNameOf([&] {
              executeByHand("getRunName", {handle(), cellOf(99)});
            }),
            std::nullopt);
  EXPECT_EQ(functionNameOf([&] { executeByHand("getRunName", {cellOf(ended.handle())}); }),
            std::nullopt);
}

}  // namespace
}  // namespace kvr::test
