// A recording of a file as a run of the store.
#pragma once

#include <string>

#include "embedded_host/interpreter/interpreter.h"
#include "examples/recording_file.h"

// Adds a run "As of DAY" with a signal for each series, in the order of the file; returns its id.
// The times are days since the first of January of year 0, as the host counts them. Throws as
// Object::call does.
int recordRun(const vormel::Object& store, const std::string& day, const Recording& recording);
