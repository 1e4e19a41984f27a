#include "embedded_host/arrays/text.h"

#include <algorithm>

namespace vormel {
namespace {

constexpr std::uint32_t replacement = 0xFFFD;

bool isHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void appendUtf8(std::string& text, std::uint32_t code) {
  const auto tail = [&](int shift) {
    text.push_back(static_cast<char>(0x80 | ((code >> shift) & 0x3F)));
  };
  if (code < 0x80) {
    text.push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    text.push_back(static_cast<char>(0xC0 | (code >> 6)));
    tail(0);
  } else if (code < 0x10000) {
    text.push_back(static_cast<char>(0xE0 | (code >> 12)));
    tail(6);
    tail(0);
  } else {
    text.push_back(static_cast<char>(0xF0 | (code >> 18)));
    tail(12);
    tail(6);
    tail(0);
  }
}

// What follows the first byte of a character: how many bytes, and the range of the next one. The
// range excludes overlong forms, surrogates and codes above U+10FFFF.
struct Lead {
  int following;  // negative if no character begins so
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte) noexcept {
  if (byte < 0x80) return {0};
  if (byte < 0xC2 || byte > 0xF4) return {-1};
  if (byte < 0xE0) return {1};
  if (byte < 0xF0) {
    return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
          static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
}

// Reads one character and advances the text past it, or past the bytes that U+FFFD replaces.
std::uint32_t takeCharacter(const unsigned char*& text) noexcept {
  const unsigned char first = *text++;
  Lead lead = leadOf(first);
  if (lead.following == 0) return first;
  if (lead.following < 0) return replacement;
  std::uint32_t code = first & (0x3FU >> lead.following);
  for (; lead.following > 0; --lead.following) {
    if (*text < lead.low || *text > lead.high) return replacement;
    code = code << 6 | (*text++ & 0x3FU);
    lead.low = 0x80;
    lead.high = 0xBF;
  }
  return code;
}

}  // namespace

std::string utf8FromUtf16(const std::uint16_t* units, std::size_t count) {
  const auto isAscii = [](std::uint16_t unit) { return unit < 0x80; };
  const std::uint16_t* rest = std::find_if_not(units, units + count, isAscii);
  std::string text(units, rest);
  for (auto i = static_cast<std::size_t>(rest - units); i < count; ++i) {
    std::uint32_t code = units[i];
    if (isHighSurrogate(code) && i + 1 < count && isLowSurrogate(units[i + 1])) {
      code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00U);
    } else if (isHighSurrogate(code) || isLowSurrogate(code)) {
      code = replacement;
    }
    appendUtf8(text, code);
  }
  return text;
}

std::size_t utf16FromUtf8(const char* text, std::uint16_t* units) noexcept {
  std::size_t count = 0;
  const auto put = [&](std::uint32_t unit) {
    if (units != nullptr) units[count] = static_cast<std::uint16_t>(unit);
    ++count;
  };
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  while (*bytes != 0) {
    const std::uint32_t code = *bytes < 0x80 ? *bytes++ : takeCharacter(bytes);
    if (code < 0x10000) {
      put(code);
    } else {
      put(0xD800 + ((code - 0x10000) >> 10));
      put(0xDC00 + (code & 0x3FF));
    }
  }
  return count;
}

bool isUtf8(std::string_view text) noexcept {
  const auto* next = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = next + text.size();
  while (next != end) {
    Lead lead = leadOf(*next++);
    if (lead.following < 0 || lead.following > end - next) return false;
    for (; lead.following > 0; --lead.following, ++next) {
      if (*next < lead.low || *next > lead.high) return false;
      lead.low = 0x80;
      lead.high = 0xBF;
    }
  }
  return true;
}

}  // namespace vormel
