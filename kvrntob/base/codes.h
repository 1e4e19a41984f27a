// The integer of ids, indexes and codes, and the keywords by which host code names a code.
//
// Signal and run ids count from 1. A code is the position of its keyword in a table, from 0.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvr {

using int32 = std::int32_t;

// True if `text` equals the keyword, ignoring the case of ASCII letters. Nothing is trimmed, a
// prefix does not match, and the locale has no influence.
inline bool isKeyword(std::string_view text, std::string_view keyword) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  return std::equal(text.begin(), text.end(), keyword.begin(), keyword.end(),
                    [&](char a, char b) { return upper(a) == upper(b); });
}

// The code of the keyword that `text` matches; none if it matches no keyword.
template <std::size_t N>
std::optional<int32> keywordCode(std::string_view text,
                                 const std::array<std::string_view, N>& keywords) {
  const auto found = std::find_if(keywords.begin(), keywords.end(), [&](std::string_view keyword) {
    return isKeyword(text, keyword);
  });
  if (found == keywords.end()) return std::nullopt;
  return static_cast<int32>(found - keywords.begin());
}

// The keyword of a code, as the table spells it; empty for a code outside the table.
template <std::size_t N>
std::string keywordOf(int32 code, const std::array<std::string_view, N>& keywords) {
  if (code < 0 || static_cast<std::size_t>(code) >= N) return std::string();
  return std::string(keywords[static_cast<std::size_t>(code)]);
}

}  // namespace kvr
