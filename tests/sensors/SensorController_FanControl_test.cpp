#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "platforms/shared/SystemControlTable.h"
#include "ports/Ports.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A recorded Mac with an installed tool. Each write of the tool has an exit status of its own.
class FanControl {
 public:
  explicit FanControl(const std::string& machine) : FanControl(recordedMachine(machine)) {}
  explicit FanControl(platform::RecordedMachine machine)
      : platform_(recordedPlatform(std::move(machine))) {
    auto& files = wrapPort<ForwardingFiles>(platform_->ports().files);
    files.onApplicationSupportFolder = [] { return "/Users/anna/Library/Application Support"; };
    files.onExists = [](const std::string&) { return true; };
    auto children = std::make_unique<ScriptedChildProcesses>(
        [this](const platform::ChildRequest& request) -> std::optional<ScriptedOutcome> {
          if (request.path == "/usr/sbin/system_profiler") {
            ++reports;
            return ScriptedOutcome{hardwareReport};
          }
          writes.push_back(request.arguments[1] + "=" + request.arguments[3]);
          ScriptedOutcome outcome;
          outcome.exitStatus = request.arguments[1] == failingKey ? 1 : 0;
          return outcome;
        });
    platform_->ports().childProcesses = std::move(children);
  }

  Platform& platform() { return *platform_; }

  std::vector<std::string> writes;  // "F0Md=01"
  std::string failingKey;
  int reports = 0;  // runs of the system profiler
  std::string hardwareReport;

 private:
  std::unique_ptr<Platform> platform_;
};

TEST(SensorController, SetsModeAndTargetOnAModelOf2018) {
  FanControl mac("MacBookPro15,1");
  SensorController controller(mac.platform());
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/false));
  EXPECT_THAT(mac.writes, ElementsAre("F0Md=01", "F0Tg=0000fa44"));
}

TEST(SensorController, HandsAFanBackOnAModelOf2018) {
  FanControl mac("Macmini8,1");
  SensorController controller(mac.platform());
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/true));
  EXPECT_THAT(mac.writes, ElementsAre("F0Md=00", "F0Tg=0000fa44"));
}

TEST(SensorController, RaisesTheMinimumOnAModelBefore2018) {
  FanControl mac("MacBookPro10,1");
  SensorController controller(mac.platform());
  EXPECT_TRUE(controller.setSpeed(1200, 1, /*autoMode=*/false));
  EXPECT_TRUE(controller.setSpeed(0, 0, /*autoMode=*/true));
  EXPECT_THAT(mac.writes, ElementsAre("F1Mn=12c0", "F0Mn=0000"));
}

TEST(SensorController, TheResultOfAFanIsThatOfItsLastWrite) {
  FanControl mac("MacBookPro15,1");
  SensorController controller(mac.platform());
  mac.failingKey = "F0Md";
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/false));
  mac.failingKey = "F0Tg";
  EXPECT_FALSE(controller.setSpeed(2000, 0, /*autoMode=*/false));
  EXPECT_THAT(mac.writes, ElementsAre("F0Md=01", "F0Tg=0000fa44", "F0Md=01", "F0Tg=0000fa44"));

  FanControl old("MacBookPro10,1");
  SensorController oldController(old.platform());
  old.failingKey = "F0Mn";
  EXPECT_FALSE(oldController.setSpeed(2000, 0, /*autoMode=*/false));
}

TEST(SensorController, AFanIsNeitherWrittenTwiceNorReadBack) {
  for (const auto& [machine, key] :
       {std::pair("MacBookPro15,1", "F0Tg"), std::pair("MacBookPro10,1", "F0Mn")}) {
    FanControl mac(machine);
    ForwardingSMC& smc = ForwardingSMC::wrap(mac.platform());
    SensorController controller(mac.platform());
    for (const char* failing : {key, ""}) {
      mac.failingKey = failing;
      mac.writes.clear();
      smc.forgetCalls();
      EXPECT_EQ(controller.setSpeed(2000, 0, /*autoMode=*/false), mac.failingKey.empty());
      EXPECT_EQ(smc.count(), 0) << machine;
      EXPECT_EQ(mac.writes.size(), key == std::string("F0Tg") ? 2U : 1U);
    }
  }
}

TEST(SensorController, AFanBeyondTheTwentiethIsNotSet) {
  FanControl mac("MacBookPro15,1");
  SensorController controller(mac.platform());
  EXPECT_FALSE(controller.setSpeed(2000, 20, /*autoMode=*/false));
  EXPECT_THAT(mac.writes, IsEmpty());
}

TEST(SensorController, AsksTheSystemProfilerOnceAboutAModelThatTheCatalogueDoesNotKnow) {
  auto machine = recordedMachine("MacBookPro10,1");
  machine.sysctl["hw.model"] = platform::textControlBytes("MacBookPro99,1");
  FanControl mac(std::move(machine));
  mac.hardwareReport =
      R"({"SPHardwareDataType": [{"machine_name": "MacBook Pro", "chip_type": "Apple M9"}]})";
  SensorController controller(mac.platform());
  EXPECT_EQ(mac.reports, 0);
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/false));  // taken to be a new model
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/true));
  EXPECT_THAT(mac.writes, ElementsAre("F0Md=01", "F0Tg=0000fa44", "F0Md=00", "F0Tg=0000fa44"));
  EXPECT_EQ(mac.reports, 1);
}

TEST(SensorController, AsksNoSystemProfilerAboutAModelOfTheCatalogue) {
  FanControl mac("MacBookPro15,1");
  SensorController controller(mac.platform());
  controller.setSpeed(2000, 0, /*autoMode=*/false);
  EXPECT_EQ(mac.reports, 0);
}

// The model decides, wherever the controller has it from.
TEST(SensorController, TakesTheModelOfTheInventoryThatItIsGiven) {
  FanControl mac("MacBookPro10,1");
  const auto newer = recordedPlatform(recordedMachine("MacBookPro15,1"));
  SensorController controller(mac.platform(), ZDSystemDevice(*newer));
  EXPECT_TRUE(controller.setSpeed(2000, 0, /*autoMode=*/false));
  EXPECT_THAT(mac.writes, ElementsAre("F0Md=01", "F0Tg=0000fa44"));
}

}  // namespace
}  // namespace kelvora::testing
