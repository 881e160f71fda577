// One reading of each recorded Mac, against its expected report and against the reference.
// KELVORA_REWRITE_EXPECTATIONS=1 rewrites the expected reports.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/SensorController.h"

#include "ReferenceNaming.h"
#include "ports/Ports.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora {
namespace {

using JSON = nlohmann::ordered_json;

JSON number(double value) { return std::isfinite(value) ? JSON(value) : JSON(nullptr); }

JSON report(const Sensor& sensor) {
  return {{"key", sensor.key},
          {"name", sensor.name},
          {"fullName", sensor.fullName},
          {"value", number(sensor.value)},
          {"minLimitValue", number(sensor.minLimitValue)},
          {"maxLimitValue", number(sensor.maxLimitValue)},
          {"type", sensor.type},
          {"group", sensor.group},
          {"platform", sensor.platform},
          {"sourceType", sensor.sourceType},
          {"average", sensor.average}};
}

// One line per sensor and per message, so that a change shows as lines.
std::string text(const SensorList& sensors, const std::vector<std::string>& failures) {
  std::string result = "{\"sensors\": [";
  for (std::size_t i = 0; i < sensors.size(); ++i) {
    result += (i == 0 ? "\n  " : ",\n  ") + report(*sensors[i]).dump();
  }
  result += "\n],\n\"failures\": [";
  for (std::size_t i = 0; i < failures.size(); ++i) {
    result += (i == 0 ? "\n  " : ",\n  ") + JSON(failures[i]).dump();
  }
  return result + "\n]}\n";
}

class ListeningController : public SensorController {
 public:
  using SensorController::SensorController;
  void smcReadValueFailedWithError(const std::string& message) override {
    failures.push_back(message);
  }
  std::vector<std::string> failures;
};

class Machines : public ::testing::TestWithParam<const char*> {
 protected:
  std::string expectationFile() const {
    return std::string(KELVORA_TEST_DATA) + "/machines/" + GetParam() + ".sensors.json";
  }

  Platform& platform_ = testing::installRecordedPlatform(GetParam());
  const ZDSystemDevice device_{platform_};
  ListeningController controller_{platform_, device_};
};

TEST_P(Machines, AReadingIsTheExpectedReport) {
  const SensorList sensors = controller_.getAllSensors();
  const std::string actual = text(sensors, controller_.failures);
  const char* rewrite = std::getenv("KELVORA_REWRITE_EXPECTATIONS");
  if (rewrite != nullptr && std::string(rewrite) == "1") {
    std::ofstream(expectationFile()) << actual;
    FAIL() << "wrote " << expectationFile() << " again: look at the difference, then test without "
           << "KELVORA_REWRITE_EXPECTATIONS";
  }
  std::ifstream file(expectationFile());
  ASSERT_TRUE(file) << "no expected report " << expectationFile();
  const JSON expected = JSON::parse(file);
  const JSON found = JSON::parse(actual);
  ASSERT_EQ(found.at("sensors").size(), expected.at("sensors").size());
  for (std::size_t i = 0; i < sensors.size(); ++i) {
    EXPECT_EQ(found["sensors"][i].dump(), expected["sensors"][i].dump()) << "sensor " << i;
  }
  EXPECT_EQ(found.at("failures"), expected.at("failures"));
}

// The catalogue of a machine, taken from the whole one step by step.
SensorList catalogueOf(const ZDSystemDevice& device, bool isAppleSilicon) {
  std::string gpuName;
  std::string gpuShortName;
  if (device.gpuInfos().has_value() && device.gpuInfos()->size() == 2) {
    for (const ZDGPUInfo& gpu : *device.gpuInfos()) {
      if (!gpu.isDedicated) {
        continue;
      }
      gpuName = gpu.modelName.value_or("");
      gpuShortName = gpu.shortModelName.value_or("");
    }
  }
  SensorList catalogue;
  for (const SensorPtr& entry : SensorController::getDefaultSMCSensors()) {
    const std::uint64_t family = device.cpuInfo().platform;
    if ((entry->platform & family) != family) {
      continue;
    }
    if (entry->name.find("{GPU}") != std::string::npos) {
      using namespace KVExtension;
      entry->name = trimWhitespace(replace(entry->name, "{GPU}", gpuShortName));
      entry->fullName = trimWhitespace(replace(entry->fullName, "{GPU}", gpuName));
    }
    catalogue.push_back(entry);
  }
  if (isAppleSilicon) {
    for (const SensorPtr& entry : SensorController::getDefaultHIDSensors()) {
      catalogue.push_back(entry);
    }
  }
  return catalogue;
}

TEST_P(Machines, AReadingIsWhatTheReferenceDerivesFromTheSameRawSensors) {
  const bool isAppleSilicon = platform_.architecture() == Architecture::kAppleSilicon;
  SensorList raw = controller_.smc().getAllSensors();
  if (isAppleSilicon) {
    for (const SensorPtr& sensor : controller_.hid()->getAllSensors()) {
      raw.push_back(sensor);
    }
  }
  const SensorList expected = reference::reading(catalogueOf(device_, isAppleSilicon), raw);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(text(controller_.getAllSensors(), {}), text(expected, {}));
}

TEST_P(Machines, ALaterReadingOfTheSameValuesIsTheSame) {
  const std::string first = text(controller_.getAllSensors(), {});
  EXPECT_EQ(text(controller_.getAllSensors(), {}), first);
}

std::string testName(const ::testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::erase_if(name, [](unsigned char character) { return std::isalnum(character) == 0; });
  return name;
}

INSTANTIATE_TEST_SUITE_P(Recorded, Machines, ::testing::ValuesIn(testing::kRecordedMachines),
                         testName);

}  // namespace
}  // namespace kelvora
