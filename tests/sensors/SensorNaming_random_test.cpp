// Random catalogues and raw lists, named by the library and by the reference.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"

#include "ReferenceNaming.h"
#include "sensors/ComputedSensors.h"
#include "sensors/SensorNaming.h"
#include "tests/support/NotANumber.h"

namespace kelvora {
namespace {

using testing::kNaN;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Few characters and short texts, so that keys, patterns and candidates meet often.
class RandomMachine {
 public:
  explicit RandomMachine(std::uint64_t seed) : random_(seed) {}

  SensorList catalogue() {
    SensorList entries;
    const std::size_t count = below(14);
    for (std::size_t i = 0; i < count; ++i) {
      std::string key = below(5) == 0 && !keys_.empty() ? pick(keys_) : text("A0%1", 3);
      keys_.push_back(key);
      entries.push_back(Sensor::instanceWithKey(key, text("N% s", 4), text("F%", 3), 0, 0, 0,
                                                below(5), group(), 511, below(2), below(2) == 0));
    }
    return entries;
  }

  SensorList raw() {
    SensorList sensors;
    const std::size_t count = below(40);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string key = rawKey();
      sensors.push_back(Sensor::instanceWithKey(
          key, key, key, value(), 0, below(6) == 0 ? 0 : 110, below(7) == 0 ? 5 : below(5),
          below(6) == 0 ? group() : 0, 1 + below(511), below(3), below(4) == 0));
    }
    return sensors;
  }

 private:
  std::uint64_t below(std::uint64_t limit) {
    return std::uniform_int_distribution<std::uint64_t>(0, limit - 1)(random_);
  }

  template <typename List>
  typename List::value_type pick(const List& list) {
    return *(list.begin() + static_cast<std::ptrdiff_t>(below(list.size())));
  }

  std::string text(const std::string& alphabet, std::size_t longest) {
    std::string result;
    const std::size_t length = below(longest + 1);
    for (std::size_t i = 0; i < length; ++i) {
      result += pick(alphabet);
    }
    return result;
  }

  // A key at random, one of the catalogue unchanged, or what its pattern gives for an index that
  // may lie just beyond the last one.
  std::string rawKey() {
    if (keys_.empty() || below(4) == 0) {
      return text("A0%16", 4);
    }
    const std::string key = pick(keys_);
    const std::string index = std::to_string(below(3) == 0 ? 60 + below(6) : below(4));
    if (below(4) == 0) {
      return key;
    }
    std::string result;
    for (const char character : key) {
      if (character == '%') {
        result += index;
      } else {
        result += character;
      }
    }
    return result;
  }

  std::uint64_t group() {
    if (below(20) == 0) {
      return pick(std::initializer_list<std::uint64_t>{12, 1000, UINT64_MAX});
    }
    return below(2) == 0 ? 1 + below(2) : below(12);
  }

  double value() {
    static const std::vector<double> values = {kNaN, kInfinity, -kInfinity, 0.0,  -0.0,
                                               -5.0, 0.5,       5.0,        41.5, 42.25,
                                               99.0, 110.0,     110.5,      300,  301};
    return pick(values);
  }

  std::mt19937_64 random_;
  std::vector<std::string> keys_;
};

SensorList deepCopy(const SensorList& list) {
  SensorList copy;
  for (const SensorPtr& sensor : list) {
    copy.push_back(std::make_shared<Sensor>(*sensor));
  }
  return copy;
}

// Which record of the raw list it is; -1 for a new one.
std::ptrdiff_t identity(const SensorPtr& sensor, const SensorList& raw) {
  const auto found = std::find(raw.begin(), raw.end(), sensor);
  return found == raw.end() ? -1 : found - raw.begin();
}

std::string describe(const SensorList& list, const SensorList& raw) {
  std::ostringstream text;
  text.precision(17);
  for (const SensorPtr& sensor : list) {
    text << identity(sensor, raw) << " '" << sensor->key << "' '" << sensor->name << "' '"
         << sensor->fullName << "' " << (std::isnan(sensor->value) ? kNaN : sensor->value) << ' '
         << sensor->minLimitValue << ' ' << sensor->maxLimitValue << " type " << sensor->type
         << " group " << sensor->group << " platform " << sensor->platform << " source "
         << sensor->sourceType << (sensor->average ? " averaged\n" : "\n");
  }
  return text.str();
}

SensorList withComputed(SensorList named, const SensorList& computed) {
  named.insert(named.end(), computed.begin(), computed.end());
  return named;
}

TEST(SensorNamingRandom, NamesLikeTheReferenceOnRandomMachines) {
  constexpr std::uint64_t kMachines = 20000;
  std::size_t sensors = 0;
  std::size_t twice = 0;
  for (std::uint64_t seed = 1; seed <= kMachines; ++seed) {
    RandomMachine machine(seed);
    const SensorList catalogue = machine.catalogue();
    const SensorList raw = machine.raw();
    const SensorList rawOfReference = deepCopy(raw);
    const SensorList expectedNames = reference::nameSensors(deepCopy(catalogue), rawOfReference);
    const SensorList expected =
        withComputed(expectedNames, reference::computedSensors(expectedNames));
    const SensorList names = SensorNaming(catalogue).name(raw);
    const SensorList reading = withComputed(names, computedSensors(names));
    ASSERT_EQ(describe(reading, raw), describe(expected, rawOfReference)) << "seed " << seed;
    ASSERT_EQ(describe(raw, raw), describe(rawOfReference, rawOfReference)) << "seed " << seed;
    sensors += reading.size();
    twice += reading.size() > raw.size() ? 1 : 0;
  }
  // The machines are not so poor that agreement would say little.
  EXPECT_GT(sensors, kMachines * 10);
  EXPECT_GT(twice, kMachines / 100);
}

TEST(SensorNamingRandom, ComputesLikeTheReference) {
  const std::string keys[] = {
      "AverageCPU", "HottestCPU", "AverageGPU", "HottestGPU", "FastestFan", "TC0P", ""};
  for (std::uint64_t seed = 1; seed <= 5000; ++seed) {
    RandomMachine machine(seed);
    const SensorList unfiltered = machine.raw();
    ASSERT_EQ(describe(computedSensors(unfiltered), {}),
              describe(reference::computedSensors(unfiltered), {}))
        << "seed " << seed;
    const SensorList reading = reference::reading(machine.catalogue(), unfiltered);
    for (const std::string& key : keys) {
      for (std::uint64_t type = 0; type < 6; ++type) {
        EXPECT_THAT(computedValue(key, type, reading),
                    ::testing::NanSensitiveDoubleEq(reference::computedValue(key, type, reading)))
            << "seed " << seed << " key " << key << " type " << type;
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
