// Writing host arrays into a variable file.
#pragma once

#include <hdf5.h>

#include <string>

#include "kvrntob/host/libvr.h"

namespace vormel {

// Throws FileFault for an array that a file cannot hold: one with an opaque array in it, one nested
// too deep, or one with a name that is too long. Whatever passes is written, if the disk permits.
void requireStorable(const vrArray* array);

// Writes the array as the new member `name` of the group. Throws FileFault.
void writeVariable(hid_t group, const std::string& name, const vrArray* array);

}  // namespace vormel
