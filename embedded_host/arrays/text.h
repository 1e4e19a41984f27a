// Between UTF-16 and UTF-8. What has no counterpart becomes U+FFFD: a lone surrogate on one side,
// each longest run of bytes that begins no valid character on the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vormel {

std::string utf8FromUtf16(const std::uint16_t* units, std::size_t count);

// Number of UTF-16 units of a NUL-terminated UTF-8 text; writes that many to `units` unless it is
// null.
std::size_t utf16FromUtf8(const char* text, std::uint16_t* units) noexcept;

// True if no byte of the text is beyond ASCII: it has as many units as bytes then, and the same
// ones.
inline bool isAscii(const char* text, std::size_t length) noexcept {
  unsigned char all = 0;
  for (std::size_t i = 0; i < length; ++i) all |= static_cast<unsigned char>(text[i]);
  return all < 0x80;
}

}  // namespace vormel
