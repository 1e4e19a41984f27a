// The tools of the model runs: a difference is found wherever it lies, and what is printed of it is
// short.
#include <gtest/gtest.h>

#include "tests/models/episode.h"
#include "tests/models/random_arrays.h"
#include "tests/models/steps.h"

namespace kvr::models {
namespace {

Step repositoryObject(int number) {
  Step step;
  step.kind = StepKind::Construct;
  step.object = number;
  return step;
}

Step callOf(const char* method, std::vector<PlainArray> inputs) {
  Step step;
  step.place = placeOf(ClassKind::Repository, method);
  step.inputs = std::move(inputs);
  step.inputs.insert(step.inputs.begin(), handleOf(1));
  return step;
}

Step newRun(const char* name) { return callOf("createEmptyRun", {text(name), int32Scalar(1)}); }

TEST(Models, agree_with_the_store_about_a_run) {
  EXPECT_EQ(replay({repositoryObject(1), newRun("Monday")}), std::nullopt);
}

TEST(Models, a_change_behind_their_back_is_a_difference) {
  Counts counts;
  Episode episode;
  EXPECT_EQ(episode.take(repositoryObject(1), counts), std::nullopt);
  EXPECT_EQ(episode.take(newRun("Monday"), counts), std::nullopt);
  SignalRepository::getInstance()->setRunName(1, "Tuesday");
  const Difference difference = episode.compareAll(counts);
  ASSERT_TRUE(difference.has_value());
  EXPECT_NE(difference->find("getRunName(o1, int32(1))"), std::string::npos) << *difference;
  EXPECT_NE(difference->find("'Tuesday'"), std::string::npos) << *difference;
}

TEST(Models, another_answer_of_a_step_is_a_difference) {
  Counts counts;
  Episode episode;
  episode.take(repositoryObject(1), counts);
  SignalRepository::getInstance()->createEmptyRun("unseen", 1);
  EXPECT_NE(episode.take(newRun("Monday"), counts), std::nullopt);
}

TEST(Models, an_array_left_alive_is_a_difference) {
  Episode episode;
  const vormel::OwnedArray extra(vrCreateDoubleScalar(1));
  EXPECT_EQ(episode.finish(), "1 arrays are left alive, expected 0");
}

TEST(Models, failures_as_predicted_are_counted) {
  Counts counts;
  Episode episode;
  episode.take(repositoryObject(1), counts);
  EXPECT_EQ(episode.take(callOf("getRunName", {int32Scalar(7)}), counts), std::nullopt);
  EXPECT_EQ(counts.steps, 2);
  const Tally& tally = counts.tally.at(
      {StepKind::Call, ClassKind::Repository, placeOf(ClassKind::Repository, "getRunName")});
  EXPECT_EQ(tally.succeeded, 0);
  EXPECT_EQ(tally.failed.at("KVR:kvr:NON_EXISTENT with \"Run ID\""), 1);
}

TEST(Shrinking, leaves_the_steps_that_matter_in_their_order) {
  std::vector<Step> steps(50);
  for (int i = 0; i < 50; ++i) steps[static_cast<std::size_t>(i)].object = i;
  const auto has = [](const std::vector<Step>& list, int object) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Step& step) { return step.object == object; });
  };
  const std::vector<Step> few = shrink(steps, [&](const std::vector<Step>& list) {
    return has(list, 7) && has(list, 31) && has(list, 32);
  });
  ASSERT_EQ(few.size(), 3);
  EXPECT_EQ(few[0].object, 7);
  EXPECT_EQ(few[1].object, 31);
  EXPECT_EQ(few[2].object, 32);
}

TEST(PlainArrays, come_back_from_the_host_as_they_went) {
  const HostSide host;
  Random random(1);
  for (int i = 0; i < 2000; ++i) {
    const PlainArray array = anyArray(random, 0);
    const vormel::OwnedArray built = build(array, host);
    ASSERT_EQ(read(built.get(), host), array) << describe(array);
  }
}

TEST(PlainArrays, are_described_as_they_would_be_typed) {
  EXPECT_EQ(describe(number(2.5)), "2.5");
  EXPECT_EQ(describe(int32Row({3, -1})), "int32 1x2 [3 -1]");
  EXPECT_EQ(describe(text("abc")), "'abc'");
  EXPECT_EQ(describe(emptyOf(vrCHAR_CLASS)), "'' 0x0");
  EXPECT_EQ(describe(structure({"a", "b"}, {number(1), truth(true)})),
            "struct 1x1{a: 1, b: logical(1)}");
}

TEST(PlainArrays, read_by_value_and_by_storage_differ) {
  PlainArray array = number(vrINT64_CLASS, 4294967301.0);
  EXPECT_EQ(valueReading(array), -2147483647 - 1);
  EXPECT_EQ(storageReading(array), 5);
  EXPECT_EQ(storageReading(number(vrINT8_CLASS, 7)), 7);
}

}  // namespace
}  // namespace kvr::models
