// Host library libvf: variable files, which hold named arrays.
#pragma once

#include "kvrntob/host/export.h"

struct vrArray;
struct vfFile;  // an open variable file

// Opens the file at `path`. Modes:
//   "w7.3"  makes the file anew, empty, replacing whatever is there
//   "u"     opens an existing file to add or replace variables
//   "r"     opens an existing file to read
// Null when the file cannot be made or opened, is no variable file, or the mode is another.
// The caller closes the file; one that is still open when a host call ends is closed by the host.
VORMEL_HOST_API vfFile* vfOpen(const char* path, const char* mode);

// Closes the file. Null is ignored. Returns 0 on success; the file is closed either way.
VORMEL_HOST_API int vfClose(vfFile* file);

// Writes a copy of `array` as the variable `name`, replacing one of that name. The array is
// borrowed. Returns 0 on success; on failure the variable is absent or as it was.
VORMEL_HOST_API int vfPutVariable(vfFile* file, const char* name, const vrArray* array);

// Returns a new array, owned by the caller, equal to the one that was written. Null when there is
// no such variable or what the file holds under the name is damaged.
VORMEL_HOST_API vrArray* vfGetVariable(vfFile* file, const char* name);
