#include "tests/fuzz/trial.h"

#include <utility>

#include "embedded_host/files/file_status.h"
#include "embedded_host/objects/object_record.h"
#include "tests/fuzz/verdict.h"
#include "tests/models/signatures.h"

namespace kvr::fuzz {

models::Step callOf(const std::string& method, std::vector<models::PlainArray> inputs) {
  models::Step step;
  step.place = models::placeOf(models::ClassKind::Repository, method);
  step.inputs = std::move(inputs);
  step.inputs.insert(step.inputs.begin(), models::handleOf(1));
  return step;
}

namespace {

constexpr std::size_t kLongestLine = 1000;

std::string shortened(const std::string& text) {
  return text.size() <= kLongestLine ? text : text.substr(0, kLongestLine) + " ...";
}

}  // namespace

Trial::Trial() : objectsAtStart_(vormel::liveObjectCount()) { episode_.emplace(); }

void Trial::check(const models::Difference& difference) const {
  if (!difference) return;
  std::string text = "steps:\n";
  for (const models::Step& step : steps_) text += "  " + shortened(describe(step)) + "\n";
  complain(text + shortened(*difference));
}

void Trial::take(const models::Step& step) {
  steps_.push_back(step);
  check(episode_->take(step, counts_));
}

void Trial::prepareStore() {
  using namespace models;
  Step object;
  object.kind = StepKind::Construct;
  object.object = 1;
  take(object);
  const PlainArray name = text("alpha");
  const PlainArray one = int32Scalar(1);
  const PlainArray none = emptyOf(vrDOUBLE_CLASS);
  const PlainArray values =
      valueObject("timeseries", {"Time", "Data"}, {number(0.5), number(vrINT8_CLASS, 3)});
  take(callOf("createEmptyRun", {name, one}));
  take(callOf("add", {values, one, name, name, name, values, name, name, name, none, none, none,
                      none, name, none, number(0), name}));
}

void Trial::finish(Look look) {
  if (look == Look::Everywhere) check(episode_->compareAll(counts_));
  check(episode_->finish());
  // What cleared maps leave behind may be handles, whose objects live on.
  if (world().leftovers == 0)
    require(vormel::liveObjectCount() == objectsAtStart_, "objects are left alive");
  require(vormel::openFileCount() == 0, "files are left open");
}

}  // namespace kvr::fuzz
