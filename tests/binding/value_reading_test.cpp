// Where methods read an integer out of a number, they convert it themselves. The host's own
// conversion is replaced for the whole program by one that always gives the wrong answer.
#include <limits>

#include "kvrntob/settings/structures.h"
#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"
#include "tests/support/struct_builder.h"

std::int32_t vrGetScalarInt(const vrArray*) { return 77; }

namespace kvr::test {
namespace {

constexpr double kOutside[] = {2147483648.0, -2147483649.0, std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()};

class ValueReading : public RepositoryTest {
 protected:
  const std::int32_t run = addRun();
  const std::int32_t signal = addTo(run);

  // getSignalCount takes any scalar for a run.
  std::int32_t countIn(const OwnedArray& number) const {
    return callWithArrays("getSignalCount", {number.get()}).toInt32();
  }
};

TEST_F(ValueReading, of_a_run_truncates_toward_zero) {
  EXPECT_EQ(countIn(aNumber(run + 0.75)), 1);
  EXPECT_EQ(countIn(aNumber(run - 0.25)), 0);
  EXPECT_EQ(countIn(anInt32(run)), 1);
  EXPECT_EQ(countIn(aTruth(true)), 1);
}

TEST_F(ValueReading, of_what_no_int32_holds_gives_the_lowest_one) {
  const auto timeDimension = [&](double value) {
    callWithArrays("add", AddInputs(run).with(AddInputs::TimeDim, aNumber(value)).arrays());
  };
  for (const double value : kOutside) {
    EXPECT_EQ(countIn(aNumber(value)), 0) << value;
    expectFailure("NOT_POSITIVE", "Time Dimension", [&] { timeDimension(value); });
  }
}

TEST_F(ValueReading, of_positions_and_indexes_is_the_modules_own) {
  EXPECT_EQ(call("getRunID", {1}).toInt32(), run);
  EXPECT_EQ(call("getSignal", {run, 1}).field("DataID").toInt32(), signal);
  EXPECT_TRUE(call("getChildrenAndParent", {signal}).toBool());
  call("setAbsoluteTolerance", {signal, 0.5});
  call("setTimeStep", {run, 1, 0.25});
  const Value tolerance = call("getTolerance", {signal});
  EXPECT_EQ(tolerance.field("absolute").toDouble(), 0.5);
  EXPECT_EQ(tolerance.field("timeStep").toDouble(), 0.25);
}

TEST_F(ValueReading, of_structure_fields_is_the_modules_own) {
  EXPECT_EQ(readToleranceStruct(toleranceFields().with("toleranceType", aNumber(1.9)).build().get())
                .toleranceType,
            1);
  EXPECT_EQ(
      readSyncOptionsStruct(syncFields().with("syncType", aNumber(1.9)).build().get()).syncType, 1);
}

}  // namespace
}  // namespace kvr::test
