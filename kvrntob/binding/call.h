// One call of a repository method, as its body sees it.
#pragma once

#include "kvrntob/binding/handle.h"
#include "kvrntob/host/ntob.h"

namespace kvr {

using ntob::ArgumentCell;

struct Call {
  void* context;
  int32* outputCount;
  ArgumentCell* out;
  int32 inputCount;  // the handle included
  ArgumentCell* in;

  // The store behind the handle. Fails with INVALID_OBJ. Bodies call it first, but for five that
  // test or copy an argument before it.
  SignalRepository& store() const { return *resolveHandle(in[0].array); }

  void askForOneOutputAtLeast() const {
    if (*outputCount == 0) *outputCount = 1;
  }
};

}  // namespace kvr
