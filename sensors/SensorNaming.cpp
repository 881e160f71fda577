#include "sensors/SensorNaming.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace kelvora {

namespace {

// `result` keeps its memory, so that naming a record mostly allocates nothing.
void replacePercent(std::string_view text, std::uint32_t number, std::string& result) {
  char digits[std::numeric_limits<std::uint32_t>::digits10 + 1];
  const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  const std::string_view numberText(digits, static_cast<std::size_t>(end - digits));
  result.clear();
  for (std::size_t percent = text.find('%'); percent != std::string_view::npos;
       percent = text.find('%')) {
    result.append(text.substr(0, percent)).append(numberText);
    text.remove_prefix(percent + 1);
  }
  result.append(text);
}

}  // namespace

SensorNaming::SensorNaming(SensorList catalogue) : catalogue_(std::move(catalogue)) {
  for (Position entry = 0; entry < catalogue_.size(); ++entry) {
    KeyMatch& match = index_.at(catalogue_[entry]->key);
    if (match.exact == kNone) {
      match.exact = static_cast<Position>(lastEntryOfKey_.size());
      lastEntryOfKey_.push_back(entry);
    }
    lastEntryOfKey_[match.exact] = entry;
    exactKeyOfEntry_.push_back(match.exact);
    addPattern(entry);
  }
}

void SensorNaming::addPattern(Position entry) {
  const std::string& key = catalogue_[entry]->key;
  if (key.find('%') == std::string::npos) {
    return;
  }
  std::string candidate;
  for (Position index = 0; index < kIndices; ++index) {
    replacePercent(key, index, candidate);
    KeyMatch& match = index_.at(candidate);
    if (match.pattern == kNone) {
      match.pattern = entry * kIndices + index;
    }
  }
}

std::vector<NamedSensor> SensorNaming::name(std::span<const RawSensor> raw) const {
  const Sorted sorted = sortOut(raw);
  std::vector<NamedSensor> named;
  named.reserve(raw.size() + catalogue_.size());
  addExact(sorted, named);
  addPatterns(sorted, named);
  for (const Position position : sorted.unknown) {
    const Sensor& sensor = *raw[position].prototype;
    named.push_back({.raw = position, .average = sensor.average, .group = sensor.group});
  }
  return named;
}

// Whatever an entry does not take by its exact key is left to the patterns, and what those do not
// fit is unknown, so one look-up decides where a raw sensor belongs.
SensorNaming::Sorted SensorNaming::sortOut(std::span<const RawSensor> raw) const {
  Sorted sorted;
  sorted.firstWithExactKey.assign(lastEntryOfKey_.size(), kNone);
  sorted.unknown.reserve(raw.size());
  for (Position position = 0; position < raw.size(); ++position) {
    if (!raw[position].prototype->isValidValue(raw[position].value)) {
      continue;
    }
    const KeyMatch match = index_.find(*raw[position].key);
    if (match.exact != kNone && sorted.firstWithExactKey[match.exact] == kNone) {
      sorted.firstWithExactKey[match.exact] = position;
    } else if (match.pattern != kNone) {
      sorted.patternHits.push_back({match.pattern, position});
    } else {
      sorted.unknown.push_back(position);
    }
  }
  std::sort(sorted.patternHits.begin(), sorted.patternHits.end());
  return sorted;
}

void SensorNaming::addExact(const Sorted& sorted, std::vector<NamedSensor>& named) const {
  for (const Position key : exactKeyOfEntry_) {
    const Position position = sorted.firstWithExactKey[key];
    if (position == kNone) {
      continue;
    }
    const Sensor& known = *catalogue_[lastEntryOfKey_[key]];
    named.push_back({position, lastEntryOfKey_[key], 0, known.average, known.group});
  }
}

void SensorNaming::addPatterns(const Sorted& sorted, std::vector<NamedSensor>& named) const {
  Position previousEntry = kNone;
  std::uint32_t number = 0;
  for (const PatternHit& hit : sorted.patternHits) {
    const Position entry = hit.pattern / kIndices;
    number = entry == previousEntry ? number + 1 : 1;
    previousEntry = entry;
    const Sensor& known = *catalogue_[entry];
    named.push_back({hit.raw, entry, number, known.average, known.group});
  }
}

void SensorNaming::copyTo(Sensor& record, const RawSensor& raw, const NamedSensor& named) const {
  if (named.entry == NamedSensor::kNoEntry) {
    raw.copyTo(record);
    return;
  }
  const Sensor& known = *catalogue_[named.entry];
  if (named.number == 0) {
    raw.copyTo(record, known.name, known.fullName);
  } else {
    replacePercent(known.name, named.number, record.name);
    raw.copyTo(record, record.name, record.name);
  }
  record.group = named.group;
  record.average = named.average;
}

}  // namespace kelvora
