#include "sysinfo/GraphicsQuery.h"

#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tests/support/SmallMac.h"

namespace kelvora {
namespace {

using testing::data;
using testing::entry;

using GPUInfos = std::optional<std::vector<ZDGPUInfo>>;

GPUInfos registered(std::vector<platform::RecordedRegistryEntry> devices,
                    std::uint64_t family = SensorPlatformIntel) {
  platform::RecordedMachine machine;
  machine.registry.emplace();
  for (auto& device : devices) {
    machine.registry->emplace_back("IOPCIDevice", std::move(device));
  }
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryGraphics(*platform, family);
}

platform::RecordedRegistryEntry device(std::string_view model) {
  return entry("GFX0", {{"model", data(model)}});
}

ZDGPUInfo dedicated(const std::string& model, const std::string& shortName) {
  return {.modelName = model,
          .shortModelName = shortName,
          .isDedicated = true,
          .vendor = std::nullopt,
          .vram = std::nullopt,
          .cores = 0};
}

TEST(GraphicsQuery, OfTwoProcessorsTheAMDRadeonIsDedicatedAndNamedAMD) {
  const auto infos = registered(
      {device({"Intel UHD Graphics 630\0", 23}), device({"AMD Radeon Pro 5500M\0", 21})});
  ASSERT_EQ(infos->size(), 2U);
  EXPECT_EQ(infos->at(0).modelName, "Intel UHD Graphics 630");
  EXPECT_EQ(infos->at(0).shortModelName, std::nullopt);
  EXPECT_FALSE(infos->at(0).isDedicated);
  EXPECT_EQ(infos->at(1), dedicated("AMD Radeon Pro 5500M", "AMD"));
}

TEST(GraphicsQuery, DedicatedNamesAreTestedInTheirOrderAndCase) {
  const auto infos = registered(
      {device("NVIDIA AMD Radeon"), device("Radeon Pro 580X"), device("nvidia amd radeon")}, 0);
  ASSERT_EQ(infos->size(), 3U);
  EXPECT_EQ(infos->at(0), dedicated("NVIDIA AMD Radeon", "NVIDIA"));
  EXPECT_EQ(infos->at(1), dedicated("Radeon Pro 580X", "Radeon"));
  EXPECT_EQ(infos->at(2).shortModelName, std::nullopt);
}

TEST(GraphicsQuery, ADedicatedNameCountsAnywhereInTheModel) {
  const auto infos = registered({device("ATI Radeon HD 4670"), device("Apple AMD")});
  ASSERT_EQ(infos->size(), 2U);
  EXPECT_EQ(infos->at(0), dedicated("ATI Radeon HD 4670", "Radeon"));
  EXPECT_EQ(infos->at(1), dedicated("Apple AMD", "AMD"));
}

TEST(GraphicsQuery, DevicesWithoutAModelTextAreSkipped) {
  const auto infos =
      registered({entry("a", {}), entry("b", {{"model", "AMD as a text"}}), device(""),
                  device({"\0AMD", 4}), device("AMD \xae"), device("x")});
  ASSERT_EQ(infos->size(), 1U);
  EXPECT_EQ(infos->at(0).modelName, "x");
}

TEST(GraphicsQuery, AnIntelMacWithoutDevicesOrRegistryHasAnEmptyList) {
  EXPECT_EQ(registered({}), std::vector<ZDGPUInfo>{});
  const auto platform = testing::recordedPlatform({});
  EXPECT_EQ(queryGraphics(*platform, SensorPlatformIntel), std::vector<ZDGPUInfo>{});
}

// The answer of an Apple-silicon Mac whose profiler prints `output`, and what was logged.
struct Reported {
  GPUInfos infos;
  std::string logged;
  std::vector<platform::ChildRequest> requests;
};

Reported reported(std::optional<std::string> output) {
  const auto platform = testing::recordedPlatform({});
  auto children = std::make_unique<testing::ScriptedChildProcesses>(
      [&](const auto&) -> std::optional<testing::ScriptedOutcome> {
        if (!output) {
          return std::nullopt;
        }
        return testing::ScriptedOutcome{.output = *output};
      });
  auto& script = *children;
  platform->ports().childProcesses = std::move(children);
  ::testing::internal::CaptureStderr();
  Reported result;
  result.infos = queryGraphics(*platform, SensorPlatformM1);
  result.logged = ::testing::internal::GetCapturedStderr();
  result.requests = script.requests;
  return result;
}

TEST(GraphicsQuery, AnAppleSiliconMacAsksTheSystemProfiler) {
  const auto result = reported(R"({"SPDisplaysDataType":[{"sppci_model":"Apple M1"}]})");
  ASSERT_EQ(result.requests.size(), 1U);
  EXPECT_EQ(result.requests[0].path, "/usr/sbin/system_profiler");
  EXPECT_EQ(result.requests[0].arguments,
            (std::vector<std::string>{"SPDisplaysDataType", "-json"}));
  ASSERT_TRUE(result.infos);
  EXPECT_EQ(result.infos->at(0).shortModelName, "Apple M1");
  EXPECT_FALSE(result.infos->at(0).isDedicated);
  EXPECT_EQ(result.logged, "");
}

TEST(GraphicsQuery, AMissingOrUnreadableReportReturnsNoneWithoutALogLine) {
  for (const char* output : {"", "no JSON", "\xff\xfe", "7"}) {
    const auto result = reported(output);
    EXPECT_EQ(result.infos, std::nullopt) << output;
    EXPECT_EQ(result.logged, "") << output;
  }
  EXPECT_EQ(reported(std::string(10 << 20, 'x')).infos, std::nullopt);
}

TEST(GraphicsQuery, ReturnsNoneWhenTheChildCannotBeLaunched) {
  const auto result = reported(std::nullopt);
  EXPECT_EQ(result.infos, std::nullopt);
  EXPECT_EQ(result.logged.find("SPDisplaysDataType"), std::string::npos);
}

TEST(GraphicsQuery, AReportOfAnotherShapeReturnsNoneAndIsLogged) {
  const auto result = reported(R"({"SPDisplaysDataType":null})");
  EXPECT_EQ(result.infos, std::nullopt);
  EXPECT_EQ(result.logged,
            "error to parse system_profiler SPDisplaysDataType: "
            "SPDisplaysDataType is not an array but null\n");
}

}  // namespace
}  // namespace kelvora
