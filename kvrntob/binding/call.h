// One call of a repository method as its body sees it: the store behind the handle, the arguments,
// and the writing of results.
#pragma once

#include <string>
#include <vector>

#include "kvrntob/base/host_arrays.h"
#include "kvrntob/host/ntob.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

using ntob::ArgumentCell;

// The store behind a handle of class Dravik.kvr.SignalRepository. Never null.
// Fails with INVALID_OBJ if the handle names no object or one that has ended.
SignalRepository* resolveHandle(const vrArray* handle);

struct Call {
  void* context;
  int32* outputCount;
  ArgumentCell* out;
  int32 inputCount;  // the handle included
  ArgumentCell* in;

  // The store behind the handle. Fails with INVALID_OBJ. Bodies call it first, except for five that
  // test or copy an argument before it.
  SignalRepository& store() const { return *resolveHandle(in[0].array); }

  void askForOneOutputAtLeast() const {
    if (*outputCount == 0) *outputCount = 1;
  }
};

// ---- Results. Arrays that are written belong to the host from then on. ----

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
