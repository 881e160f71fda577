#include "sensors/ComputedSensors.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "hardware/RawReading.h"
#include "sensors/SensorNaming.h"

namespace kelvora {

namespace {

constexpr std::uint64_t kEveryPlatform = 511;
constexpr double kMaximumTemperature = 110;
constexpr std::string_view kFastestFanKey = "FastestFan";
constexpr std::string_view kFastestFanName = "Fastest Fan";

// The averaged temperatures of one group.
struct Inputs {
  std::size_t count = 0;
  double sum = 0;
  double hottest = -1;

  double average() const { return count == 0 ? -1 : sum / static_cast<double>(count); }
};

// What counts of a sensor, which may have no record yet.
struct Input {
  const Sensor& sensor;  // for its type, source, limits and platform
  double value;
  std::uint64_t group;
  bool average;
};

// What the computed sensors are made of, gathered in one walk over a reading.
struct Totals {
  Inputs cpu;
  Inputs gpu;
  std::size_t fans = 0;
  const Sensor* fastestFan = nullptr;
  double fastestFanSpeed = 0;
  double highestSpeed = 0;
};

void addTemperature(double value, Inputs& inputs) {
  ++inputs.count;
  inputs.sum += value;
  if (value > inputs.hottest) {
    inputs.hottest = value;
  }
}

void addFan(const Sensor& fan, double speed, Totals& totals) {
  ++totals.fans;
  if (fan.sourceType == SensorSourceComputed) {
    return;
  }
  if (totals.fastestFan == nullptr || speed > totals.fastestFanSpeed) {
    totals.fastestFan = &fan;
    totals.fastestFanSpeed = speed;
  }
  if (speed > totals.highestSpeed) {
    totals.highestSpeed = speed;
  }
}

void add(const Input& input, Totals& totals) {
  if (input.sensor.type == SensorTypeFan) {
    addFan(input.sensor, input.value, totals);
  } else if (input.average && input.sensor.type == SensorTypeTemperature) {
    if (input.group == SensorGroupCPU) {
      addTemperature(input.value, totals.cpu);
    }
    if (input.group == SensorGroupGPU) {
      addTemperature(input.value, totals.gpu);
    }
  }
}

Totals totalsOf(const SensorList& reading) {
  Totals totals;
  for (const SensorPtr& sensor : reading) {
    add({*sensor, sensor->value, sensor->group, sensor->average}, totals);
  }
  return totals;
}

struct ComputedTemperature {
  std::string_view key;
  std::string_view name;
  SensorGroup group;
  double (*value)(const Totals&);
};

constexpr std::array kComputedTemperatures = {
    ComputedTemperature{"AverageCPU", "Average CPU", SensorGroupCPU,
                        [](const Totals& totals) { return totals.cpu.average(); }},
    ComputedTemperature{"HottestCPU", "Hottest CPU", SensorGroupCPU,
                        [](const Totals& totals) { return totals.cpu.hottest; }},
    ComputedTemperature{"AverageGPU", "Average GPU", SensorGroupGPU,
                        [](const Totals& totals) { return totals.gpu.average(); }},
    ComputedTemperature{"HottestGPU", "Hottest GPU", SensorGroupGPU,
                        [](const Totals& totals) { return totals.gpu.hottest; }},
};

Sensor makeTemperature(const ComputedTemperature& computed, double value) {
  return {std::string(computed.key),
          std::string(computed.name),
          std::string(computed.name),
          value,
          0,
          kMaximumTemperature,
          SensorTypeTemperature,
          computed.group,
          kEveryPlatform,
          SensorSourceComputed,
          false};
}

Sensor makeFastestFan(const Sensor& fan, double speed) {
  return {std::string(kFastestFanKey),
          std::string(kFastestFanName),
          std::string(kFastestFanName),
          speed,
          fan.minLimitValue,
          fan.maxLimitValue,
          SensorTypeFan,
          SensorGroupFan,
          fan.platform,
          SensorSourceComputed,
          false};
}

std::vector<Sensor> sensorsOf(const Totals& totals) {
  std::vector<Sensor> sensors;
  for (const ComputedTemperature& computed : kComputedTemperatures) {
    const double value = computed.value(totals);
    if (value > 0) {
      sensors.push_back(makeTemperature(computed, value));
    }
  }
  if (totals.fans >= 2 && totals.fastestFan != nullptr) {
    sensors.push_back(makeFastestFan(*totals.fastestFan, totals.fastestFanSpeed));
  }
  return sensors;
}

}  // namespace

SensorList computedSensors(const SensorList& reading) {
  SensorList sensors;
  for (Sensor& sensor : sensorsOf(totalsOf(reading))) {
    sensors.push_back(std::make_shared<Sensor>(std::move(sensor)));
  }
  return sensors;
}

void addComputedSensors(RawReading& raw, std::vector<NamedSensor>& reading) {
  Totals totals;
  for (const NamedSensor& named : reading) {
    const RawSensor& sensor = raw.sensors()[named.raw];
    add({*sensor.prototype, sensor.value, named.group, named.average}, totals);
  }
  for (Sensor& sensor : sensorsOf(totals)) {
    reading.push_back(
        {.raw = static_cast<std::uint32_t>(raw.sensors().size()), .group = sensor.group});
    raw.add(std::move(sensor));
  }
}

double computedValue(std::string_view key, std::uint64_t type, const SensorList& reading) {
  if (type == SensorTypeFan && key == kFastestFanKey) {
    return totalsOf(reading).highestSpeed;
  }
  if (type != SensorTypeTemperature) {
    return 0;
  }
  for (const ComputedTemperature& computed : kComputedTemperatures) {
    if (computed.key == key) {
      return computed.value(totalsOf(reading));
    }
  }
  return 0;
}

}  // namespace kelvora
