// UTF-16 and UTF-8. U+FFFD replaces what cannot be converted: a lone surrogate in UTF-16; in UTF-8
// each maximal part of an ill-formed sequence, as the Unicode standard recommends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vormel {

std::string utf8FromUtf16(const std::uint16_t* units, std::size_t count);

// Returns the number of UTF-16 units of a NUL-terminated UTF-8 text, and writes that many to
// `units` unless it is null.
std::size_t utf16FromUtf8(const char* text, std::uint16_t* units) noexcept;

// True for well-formed UTF-8.
bool isUtf8(std::string_view text) noexcept;

// True if every byte of the text is ASCII. Its UTF-16 units then equal its bytes.
inline bool isAscii(const char* text, std::size_t length) noexcept {
  unsigned char all = 0;
  for (std::size_t i = 0; i < length; ++i) all |= static_cast<unsigned char>(text[i]);
  return all < 0x80;
}

}  // namespace vormel
