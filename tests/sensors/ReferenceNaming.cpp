#include "ReferenceNaming.h"

#include <string>

namespace kelvora::reference {

namespace {

bool isPlausible(const Sensor& sensor) {
  const double value = sensor.value;
  if (sensor.type > 4) {
    return false;
  }
  if (sensor.type == 0) {
    if (sensor.minLimitValue >= value) {
      return false;
    }
    if (value > sensor.maxLimitValue) {
      return false;
    }
    return true;
  }
  if (sensor.type == 1) {
    return true;
  }
  if (sensor.type == 2) {
    if (value == 0) {
      return false;
    }
    if (value > 300) {
      return false;
    }
    return true;
  }
  if (sensor.type == 3) {
    if (0 >= value) {
      return false;
    }
    if (value > 100) {
      return false;
    }
    return true;
  }
  if (0 >= value) {
    return false;
  }
  return true;
}

bool contains(const SensorList& list, const SensorPtr& sensor) {
  for (const SensorPtr& other : list) {
    if (other == sensor) {
      return true;
    }
  }
  return false;
}

std::string withEveryPercent(const std::string& text, int number) {
  std::string result = text;
  const std::string digits = std::to_string(number);
  for (std::size_t at = result.find('%'); at != std::string::npos;
       at = result.find('%', at + digits.size())) {
    result.replace(at, 1, digits);
  }
  return result;
}

void exactPass(const SensorList& catalogue, const SensorList& raw, SensorList& result) {
  for (const SensorPtr& entry : catalogue) {
    for (const SensorPtr& sensor : raw) {
      if (sensor->key == entry->key && isPlausible(*sensor)) {
        sensor->name = entry->name;
        sensor->fullName = entry->fullName;
        sensor->group = entry->group;
        sensor->average = entry->average;
        result.push_back(sensor);
        break;
      }
    }
  }
}

void patternPass(const SensorList& catalogue, const SensorList& raw, SensorList& result) {
  for (const SensorPtr& entry : catalogue) {
    if (entry->key.find('%') == std::string::npos) {
      continue;
    }
    int number = 1;
    for (int index = 0; index <= 63; ++index) {
      const std::string candidate = withEveryPercent(entry->key, index);
      for (const SensorPtr& sensor : raw) {
        if (sensor->key != candidate) {
          continue;
        }
        if (contains(result, sensor)) {
          continue;
        }
        if (!isPlausible(*sensor)) {
          continue;
        }
        sensor->name = withEveryPercent(entry->name, number);
        sensor->fullName = withEveryPercent(entry->name, number);
        sensor->group = entry->group;
        sensor->average = entry->average;
        result.push_back(sensor);
        number += 1;
      }
    }
  }
}

void unknownPass(const SensorList& raw, SensorList& result) {
  for (const SensorPtr& sensor : raw) {
    if (!contains(result, sensor) && isPlausible(*sensor)) {
      result.push_back(sensor);
    }
  }
}

double computedTemperature(const std::string& key, const SensorList& sensors) {
  std::uint64_t group = 0;
  if (key == "AverageCPU" || key == "HottestCPU") {
    group = 1;
  }
  if (key == "AverageGPU" || key == "HottestGPU") {
    group = 2;
  }
  if (group == 0) {
    return 0;
  }
  int count = 0;
  double sum = 0;
  double maximum = -1;
  for (const SensorPtr& sensor : sensors) {
    if (sensor->group != group || sensor->type != 0 || !sensor->average) {
      continue;
    }
    count += 1;
    sum += sensor->value;
    if (sensor->value > maximum) {
      maximum = sensor->value;
    }
  }
  if (key == "HottestCPU" || key == "HottestGPU") {
    return maximum;
  }
  return count >= 1 ? sum / count : -1;
}

SensorPtr computed(const std::string& key, const std::string& name, double value,
                   std::uint64_t group) {
  auto sensor = std::make_shared<Sensor>();
  sensor->key = key;
  sensor->name = name;
  sensor->fullName = name;
  sensor->value = value;
  sensor->minLimitValue = 0;
  sensor->maxLimitValue = 110;
  sensor->type = 0;
  sensor->group = group;
  sensor->platform = 511;
  sensor->sourceType = 2;
  sensor->average = false;
  return sensor;
}

SensorPtr fastestFan(const SensorList& sensors) {
  SensorList fans;
  for (const SensorPtr& sensor : sensors) {
    if (sensor->type == 1) {
      fans.push_back(sensor);
    }
  }
  if (fans.size() < 2) {
    return nullptr;
  }
  SensorPtr fastest;
  for (const SensorPtr& fan : fans) {
    if (fan->sourceType == 2) {
      continue;
    }
    if (fastest == nullptr || fan->value > fastest->value) {
      fastest = fan;
    }
  }
  return fastest;
}

}  // namespace

SensorList nameSensors(const SensorList& catalogue, const SensorList& raw) {
  SensorList result;
  exactPass(catalogue, raw, result);
  patternPass(catalogue, raw, result);
  unknownPass(raw, result);
  return result;
}

double computedValue(const std::string& key, std::uint64_t type, const SensorList& sensors) {
  if (type == 0) {
    return computedTemperature(key, sensors);
  }
  if (type != 1 || key != "FastestFan") {
    return 0;
  }
  double largest = 0;
  for (const SensorPtr& sensor : sensors) {
    if (sensor->type == 1 && sensor->sourceType != 2 && sensor->value > largest) {
      largest = sensor->value;
    }
  }
  return largest;
}

SensorList computedSensors(const SensorList& sensors) {
  SensorList result;
  const double averageCPU = computedValue("AverageCPU", 0, sensors);
  if (averageCPU > 0) {
    result.push_back(computed("AverageCPU", "Average CPU", averageCPU, 1));
  }
  const double hottestCPU = computedValue("HottestCPU", 0, sensors);
  if (hottestCPU > 0) {
    result.push_back(computed("HottestCPU", "Hottest CPU", hottestCPU, 1));
  }
  const double averageGPU = computedValue("AverageGPU", 0, sensors);
  if (averageGPU > 0) {
    result.push_back(computed("AverageGPU", "Average GPU", averageGPU, 2));
  }
  const double hottestGPU = computedValue("HottestGPU", 0, sensors);
  if (hottestGPU > 0) {
    result.push_back(computed("HottestGPU", "Hottest GPU", hottestGPU, 2));
  }
  if (const SensorPtr fan = fastestFan(sensors)) {
    const SensorPtr sensor = computed("FastestFan", "Fastest Fan", fan->value, 11);
    sensor->type = 1;
    sensor->minLimitValue = fan->minLimitValue;
    sensor->maxLimitValue = fan->maxLimitValue;
    sensor->platform = fan->platform;
    result.push_back(sensor);
  }
  return result;
}

void sortByGroup(SensorList& sensors) {
  const auto isDescending = [](const SensorPtr& first, const SensorPtr& second) {
    const std::uint64_t firstGroup = first->group == 0 ? UINT64_MAX : first->group;
    const std::uint64_t secondGroup = second->group == 0 ? UINT64_MAX : second->group;
    return firstGroup > secondGroup;
  };
  for (std::size_t i = 1; i < sensors.size(); ++i) {
    for (std::size_t j = i; j > 0 && isDescending(sensors[j - 1], sensors[j]); --j) {
      std::swap(sensors[j - 1], sensors[j]);
    }
  }
}

SensorList reading(const SensorList& catalogue, const SensorList& raw) {
  SensorList result = nameSensors(catalogue, raw);
  for (const SensorPtr& sensor : computedSensors(result)) {
    result.push_back(sensor);
  }
  sortByGroup(result);
  return result;
}

}  // namespace kelvora::reference
