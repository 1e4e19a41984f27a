// What the structure forms of tolerances and synchronisation options have in common.
#pragma once

#include "kvrntob/host/libvr.h"

namespace kvr {

// Fails with INPUT_MISMATCH("struct") unless the array is a structure or value object array with an
// element.
void requireStructure(const vrArray* array);

}  // namespace kvr
