// The tolerance structure: the form in which host code sees a ToleranceSettings. Eleven fields,
// from "toleranceType" to "fcnCall".
#pragma once

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/tolerance_settings.h"

namespace kvr {

// From the first element of a structure or value object array; fields go by name, in any order.
// "toleranceType" is truncated. Fails with
//   INPUT_MISMATCH("struct")    another class, or empty
//   NUMBER_OF_FIELDS("11")
//   MISSING_FIELD               any but "timeStep" is missing
//   TOL_TYPE                    the type is no real numeric scalar, or not 0, 1 or 2
//   NOT_NUMERIC(...)            a number is no real numeric scalar, or "timeStep" is missing; in
//   the
//                               order of the fields, with words such as "Start time"
//   INPUT_MISMATCH("Character of strings")    "fcnCall" is no character array
ToleranceSettings readToleranceStruct(const vrArray* array);

// A new 1-by-1 structure, the caller's, of all eleven fields whatever the type.
vrArray* writeToleranceStruct(const ToleranceSettings& settings);

}  // namespace kvr
