// Writing results into output cells. Arrays that are written belong to the host from then on.
#pragma once

#include <string>
#include <vector>

#include "kvrntob/base/host_arrays.h"
#include "kvrntob/binding/call.h"

namespace kvr {

// An output declared "int32 scalar": the number, widened by sign to the whole cell.
inline void putInt32Cell(ArgumentCell& cell, int32 value) { cell.word = value; }

// Outputs declared "any".
inline void putInt32Array(ArgumentCell& cell, int32 value) { cell.array = makeInt32(value); }
inline void putInt32List(ArgumentCell& cell, const std::vector<int32>& values) {
  cell.array = makeInt32Row(values);
}
inline void putDoubleArray(ArgumentCell& cell, double value) { cell.array = makeDouble(value); }
inline void putString(ArgumentCell& cell, const std::string& text) {
  cell.array = makeString(text);
}
inline void putTruth(ArgumentCell& cell, bool truth) { cell.array = vrCreateLogicalScalar(truth); }
inline void putStructure(ArgumentCell& cell, vrArray* structure) { cell.array = structure; }

}  // namespace kvr
