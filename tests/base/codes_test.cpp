#include "kvrntob/base/codes.h"

#include <gtest/gtest.h>

namespace kvr::test {
namespace {

using namespace std::string_view_literals;

constexpr std::array keywords{"zoh"sv, "LINEAR"sv};

TEST(Keyword, code_is_the_position_in_the_table) {
  EXPECT_EQ(keywordCode("zoh", keywords), 0);
  EXPECT_EQ(keywordCode("LINEAR", keywords), 1);
}

TEST(Keyword, case_of_letters_does_not_matter) {
  EXPECT_EQ(keywordCode("ZoH", keywords), 0);
  EXPECT_EQ(keywordCode("linEAR", keywords), 1);
}

TEST(Keyword, every_letter_matches_its_capital) {
  EXPECT_TRUE(isKeyword("abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
}

TEST(Keyword, nothing_is_trimmed) {
  for (const char* text : {" zoh", "zoh ", "zoh\n"})
    EXPECT_EQ(keywordCode(text, keywords), std::nullopt) << text;
}

TEST(Keyword, no_part_and_no_continuation_matches) {
  for (const char* text : {"", "z", "zo", "zohx", "lin"})
    EXPECT_EQ(keywordCode(text, keywords), std::nullopt) << text;
}

TEST(Keyword, nul_character_counts) { EXPECT_EQ(keywordCode("zoh\0"sv, keywords), std::nullopt); }

TEST(Keyword, only_ascii_letters_change_case) {
  EXPECT_TRUE(isKeyword("\xc3\xa9", "\xc3\xa9"));   // small e with acute accent
  EXPECT_FALSE(isKeyword("\xc3\xa9", "\xc3\x89"));  // and the capital
  EXPECT_FALSE(isKeyword("\xe9", "\xc9"));          // both in an 8-bit code
  EXPECT_FALSE(isKeyword("@", "`"));                // neighbours of the letters
  EXPECT_FALSE(isKeyword("[", "{"));
}

TEST(Keyword, keyword_of_a_code_is_spelled_as_in_the_table) {
  EXPECT_EQ(keywordOf(0, keywords), "zoh");
  EXPECT_EQ(keywordOf(1, keywords), "LINEAR");
}

TEST(Keyword, keyword_of_a_code_outside_the_table_is_empty) {
  EXPECT_EQ(keywordOf(-1, keywords), "");
  EXPECT_EQ(keywordOf(2, keywords), "");
}

}  // namespace
}  // namespace kvr::test
