// One run of steps against the models and the real thing, from an empty store.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/models/host_side.h"
#include "tests/models/world.h"

namespace kvr::models {

// What came of the steps of one kind, by the model.
struct Tally {
  std::uint64_t succeeded = 0;
  std::map<std::string, std::uint64_t> failed;  // by identifier and word
  void add(const Outcome& outcome);
};

struct Counts {
  std::uint64_t steps = 0;
  std::map<std::tuple<StepKind, ClassKind, int>, Tally> tally;  // the last is a method's place
  std::uint64_t comparisons = 0;                                // of the whole visible state
  std::uint64_t reads = 0;                                      // calls that these took
};

// Each operation returns what differs, or nothing.
using Difference = std::optional<std::string>;

class Episode {
 public:
  Episode();
  Episode(const Episode&) = delete;
  Episode& operator=(const Episode&) = delete;

  // Takes the step on both sides and compares what came of it.
  Difference take(const Step& step, Counts& counts);

  // Compares everything that can be seen.
  Difference compareAll(Counts& counts);

  // Ends both sides and compares the number of arrays that are left alive. Nothing comes after it.
  Difference finish();

  const World& world() const { return world_; }

 private:
  Difference compare(const Step& step, Counts* counts);
  bool knowsObjectsOf(const Step& step) const;
  Step withKnownObjects(Step step) const;

  std::size_t aliveAtStart_;
  std::optional<HostSide> host_;
  World world_;
};

// Takes all steps, compares everything and finishes. Returns the first difference.
Difference replay(const std::vector<Step>& steps);

// The steps with as many left out as can be while `fails` stays true: a list of which no shorter
// one by a single piece still does, unless `attempts` runs out first.
std::vector<Step> shrink(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails,
                         int attempts = 2000);

}  // namespace kvr::models
