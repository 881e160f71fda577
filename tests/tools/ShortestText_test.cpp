#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {
namespace {

std::string standardText(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.begin(), text.end(), number);
  return {text.data(), end.ptr};
}

void expectStandardText(double number) { EXPECT_EQ(shortestText(number), standardText(number)); }

TEST(ShortestText, ReadingsHaveNoMoreDigitsThanTheyNeed) {
  EXPECT_EQ(shortestText(45.5), "45.5");
  EXPECT_EQ(shortestText(0.1), "0.1");
  EXPECT_EQ(shortestText(-40), "-40");
  EXPECT_EQ(shortestText(1200), "1200");
  EXPECT_EQ(shortestText(100000), "1e+05");
  EXPECT_EQ(shortestText(0.1 + 0.2), "0.30000000000000004");
}

TEST(ShortestText, TheEndsOfTheRangeAreTheStandards) {
  using Limits = std::numeric_limits<double>;
  for (const double number : {0.0, -0.0, Limits::min(), Limits::max(), Limits::lowest(),
                              Limits::denorm_min(), Limits::epsilon(), 9007199254740993.0,
                              1.2345678901234567e21, 123456e5, 0.0001, 0.00012, 0.00001}) {
    expectStandardText(number);
  }
}

TEST(ShortestText, PowersAreTheStandards) {
  for (int exponent = -1074; exponent < 1024; ++exponent) {
    expectStandardText(std::ldexp(1.0, exponent));
  }
  for (int exponent = -300; exponent <= 300; ++exponent) {
    expectStandardText(std::pow(10.0, exponent));
  }
}

TEST(ShortestText, AnyNumberIsTheStandards) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const auto number = std::bit_cast<double>(random());
    if (std::isfinite(number)) {
      expectStandardText(number);
    }
    expectStandardText(static_cast<double>(random() % 20'000'000) / 1000.0);
    expectStandardText(static_cast<float>(random() % 20'000'000) / 1000.0F);
  }
}

}  // namespace
}  // namespace kelvora::tool
