#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "KelvoraCore/Sensor.h"

#include "hardware/RawReading.h"
#include "sensors/KeyIndex.h"

namespace kelvora {

/// Where a raw sensor stands in a reading and what it is there.
struct NamedSensor {
  static constexpr std::uint32_t kNoEntry = UINT32_MAX;

  std::uint32_t raw;               ///< its position in the raw reading
  std::uint32_t entry = kNoEntry;  ///< the catalogue's entry that names it, or none
  std::uint32_t number = 0;        ///< for an entry that is a pattern, counted from 1
  bool average = false;
  std::uint64_t group = SensorGroupNone;
};

/// Names raw sensors from a catalogue. Built once from the catalogue; naming a reading then costs
/// one look-up per raw sensor, however many entries and patterns there are. Immutable: any threads
/// may name different readings at the same time.
class SensorNaming {
 public:
  /// Keeps the catalogue's records. Their names, groups and flags are read at each naming, their
  /// keys only now.
  explicit SensorNaming(SensorList catalogue);

  /// The plausible sensors of a reading. First those whose key is an entry's key, in the order of
  /// the entries; then those that a pattern fits ("TC%C" fits "TC0C" to "TC63C"), in the order of
  /// patterns and indices, numbered 1, 2, 3 without gaps; then the rest as it was. The named ones
  /// take over the entry's group and average flag. A sensor that two entries name stands in the
  /// answer twice, in both places as the later entry has it. Of several plausible sensors with one
  /// key an entry names the first, a pattern all.
  std::vector<NamedSensor> name(std::span<const RawSensor> raw) const;

  /// Makes `record` a sensor of `name`'s answer: what was read, with the entry's name, full name
  /// (after a pattern the name), group and average flag.
  void copyTo(Sensor& record, const RawSensor& raw, const NamedSensor& named) const;

 private:
  using Position = std::uint32_t;
  static constexpr Position kNone = KeyMatch::kNone;
  static constexpr Position kIndices = 64;  // a pattern is tried with 0 to 63

  struct PatternHit {
    Position pattern;
    Position raw;
    friend bool operator<(const PatternHit& left, const PatternHit& right) {
      return std::pair(left.pattern, left.raw) < std::pair(right.pattern, right.raw);
    }
  };
  // A reading's sensors by what the catalogue says of them, as positions in the reading.
  struct Sorted {
    std::vector<Position> firstWithExactKey;
    std::vector<PatternHit> patternHits;
    std::vector<Position> unknown;
  };

  void addPattern(Position entry);
  Sorted sortOut(std::span<const RawSensor> raw) const;
  void addExact(const Sorted& sorted, std::vector<NamedSensor>& named) const;
  void addPatterns(const Sorted& sorted, std::vector<NamedSensor>& named) const;

  SensorList catalogue_;
  // For each key the number of its exact key, counted from 0, and the first pattern that fits it,
  // as entry * kIndices + index.
  KeyIndex index_;
  std::vector<Position> exactKeyOfEntry_;
  std::vector<Position> lastEntryOfKey_;  // by the number of the exact key
};

}  // namespace kelvora
