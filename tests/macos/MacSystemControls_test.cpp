#include "platforms/macos/system/MacSystemControls.h"

#include <array>
#include <cerrno>

#include "platforms/shared/SystemControlTable.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacSystemControls;

class MacSystemControlsTest : public SystemTest {
 protected:
  MacSystemControls controls;
};

TEST_F(MacSystemControlsTest, AControlIsReadByNameAndByNumberAndNeverSet) {
  platform::RecordedMachine machine;
  machine.sysctl["hw.model"] = platform::textControlBytes("Mac");
  machine.sysctl["hw.ncpu"] = platform::int32ControlBytes(12);
  Host::shared().boot(machine);
  std::array<char, 10> text{};
  std::size_t size = 0;
  EXPECT_EQ(controls.byName("hw.model", nullptr, &size), 0);
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(controls.byName("hw.model", text.data(), &size), 0);
  EXPECT_STREQ(text.data(), "Mac");
  std::int32_t count = 0;
  size = sizeof(count);
  EXPECT_EQ(controls.byNumber(std::array{6, 3}, &count, &size), 0);
  EXPECT_EQ(count, 12);
  EXPECT_EQ(takeCalls(), (Calls{"sysctlbyname(hw.model, size)", "sysctlbyname(hw.model, value)",
                                "sysctl(6.3, value)"}));
}

TEST_F(MacSystemControlsTest, AFailureIsTheSystemsErrorNumber) {
  platform::RecordedMachine machine;
  machine.sysctl["hw.model"] = platform::textControlBytes("Mac");
  Host::shared().boot(machine);
  std::array<char, 2> text{};
  std::size_t size = text.size();
  EXPECT_EQ(controls.byName("hw.model", text.data(), &size), ENOMEM);
  EXPECT_EQ(controls.byName("hw.other", nullptr, &size), ENOENT);
  EXPECT_EQ(controls.byNumber(std::array{1, 2}, nullptr, &size), ENOENT);
  ledger.failCallsFrom("sysctlbyname");
  ledger.failCallsFrom("sysctl");
  EXPECT_EQ(controls.byName("hw.model", nullptr, &size), EPERM);
  EXPECT_EQ(controls.byNumber(std::array{6, 3}, nullptr, &size), EPERM);
}

}  // namespace
}  // namespace kelvora::testing::mac
