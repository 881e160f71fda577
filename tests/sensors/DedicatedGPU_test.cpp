#include "sensors/DedicatedGPU.h"

#include <gtest/gtest.h>

namespace kelvora {
namespace {

ZDGPUInfo gpu(const std::string& name, bool isDedicated) {
  ZDGPUInfo info;
  info.modelName = name;
  info.isDedicated = isDedicated;
  return info;
}

SensorPtr temperature(const std::string& name, const std::string& fullName) {
  const SensorPtr sensor =
      Sensor::instanceWithKey("TG0P", name, SensorTypeTemperature, SensorGroupGPU, 511);
  sensor->fullName = fullName;
  return sensor;
}

TEST(DedicatedGPU, IsTheDedicatedOneOfTwo) {
  const std::optional<std::vector<ZDGPUInfo>> radeonLast = {
      {gpu("Intel", false), gpu("AMD", true)}};
  EXPECT_EQ(dedicatedGPU(radeonLast), &radeonLast->at(1));
  const std::optional<std::vector<ZDGPUInfo>> radeonFirst = {
      {gpu("AMD", true), gpu("Intel", false)}};
  EXPECT_EQ(dedicatedGPU(radeonFirst), &radeonFirst->at(0));
}

TEST(DedicatedGPU, IsTheLastOfTwoDedicatedOnes) {
  const std::optional<std::vector<ZDGPUInfo>> both = {{gpu("D300", true), gpu("D500", true)}};
  EXPECT_EQ(dedicatedGPU(both), &both->at(1));
}

TEST(DedicatedGPU, IsNullForAnyOtherNumberOfProcessors) {
  EXPECT_EQ(dedicatedGPU(std::nullopt), nullptr);
  EXPECT_EQ(dedicatedGPU(std::vector<ZDGPUInfo>{}), nullptr);
  EXPECT_EQ(dedicatedGPU({{gpu("AMD", true)}}), nullptr);
  EXPECT_EQ(dedicatedGPU({{gpu("AMD", true), gpu("Intel", false), gpu("AMD", true)}}), nullptr);
  EXPECT_EQ(dedicatedGPU({{gpu("Intel", false), gpu("Intel", false)}}), nullptr);
}

TEST(DedicatedGPU, ItsShortNameGoesIntoTheNameAndItsFullNameIntoTheFullName) {
  const SensorPtr sensor = temperature("GPU {GPU} Proximity {GPU}", "GPU {GPU} Proximity {GPU}");
  fillInGPU({sensor}, "AMD Radeon Pro 560X", "Radeon");
  EXPECT_EQ(sensor->name, "GPU Radeon Proximity Radeon");
  EXPECT_EQ(sensor->fullName, "GPU AMD Radeon Pro 560X Proximity AMD Radeon Pro 560X");
}

TEST(DedicatedGPU, WithoutOneTheDoubledBlankCollapses) {
  const SensorPtr inside = temperature("GPU {GPU} Proximity", "GPU {GPU} Proximity");
  const SensorPtr atTheEnds = temperature("{GPU} GPU {GPU}", "{GPU}");
  fillInGPU({inside, atTheEnds}, std::nullopt, std::nullopt);
  EXPECT_EQ(inside->name, "GPU Proximity");
  EXPECT_EQ(inside->fullName, "GPU Proximity");
  EXPECT_EQ(atTheEnds->name, "GPU");
  EXPECT_EQ(atTheEnds->fullName, "");
}

TEST(DedicatedGPU, OnlyANameWithThePlaceholderChangesItsEntry) {
  const SensorPtr inFullNameOnly = temperature("GPU  Die", "GPU  {GPU} Die");
  const SensorPtr inNameOnly = temperature("GPU {GPU} Die", "GPU  Die");
  fillInGPU({inFullNameOnly, inNameOnly}, "AMD Radeon", "Radeon");
  EXPECT_EQ(inFullNameOnly->name, "GPU  Die");
  EXPECT_EQ(inFullNameOnly->fullName, "GPU  {GPU} Die");
  EXPECT_EQ(inNameOnly->name, "GPU Radeon Die");
  EXPECT_EQ(inNameOnly->fullName, "GPU Die");
}

}  // namespace
}  // namespace kelvora
