#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "KelvoraCore/Sensor.h"

#include "sensors/KeyIndex.h"

namespace kelvora {

/// Names raw sensors from a catalogue. Built once from the catalogue; naming a reading then costs
/// one look-up per raw sensor, however many entries and patterns there are. Immutable: any threads
/// may name different readings at the same time.
class SensorNaming {
 public:
  /// Keeps the catalogue's records. Their names, groups and flags are read at each naming, their
  /// keys only now.
  explicit SensorNaming(SensorList catalogue);

  /// The plausible sensors of `raw`, in which no record stands twice. First those whose key is an
  /// entry's key, in the order of the entries; then those that a pattern fits ("TC%C" fits "TC0C"
  /// to "TC63C"), in the order of patterns and indices, numbered 1, 2, 3 without gaps; then the
  /// rest as it was. The named ones take over the entry's name, full name (after a pattern the
  /// name), group and average flag. A record that two entries name stands in the answer twice, in
  /// both places with the later entry's names. Of several plausible sensors with one key an entry
  /// names the first, a pattern all.
  SensorList name(SensorList raw) const;

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
  Sorted sortOut(const SensorList& raw) const;
  void takeExact(const Sorted& sorted, SensorList& raw, SensorList& named) const;
  void takePatterns(const Sorted& sorted, SensorList& raw, SensorList& named) const;

  SensorList catalogue_;
  // For each key the number of its exact key, counted from 0, and the first pattern that fits it,
  // as entry * kIndices + index.
  KeyIndex index_;
  std::vector<Position> exactKeyOfEntry_;
  std::vector<bool> isLastEntryOfKey_;
  Position exactKeys_ = 0;
};

}  // namespace kelvora
