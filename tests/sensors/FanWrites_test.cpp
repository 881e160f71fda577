#include "sensors/FanWrites.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Writes = std::vector<FanWrite>;

TEST(FanWrites, AModeComesBeforeTheTargetInBytesOfAFloat) {
  EXPECT_EQ(fanWrites(FanScheme::kModeAndTarget, 2000, 0, /*autoMode=*/false),
            (Writes{{"F0Md", "01"}, {"F0Tg", "0000fa44"}}));
}

TEST(FanWrites, HandingAFanBackStillWritesTheTarget) {
  EXPECT_EQ(fanWrites(FanScheme::kModeAndTarget, 2000, 0, /*autoMode=*/true),
            (Writes{{"F0Md", "00"}, {"F0Tg", "0000fa44"}}));
}

TEST(FanWrites, AMinimumIsTheOnlyWriteWhateverTheMode) {
  for (const bool autoMode : {false, true}) {
    EXPECT_EQ(fanWrites(FanScheme::kMinimum, 1200, 1, autoMode), (Writes{{"F1Mn", "12c0"}}));
  }
}

struct SpeedText {
  std::uint64_t speed;
  std::string target;   // bytes of the float, least significant first
  std::string minimum;  // two fractional bits, at least four digits, modulo 2^32
};

TEST(FanWrites, SpeedsAreBytesOfAFloatOrFixedPoint) {
  const SpeedText table[] = {
      {0, "00000000", "0000"},
      {1, "0000803f", "0004"},
      {63, "00007c42", "00fc"},
      {2000, "0000fa44", "1f40"},
      {2001, "0020fa44", "1f44"},
      {6200, "00c0c145", "60e0"},
      {16383, "00fc7f46", "fffc"},
      {16384, "00008046", "10000"},       // more than two bytes: the tool refuses it
      {16777217, "0000804b", "4000004"},  // the same float as 16777216
      {1073741824, "0000804e", "0000"},   // 2^30 times 4 wraps
      {1073741825, "0000804e", "0004"},
      {UINT64_MAX, "0000805f", "fffffffc"},  // 2^64
  };
  for (const SpeedText& row : table) {
    EXPECT_EQ(fanWrites(FanScheme::kModeAndTarget, row.speed, 0, false)[1].value, row.target)
        << row.speed;
    EXPECT_EQ(fanWrites(FanScheme::kMinimum, row.speed, 0, false)[0].value, row.minimum)
        << row.speed;
  }
}

TEST(FanWrites, TwentyFansHaveTheirOwnCharacter) {
  const std::string characters = "0123456789ABCDEFGHIJ";
  for (std::uint64_t fan = 0; fan < 20; ++fan) {
    const std::string prefix = std::string("F") + characters[fan];
    EXPECT_EQ(fanWrites(FanScheme::kModeAndTarget, 0, fan, false)[0].key, prefix + "Md");
    EXPECT_EQ(fanWrites(FanScheme::kModeAndTarget, 0, fan, false)[1].key, prefix + "Tg");
    EXPECT_EQ(fanWrites(FanScheme::kMinimum, 0, fan, false)[0].key, prefix + "Mn");
  }
}

TEST(FanWrites, AFanWithoutACharacterIsNotWritten) {
  for (const std::uint64_t fan : {std::uint64_t{20}, std::uint64_t{1} << 63, UINT64_MAX}) {
    EXPECT_THAT(fanWrites(FanScheme::kModeAndTarget, 2000, fan, false), IsEmpty()) << fan;
    EXPECT_THAT(fanWrites(FanScheme::kMinimum, 2000, fan, false), IsEmpty()) << fan;
  }
}

TEST(FanWrites, AFanWithAModeIsHandedBackByItAlone) {
  EXPECT_EQ(handBackWrite(FanScheme::kModeAndTarget, 1200, 0), (FanWrite{"F0Md", "00"}));
  EXPECT_EQ(handBackWrite(FanScheme::kModeAndTarget, 1200, 19), (FanWrite{"FJMd", "00"}));
}

TEST(FanWrites, AMinimumIsRestoredToAQuarterOfARevolution) {
  EXPECT_EQ(handBackWrite(FanScheme::kMinimum, 1200, 1), (FanWrite{"F1Mn", "12c0"}));
  EXPECT_EQ(handBackWrite(FanScheme::kMinimum, 1200.25, 1), (FanWrite{"F1Mn", "12c1"}));
  EXPECT_EQ(handBackWrite(FanScheme::kMinimum, 1200.4, 1), (FanWrite{"F1Mn", "12c2"}));
}

}  // namespace
}  // namespace kelvora
