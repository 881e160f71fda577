#include "base/JSONNesting.h"

#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(JSONNesting, CountsBracketsAndBracesThatAreOpenAtOnce) {
  EXPECT_EQ(deepestNesting("12"), 0U);
  EXPECT_EQ(deepestNesting("[{}]"), 2U);
  EXPECT_EQ(deepestNesting("[[], [], {}]"), 2U);
  EXPECT_EQ(deepestNesting(std::string(1000, '[')), 1000U);
}

TEST(JSONNesting, BracketsInATextDoNotCount) {
  EXPECT_EQ(deepestNesting(R"(["[[[", "{\"{"])"), 1U);
  EXPECT_EQ(deepestNesting(R"(["\\", [])"), 2U);
}

TEST(JSONNesting, BracketsThatCloseNothingDoNotHideDeepOnes) {
  EXPECT_EQ(deepestNesting("]]}[["), 2U);
}

}  // namespace
}  // namespace kelvora
