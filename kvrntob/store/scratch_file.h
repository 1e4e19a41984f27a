// The scratch file, which keeps the values of signals out of memory: one variable per signal, named
// "id" and the signal's id, a 1-by-1 structure with the fields "Time" and "Data".
//
// The store declares here what it needs of the file; exchange/scratch_file.cpp does it.
#pragma once

#include <string>

#include "kvrntob/base/codes.h"
#include "kvrntob/host/libvr.h"

namespace kvr {

// Path of the file; one blank until createScratchFile has set it. A dropped store leaves it alone.
extern std::string scratchFileName;

// Sets scratchFileName to "KVR.vdf" in the host's directory for temporary files, and creates the
// file, empty, in place of an earlier one. Errors creating it are ignored; the first write reports
// them. Fails with INPUT_MISMATCH("timeseries") if the host names no directory; scratchFileName is
// then unchanged.
void createScratchFile();

// Writes the "Time" and "Data" properties of `values` (borrowed) as the variable of signal `id`.
// Every failure is INPUT_MISMATCH("timeseries"): a missing property, a file that cannot be opened
// or written, exhausted memory. The file then stays open and the structure is not released; the
// host frees both when its call ends.
void writeScratchVariable(const vrArray* values, int32 id);

// Reads the variable of signal `id` into a new timeseries object, which the caller owns.
// Fails with FILE_NOT_LOCATED if the file cannot be opened, then NON_EXISTENT("ID") if there is no
// such variable, then as the host function "timeseries" fails, then NON_EXISTENT("ID") if the
// variable lacks a field. All but the first leave the file open until the host call ends.
vrArray* readScratchVariable(int32 id);

// Deletes the file, if there is one.
void removeScratchFile();

}  // namespace kvr
