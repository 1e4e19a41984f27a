// Random steps, weighted so that most calls do something and every kind of wrong call occurs; and
// the reads that show all of the visible state.
#pragma once

#include "tests/models/random.h"
#include "tests/models/world.h"

namespace kvr::models {

// What a run of steps is mostly about.
enum class Theme {
  Signals,
  Settings,
  Columns,
  Runs,
  Cleaning,
  File,
  Maps,
  Everything
};

class StepMaker {
 public:
  StepMaker(Random& random, const World& world, Theme theme)
      : random_(random), world_(world), theme_(theme) {}

  Step next();

 private:
  Step object(ClassKind cls);
  Step end();
  Step function();
  Step repositoryCall();
  Step mapCall();
  void spoil(Step& step);
  int chooseObject(ClassKind cls);

  Random& random_;
  const World& world_;
  Theme theme_;
  int lastObject_ = 0;
};

// Calls that change nothing, of each of the living handles, whose answers together tell everything
// that can be seen of stores and maps.
std::vector<Step> reads(const World& world);

}  // namespace kvr::models
