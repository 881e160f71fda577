#include "KelvoraCore/ZDModelInfo.h"

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/ZDSystemDevice.h"

namespace kelvora {
namespace {

ZDModelInfo model(std::int64_t family, std::int64_t year) {
  return ZDModelInfo::objectWithName("name", year, family);
}

TEST(ZDModelInfo, ObjectWithNameSetsOnlyNameYearAndFamily) {
  const ZDModelInfo info = ZDModelInfo::objectWithName("Mac mini", 2018, 7);
  EXPECT_EQ(info.name, "Mac mini");
  EXPECT_EQ(info.year, 2018);
  EXPECT_EQ(info.family, 7);
  EXPECT_EQ(info.modelId, "");
  EXPECT_EQ(info.modelNumber, std::nullopt);
  EXPECT_EQ(info.serial, std::nullopt);
  EXPECT_EQ(info.physicalMemory, std::nullopt);
  EXPECT_EQ(info.displayResolution, ZDResolution{});
}

TEST(ZDModelInfo, FamilyNamesHaveAGapAtTheIMacProAndEndAtTheXserve) {
  const std::vector<std::optional<std::string>> names = {
      "Unknown",    "MacBook", "MacBook Pro", "MacBook Air", "iMac",
      std::nullopt, "Mac Pro", "Mac Mini",    "Xserve",      std::nullopt};
  for (std::size_t family = 0; family < names.size(); ++family) {
    EXPECT_EQ(model(static_cast<std::int64_t>(family), 2020).familyName(), names[family]);
  }
  EXPECT_EQ(model(10, 2020).familyName(), std::nullopt);
  EXPECT_EQ(model(-1, 2020).familyName(), std::nullopt);
  EXPECT_EQ(model(std::numeric_limits<std::int64_t>::max(), 2020).familyName(), std::nullopt);
}

TEST(ZDModelInfo, FamilyIconsChangeWithTheYearAtTheirBorders) {
  EXPECT_EQ(model(2, 2020).familyIcon(), "ico_macbookpro");
  EXPECT_EQ(model(2, 2021).familyIcon(), "ico_macbookpro_5thgen");
  EXPECT_EQ(model(3, 2021).familyIcon(), "ico_macbookair");
  EXPECT_EQ(model(3, 2022).familyIcon(), "ico_macbookair_4thgen");
  EXPECT_EQ(model(6, 2018).familyIcon(), "ico_macpro");
  EXPECT_EQ(model(6, 2019).familyIcon(), "ico_macpro_2019");
  EXPECT_EQ(model(6, 2020).familyIcon(), "ico_macpro");
  EXPECT_EQ(model(2, 0).familyIcon(), "ico_macbookpro");
}

TEST(ZDModelInfo, FamilyIconsOfTheOtherFamiliesDoNot) {
  for (const std::int64_t year : {0, 2010, 2019, 2022, 2030}) {
    EXPECT_EQ(model(4, year).familyIcon(), "ico_imac");
    EXPECT_EQ(model(5, year).familyIcon(), "ico_imacpro");
    EXPECT_EQ(model(7, year).familyIcon(), "ico_macmini");
    EXPECT_EQ(model(9, year).familyIcon(), "ico_macstudio");
    for (const std::int64_t family : {0, 1, 8, 10, -1}) {
      EXPECT_EQ(model(family, year).familyIcon(), "ico_macbook");
    }
  }
}

TEST(ZDModelInfo, T2SupportBeginsWith2018InEveryFamily) {
  for (std::int64_t family = 0; family < 10; ++family) {
    EXPECT_FALSE(model(family, 2017).isT2ChipSupport());
    EXPECT_TRUE(model(family, 2018).isT2ChipSupport());
  }
}

TEST(ZDModelInfo, AMacBookPro18IsOfTheFifthGeneration) {
  const ZDModelInfo info = ZDSystemDevice::defaultModelDict().at("MacBookPro18,3");
  EXPECT_EQ(info.name, "MacBook Pro 14-inch (M1 Pro)");
  EXPECT_EQ(info.year, 2021);
  EXPECT_EQ(info.family, 2);
  EXPECT_EQ(info.familyIcon(), "ico_macbookpro_5thgen");
  EXPECT_EQ(info.familyName(), "MacBook Pro");
  EXPECT_TRUE(info.isT2ChipSupport());
}

TEST(ZDModelInfo, KnownModelsHaveTheIconsOfTheirYears) {
  const auto models = ZDSystemDevice::defaultModelDict();
  EXPECT_EQ(models.at("MacBookPro16,1").familyIcon(), "ico_macbookpro");
  EXPECT_EQ(models.at("MacPro7,1").familyIcon(), "ico_macpro_2019");
  EXPECT_EQ(models.at("MacPro6,1").familyIcon(), "ico_macpro");
}

TEST(ZDModelInfo, TheIMacProAndTheMacStudioHaveIconsButNoFamilyName) {
  const auto models = ZDSystemDevice::defaultModelDict();
  EXPECT_EQ(models.at("iMacPro1,1").family, 5);
  EXPECT_EQ(models.at("iMacPro1,1").familyIcon(), "ico_imacpro");
  EXPECT_EQ(models.at("iMacPro1,1").familyName(), std::nullopt);
  EXPECT_EQ(models.at("Mac13,1").family, 9);
  EXPECT_EQ(models.at("Mac13,1").familyIcon(), "ico_macstudio");
  EXPECT_EQ(models.at("Mac13,1").familyName(), std::nullopt);
}

}  // namespace
}  // namespace kelvora
