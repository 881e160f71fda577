#include "presentation/IntegerFormat.h"

#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(IntegerFormat, TheNumberIsPutInPlaceOfThePlaceholder) {
  EXPECT_EQ(formattedWithInteger("%d cores", 10), "10 cores");
  EXPECT_EQ(formattedWithInteger("核 %d", 8), "核 8");
  EXPECT_EQ(formattedWithInteger("%d", 0), "0");
  EXPECT_EQ(formattedWithInteger("%d", std::numeric_limits<std::int32_t>::min()), "-2147483648");
}

TEST(IntegerFormat, EveryIntegerPlaceholderOfATableIsOne) {
  for (const char* placeholder : {"%i", "%u", "%ld", "%lli", "%hd", "%hhu", "%jd", "%qd", "%td",
                                  "%zu", "%1$d", "%1$ld", "%2d", "%12d", "%1$2d"}) {
    EXPECT_EQ(formattedWithInteger(placeholder, -1), "-1") << placeholder;
    EXPECT_EQ(formattedWithInteger("a " + std::string(placeholder) + " b", 7), "a 7 b");
  }
}

TEST(IntegerFormat, ATextWithoutAPlaceholderStaysAsItIs) {
  for (const char* text :
       {"", "cores", "overview-number-of-cores-value", "%", "50 %", "50 % d", "%s", "%@", "%n",
        "%f", "%.3d", "%5", "%1$", "%l", "d", "%*d", "%1$1$d"}) {
    EXPECT_EQ(formattedWithInteger(text, 8), text);
  }
}

TEST(IntegerFormat, NothingBehindTheTextIsRead) {
  EXPECT_EQ(formattedWithInteger(std::string_view("%d").substr(0, 1), 8), "%");
  EXPECT_EQ(formattedWithInteger(std::string_view("%ld").substr(0, 2), 8), "%l");
}

TEST(IntegerFormat, OnlyTheFirstPlaceholderIsReplaced) {
  EXPECT_EQ(formattedWithInteger("%d of %d %s%n", 8), "8 of %d %s%n");
  EXPECT_EQ(formattedWithInteger("%s %d", 8), "%s 8");
}

TEST(IntegerFormat, TwoPercentSignsAreOne) {
  EXPECT_EQ(formattedWithInteger("%d%%", 8), "8%");
  EXPECT_EQ(formattedWithInteger("%%d", 8), "%d");
  EXPECT_EQ(formattedWithInteger("%%%d%%d", 8), "%8%d");
}

TEST(IntegerFormat, ALongTextIsRead) {
  const std::string digits(1'000'000, '9');
  EXPECT_EQ(formattedWithInteger("%" + digits + "d", 8), "8");
  EXPECT_EQ(formattedWithInteger("%" + digits, 8), "%" + digits);
}

}  // namespace
}  // namespace kelvora
