#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/store/StoredSensorFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Category : public testing::StoredSensorFixture {
 protected:
  // Unknown sensors and known ones of each source; "X9" has a source outside the table.
  KVCategoryPtr mixedCategory() {
    KVCategoryPtr category = categoryOf(SensorTypeTemperature);
    for (const auto& [key, sourceType, isKnown] : {std::tuple{"C1", 2, false},
                                                   {"H1", 1, true},
                                                   {"U1", 0, false},
                                                   {"S1", 0, true},
                                                   {"C2", 2, true},
                                                   {"H2", 1, false},
                                                   {"X9", 9, false},
                                                   {"S2", 0, true}}) {
      const auto sensor = sensorOf(SensorTypeTemperature, key);
      sensor->setSourceType(static_cast<std::int16_t>(sourceType));
      sensor->setFullName(isKnown ? "A known one" : key);
    }
    return category;
  }
  std::vector<std::string> shown(const KVCategoryPtr& category) {
    const auto keys = testing::keysOf(category->filterSensors());
    EXPECT_EQ(testing::keysOf(category->filterSensors(*settings)), keys);
    return keys;
  }
  void show(bool computed, bool hid, bool unknown) {
    settings->setShowComputedSensors(computed);
    settings->setShowHIDSensors(hid);
    settings->setShowUnknownSensors(unknown);
  }
};

struct Name {
  int type;
  const char* english;
  const char* german;
};

constexpr Name kNames[] = {
    {0, "Temperatures", "Temperaturen"},
    {1, "Fans", "Lüfter"},
    {2, "Voltages", "Spannungen"},
    {3, "Currents", "Ströme"},
    {4, "Power", "Leistung"},
    {5, "Stored", "Stored"},
    {7, "Stored", "Stored"},
    {-1, "Stored", "Stored"},
};

TEST_F(Category, HasANameInTheUsersLanguageForTheFiveTypes) {
  for (const Name& expected : kNames) {
    const auto category = categoryOf(expected.type);
    category->setName("Stored");
    settings->setCurrentLanguage("en");
    EXPECT_EQ(category->localizedName(), expected.english) << expected.type;
    settings->setCurrentLanguage("de");
    EXPECT_EQ(category->localizedName(), expected.german) << expected.type;
    EXPECT_EQ(category->localizedName(KVLocalized::Texts(*settings, *platform)), expected.german);
  }
}

TEST_F(Category, HasItsStoredNameWithoutATableForTheLanguage) {
  const auto category = categoryOf(SensorTypeFan);
  settings->setCurrentLanguage("pt");
  EXPECT_EQ(category->localizedName(), "Type 1");
}

TEST_F(Category, FirstShowsComputedAndKnownSensors) {
  EXPECT_THAT(shown(mixedCategory()), ElementsAre("C1", "S1", "C2", "S2"));
}

TEST_F(Category, EachSettingLetsItsSensorsThroughInStoredOrder) {
  const auto category = mixedCategory();
  show(false, false, false);
  EXPECT_THAT(shown(category), ElementsAre("S1", "S2"));
  show(true, false, false);
  EXPECT_THAT(shown(category), ElementsAre("C1", "S1", "C2", "S2"));
  show(false, true, false);
  EXPECT_THAT(shown(category), ElementsAre("H1", "S1", "H2", "S2"));
  show(false, false, true);
  EXPECT_THAT(shown(category), ElementsAre("U1", "S1", "X9", "S2"));
  show(true, true, true);
  EXPECT_THAT(shown(category), ElementsAre("C1", "H1", "U1", "S1", "C2", "H2", "X9", "S2"));
  EXPECT_EQ(category->sensors().size(), 8U);
}

TEST_F(Category, TheSettingsThatAreGivenCount) {
  const auto category = mixedCategory();
  KVSettingsSnapshot other(*settings);
  other.setShowComputedSensors(false);
  EXPECT_THAT(testing::keysOf(category->filterSensors(other)), ElementsAre("S1", "S2"));
  EXPECT_EQ(category->filterSensors().size(), 4U);
}

TEST_F(Category, AnAssignedListReplacesTheComputedOne) {
  const auto category = mixedCategory();
  const auto other = sensorOf(SensorTypeFan, "0");
  category->setFilterSensors({{other}});
  EXPECT_THAT(shown(category), ElementsAre("0"));
  category->setFilterSensors(std::vector<KVSensorPtr>());
  EXPECT_THAT(shown(category), IsEmpty());
  category->setFilterSensors(std::nullopt);
  EXPECT_EQ(category->filterSensors().size(), 4U);
}

TEST_F(Category, AnAssignedListIsNotStored) {
  const auto category = mixedCategory();
  store->saveViewContext();
  category->setFilterSensors(std::vector<KVSensorPtr>());
  EXPECT_FALSE(category->hasChanges());
}

}  // namespace
}  // namespace kelvora
