// Between UTF-16 characters and UTF-8 texts.
#include <cstdint>

#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

class ArraysText : public LiveArraysTest {};

using Units = std::vector<std::uint16_t>;

const std::string unknown = "\xEF\xBF\xBD";  // U+FFFD

Units unitsOf(const std::string& utf8) {
  const OwnedArray array = aText(utf8);
  const auto* units = static_cast<const std::uint16_t*>(vrGetData(array.get()));
  return {units, units + vrGetNumberOfElements(array.get())};
}

std::string textOf(const Units& units) {
  return vrArrayToStdString(filled(someCharacters({1, units.size()}), units).get());
}

TEST_F(ArraysText, create_string_makes_one_element_a_unit) {
  EXPECT_EQ(unitsOf("aZ"), (Units{'a', 'Z'}));
  EXPECT_EQ(unitsOf("\xC3\xA9"), (Units{0xE9}));
  EXPECT_EQ(unitsOf("\xE2\x82\xAC"), (Units{0x20AC}));
  EXPECT_EQ(unitsOf("\xF0\x9F\x98\x80"), (Units{0xD83D, 0xDE00}));
}

TEST_F(ArraysText, create_string_of_what_is_not_utf8_gives_fffd) {
  EXPECT_EQ(unitsOf("a\xFF"), (Units{'a', 0xFFFD}));
  EXPECT_EQ(unitsOf("\x80z"), (Units{0xFFFD, 'z'}));
  EXPECT_EQ(unitsOf("\xC0\xAF"), (Units{0xFFFD, 0xFFFD}));              // overlong
  EXPECT_EQ(unitsOf("\xED\xA0\x80"), (Units{0xFFFD, 0xFFFD, 0xFFFD}));  // a surrogate
  EXPECT_EQ(unitsOf("\xF4\x90\x80\x80").size(), 4U);                    // above U+10FFFF
  EXPECT_EQ(unitsOf("\xE2\x82"
                    "a"),
            (Units{0xFFFD, 'a'}));  // cut short
  EXPECT_EQ(unitsOf("\xF0\x9F\x98"), (Units{0xFFFD}));
}

TEST_F(ArraysText, text_of_a_character_array_runs_in_storage_order) {
  const OwnedArray array = filled<std::uint16_t>(someCharacters({2, 2}), {'a', 'b', 'c', 'd'});
  EXPECT_EQ(vrArrayToStdString(array.get()), "abcd");
}

TEST_F(ArraysText, text_keeps_nul_characters) {
  EXPECT_EQ(textOf({'a', 0, 'b'}), std::string("a\0b", 3));
}

TEST_F(ArraysText, every_length_of_character_goes_both_ways) {
  for (const char* text : {"", "a", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF",
                           "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "x\xC3\xA9y\xE2\x82\xACz"}) {
    EXPECT_EQ(vrArrayToStdString(aText(text).get()), text);
  }
}

TEST_F(ArraysText, lone_surrogates_become_fffd) {
  EXPECT_EQ(textOf({0xD83D}), unknown);
  EXPECT_EQ(textOf({0xDE00, 'a'}), unknown + "a");
  EXPECT_EQ(textOf({0xD83D, 0xD83D, 0xDE00}), unknown + "\xF0\x9F\x98\x80");
  EXPECT_EQ(textOf({0xDE00, 0xD83D}), unknown + unknown);
}

TEST_F(ArraysText, text_of_a_null_array_is_empty) { EXPECT_EQ(vrArrayToStdString(nullptr), ""); }

TEST_F(ArraysText, text_of_another_class_fails) {
  expectHostError("NotCharacters", [] { vrArrayToStdString(aNumber(65).get()); });
  expectHostError("NotCharacters", [] { vrArrayToStdString(aCell().get()); });
}

}  // namespace
}  // namespace kvr::test
