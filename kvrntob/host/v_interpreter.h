// Host library v_interpreter: calling a host function by name.
#pragma once

#include "kvrntob/host/export.h"

struct vrArray;

// Calls the host function `name` with `inputCount` arrays and asks it for `outputCount` results,
// which become new arrays in `outputs`, owned by the caller. Inputs are borrowed.
//
// With `trap` 0 a failure of the function passes through this call as an exception. With `trap` 1
// it is held back: the result is not 0, every entry of `outputs` is null, and libvr operations say
// what they make of a null array. Returns 0 on success.
//
// Functions that modules may count on, each without inputs and with one output:
//   "version"     character row: the host's version
//   "now"         double scalar: the present date in days, fractions included
//   "tempdir"     character row: the directory for scratch files, ending in a path separator
//   "timeseries"  a new value object of class "timeseries" with default properties
VORMEL_HOST_API int ipCallFcnWithTrap(int outputCount, vrArray** outputs, int inputCount,
                                      vrArray** inputs, const char* name, int trap);
