#include "kvrntob/store/keyword.h"

#include <gtest/gtest.h>

namespace kvr::test {
namespace {

using std::literals::operator""sv;

constexpr std::array kKeywords{"zoh"sv, "LINEAR"sv};

TEST(Keyword, code_is_the_place_in_the_table) {
  EXPECT_EQ(keywordCode("zoh", kKeywords), 0);
  EXPECT_EQ(keywordCode("LINEAR", kKeywords), 1);
}

TEST(Keyword, case_of_letters_does_not_matter) {
  EXPECT_EQ(keywordCode("ZoH", kKeywords), 0);
  EXPECT_EQ(keywordCode("linEAR", kKeywords), 1);
}

TEST(Keyword, every_letter_matches_its_capital) {
  EXPECT_TRUE(isKeyword("abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
}

TEST(Keyword, nothing_is_trimmed) {
  for (const char* text : {" zoh", "zoh ", "zoh\n"})
    EXPECT_EQ(keywordCode(text, kKeywords), std::nullopt) << text;
}

TEST(Keyword, no_part_and_no_continuation_matches) {
  for (const char* text : {"", "z", "zo", "zohx", "lin"})
    EXPECT_EQ(keywordCode(text, kKeywords), std::nullopt) << text;
}

TEST(Keyword, nul_character_counts) { EXPECT_EQ(keywordCode("zoh\0"sv, kKeywords), std::nullopt); }

TEST(Keyword, only_ascii_letters_change_case) {
  EXPECT_TRUE(isKeyword("\xc3\xa9", "\xc3\xa9"));   // small e with acute accent
  EXPECT_FALSE(isKeyword("\xc3\xa9", "\xc3\x89"));  // and the capital
  EXPECT_FALSE(isKeyword("\xe9", "\xc9"));          // both in an 8-bit code
  EXPECT_FALSE(isKeyword("@", "`"));                // neighbours of the letters
  EXPECT_FALSE(isKeyword("[", "{"));
}

}  // namespace
}  // namespace kvr::test
