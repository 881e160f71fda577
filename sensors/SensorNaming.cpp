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

SensorNaming::SensorNaming(SensorList catalogue)
    : catalogue_(std::move(catalogue)), isLastEntryOfKey_(catalogue_.size(), true) {
  std::vector<Position> lastEntryOfKey;
  for (Position entry = 0; entry < catalogue_.size(); ++entry) {
    KeyMatch& match = index_.at(catalogue_[entry]->key);
    if (match.exact == kNone) {
      match.exact = exactKeys_++;
      lastEntryOfKey.push_back(entry);
    } else {
      isLastEntryOfKey_[std::exchange(lastEntryOfKey[match.exact], entry)] = false;
    }
    exactKeyOfEntry_.push_back(match.exact);
    addPattern(entry);
  }
}

void SensorNaming::addPattern(Position entry) {
  const std::string& key = catalogue_[entry]->key;
  if (key.find('%') == std::string::npos) return;
  std::string candidate;
  for (Position index = 0; index < kIndices; ++index) {
    replacePercent(key, index, candidate);
    KeyMatch& match = index_.at(candidate);
    if (match.pattern == kNone) match.pattern = entry * kIndices + index;
  }
}

SensorList SensorNaming::name(SensorList raw) const {
  const Sorted sorted = sortOut(raw);
  SensorList named;
  named.reserve(raw.size() + catalogue_.size());
  takeExact(sorted, raw, named);
  takePatterns(sorted, raw, named);
  for (const Position position : sorted.unknown) named.push_back(std::move(raw[position]));
  return named;
}

// Whatever an entry does not take by its exact key is left to the patterns, and what those do not
// fit is unknown, so one look-up decides where a raw sensor belongs.
SensorNaming::Sorted SensorNaming::sortOut(const SensorList& raw) const {
  Sorted sorted;
  sorted.firstWithExactKey.assign(exactKeys_, kNone);
  sorted.unknown.reserve(raw.size());
  for (Position position = 0; position < raw.size(); ++position) {
    if (!raw[position]->isValidValue()) continue;
    const KeyMatch match = index_.find(raw[position]->key);
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

void SensorNaming::takeExact(const Sorted& sorted, SensorList& raw, SensorList& named) const {
  for (Position entry = 0; entry < catalogue_.size(); ++entry) {
    const Position position = sorted.firstWithExactKey[exactKeyOfEntry_[entry]];
    if (position == kNone) continue;
    const Sensor& known = *catalogue_[entry];
    Sensor& sensor = *raw[position];
    sensor.name = known.name;
    sensor.fullName = known.fullName;
    sensor.group = known.group;
    sensor.average = known.average;
    if (isLastEntryOfKey_[entry]) {
      named.push_back(std::move(raw[position]));
    } else {
      named.push_back(raw[position]);
    }
  }
}

void SensorNaming::takePatterns(const Sorted& sorted, SensorList& raw, SensorList& named) const {
  Position previousEntry = kNone;
  std::uint32_t number = 0;
  for (const PatternHit& hit : sorted.patternHits) {
    const Position entry = hit.pattern / kIndices;
    number = entry == previousEntry ? number + 1 : 1;
    previousEntry = entry;
    const Sensor& known = *catalogue_[entry];
    Sensor& sensor = *raw[hit.raw];
    replacePercent(known.name, number, sensor.name);
    sensor.fullName = sensor.name;
    sensor.group = known.group;
    sensor.average = known.average;
    named.push_back(std::move(raw[hit.raw]));
  }
}

}  // namespace kelvora
