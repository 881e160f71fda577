#include "KelvoraCore/KVValueConverter.h"

#include <charconv>
#include <clocale>
#include <iterator>
#include <limits>
#include <locale>
#include <random>

#include <gtest/gtest.h>

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

class Converter : public ::testing::Test {
 protected:
  std::string full(double value, std::uint32_t type, bool shortForm = false) {
    return KVValueConverter::fullStringFromValue(value, type, shortForm, mac_.settings);
  }
  std::string number(double value, std::uint32_t type) {
    return KVValueConverter::stringFromValue(value, type, mac_.settings);
  }
  std::optional<std::string> unit(std::uint32_t type, bool shortForm) {
    return KVValueConverter::unitStringFromCategoryType(type, shortForm, mac_.settings);
  }

  testing::TestMac mac_;
};

TEST_F(Converter, ANegativeValueIsADashInEveryCategory) {
  for (std::uint32_t type = 0; type < 7; ++type) {
    EXPECT_EQ(full(-1.0, type), "-") << type;
    EXPECT_EQ(full(-0.001, type, true), "-") << type;
  }
  EXPECT_EQ(full(-std::numeric_limits<double>::infinity(), 0), "-");
}

TEST_F(Converter, ZeroIsAReading) {
  EXPECT_EQ(full(0.0, 0), "0°C");
  EXPECT_EQ(full(0.0, 1), "0rpm");
  EXPECT_EQ(full(0.0, 2), "0.00V");
  EXPECT_EQ(full(-0.0, 0), "-0°C");  // not below 0
  EXPECT_EQ(full(-0.0, 2), "-0.00V");
}

TEST_F(Converter, TemperaturesAreWholeDegreesInTheUsersUnit) {
  EXPECT_EQ(full(KVValueConverter::convertedTemp(45.5, mac_.settings), 0), "46°C");
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_DOUBLE_EQ(KVValueConverter::convertedTemp(45.5, mac_.settings), 113.9);
  EXPECT_EQ(full(KVValueConverter::convertedTemp(45.5, mac_.settings), 0), "114°F");
  EXPECT_EQ(full(114.0, 0, true), "114°");
}

TEST_F(Converter, HalvesGoToTheEvenNeighbourAsTheyAreStored) {
  EXPECT_EQ(number(44.5, 0), "44");
  EXPECT_EQ(number(45.5, 0), "46");
  EXPECT_EQ(number(2.675, 2), "2.67");  // the nearest double is below
}

TEST_F(Converter, CelsiusIsReturnedUnchanged) {
  EXPECT_EQ(KVValueConverter::convertedTemp(-40.25, mac_.settings), -40.25);
}

TEST_F(Converter, FansShowRevolutionsOrAPercentageOfTheirRange) {
  EXPECT_EQ(full(1200.4, 1), "1200rpm");
  EXPECT_EQ(full(1200.4, 1, true), "1200");
  mac_.settings.setFanValueType(1);
  EXPECT_EQ(full(0.756, 1), "75%");
  EXPECT_EQ(full(0.29, 1), "28%");  // the nearest double is below; in single precision 29
  EXPECT_EQ(full(0.999, 1), "99%");
  EXPECT_EQ(full(1.0, 1), "100%");
  EXPECT_EQ(full(1.0, 1, true), "100%");
  mac_.settings.setFanValueType(2);
  EXPECT_EQ(full(1200, 1), "1200rpm");
}

TEST_F(Converter, APercentageOutOfRangeIsCutToTheNumbersItCanBe) {
  mac_.settings.setFanValueType(1);
  EXPECT_EQ(number(1e20, 1), "2147483647");
  EXPECT_EQ(number(-1e20, 1), "-2147483648");
  EXPECT_EQ(number(-0.756, 1), "-75");
  EXPECT_EQ(number(std::numeric_limits<double>::quiet_NaN(), 1), "0");
}

TEST_F(Converter, VoltagesCurrentsAndPowerHaveTwoFractionDigits) {
  EXPECT_EQ(full(12.309, 2), "12.31V");
  EXPECT_EQ(full(0.5, 3), "0.50A");
  EXPECT_EQ(full(35, 4, true), "35.00W");
}

TEST_F(Converter, AnUnknownCategoryHasNoUnit) {
  EXPECT_EQ(full(7.125, 5), "7.12");
  EXPECT_FALSE(unit(5, false));
  EXPECT_FALSE(unit(4'294'967'295U, true));
}

TEST_F(Converter, UnitsKeepThePercentAndDegreeSignsInShortForm) {
  struct Case {
    std::uint32_t type;
    const char* longForm;
    const char* shortForm;
  };
  for (const Case& each : {Case{0, "°C", "°"}, Case{1, "rpm", ""}, Case{2, "V", "V"},
                           Case{3, "A", "A"}, Case{4, "W", "W"}}) {
    EXPECT_EQ(unit(each.type, false), each.longForm);
    EXPECT_EQ(unit(each.type, true), each.shortForm);
  }
  mac_.settings.setFanValueType(1);
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_EQ(unit(1, false), "%");
  EXPECT_EQ(unit(1, true), "%");
  EXPECT_EQ(unit(0, false), "°F");
  EXPECT_EQ(unit(0, true), "°");
}

TEST_F(Converter, AValueThatIsNotANumberIsFormattedAsOne) {
  EXPECT_EQ(full(std::numeric_limits<double>::quiet_NaN(), 0), "nan°C");
  EXPECT_EQ(full(-std::numeric_limits<double>::quiet_NaN(), 0), "nan°C");
  EXPECT_EQ(number(-std::numeric_limits<double>::quiet_NaN(), 4), "nan");
  EXPECT_EQ(full(std::numeric_limits<double>::infinity(), 2), "infV");
}

// Every text is what std::to_chars makes, also where the program has set a locale.
TEST_F(Converter, TextsAreExactAndDoNotFollowTheLocaleOfTheProgram) {
  struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
  std::mt19937_64 random(1);
  for (int i = 0; i < 5000; ++i) {
    const double value = static_cast<double>(random() % 10'000'000) / 1000.0;
    for (const std::uint32_t type : {0U, 2U}) {
      char expected[64];
      const auto end = std::to_chars(expected, std::end(expected), value, std::chars_format::fixed,
                                     type == 0 ? 0 : 2);
      EXPECT_EQ(number(value, type), std::string(expected, end.ptr));
    }
  }
  std::locale::global(before);
}

TEST_F(Converter, LargeValuesKeepAllTheirDigits) {
  EXPECT_EQ(number(std::numeric_limits<double>::max(), 2).size(), 312U);
}

TEST_F(Converter, AChangeOfUnitByAnotherProgramCountsForTheNextText) {
  EXPECT_EQ(unit(0, false), "°C");
  mac_.platform->userDefaults().suite("group.com.kelvora")->setObject("KVTempUnitCelsius", false);
  EXPECT_EQ(unit(0, false), "°F");
}

TEST_F(Converter, TheProcessesLocaleDoesNotCount) {
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "tr_TR.UTF-8", "C.UTF-8"}) {
    std::setlocale(LC_ALL, name);  // where it is not installed, the "C" locale stays
    EXPECT_EQ(full(1234.5, 2), "1234.50V") << name;
    EXPECT_EQ(full(1234.4, 1), "1234rpm") << name;
  }
  std::setlocale(LC_ALL, "C");
}

TEST(KVValueConverter, WithoutGivenSettingsItReadsTheSharedOnes) {
  testing::installRecordedPlatform("Macmini8,1");
  EXPECT_EQ(KVValueConverter::fullStringFromValue(45.5, 0, false), "46°C");
  KVSettings::shared().setTempUnitCelsius(false);
  EXPECT_EQ(KVValueConverter::stringFromValue(45.5, 0), "46");
  EXPECT_EQ(KVValueConverter::unitStringFromCategoryType(0, false), "°F");
  EXPECT_EQ(KVValueConverter::convertedTemp(100), 212.0);
}

}  // namespace
}  // namespace kelvora
