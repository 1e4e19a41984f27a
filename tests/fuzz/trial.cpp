#include "tests/fuzz/trial.h"

#include "embedded_host/files/open_files.h"
#include "embedded_host/objects/object_record.h"
#include "tests/fuzz/verdict.h"

namespace kvr::fuzz {

Trial::Trial() : objectsAtStart_(vormel::liveObjectCount()) { episode_.emplace(); }

void Trial::check(const models::Difference& difference) const {
  if (!difference) return;
  std::string text = "steps:\n";
  for (const models::Step& step : steps_) text += "  " + describe(step) + "\n";
  complain(text + *difference);
}

void Trial::take(const models::Step& step) {
  steps_.push_back(step);
  check(episode_->take(step, counts_));
}

void Trial::finish() {
  check(episode_->compareAll(counts_));
  check(episode_->finish());
  // What cleared maps leave behind may be handles, whose objects live on.
  if (world().leftovers == 0)
    require(vormel::liveObjectCount() == objectsAtStart_, "objects are left alive");
  require(vormel::openFileCount() == 0, "files are left open");
}

}  // namespace kvr::fuzz
