// Keywords that host code may type in any case.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "kvrntob/store/integers.h"

namespace kvr {

// True if `text` is the keyword, the case of ASCII letters apart. Nothing is trimmed, no prefix
// matches, and no locale has a say.
inline bool isKeyword(std::string_view text, std::string_view keyword) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  return std::equal(text.begin(), text.end(), keyword.begin(), keyword.end(),
                    [&](char a, char b) { return upper(a) == upper(b); });
}

// The code of the keyword that `text` is: its place in the table, from 0. None if it is none.
template <std::size_t N>
std::optional<int32> keywordCode(std::string_view text,
                                 const std::array<std::string_view, N>& keywords) {
  const auto found = std::find_if(keywords.begin(), keywords.end(), [&](std::string_view keyword) {
    return isKeyword(text, keyword);
  });
  if (found == keywords.end()) return std::nullopt;
  return static_cast<int32>(found - keywords.begin());
}

}  // namespace kvr
