// On a Mac that runs Linux, whose driver is a file system of this test's own.
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/mount.h>
#include <unistd.h>

#include "KelvoraCore/Sensor.h"

#include "tests/support/HomeFolder.h"
#include "tests/support/MountedDriver.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kDevicesFolder[] = "/sys/devices/platform";
constexpr uid_t kNobody = 65534;
constexpr char kOnlyForRoot[] =
    "applesmc: temperatures and fans only; root also reads voltages, currents and powers\n";

class KelvoraOnALinuxMac : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0 || !haveOwnMounts()) {
      GTEST_SKIP() << "mounts of its own need root";
    }
    ASSERT_EQ(mount("none", kDevicesFolder, "tmpfs", 0, nullptr), 0);
    const std::string folder = std::string(kDevicesFolder) + "/applesmc.768";
    fs::create_directory(folder);
    driver_ = std::make_unique<MountedDriver>("MacBookPro10,1", folder);
    if (!driver_->isMounted()) {
      GTEST_SKIP() << "no file system of a program can be mounted here: " << driver_->failure();
    }
    // Where anybody may run the program, whatever the folder of the build allows.
    fs::permissions(home_.path(), fs::perms(0755));
    fs::create_directory(home_.path("bin"));
    const fs::path programs = fs::path(KELVORA_PROGRAM).parent_path();
    ASSERT_EQ(mount(programs.c_str(), home_.path("bin").c_str(), nullptr, MS_BIND, nullptr), 0);
  }
  ~KelvoraOnALinuxMac() override {
    umount2(home_.path("bin").c_str(), MNT_DETACH);
    driver_.reset();
    umount2(kDevicesFolder, MNT_DETACH);
  }
  ProgramResult runAs(uid_t user, std::vector<std::string> arguments) const {
    const std::string account = std::to_string(user);
    arguments.insert(arguments.begin(), {"--reuid=" + account, "--regid=" + account,
                                         "--clear-groups", "--", home_.path("bin/kelvora")});
    return runProgram("/usr/bin/setpriv", arguments);
  }
  // The sensors that are read from the driver, by key.
  static std::map<std::string, json> sensorsIn(const ProgramResult& report) {
    EXPECT_EQ(report.status, 0) << report.standardError;
    const json reading = json::parse(report.standardOutput);
    EXPECT_EQ(reading["machine"]["live"], true);
    std::map<std::string, json> sensors;
    for (const json& sensor : reading["sensors"]) {
      if (sensor["sourceType"] == 0) {
        sensors[sensor["key"]] = sensor;
      }
    }
    return sensors;
  }

  HomeFolder home_;

 private:
  std::unique_ptr<MountedDriver> driver_;
};

TEST_F(KelvoraOnALinuxMac, AnotherUserSeesTemperaturesAndFansAndOneLineSaysWhatRootWouldAdd) {
  const ProgramResult ofRoot = runAs(0, {"sensors", "--json"});
  const ProgramResult ofNobody = runAs(kNobody, {"sensors", "--json"});
  EXPECT_THAT(ofRoot.standardError, Not(HasSubstr(kOnlyForRoot)));
  EXPECT_EQ(ofNobody.standardError, kOnlyForRoot);
  const auto all = sensorsIn(ofRoot);
  const auto some = sensorsIn(ofNobody);
  EXPECT_GT(all.size(), some.size());
  std::map<int, int> ofType;
  for (const auto& [key, sensor] : some) {
    ++ofType[sensor["type"]];
    ASSERT_TRUE(all.contains(key)) << key;
    EXPECT_EQ(sensor["value"], all.at(key)["value"]) << key;
  }
  EXPECT_GT(ofType[SensorTypeTemperature], 30);
  EXPECT_EQ(ofType[SensorTypeFan], 2);
  EXPECT_EQ(ofType.size(), 2U) << "temperatures and fans";
}

}  // namespace
}  // namespace kelvora::testing
