#include "KelvoraCore/KVOverviewSubItem.h"

#include <limits>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

std::string display(double value) {
  return KVOverviewSubItem(0, "", value, nullptr, nullptr).valueDisplay();
}

TEST(OverviewSubItem, HasTheFieldsThatItWasMadeWith) {
  const auto icon = std::make_shared<int>(7);
  const auto color = std::make_shared<const KVColor>(KVColor::appRedColor());
  const KVOverviewSubItem item(3, "Memory", 0.456, icon, color);
  EXPECT_EQ(item.type, 3U);
  EXPECT_EQ(item.name, "Memory");
  EXPECT_EQ(item.value, 0.456);
  EXPECT_EQ(item.iconImage, icon);
  EXPECT_EQ(item.color, color);
}

TEST(OverviewSubItem, CopiesShareIconAndColour) {
  auto icon = std::make_shared<int>(7);
  const std::weak_ptr<int> held = icon;
  auto item = std::make_unique<KVOverviewSubItem>(0, "", 0, std::move(icon), nullptr);
  const KVOverviewSubItem copy = *item;
  item.reset();
  EXPECT_EQ(copy.iconImage, held.lock());
  EXPECT_EQ(held.use_count(), 1);
}

TEST(OverviewSubItem, IsEmptyAtFirst) {
  const KVOverviewSubItem item;
  EXPECT_EQ(item.type, 0U);
  EXPECT_EQ(item.name, "");
  EXPECT_EQ(item.valueDisplay(), "0%");
  EXPECT_EQ(item.iconImage, nullptr);
  EXPECT_EQ(item.color, nullptr);
}

TEST(OverviewSubItem, ShowsTheWholePercents) {
  EXPECT_EQ(display(0.456), "45%");
  EXPECT_EQ(display(1.0), "100%");
  EXPECT_EQ(display(0.999), "99%");
  EXPECT_EQ(display(0), "0%");
  EXPECT_EQ(display(0.009), "0%");
  EXPECT_EQ(display(0.29), "28%");  // 28.999999999999996, which single precision rounds up
  EXPECT_EQ(display(2.5), "250%");
}

TEST(OverviewSubItem, CutsNegativeValuesTowardZero) {
  EXPECT_EQ(display(-0.456), "-45%");
  EXPECT_EQ(display(-0.001), "0%");
}

TEST(OverviewSubItem, SurvivesValuesThatFitNoNumber) {
  using Limits = std::numeric_limits<double>;
  EXPECT_EQ(display(Limits::quiet_NaN()), "0%");
  EXPECT_EQ(display(Limits::infinity()), "2147483647%");
  EXPECT_EQ(display(-Limits::infinity()), "-2147483648%");
  EXPECT_EQ(display(Limits::max()), "2147483647%");
  EXPECT_EQ(display(1e9), "2147483647%");
}

}  // namespace
}  // namespace kelvora
