#include "sensors/GroupOrder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kelvora {

namespace {

// Neighbours of one rank.
struct Run {
  std::uint64_t rank;
  std::ptrdiff_t begin;
  std::ptrdiff_t end;
};

std::uint64_t rank(const NamedSensor& sensor) {
  return sensor.group == SensorGroupNone ? UINT64_MAX : sensor.group;
}

std::vector<Run> runsOf(const std::vector<NamedSensor>& reading) {
  std::vector<Run> runs;
  std::ptrdiff_t position = 0;
  for (const NamedSensor& sensor : reading) {
    const std::uint64_t sensorRank = rank(sensor);
    if (runs.empty() || runs.back().rank != sensorRank) {
      runs.push_back({sensorRank, position, position});
    }
    runs.back().end = ++position;
  }
  return runs;
}

}  // namespace

// A reading is made of some dozen runs, however many sensors it has: ordering those costs far less
// than comparing sensors with each other.
void sortByGroup(std::vector<NamedSensor>& reading) {
  std::vector<Run> runs = runsOf(reading);
  std::ranges::stable_sort(runs, {}, &Run::rank);
  std::vector<NamedSensor> sorted;
  sorted.reserve(reading.size());
  for (const Run& run : runs) {
    sorted.insert(sorted.end(), reading.begin() + run.begin, reading.begin() + run.end);
  }
  reading = std::move(sorted);
}

}  // namespace kelvora
