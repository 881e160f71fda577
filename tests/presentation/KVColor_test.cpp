#include "KelvoraCore/KVColor.h"

#include <gtest/gtest.h>

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

KVColor rgb(int red, int green, int blue, KVColorSpace space = KVColorSpace::kStandardRGB) {
  return {red / 255.0, green / 255.0, blue / 255.0, 1.0, space};
}

KVColor calibrated(int red, int green, int blue) {
  return rgb(red, green, blue, KVColorSpace::kCalibratedRGB);
}

TEST(KVColor, HexadecimalTextsAreScannedAsThePlatformScans) {
  EXPECT_EQ(KVColor::colorWithHexString("FF9500"), calibrated(255, 149, 0));
  EXPECT_EQ(KVColor::colorWithHexString("0x1E1E1E"), calibrated(30, 30, 30));
  EXPECT_EQ(KVColor::colorWithHexString("0X1e1e1e"), calibrated(30, 30, 30));
  EXPECT_EQ(KVColor::colorWithHexString(" \t\nFF9500"), calibrated(255, 149, 0));
  EXPECT_EQ(KVColor::colorWithHexString("\u00a0\u3000\u2028\u0085 0xFF9500"),
            calibrated(255, 149, 0));
  EXPECT_EQ(KVColor::colorWithHexString("FF9500 and more"), calibrated(255, 149, 0));
  EXPECT_EQ(KVColor::colorWithHexString("12FF9500"), calibrated(255, 149, 0));
  EXPECT_EQ(KVColor::colorWithHexString("FF"), calibrated(0, 0, 255));
  EXPECT_EQ(KVColor::colorWithHexString("123456789"), calibrated(255, 255, 255));
}

TEST(KVColor, ATextThatIsNotANumberIsBlack) {
  for (const char* text : {"#FFFFFF", "", "0x", "0x0xFF", "-FF", "green", "  "}) {
    EXPECT_EQ(KVColor::colorWithHexString(text), calibrated(0, 0, 0)) << text;
  }
  EXPECT_EQ(KVColor::colorWithHexString(std::nullopt), calibrated(0, 0, 0));
}

TEST(KVColor, ThePaletteIsTheProducts) {
  EXPECT_EQ(KVColor::appLightBlueColor(), rgb(11, 150, 246));
  EXPECT_EQ(KVColor::appBlueColor(), rgb(11, 130, 250));
  EXPECT_EQ(KVColor::appGreenColor(), rgb(70, 216, 117));
  EXPECT_EQ(KVColor::appOrangeColor(), rgb(255, 149, 0));
  EXPECT_EQ(KVColor::appRedColor(), rgb(255, 59, 48));
}

TEST(KVColor, TheBoxBackgroundFollowsTheThemeAtTheMomentOfTheCall) {
  const testing::TestMac mac;
  EXPECT_EQ(KVColor::appBoxBackgroundColor(*mac.platform), rgb(255, 255, 255));
  mac.setInterfaceStyle("Dark");
  EXPECT_EQ(KVColor::appBoxBackgroundColor(*mac.platform), rgb(30, 30, 30));
  EXPECT_EQ(KVColor::colorFromLightStyleColor(rgb(1, 2, 3), rgb(4, 5, 6), *mac.platform),
            rgb(4, 5, 6));
  mac.setInterfaceStyle(std::nullopt);
  EXPECT_EQ(KVColor::colorFromLightStyleColor(rgb(1, 2, 3), rgb(4, 5, 6), *mac.platform),
            rgb(1, 2, 3));
}

}  // namespace
}  // namespace kelvora
