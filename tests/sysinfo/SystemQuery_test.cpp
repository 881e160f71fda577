#include "sysinfo/SystemQuery.h"

#include <string>

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora {
namespace {

ZDOSInfo systemOf(std::optional<platform::OSVersion> version, const std::string& text) {
  platform::RecordedMachine machine;
  machine.osVersion = version;
  machine.osText = text;
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryOS(platform->systemControls(), platform->systemFacts());
}

std::string buildOf(const std::string& text) { return systemOf(std::nullopt, text).build; }

TEST(SystemQuery, TheBuildIsInTheBracketsOfTheVersionText) {
  EXPECT_EQ(buildOf("Version 13.4 (Build 22F66)"), "22F66");
  EXPECT_EQ(buildOf("Version 13.4 (22F66)"), "22F66");
  EXPECT_EQ(buildOf("a (Build 1) (Build 2)"), "1 ");
  EXPECT_EQ(buildOf("Version 13.4 (x Build 5)"), "x 5");
  EXPECT_EQ(buildOf("("), "");
}

TEST(SystemQuery, WithoutABracketTheBuildIsUnknown) {
  EXPECT_EQ(buildOf("Version 13.4 Build 22F66)"), "Unknown");
  EXPECT_EQ(buildOf(""), "Unknown");
}

TEST(SystemQuery, TheVersionIsTheSystemsOrZeros) {
  EXPECT_EQ(systemOf(platform::OSVersion{13, 4, 1}, "").version, (ZDOSVersion{13, 4, 1}));
  EXPECT_EQ(systemOf(std::nullopt, "").version, ZDOSVersion{});
}

TEST(SystemQuery, Version14IsUnknown) {
  EXPECT_EQ(systemOf(platform::OSVersion{14, 0, 0}, "").name(), "Unknown");
}

// A recorded computer whose kernel has this name, with the version 12.0.0.
ZDOSInfo systemWithKernel(const std::string& kernel, const std::string& text) {
  platform::RecordedMachine machine =
      testing::machineWithControls({{"kern.ostype", platform::textControlBytes(kernel)}});
  machine.osVersion = platform::OSVersion{12, 0, 0};
  machine.osText = text;
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryOS(platform->systemControls(), platform->systemFacts());
}

TEST(SystemQuery, AnotherSystemThanMacOSHasItsOwnName) {
  const ZDOSInfo debian = systemWithKernel("Linux", "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(debian.name(), "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(debian.versionString(), "12.0.0");
  EXPECT_EQ(debian.build, "bookworm");
  EXPECT_EQ(systemWithKernel("Linux", "").name(), "Linux");
  EXPECT_EQ(systemWithKernel("Darwin", "Version 12.0 (Build 21A)").name(), "Monterey");
}

std::string memoryOf(const testing::Controls& controls) {
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale("en_US"), status);
  const auto platform = testing::recordedPlatform(testing::machineWithControls(controls));
  return queryMemory(platform->systemControls()).physicalMemory;
}

TEST(SystemQuery, MemoryIsFormattedInMultiplesOf1024) {
  EXPECT_EQ(memoryOf({{"hw.memsize", platform::int64ControlBytes(17'179'869'184)}}), "16 GB");
  EXPECT_EQ(memoryOf({{"hw.memsize", platform::int64ControlBytes(1'610'612'736)}}), "1.5 GB");
}

TEST(SystemQuery, MemoryIsUnsigned) {
  EXPECT_EQ(memoryOf({{"hw.memsize", platform::int64ControlBytes(-1)}}), "16 EB");
}

TEST(SystemQuery, AbsentMemoryIsZero) { EXPECT_EQ(memoryOf({}), "Zero KB"); }

}  // namespace
}  // namespace kelvora
