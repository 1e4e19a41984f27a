#include "embedded_host/functions/descriptor.h"

namespace vormel {
namespace {

// Deeper directories are left: each level takes one or two descriptors and space on the stack.
constexpr int maxLevels = 64;

bool isMountPoint(int directory) noexcept {
  struct statx status;
  if (statx(directory, "", AT_EMPTY_PATH, 0, &status) != 0) return true;
  return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

void removeEntries(int directory, int levels) noexcept;

bool removeEntry(int directory, const char* name, int levels) noexcept {
  if (unlinkat(directory, name, 0) == 0) return true;
  if (levels == 0) return false;
  const Descriptor inner = openDirectory(directory, name);
  if (!inner || isMountPoint(inner.number())) return false;
  removeEntries(inner.number(), levels - 1);
  return unlinkat(directory, name, AT_REMOVEDIR) == 0;
}

// A file system may omit entries from a listing while others are removed. The directory is listed
// again until a pass removes nothing.
void removeEntries(int directory, int levels) noexcept {
  bool hasRemoved = true;
  while (hasRemoved) {
    hasRemoved = false;
    forEachEntry(directory, [&](const char* name) {
      hasRemoved |= removeEntry(directory, name, levels);
      return true;
    });
  }
}

}  // namespace

void removeEntries(int directory) noexcept { removeEntries(directory, maxLevels); }

}  // namespace vormel
