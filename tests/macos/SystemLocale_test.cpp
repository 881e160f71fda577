#include <cstdlib>

#include "KelvoraCore/KVExtension.h"

#include "tests/macos/frameworks/Cocoa.h"
#include "tests/macos/frameworks/SystemTest.h"

namespace kelvora::testing::mac {
namespace {

class SystemLocaleTest : public SystemTest {
 protected:
  SystemLocaleTest() {
    for (const char* name : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
      unsetenv(name);
    }
    Cocoa::shared().locale = "de_DE@currency=EUR";
  }
};

// The Dock starts programs without these variables.
TEST_F(SystemLocaleTest, NumbersAreThoseOfTheUsersRegion) {
  EXPECT_EQ(KVExtension::formattedStringFromNumber(1234.5), "1.234,50");
}

TEST_F(SystemLocaleTest, TheEnvironmentComesFirst) {
  setenv("LANG", "en_IN.UTF-8", 1);
  EXPECT_EQ(KVExtension::formattedStringFromNumber(1234567.5), "12,34,567.50");
}

TEST_F(SystemLocaleTest, WithoutEitherNumbersAreEnglish) {
  ledger.failCall("localeIdentifier");
  EXPECT_EQ(KVExtension::formattedStringFromNumber(1234.5), "1,234.50");
}

}  // namespace
}  // namespace kelvora::testing::mac
