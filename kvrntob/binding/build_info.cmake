# Writes the header OUTPUT with the facts of this build: VERSION, and the present time, or that of
# SOURCE_DATE_EPOCH. Run as a script, each time the module's objects have changed.
string(TIMESTAMP time "%s" UTC)
string(TIMESTAMP date "%b %d %Y" UTC)
string(MD5 digest "${VERSION} ${time}")
string(SUBSTRING ${digest} 0 8 tag)
file(WRITE ${OUTPUT} "#pragma once

#include <cstdint>

inline constexpr const char* kModuleVersion = \"${VERSION}\";
inline constexpr const char* kBuildDate = \"${date}\";
inline constexpr std::uint64_t kBuildTime = ${time};
inline constexpr std::uint64_t kBuildTag = 0x${tag};
")
