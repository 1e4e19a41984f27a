// Calls that nobody should make: with handles that name nothing or something else, with too few or
// too many inputs and outputs. Every method of both classes; nothing is changed, nothing is lost.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/object_record.h"
#include "tests/reliability/map_calls.h"
#include "tests/reliability/method_calls.h"
#include "tests/reliability/sample_store.h"
#include "tests/reliability/store_snapshot.h"
#include "tests/reliability/tally.h"
#include "tests/support/live_arrays.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

constexpr const char* kCalls = "calls with bad handles or counts";
constexpr std::size_t kMostInputs = 25;
constexpr std::int64_t kMostOutputs = 4;

const Pair kPair{kKeys[1], kValues[2]};  // double to double

const vormel::MethodRecord& repositoryMethod(const MethodCall& call) {
  return *kvrClass("SignalRepository").findMethod(call.method);
}

// Calls with these arrays, the handle among them. A null array is passed as it is.
Attempt callWith(const vormel::MethodRecord& method, const std::vector<const vrArray*>& arrays,
                 std::int64_t nargout = 1) {
  Tally::instance().add(kCalls);
  return attemptUnder({}, [&](Attempt& attempt) {
    vormel::CallFrame frame(method, arrays.size(), nargout);
    for (std::size_t i = 0; i < arrays.size(); ++i) frame.setInput(i, arrays[i]);
    frame.run();
    attempt.hasResult = frame.isWritten(0);
    attempt.outputCount = frame.outputCount();
  });
}

std::vector<const vrArray*> withHandle(const vrArray* handle, const Arrays& inputs) {
  std::vector<const vrArray*> arrays{handle};
  for (const OwnedArray& input : inputs) arrays.push_back(input.get());
  return arrays;
}

OwnedArray copyOf(const vrArray* handle) { return OwnedArray(vormel::detachedCopy(handle)); }

// ---- Handles that the host refuses ----

// By what they are: nothing in it, no object, an object of another class, no array.
std::map<std::string, OwnedArray> foreignHandles(const vrArray* otherClass) {
  std::map<std::string, OwnedArray> handles;
  handles["null element"] = owned(vormel::makeHandle(nullptr));
  handles["opaque"] = owned(vormel::makeOpaque("other"));
  handles["number"] = aNumber(1);
  handles["empty"] = anEmpty();
  handles["value object"] = aTimeseries({1}, {1});
  handles["other class"] = copyOf(otherClass);
  handles["null"] = OwnedArray();
  return handles;
}

class BadHandles : public LiveArraysTest {
 protected:
  const SampleStore sample{Keeping::InMemory};
  const OwnedArray map = aFilledMap(kPair);
};

TEST_F(BadHandles, no_method_of_the_repository_takes_a_foreign_one) {
  const Snapshot before = snapshotOf(sample.store());
  for (const auto& [kind, handle] : foreignHandles(map.get())) {
    for (const MethodCall& call : repositoryCalls()) {
      const auto& method = repositoryMethod(call);
      if (method.isConstructor()) continue;
      const Arrays inputs = call.inputs();
      const std::size_t arrays = vormel::liveArrayCount();
      EXPECT_EQ(callWith(method, withHandle(handle.get(), inputs)).failure, "Vormel:WrongObject")
          << kind << ", " << call.method;
      EXPECT_EQ(vormel::liveArrayCount(), arrays) << kind << ", " << call.method;
    }
  }
  EXPECT_TRUE(snapshotOf(sample.store()) == before) << "the store has changed";
}

TEST_F(BadHandles, no_method_of_a_map_takes_a_foreign_one) {
  for (const auto& [kind, handle] : foreignHandles(sample.handle())) {
    for (const MapCall& call : kMapCalls) {
      const auto& method = mapMethod(call.method);
      if (method.isConstructor()) continue;
      EXPECT_EQ(callWith(method, withHandle(handle.get(), call.inputs(kPair))).failure,
                "Vormel:WrongObject")
          << kind << ", " << call.method;
    }
  }
}

// ---- Handles whose object has ended ----

TEST_F(BadHandles, an_ended_one_is_invalid_to_every_method_but_clean) {
  const Snapshot before = snapshotOf(sample.store());
  const vormel::Object ended = aRepository();
  vormel::endObject(ended.handle());
  for (const MethodCall& call : repositoryCalls()) {
    const auto& method = repositoryMethod(call);
    if (method.isConstructor() || call.method == "clean") continue;
    EXPECT_EQ(callWith(method, withHandle(ended.handle(), call.inputs())).failure, "INVALID_OBJ")
        << call.method << ' ' << call.form;
  }
  EXPECT_TRUE(snapshotOf(sample.store()) == before) << "the store has changed";
}

TEST_F(BadHandles, an_ended_one_cleans_all_the_same) {
  const vormel::Object ended = aRepository();
  vormel::endObject(ended.handle());
  const auto& clean = *kvrClass("SignalRepository").findMethod("clean");
  EXPECT_EQ(callWith(clean, {ended.handle()}).failure, "");
  EXPECT_NE(SignalRepository::getInstance(), &sample.store());
}

TEST_F(BadHandles, an_ended_map_is_refused) {
  vormel::endObject(map.get());
  for (const MapCall& call : kMapCalls) {
    const auto& method = mapMethod(call.method);
    if (method.isConstructor()) continue;
    EXPECT_EQ(callWith(method, withHandle(map.get(), call.inputs(kPair))).failure,
              "Vormel:DeadObject")
        << call.method;
  }
}

// ---- Handles that outlive clean ----

// The old store goes on working for them, but settings are inherited from the present one.
TEST_F(BadHandles, one_that_outlived_clean_reaches_the_old_store) {
  const auto& clean = *kvrClass("SignalRepository").findMethod("clean");
  for (const MethodCall& call : repositoryCalls()) {
    const auto& method = repositoryMethod(call);
    if (method.isConstructor()) continue;
    const SampleStore old(Keeping::InMemory);
    EXPECT_EQ(callWith(clean, {aRepository().handle()}).failure, "");
    const bool asksTheRun = call.form == "inherited" &&
                            (call.method == "getTolerance" || call.method == "getSyncOptions");
    EXPECT_EQ(callWith(method, withHandle(old.handle(), call.inputs())).failure,
              asksTheRun ? "NON_EXISTENT Run ID" : call.untouched)
        << call.method << ' ' << call.form;
  }
}

// ---- Bodies called by hand, with handles that the host would not let through ----

// Cells of a call as the host fills them.
class Cells {
 public:
  Cells(const vormel::MethodRecord& method, const vrArray* handle, const Arrays& inputs) {
    cells_.resize(1 + inputs.size());
    texts_.resize(inputs.size());
    cells_[0].array = const_cast<vrArray*>(handle);
    const auto& types = method.inputs();
    for (std::size_t i = 0; i < inputs.size(); ++i)
      fill(i, types[std::min(i + 1, types.size() - 1)].type, inputs[i].get());
  }

  std::string execute(const vormel::MethodRecord& method) {
    Tally::instance().add(kCalls);
    const vormel::CallScope scope;
    std::int32_t outputCount = 1;
    ntob::ArgumentCell outputs[4] = {};
    try {
      method.descriptor().execute(nullptr, &outputCount, outputs,
                                  static_cast<std::int32_t>(cells_.size()), cells_.data());
    } catch (...) {
      return textOf(std::current_exception());
    }
    return "";
  }

 private:
  void fill(std::size_t input, vormel::CellType type, const vrArray* array) {
    ntob::ArgumentCell& cell = cells_[1 + input];
    switch (type) {
      case vormel::CellType::Int32Scalar:
        cell.word = vrGetScalarInt(array);
        break;
      case vormel::CellType::DoubleScalar:
        cell.doubleValue = vrGetScalar(array);
        break;
      case vormel::CellType::String:
        texts_[input] = vrArrayToStdString(array);
        cell.text = texts_[input].c_str();
        break;
      default:
        cell.array = const_cast<vrArray*>(array);
    }
  }

  std::vector<ntob::ArgumentCell> cells_;
  std::vector<std::string> texts_;
};

TEST_F(BadHandles, a_body_finds_those_invalid_that_name_nothing) {
  const Snapshot before = snapshotOf(sample.store());
  for (const char* kind : {"null", "null element", "number", "empty"}) {
    const OwnedArray handle = std::move(foreignHandles(map.get())[kind]);
    for (const MethodCall& call : repositoryCalls()) {
      const auto& method = repositoryMethod(call);
      if (method.isConstructor() || call.method == "clean") continue;
      const Arrays inputs = call.inputs();
      EXPECT_EQ(Cells(method, handle.get(), inputs).execute(method), "INVALID_OBJ")
          << kind << ", " << call.method << ' ' << call.form;
    }
  }
  EXPECT_TRUE(snapshotOf(sample.store()) == before) << "the store has changed";
}

// A map's bodies test nothing; what protects them is that the host's operations do.
TEST_F(BadHandles, a_body_of_a_map_throws_at_those_that_name_nothing) {
  for (const char* kind : {"null", "null element", "number", "empty"}) {
    const OwnedArray handle = std::move(foreignHandles(sample.handle())[kind]);
    for (const MapCall& call : kMapCalls) {
      const auto& method = mapMethod(call.method);
      if (method.isConstructor()) continue;
      const Arrays inputs = call.inputs(kPair);
      EXPECT_EQ(Cells(method, handle.get(), inputs).execute(method), "std::bad_cast")
          << kind << ", " << call.method;
    }
  }
}

// ---- Numbers of inputs ----

// Of a call with so many inputs, handle included. A body that tells no counts apart takes what is
// declared and does not look at more.
std::string failureOfCount(const MethodRow& row, std::size_t count) {
  const std::size_t declared = row.inputs.size();
  if (count < declared) return "Vormel:NotEnoughInputs";
  if (declared == 0 && count > 0) return "Vormel:TooManyInputs";
  return row.accepts(count) ? "" : "INVALID_SIGNATURE";
}

// So many arrays: the call's own, cut off or with the last one repeated.
std::vector<const vrArray*> stretched(std::vector<const vrArray*> arrays, std::size_t count) {
  arrays.resize(count, arrays.back());
  return arrays;
}

// The method's first call of that many inputs, handle included, or else its first one.
const MethodCall& callWithInputs(const std::string& method, std::size_t count) {
  const MethodCall* first = nullptr;
  for (const MethodCall& call : repositoryCalls()) {
    if (call.method != method || !call.untouched.empty()) continue;
    if (call.inputs().size() + 1 == count) return call;
    if (first == nullptr) first = &call;
  }
  return *first;
}

class BadCounts : public LiveArraysTest {};

TEST_F(BadCounts, of_inputs_are_refused_or_accepted_by_the_repository_as_told) {
  for (const MethodRow& row : kRepositoryRows) {
    const auto& method = *kvrClass("SignalRepository").findMethod(row.name);
    for (std::size_t count = 0; count <= kMostInputs; ++count) {
      const SampleStore sample(Keeping::InMemory);
      const Snapshot before = snapshotOf(sample.store());
      const Arrays inputs = callWithInputs(row.name, count).inputs();
      const std::size_t arrays = vormel::liveArrayCount();
      const std::string expected = failureOfCount(row, count);
      EXPECT_EQ(callWith(method, stretched(withHandle(sample.handle(), inputs), count)).failure,
                expected)
          << row.name << ' ' << count;
      if (expected.empty()) continue;
      EXPECT_TRUE(snapshotOf(sample.store()) == before) << row.name << ' ' << count;
      EXPECT_EQ(vormel::liveArrayCount(), arrays) << row.name << ' ' << count;
    }
  }
}

TEST_F(BadCounts, of_inputs_are_refused_by_maps_if_too_few) {
  for (const MapCall& call : kMapCalls) {
    const auto& method = mapMethod(call.method);
    const OwnedArray map = aFilledMap(kPair);
    for (std::size_t count = 0; count <= kMostInputs; ++count) {
      const OwnedArray fresh = aFilledMap(kPair);
      const Arrays inputs = call.inputs(kPair);
      const auto arrays =
          method.isConstructor() ? borrowed(inputs) : withHandle(fresh.get(), inputs);
      const std::string expected =
          count < method.inputs().size() ? "Vormel:NotEnoughInputs" : call.untouched;
      EXPECT_EQ(callWith(method, stretched(arrays, count)).failure, expected)
          << call.method << ' ' << count;
    }
  }
}

// ---- Numbers of outputs ----

TEST_F(BadCounts, of_outputs_change_nothing_about_a_call_of_the_repository) {
  for (const MethodCall& call : repositoryCalls()) {
    const auto& method = repositoryMethod(call);
    for (std::int64_t nargout = 0; nargout <= kMostOutputs; ++nargout) {
      const SampleStore sample(Keeping::InMemory);
      const Arrays inputs = call.inputs();
      const auto arrays =
          method.isConstructor() ? borrowed(inputs) : withHandle(sample.handle(), inputs);
      const Attempt attempt = callWith(method, arrays, nargout);
      EXPECT_EQ(attempt.failure, call.untouched) << call.method << ' ' << nargout;
      EXPECT_EQ(attempt.hasResult, !method.outputs().empty() && call.untouched.empty())
          << call.method << ' ' << nargout;
    }
  }
}

// But for reading data, which is not done when more than one output is asked for.
TEST_F(BadCounts, of_outputs_change_nothing_about_a_call_of_a_map) {
  for (const MapCall& call : kMapCalls) {
    const auto& method = mapMethod(call.method);
    for (std::int64_t nargout = 0; nargout <= kMostOutputs; ++nargout) {
      const OwnedArray map = aFilledMap(kPair);
      const Arrays inputs = call.inputs(kPair);
      const auto arrays = method.isConstructor() ? borrowed(inputs) : withHandle(map.get(), inputs);
      const Attempt attempt = callWith(method, arrays, nargout);
      const bool isIdle = nargout > 1 && method.name().starts_with("getData");
      const std::string expected = isIdle ? "" : call.untouched;
      EXPECT_EQ(attempt.failure, expected) << call.method << ' ' << nargout;
      EXPECT_EQ(attempt.hasResult, !method.outputs().empty() && !isIdle && expected.empty())
          << call.method << ' ' << nargout;
    }
  }
}

}  // namespace
}  // namespace kvr::test
