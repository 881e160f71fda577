#include "sensors/SensorNaming.h"

#include <algorithm>
#include <utility>

namespace kelvora {

namespace {

constexpr int kIndices = 64;  // a pattern is tried with 0 to 63

std::string withNumber(std::string text, int number) {
  const std::string digits = std::to_string(number);
  for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at)) {
    text.replace(at, 1, digits);
  }
  return text;
}

void setNames(Sensor& sensor, const std::string& name, const std::string& fullName,
              const Sensor& entry) {
  sensor.name = name;
  sensor.fullName = fullName;
  sensor.group = entry.group;
  sensor.average = entry.average;
}

}  // namespace

SensorNaming::SensorNaming(SensorList catalogue) : catalogue_(std::move(catalogue)) {
  for (std::size_t entry = 0; entry < catalogue_.size(); ++entry) {
    const std::string& key = catalogue_[entry]->key;
    matches_[key].entries.push_back(entry);
    if (key.find('%') != std::string::npos) {
      addPattern(entry);
    }
  }
}

void SensorNaming::addPattern(std::size_t entry) {
  for (int index = 0; index < kIndices; ++index) {
    Match& match = matches_[withNumber(catalogue_[entry]->key, index)];
    if (!match.pattern) {
      match.pattern = {entry, index};
    }
  }
}

SensorList SensorNaming::name(const SensorList& raw) const {
  Sorted sorted;
  sorted.byEntry.resize(catalogue_.size());
  for (const SensorPtr& sensor : raw) {
    if (sensor->isValidValue()) {
      sortOut(sensor, sorted);
    }
  }
  SensorList named;
  named.reserve(raw.size());
  appendExact(sorted.byEntry, named);
  appendPatternHits(std::move(sorted.patternHits), named);
  for (const SensorPtr* sensor : sorted.unknown) {
    named.push_back(*sensor);
  }
  return named;
}

// Entries take sensors before patterns do, and a sensor that neither takes is unknown, so one
// look-up decides where a raw sensor belongs.
void SensorNaming::sortOut(const SensorPtr& sensor, Sorted& sorted) const {
  const auto found = matches_.find(sensor->key);
  if (found == matches_.end()) {
    sorted.unknown.push_back(&sensor);
    return;
  }
  const auto& [entries, pattern] = found->second;
  if (!entries.empty() && sorted.byEntry[entries.front()] == nullptr) {
    for (const std::size_t entry : entries) {
      sorted.byEntry[entry] = &sensor;
    }
  } else if (pattern) {
    sorted.patternHits.push_back({*pattern, &sensor});
  } else {
    sorted.unknown.push_back(&sensor);
  }
}

void SensorNaming::appendExact(const std::vector<const SensorPtr*>& byEntry,
                               SensorList& named) const {
  for (std::size_t entry = 0; entry < catalogue_.size(); ++entry) {
    if (const SensorPtr* sensor = byEntry[entry]) {
      const Sensor& known = *catalogue_[entry];
      setNames(**sensor, known.name, known.fullName, known);
      named.push_back(*sensor);
    }
  }
}

void SensorNaming::appendPatternHits(std::vector<PatternHit> hits, SensorList& named) const {
  std::ranges::stable_sort(hits, {}, [](const PatternHit& hit) {
    return std::pair(hit.pattern.entry, hit.pattern.index);
  });
  int number = 0;
  const Sensor* previous = nullptr;
  for (const auto& [pattern, sensor] : hits) {
    const Sensor& known = *catalogue_[pattern.entry];
    number = &known == previous ? number + 1 : 1;
    previous = &known;
    // The full name is the same text, not made from the entry's full name.
    const std::string name = withNumber(known.name, number);
    setNames(**sensor, name, name, known);
    named.push_back(*sensor);
  }
}

}  // namespace kelvora
