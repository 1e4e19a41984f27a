// One step of a random run and what came of it, both plain values, so that a run can be replayed,
// cut down and printed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/models/plain_array.h"
#include "tests/models/signatures.h"

namespace kvr::models {

enum class StepKind {
  Call,          // of a method; inputs with the handle
  Construct,     // a new object, which gets the number `object`
  End,           // ends the object of the number `object`
  HostFunction,  // from now on the host function `function` behaves as `mood` says
};

enum class Mood {
  Fine,
  Empty,  // "tempdir" alone: answers an empty text
  Fails,
};

struct Step {
  StepKind kind = StepKind::Call;
  ClassKind cls = ClassKind::Repository;
  int place = 0;  // of the method in the order of registration, from 0
  int nargout = 1;
  std::vector<PlainArray> inputs;
  int object = 0;
  std::string function;
  Mood mood = Mood::Fine;
};

// Either a failure, or the output count as the body left it and the cells that it was offered, each
// empty unless it was written.
struct Outcome {
  std::optional<Failure> failure;
  int32 outputCount = 0;
  std::vector<std::optional<PlainArray>> cells;
  bool operator==(const Outcome&) const = default;
};

std::string describe(const Step& step);
std::string describe(const Outcome& outcome);

}  // namespace kvr::models
