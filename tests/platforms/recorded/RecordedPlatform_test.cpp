#include "platforms/recorded/RecordedPlatform.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSMC.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::testing {
namespace {

TEST(RecordedPlatform, BecomesTheCurrentOneWhenInstalledBeforeTheFirstUse) {
  Platform& platform = installRecordedPlatform("MacBookPro15,1");
  EXPECT_EQ(&platform, &Platform::current());
  EXPECT_EQ(platform.title(), "MacBook Pro 15-inch 2018");
  EXPECT_THROW(installRecordedPlatform("iMac19,1"), std::logic_error);
}

class EveryRecordedMachine : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryRecordedMachine, IsAPlatformThatSaysItIsRecorded) {
  const auto platform = recordedPlatform(recordedMachine(GetParam()));
  EXPECT_FALSE(platform->isLive());
  EXPECT_FALSE(platform->title().empty());
  EXPECT_EQ(platform->architecture(), std::string(GetParam()) == "Macmini9,1"
                                          ? Architecture::kAppleSilicon
                                          : Architecture::kIntel);
}

TEST_P(EveryRecordedMachine, ReportsItsModel) {
  const auto platform = recordedPlatform(recordedMachine(GetParam()));
  std::size_t size = 0;
  ASSERT_EQ(platform->systemControls().byName("hw.model", nullptr, &size), 0);
  std::string model(size, ' ');
  ASSERT_EQ(platform->systemControls().byName("hw.model", model.data(), &size), 0);
  EXPECT_EQ(model, std::string(GetParam()) + '\0');
}

TEST(RecordedPlatform, HasTheRecordedHIDServices) {
  const auto platform = recordedPlatform(recordedMachine("Macmini9,1"));
  const auto client = platform->hid().createClient();
  client->setMatching({{"PrimaryUsagePage", 65280}, {"PrimaryUsage", 5}});
  const auto services = client->copyServices();
  ASSERT_TRUE(services);
  EXPECT_FALSE(services->empty());
}

INSTANTIATE_TEST_SUITE_P(, EveryRecordedMachine, ::testing::ValuesIn(kRecordedMachines));

}  // namespace
}  // namespace kelvora::testing
