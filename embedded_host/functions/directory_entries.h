// Going through a directory that is open, whatever becomes of its path.
#pragma once

#include <dirent.h>

#include <memory>
#include <string_view>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

// Calls visit(name) for each entry, until one returns false. Entries may be removed meanwhile.
// False if the directory could not be read to its end or a visit returned false.
template <class Visit>
bool forEachEntry(int directory, Visit visit) noexcept {
  Descriptor own = openDirectory(directory, ".");  // with a position of its own
  struct Close {
    void operator()(DIR* stream) const noexcept { closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(own ? fdopendir(own.number()) : nullptr);
  if (!stream) return false;
  own.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) return errno == 0;
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !visit(static_cast<const char*>(entry->d_name)))
      return false;
  }
}

// Removes what is in the directory, as far as that can be removed: links themselves and never what
// they lead to, directories with their content, but none that another file system is mounted on.
void removeEntries(int directory) noexcept;

}  // namespace vormel
