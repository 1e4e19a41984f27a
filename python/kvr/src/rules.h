// What pairs are judged with, from the package's settings.
#pragma once

#include <pybind11/pybind11.h>

#include <functional>
#include <string>

#include "compare/compare.h"

namespace kvr::python {

// Of dictionaries under the names of the store's two structures.
compare::Tolerance toleranceOf(const pybind11::dict& given);
compare::Sync syncOf(const pybind11::dict& given);  // with the two words as their codes

// What many pairs have in common; without functions.
class Rules {
 public:
  Rules(const pybind11::dict& tolerance, const pybind11::dict& sync, int toleranceSource,
        bool wholeBaseline, double timeTolerance);

  // Needs no interpreter lock. Throws compare::Stopped if `stop` asks for it.
  compare::Verdict judge(const compare::Series& baseline, const compare::Series& other,
                         const std::function<bool()>& stop) const;

  std::string describe(const compare::Verdict& verdict, bool isDated) const;

 private:
  compare::Settings settings_;
  compare::Source source_;
  compare::Coverage coverage_;
  double timeTolerance_;
};

void defineRules(pybind11::module_& module);

}  // namespace kvr::python
