// The functions that the host has of its own; v_interpreter.h tells what each gives.
#pragma once

#include "embedded_host/arrays/arrays.h"

namespace vormel {

// "Vormel" and the version of this project.
OwnedArray version();

// Days since the beginning of year 0, in UTC.
OwnedArray now();

// The private directory of the process.
OwnedArray tempdir();

// A scalar value object with the properties Data and Time, both empty.
OwnedArray timeseries();

}  // namespace vormel
