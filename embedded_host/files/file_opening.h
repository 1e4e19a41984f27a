// Opening and making variable files.
#pragma once

#include <string_view>

#include "embedded_host/files/atomic_file.h"

namespace vormel {

// Opens the file at `path` in a mode of libvf.h: "w7.3" makes a new file with mode 0600 in place of
// whatever the path leads to, "u" opens a file for reading and writing, "r" for reading. A symbolic
// link at the end of the path is not followed, and only regular files are opened. Throws FileFault
// for another mode, for a file that cannot be opened or made, and for one that is not a variable
// file.
//
// A forked child sees its parent's file, as it was at the fork, through a hard link. A file with
// several names is therefore never changed in place: "u" first replaces it by a copy, with mode
// 0600, under the one name.
AtomicFile openVariableFile(const char* path, std::string_view mode);

}  // namespace vormel
