// The models of the store and of maps under one roof, with the objects that stand for them: takes
// steps and tells what must come of each.
#pragma once

#include <memory>

#include "tests/models/map_model.h"
#include "tests/models/signatures.h"
#include "tests/models/step.h"
#include "tests/models/store_model.h"

namespace kvr::models {

struct ObjectModel {
  int number = 0;
  ClassKind cls = ClassKind::Repository;
  bool dead = false;
  std::shared_ptr<StoreModel> store{};  // of a repository: the one it was made with
  std::shared_ptr<MapModel> map{};
};

class World {
 public:
  Outcome take(const Step& step);

  Process process;
  std::vector<ObjectModel> objects;
  std::size_t leftovers = 0;  // arrays that cleared maps leave behind

  const ObjectModel* find(const PlainArray& handle) const;

 private:
  Outcome call(const Step& step);
  Outcome construct(const Step& step);
  void setFunction(const Step& step);
};

// A call as a body sees it: inputs that the host has let through, cells for the outputs.
class Call {
 public:
  Call(World& owner, ObjectModel& called, const Step& step, Outcome& result)
      : world(owner), self(called), inputs(step.inputs), outcome(result) {}

  World& world;
  ObjectModel& self;
  const std::vector<PlainArray>& inputs;  // the handle first
  Outcome& outcome;

  std::size_t count() const { return inputs.size(); }
  // Inputs that the signature declares as numbers and texts.
  int32 intAt(std::size_t position) const { return valueReading(inputs[position]); }
  double doubleAt(std::size_t position) const { return firstNumber(inputs[position]); }
  std::string textAt(std::size_t position) const { return textOf(inputs[position]); }

  // The store of the handle; fails on a dead one.
  StoreModel& store() const {
    if (self.dead) fail("INVALID_OBJ");
    return *self.store;
  }

  void give(PlainArray value, std::size_t cell = 0) { outcome.cells[cell] = std::move(value); }
};

}  // namespace kvr::models
