#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// Names raw sensors from a catalogue. The table of keys is built once; naming a reading then costs
/// one look-up per raw sensor. Any threads may name different readings at the same time.
class SensorNaming {
 public:
  /// Keeps the catalogue's records. Their names, groups and flags are read at each naming, their
  /// keys only now.
  explicit SensorNaming(SensorList catalogue);

  /// Names the plausible records of `raw` in place and returns them. First come those whose key is
  /// an entry's key, in the order of the entries; then those that a pattern matches ("TC%C" matches
  /// "TC0C" to "TC63C"), in the order of patterns and indices, numbered 1, 2, 3 without gaps; then
  /// the others, unchanged. A named sensor gets the entry's group and average flag. A sensor that
  /// two entries name is in the result twice, as the later entry has it. Of several plausible
  /// sensors with the same key an entry names the first, a pattern all.
  SensorList name(const SensorList& raw) const;

 private:
  // A position of the catalogue and the index that replaces the "%" of its key.
  struct Pattern {
    std::size_t entry;
    int index;
  };
  // What the catalogue says about one key.
  struct Match {
    std::vector<std::size_t> entries;  // with exactly this key
    std::optional<Pattern> pattern;    // the first that matches it
  };
  struct PatternHit {
    Pattern pattern;
    const SensorPtr* sensor;
  };
  // The sensors of a raw list by what the catalogue says about them.
  struct Sorted {
    std::vector<const SensorPtr*> byEntry;  // one for each entry, null when the list has none
    std::vector<PatternHit> patternHits;
    std::vector<const SensorPtr*> unknown;
  };

  void addPattern(std::size_t entry);
  void sortOut(const SensorPtr& sensor, Sorted& sorted) const;
  void appendExact(const std::vector<const SensorPtr*>& byEntry, SensorList& named) const;
  void appendPatternHits(std::vector<PatternHit> hits, SensorList& named) const;

  SensorList catalogue_;
  std::unordered_map<std::string, Match> matches_;
};

}  // namespace kelvora
