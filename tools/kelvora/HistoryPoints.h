#pragma once

#include <vector>

#include "KelvoraCore/KVCoreDataStore.h"

#include "tools/kelvora/HistorySeries.h"

namespace kelvora::tool {

/// The points of all sensors in a store. What changes is unsaved in the store's view context. Times
/// are seconds since 1970. Only on the main thread.
class HistoryPoints {
 public:
  explicit HistoryPoints(KVCoreDataStore& store) : store_(store) {}

  /// Whether any sensor has a point of the series in the step of `seconds`.
  bool hasPoint(const HistorySeries& series, double seconds);
  /// Adds a point at the end of a sensor's history.
  void add(const HistorySeries& series, const KVSensorPtr& sensor, double seconds, double value);
  /// Takes back the points that were added since the last save, and only these.
  void undoAdded();
  /// Forgets which points were added, after a save.
  void keepAdded() { added_.clear(); }

  /// Deletes points with `from` <= time <= `until`, some minutes' worth at most, so that a long
  /// pause does not make one save a big one. Returns whether that was all of them.
  bool remove(const HistorySeries& series, double from, double until);

 private:
  KVCoreDataStore& store_;
  std::vector<KVGraphPointPtr> added_;
};

}  // namespace kelvora::tool
