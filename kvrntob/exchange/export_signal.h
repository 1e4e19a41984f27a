// The structure in which a signal leaves the store.
#pragma once

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/data.h"

namespace kvr {

// A new 1-by-1 structure of 19 fields, the caller's, from "DataID" to "rootDataSrc". "DataValues"
// and "MetaData" share their elements with the record's arrays.
// Fails as readScratchVariable if the record's values are in the scratch file; the structure made
// so far then ends with the host call.
vrArray* exportSignal(const Data& record);

}  // namespace kvr
