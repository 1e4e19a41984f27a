// How far a value may be off at a time, for the groups that need no function.
#pragma once

#include <cmath>
#include <limits>

#include "compare/compare.h"

namespace kvr::compare {

// What is allowed for a baseline value of this size. In the order of the parts: if the relative
// part is not a number, the absolute one decides.
inline double allowed(double absolute, double relative, double size) {
  const double relativePart = relative * size;
  return absolute < relativePart ? relativePart : absolute;
}

class ToleranceRule {
 public:
  explicit ToleranceRule(const Tolerance& tolerance) : fields_(tolerance) {}

  bool isStepped() const { return fields_.toleranceType == 1; }
  bool isFunction() const { return fields_.toleranceType == 2; }

  // Whether the rule judges this time. Only group 1 leaves any out.
  bool judges(double t) const {
    return !isStepped() || (fields_.timeStart <= t && t <= fields_.timeEnd);
  }

  double absoluteAt(double t) const {
    return isStepped() ? fields_.initAbsTolVal + stepAt(t) * fields_.absStep : fields_.absolute;
  }
  double relativeAt(double t) const {
    return isStepped() ? fields_.initRelTolVal + stepAt(t) * fields_.relStep : fields_.relative;
  }

 private:
  double stepAt(double t) const {
    return fields_.timeStep > 0 ? std::floor((t - fields_.timeStart) / fields_.timeStep) : 0.0;
  }

  const Tolerance& fields_;
};

}  // namespace kvr::compare
