// The scratch file, which keeps the values of signals out of memory: one variable a signal, a
// 1-by-1 structure with the fields "Time" and "Data". Knows host arrays and ids only.
#pragma once

#include <string>

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/integers.h"

namespace kvr {

// Path of the file, one blank until createScratchFile has set it. Survives a dropped store.
extern std::string scratchFileName;

// Sets scratchFileName to "KVR.vdf" in the host's directory for scratch files, and makes the file
// anew, empty. Whether that succeeds shows at the first write.
// Fails with INPUT_MISMATCH("timeseries") if the host names no directory; scratchFileName stays.
void createScratchFile();

// Writes the "Time" and "Data" properties of `values` (borrowed) as the variable of signal `id`.
// Fails with INPUT_MISMATCH("timeseries"), whatever went wrong: a missing property, a file that
// cannot be opened or written, exhausted memory. The file then stays open and the structure is not
// released; both end with the host call.
void writeScratchVariable(const vrArray* values, int32 id);

// Reads the variable of signal `id` into a new timeseries object, which the caller owns.
// Fails with FILE_NOT_LOCATED if the file cannot be opened, then NON_EXISTENT("ID") if there is no
// such variable, then as the host function "timeseries" fails, then NON_EXISTENT("ID") if the
// variable lacks a field. All but the first leave the file open until the host call ends.
vrArray* readScratchVariable(int32 id);

// Deletes the file, if there is one.
void removeScratchFile();

}  // namespace kvr
