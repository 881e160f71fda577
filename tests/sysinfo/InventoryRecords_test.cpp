#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/ZDBatteryInfo.h"
#include "KelvoraCore/ZDCPUInfo.h"
#include "KelvoraCore/ZDDiskInfo.h"
#include "KelvoraCore/ZDNetworkInfo.h"
#include "KelvoraCore/ZDOSInfo.h"

namespace kelvora {
namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();

std::int64_t healthOf(std::int64_t maxCapacity, std::int64_t designedCapacity) {
  return ZDBatteryInfo{
      .cycleCount = 1, .maxCapacity = maxCapacity, .designedCapacity = designedCapacity}
      .health();
}

TEST(ZDBatteryInfo, HealthIsTheCutPercentageOfTheDesign) {
  EXPECT_EQ(healthOf(4500, 5000), 90);
  EXPECT_EQ(healthOf(2999, 3000), 99);
  EXPECT_EQ(healthOf(29, 100), 29);  // 0.29 of a hundred is a little less
  EXPECT_EQ(healthOf(16'777'217, 16'777'217 * std::int64_t{100}), 1);
  EXPECT_EQ(healthOf(0, 5000), 0);
}

TEST(ZDBatteryInfo, HealthStaysWithinZeroAndAHundred) {
  EXPECT_EQ(healthOf(5200, 5000), 100);
  EXPECT_EQ(healthOf(-10, 5000), 0);
  EXPECT_EQ(healthOf(4500, -5000), 0);
}

TEST(ZDBatteryInfo, HealthIsZeroWithoutADesignedCapacity) {
  EXPECT_EQ(healthOf(4500, 0), 0);
  EXPECT_EQ(healthOf(0, 0), 0);
}

TEST(ZDBatteryInfo, HealthOfHugeCapacitiesDoesNotOverflow) {
  EXPECT_EQ(healthOf(kLargest, kLargest), 100);
  EXPECT_EQ(healthOf(kLargest / 2, kLargest), 50);
  EXPECT_EQ(healthOf(kLargest, 1), 100);
  EXPECT_EQ(healthOf(kSmallest, 1), 0);
  EXPECT_EQ(healthOf(kSmallest, kSmallest), 100);
}

TEST(ZDDiskInfo, DisplayNameIsTheModelThenTheNameThenUnknown) {
  EXPECT_EQ((ZDDiskInfo{.name = "Untitled 1", .model = "APPLE SSD", .size = 1}).displayName(),
            "APPLE SSD");
  EXPECT_EQ((ZDDiskInfo{.name = "Untitled 1", .model = "", .size = 1}).displayName(), "Untitled 1");
  EXPECT_EQ(ZDDiskInfo{}.displayName(), "Unknown");
}

std::string releaseName(std::int64_t major, std::int64_t minor) {
  return ZDOSInfo{.version = {major, minor, 0}, .build = ""}.name();
}

TEST(ZDOSInfo, ReleasesAreNamedFromHighSierraToVentura) {
  EXPECT_EQ(releaseName(10, 13), "High Sierra");
  EXPECT_EQ(releaseName(10, 14), "Mojave");
  EXPECT_EQ(releaseName(10, 15), "Catalina");
  for (const std::int64_t minor : {0, 1, 7}) {
    EXPECT_EQ(releaseName(11, minor), "Big Sur");
    EXPECT_EQ(releaseName(12, minor), "Monterey");
    EXPECT_EQ(releaseName(13, minor), "Ventura");
  }
}

TEST(ZDOSInfo, EveryOtherReleaseIsUnknown) {
  EXPECT_EQ(releaseName(14, 0), "Unknown");
  EXPECT_EQ(releaseName(10, 12), "Unknown");
  EXPECT_EQ(releaseName(10, 16), "Unknown");
  EXPECT_EQ(releaseName(9, 13), "Unknown");
  EXPECT_EQ(releaseName(0, 0), "Unknown");
}

TEST(ZDOSInfo, VersionStringJoinsTheThreeNumbers) {
  EXPECT_EQ((ZDOSInfo{.version = {13, 4, 0}, .build = ""}).versionString(), "13.4.0");
  EXPECT_EQ(ZDOSInfo{}.versionString(), "0.0.0");
}

TEST(ZDCPUInfo, ShortBrandHasNoAppleInIt) {
  ZDCPUInfo info;
  info.brand = "Apple M1 Pro";
  EXPECT_EQ(info.shortBrand(), "M1 Pro");
  info.brand = "APPLE M2 apple M3";
  EXPECT_EQ(info.shortBrand(), "M2 M3");
  info.brand = "Intel Core i7";
  EXPECT_EQ(info.shortBrand(), "Intel Core i7");
}

TEST(ZDNetworkInfo, KeepsItsThreeTextsAndCopies) {
  ZDNetworkInfo info("192.0.2.10", std::nullopt, "mac.local");
  info.setPublicIpAddress("198.51.100.7");
  const ZDNetworkInfo copy(info);
  info.setIpAddress("192.0.2.11");
  info.setHostName(std::nullopt);
  EXPECT_EQ(copy.ipAddress(), "192.0.2.10");
  EXPECT_EQ(copy.publicIpAddress(), "198.51.100.7");
  EXPECT_EQ(copy.hostName(), "mac.local");
  EXPECT_EQ(info.ipAddress(), "192.0.2.11");
  EXPECT_EQ(info.hostName(), std::nullopt);
}

}  // namespace
}  // namespace kelvora
