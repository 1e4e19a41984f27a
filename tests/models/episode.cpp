#include "tests/models/episode.h"

#include <algorithm>
#include <utility>

#include "tests/models/steps.h"

namespace kvr::models {

void Tally::add(const Outcome& outcome) {
  if (outcome.failure) {
    ++failed[describe(outcome)];
  } else {
    ++succeeded;
  }
}

Episode::Episode() : aliveAtStart_(vormel::liveArrayCount()) {
  host_.emplace();
  world_.process.palette = host_->probePalette();
  world_.process.timeseries = host_->timeseries();
}

// A list that was cut down may name objects that are no longer made in it.
bool Episode::knowsObjectsOf(const Step& step) const {
  return std::all_of(step.inputs.begin(), step.inputs.end(), [&](const PlainArray& input) {
    return !isHandle(input) || world_.find(input) != nullptr;
  });
}

Step Episode::withKnownObjects(Step step) const {
  for (PlainArray& input : step.inputs) {
    if (!isHandle(input) || world_.find(input) != nullptr) continue;
    input.name = "other";
    input.object = 0;
  }
  return step;
}

Difference Episode::compare(const Step& step, Counts* counts) {
  if (!knowsObjectsOf(step)) return compare(withKnownObjects(step), counts);
  const Outcome expected = world_.take(step);
  const Outcome actual = host_->take(step);
  if (counts != nullptr) counts->tally[{step.kind, step.cls, step.place}].add(expected);
  if (expected == actual) return std::nullopt;
  return describe(step) + "\n    gives    " + describe(actual) + "\n    expected " +
         describe(expected);
}

Difference Episode::take(const Step& step, Counts& counts) {
  ++counts.steps;
  return compare(step, &counts);
}

Difference Episode::compareAll(Counts& counts) {
  ++counts.comparisons;
  for (const Step& step : reads(world_)) {
    ++counts.reads;
    if (const Difference difference = compare(step, nullptr))
      return "compared as a whole: " + *difference;
  }
  return std::nullopt;
}

Difference Episode::finish() {
  host_.reset();
  const std::size_t alive = vormel::liveArrayCount() - aliveAtStart_;
  if (alive == world_.leftovers) return std::nullopt;
  return std::to_string(alive) + " arrays are left alive, expected " +
         std::to_string(world_.leftovers);
}

Difference replay(const std::vector<Step>& steps) {
  Counts ignored;
  Episode episode;
  for (const Step& step : steps)
    if (Difference difference = episode.take(step, ignored)) return difference;
  if (Difference difference = episode.compareAll(ignored)) return difference;
  return episode.finish();
}

std::vector<Step> shrink(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails, int attempts) {
  for (std::size_t piece = std::max<std::size_t>(steps.size() / 2, 1); attempts > 0;) {
    bool cut = false;
    for (std::size_t at = 0; at < steps.size() && attempts > 0; --attempts) {
      std::vector<Step> fewer(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(at));
      const std::size_t after = std::min(at + piece, steps.size());
      fewer.insert(fewer.end(), steps.begin() + static_cast<std::ptrdiff_t>(after), steps.end());
      if (fails(fewer)) {
        steps = std::move(fewer);
        cut = true;
      } else {
        at += piece;
      }
    }
    if (!cut && piece == 1) break;
    if (!cut) piece = std::max<std::size_t>(piece / 2, 1);
  }
  return steps;
}

}  // namespace kvr::models
