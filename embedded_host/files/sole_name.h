// Files with several names: hard links, through which a forked child sees its parent's file as it
// was at the fork. Such a file is never changed in place.
#pragma once

#include <string>

namespace vormel {

// Has the file at `path` be known under this name alone, so that it may be changed: if it has other
// names, its content goes into a new file that replaces it, with mode 0600. Does nothing if there
// is no regular file. Throws FileFault if the copy cannot be made; the file is as it was then.
void giveSoleName(const std::string& path);

}  // namespace vormel
