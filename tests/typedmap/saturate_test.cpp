// Every bound of every integer type just inside, at and outside, rounding, and NaN.
#include "kvrntob/typedmap/conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using typedmap::saturate;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kTwoTo52 = 4503599627370496.0;
constexpr double kTwoTo53 = 9007199254740992.0;
constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

double below(double x) { return std::nextafter(x, -kInfinity); }
double above(double x) { return std::nextafter(x, kInfinity); }

template <class T>
struct Row {
  double given;
  T expected;
};

template <class T>
void expectRows(const std::vector<Row<T>>& rows) {
  for (const auto& [given, expected] : rows) {
    EXPECT_EQ(saturate<T>(given), expected) << std::hexfloat << given;
  }
}

TEST(Saturate, int8_bounds) {
  expectRows<std::int8_t>({{-kInfinity, -128},
                           {-1e300, -128},
                           {-129, -128},
                           {below(-128), -128},
                           {-128, -128},
                           {above(-128), -128},
                           {-127.5, -128},
                           {-127.4, -127},
                           {126.4, 126},
                           {126.5, 127},
                           {below(127), 127},
                           {127, 127},
                           {above(127), 127},
                           {127.5, 127},
                           {128, 127},
                           {kInfinity, 127}});
}

TEST(Saturate, uint8_bounds) {
  expectRows<std::uint8_t>({{-kInfinity, 0},
                            {-3, 0},
                            {-1, 0},
                            {-0.5, 0},
                            {below(0), 0},
                            {0, 0},
                            {above(0), 0},
                            {0.5, 1},
                            {100.5, 101},
                            {254.4, 254},
                            {254.5, 255},
                            {below(255), 255},
                            {255, 255},
                            {above(255), 255},
                            {255.5, 255},
                            {256, 255},
                            {300.7, 255},
                            {kInfinity, 255}});
}

TEST(Saturate, int16_bounds) {
  expectRows<std::int16_t>({{-kInfinity, -32768},
                            {-32769, -32768},
                            {below(-32768), -32768},
                            {-32768, -32768},
                            {above(-32768), -32768},
                            {-32767.4, -32767},
                            {32766.4, 32766},
                            {32766.5, 32767},
                            {32767, 32767},
                            {above(32767), 32767},
                            {32767.5, 32767},
                            {32768, 32767},
                            {kInfinity, 32767}});
}

TEST(Saturate, uint16_bounds) {
  expectRows<std::uint16_t>({{-kInfinity, 0},
                             {-1, 0},
                             {below(0), 0},
                             {0, 0},
                             {65534.4, 65534},
                             {65534.5, 65535},
                             {65535, 65535},
                             {above(65535), 65535},
                             {65535.5, 65535},
                             {65536, 65535},
                             {kInfinity, 65535}});
}

TEST(Saturate, int32_bounds) {
  constexpr std::int32_t lowest = -2147483647 - 1;
  expectRows<std::int32_t>({{-kInfinity, lowest},
                            {-2147483649.0, lowest},
                            {below(-2147483648.0), lowest},
                            {-2147483648.0, lowest},
                            {above(-2147483648.0), lowest},
                            {-2147483647.4, -2147483647},
                            {2147483646.4, 2147483646},
                            {2147483646.5, 2147483647},
                            {2147483647.0, 2147483647},
                            {above(2147483647.0), 2147483647},
                            {below(2147483647.5), 2147483647},
                            {2147483647.5, 2147483647},
                            {2147483648.0, 2147483647},
                            {kInfinity, 2147483647}});
}

TEST(Saturate, uint32_bounds) {
  expectRows<std::uint32_t>({{-kInfinity, 0U},
                             {-1, 0U},
                             {below(0), 0U},
                             {0, 0U},
                             {4294967294.4, 4294967294U},
                             {4294967294.5, 4294967295U},
                             {4294967295.0, 4294967295U},
                             {above(4294967295.0), 4294967295U},
                             {below(4294967295.5), 4294967295U},
                             {4294967295.5, 4294967295U},
                             {4294967296.0, 4294967295U},
                             {kInfinity, 4294967295U}});
}

TEST(Saturate, int64_bounds) {
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  constexpr auto highest = std::numeric_limits<std::int64_t>::max();
  expectRows<std::int64_t>({{-kInfinity, lowest},
                            {below(-kTwoTo63), lowest},
                            {-kTwoTo63, lowest},
                            {above(-kTwoTo63), lowest + 1024},
                            {below(kTwoTo63), highest - 1023},
                            {kTwoTo63, highest},
                            {above(kTwoTo63), highest},
                            {kInfinity, highest}});
}

TEST(Saturate, int64_rounds_only_where_a_double_has_a_fraction) {
  constexpr std::int64_t twoTo52 = 4503599627370496;
  expectRows<std::int64_t>({{below(-kTwoTo52), -twoTo52 - 1},
                            {-kTwoTo52, -twoTo52},
                            {above(-kTwoTo52), -twoTo52},
                            {-kTwoTo52 + 1, -twoTo52 + 1},
                            {kTwoTo52 - 1, twoTo52 - 1},
                            {below(kTwoTo52), twoTo52},
                            {kTwoTo52, twoTo52},
                            {kTwoTo52 + 1, twoTo52 + 1},
                            {kTwoTo53, 2 * twoTo52},
                            {above(kTwoTo53), 2 * twoTo52 + 2}});
}

TEST(Saturate, uint64_bounds) {
  constexpr auto highest = std::numeric_limits<std::uint64_t>::max();
  expectRows<std::uint64_t>({{-kInfinity, 0U},
                             {-1, 0U},
                             {-0.4, 0U},
                             {below(0), 0U},
                             {0, 0U},
                             {below(kTwoTo63), 9223372036854774784U},
                             {kTwoTo63, 9223372036854775808U},
                             {above(kTwoTo63), 9223372036854777856U},
                             {below(kTwoTo64), highest - 2047},
                             {kTwoTo64, highest},
                             {above(kTwoTo64), highest},
                             {kInfinity, highest}});
}

TEST(Saturate, uint64_rounds_only_where_a_double_has_a_fraction) {
  constexpr std::uint64_t twoTo52 = 4503599627370496U;
  expectRows<std::uint64_t>({{2.5, 3U},
                             {2.4, 2U},
                             {kTwoTo52 - 1, twoTo52 - 1},
                             {below(kTwoTo52), twoTo52},
                             {kTwoTo52, twoTo52},
                             {kTwoTo52 + 1, twoTo52 + 1},
                             {above(kTwoTo53), 2 * twoTo52 + 2}});
}

template <class T>
class SaturateAnyInteger : public ::testing::Test {};
using Integers = ::testing::Types<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t,
                                  std::int32_t, std::uint32_t, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(SaturateAnyInteger, Integers);

TYPED_TEST(SaturateAnyInteger, nan_gives_zero) {
  EXPECT_EQ(saturate<TypeParam>(kNaN), 0);
  EXPECT_EQ(saturate<TypeParam>(-kNaN), 0);
}

TYPED_TEST(SaturateAnyInteger, halves_go_away_from_zero) {
  expectRows<TypeParam>({{0.0, 0},
                         {-0.0, 0},
                         {0.4, 0},
                         {0.5, 1},
                         {1.5, 2},
                         {2.4, 2},
                         {2.5, 3},
                         {2.6, 3},
                         {99.5, 100}});
}

TYPED_TEST(SaturateAnyInteger, the_half_is_added_in_double_arithmetic) {
  // The double just below a half becomes 1 by the addition already.
  EXPECT_EQ(saturate<TypeParam>(0.49999999999999994), 1);
}

template <class T>
class SaturateSigned : public ::testing::Test {};
using SignedIntegers = ::testing::Types<std::int8_t, std::int16_t, std::int32_t, std::int64_t>;
TYPED_TEST_SUITE(SaturateSigned, SignedIntegers);

TYPED_TEST(SaturateSigned, negative_halves_go_away_from_zero) {
  expectRows<TypeParam>(
      {{-0.4, 0}, {-0.49999999999999994, -1}, {-0.5, -1}, {-1.4, -1}, {-2.5, -3}, {-99.5, -100}});
}

}  // namespace
