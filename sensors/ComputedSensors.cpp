#include "sensors/ComputedSensors.h"

#include <array>
#include <cstddef>
#include <string>

namespace kelvora {

namespace {

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

// What the computed sensors are made of, gathered in one walk over a reading.
struct Totals {
  Inputs cpu;
  Inputs gpu;
  std::size_t fans = 0;
  const Sensor* fastestFan = nullptr;
  double highestSpeed = 0;  // 0 without fans, also when all speeds are negative
};

void addTemperature(double value, Inputs& inputs) {
  ++inputs.count;
  inputs.sum += value;
  if (value > inputs.hottest) {
    inputs.hottest = value;
  }
}

void addFan(const Sensor& fan, Totals& totals) {
  ++totals.fans;
  if (fan.sourceType == SensorSourceComputed) {
    return;
  }
  if (totals.fastestFan == nullptr || fan.value > totals.fastestFan->value) {
    totals.fastestFan = &fan;
  }
  if (fan.value > totals.highestSpeed) {
    totals.highestSpeed = fan.value;
  }
}

Totals totalsOf(const SensorList& reading) {
  Totals totals;
  for (const SensorPtr& sensor : reading) {
    if (sensor->type == SensorTypeFan) {
      addFan(*sensor, totals);
    } else if (sensor->average && sensor->type == SensorTypeTemperature) {
      if (sensor->group == SensorGroupCPU) {
        addTemperature(sensor->value, totals.cpu);
      } else if (sensor->group == SensorGroupGPU) {
        addTemperature(sensor->value, totals.gpu);
      }
    }
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

SensorPtr temperature(const ComputedTemperature& computed, double value) {
  const std::string name(computed.name);
  return Sensor::instanceWithKey(std::string(computed.key), name, name, value, 0,
                                 kMaximumTemperature, SensorTypeTemperature, computed.group,
                                 SensorPlatformEvery, SensorSourceComputed, false);
}

SensorPtr fastestFan(const Sensor& fan) {
  const std::string name(kFastestFanName);
  return Sensor::instanceWithKey(std::string(kFastestFanKey), name, name, fan.value,
                                 fan.minLimitValue, fan.maxLimitValue, SensorTypeFan,
                                 SensorGroupFan, fan.platform, SensorSourceComputed, false);
}

}  // namespace

SensorList computedSensors(const SensorList& reading) {
  const Totals totals = totalsOf(reading);
  SensorList sensors;
  for (const ComputedTemperature& computed : kComputedTemperatures) {
    const double value = computed.value(totals);
    if (value > 0) {
      sensors.push_back(temperature(computed, value));
    }
  }
  if (totals.fans >= 2 && totals.fastestFan != nullptr) {
    sensors.push_back(fastestFan(*totals.fastestFan));
  }
  return sensors;
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
