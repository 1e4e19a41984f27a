// Every method of the repository in every form, as calls that come through on the sample store.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/reliability/attempt.h"

namespace kvr::test {

// What a call that fails midway may leave behind. Where a call runs out of heap in the middle of
// entering or removing a record the tables may hold part of it: Tables.
enum class Leaves {
  Nothing,
  RunNumber,    // one run id is lost
  SignalID,     // in file mode one signal id and palette step are lost; Tables on the heap
  Copy,         // the new run and its signals so far; Tables on the heap
  SortedNames,  // the column's names are in the order asked for
  SignalList,   // a run without signals has got an empty list
  FileMode,     // the mode is on, the file may be the new one
  Tables        // only on the heap; otherwise nothing
};

struct MethodCall {
  std::string method;
  std::function<Arrays()> inputs;  // all but the handle
  Leaves leaves = Leaves::Nothing;
  std::string form = {};       // for people: what tells it from the method's other forms
  std::string untouched = {};  // the failure that it ends in by itself
};

const std::vector<MethodCall>& repositoryCalls();

}  // namespace kvr::test
