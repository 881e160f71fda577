// Two programs of the product on one bus: a change in one shows in the other because of the notice.
#include <csignal>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ChildProgram.h"
#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

int runMain(const char* unit) { return runProgram(KELVORA_EXAMPLE_MAIN, {unit}).status; }

class TwoHosts : public ::testing::Test {
 protected:
  TwoHosts() { setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1); }

  // Samples may be shown between: the interval is the user's.
  static std::string nextSettingsLine(ChildProgram& menu) {
    std::string line = menu.nextLine();
    while (line.starts_with("sample: ")) {
      line = menu.nextLine();
    }
    return line;
  }

 private:
  TemporaryFolder folder_;
  SessionBus bus_;
};

TEST_F(TwoHosts, AChangeInOneIsShownByTheOtherBecauseOfTheNotice) {
  ChildProgram menu(KELVORA_EXAMPLE_MENU, {});
  ASSERT_EQ(menu.nextLine(), "sample: 46°C");
  ASSERT_EQ(runMain("fahrenheit"), 0);
  EXPECT_EQ(nextSettingsLine(menu), "settings: 114°F");
  ASSERT_EQ(runMain("celsius"), 0);
  EXPECT_EQ(nextSettingsLine(menu), "settings: 46°C");
  menu.signal(SIGTERM);
  EXPECT_EQ(menu.wait(), 0);
}

// Each notice comes long before the next sample; a wait that began again with each would never end.
TEST_F(TwoHosts, NoticesDoNotPostponeTheNextSample) {
  ChildProgram menu(KELVORA_EXAMPLE_MENU, {});
  ASSERT_EQ(menu.nextLine(), "sample: 46°C");
  constexpr int kMostChanges = 10'000;
  int changes = 0;
  std::string line;
  do {
    ASSERT_EQ(runMain(changes % 2 == 0 ? "fahrenheit" : "celsius"), 0);
    ++changes;
    line = menu.nextLine();
  } while (line.starts_with("settings: ") && changes < kMostChanges);
  EXPECT_TRUE(line.starts_with("sample: ")) << line << " after " << changes << " changes";
}

TEST_F(TwoHosts, AnInterruptEndsTheMenu) {
  ChildProgram menu(KELVORA_EXAMPLE_MENU, {});
  ASSERT_EQ(menu.nextLine(), "sample: 46°C");
  menu.signal(SIGINT);
  EXPECT_EQ(menu.wait(), 0);
}

TEST_F(TwoHosts, AWrongArgumentIsRefused) { EXPECT_EQ(runMain("kelvin"), 2); }

}  // namespace
}  // namespace kelvora::testing
