#include "KelvoraCore/KVError.h"

#include <gtest/gtest.h>

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

class Error : public ::testing::Test {
 protected:
  KVError error(std::int64_t code) {
    return KVError::errorWithCode(code, mac_.settings, *mac_.platform);
  }
  testing::TestMac mac_;
};

TEST_F(Error, EachCodeHasItsMessageInTheCurrentLanguage) {
  mac_.addStrings("de",
                  "\"add-fan-condition-alert-message\" = \"eins\";"
                  "\"invalid-sensor-key-alert-message\" = \"zwei\";"
                  "\"duplicated-sensor-alert-message\" = \"drei\";"
                  "\"cannot-remove-default-sensor-alert-message\" = \"vier\";"
                  "\"invalid-input-data-alert-message\" = \"fünf\";"
                  "\"general-error-alert-message\" = \"allgemein\";");
  mac_.settings.setCurrentLanguage("de");
  const std::vector<std::pair<std::int64_t, std::string>> messages{
      {0, "allgemein"}, {1, "eins"},       {2, "zwei"},
      {3, "drei"},      {4, "vier"},       {5, "fünf"},
      {6, "allgemein"}, {-1, "allgemein"}, {(std::int64_t{1} << 32) + 1, "allgemein"}};
  for (const auto& [code, message] : messages) {
    const KVError made = error(code);
    EXPECT_EQ(made.domain, "com.kelvora.KelvoraCore.ErrorDomain");
    EXPECT_EQ(made.code, code);
    EXPECT_EQ(made.userInfo.size(), 1U);
    EXPECT_EQ(made.localizedDescription(), message);
  }
}

TEST_F(Error, AMessageOfItsOwnIsKeptAndAMissingOneIsTheGeneralOne) {
  mac_.addStrings("en", "\"general-error-alert-message\" = \"Something went wrong.\";");
  EXPECT_EQ(KVError::errorWithCode(4, "mine", mac_.settings, *mac_.platform).localizedDescription(),
            "mine");
  EXPECT_EQ(KVError::errorWithCode(4, "", mac_.settings, *mac_.platform).localizedDescription(),
            "");
  const KVError general = KVError::errorWithCode(4, std::nullopt, mac_.settings, *mac_.platform);
  EXPECT_EQ(general.code, 4);
  EXPECT_EQ(general.localizedDescription(), "Something went wrong.");
}

TEST_F(Error, WithoutATableTheMessageIsItsKey) {
  EXPECT_EQ(error(4).localizedDescription(), "cannot-remove-default-sensor-alert-message");
  EXPECT_EQ(error(0).localizedDescription(), "general-error-alert-message");
}

}  // namespace
}  // namespace kelvora
