#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/HistoryPoints.h"
#include "tools/kelvora/StoredSensors.h"

namespace kelvora::tool {

/// Keeps the store's categories and sensors up to date with the readings of a machine, and the
/// history of each sensor: its series and its recorded extremes. docs/history.md says what is kept.
///
/// What was sampled but could not be saved waits in memory for the next sample, for as long as a
/// series would keep it. Nothing of the store is cached between samples, so that what another
/// program adds, changes or deletes counts at the next one. Only on the main thread.
class HistoryRecorder {
 public:
  using Instant = std::chrono::system_clock::time_point;

  /// What a sample did.
  struct Outcome {
    SensorList sensors;       ///< the reading: each key once, and the sensors that the user added
    std::size_t saved = 0;    ///< samples that are in the store now and were not before
    std::size_t waiting = 0;  ///< samples that are not in the store yet
    std::string fault;        ///< why samples wait, e.g. "database or disk is full"; or empty
    bool isStoreNew = false;  ///< another program deleted the store file, and a new one was begun
  };

  /// Opens nothing. Both must outlive the recorder; the controller reads that platform.
  HistoryRecorder(Platform& platform, SensorController& controller)
      : platform_(platform), controller_(controller) {}

  /// Reads every sensor and stores what was read, as of `instant`. After the first sample that was
  /// saved, posts that the dataset was generated.
  Outcome sample(Instant instant);
  /// Stores all samples that wait, and reads nothing; for the end of a recording.
  Outcome saveWaiting();

  /// Settings and store. The recorder makes new ones where a store cannot be used any more, so do
  /// not keep it.
  KVDataManager& manager();

 private:
  /// A sample without the names of its sensors: thousands may wait.
  struct Reading {
    double seconds = 0;  ///< since 1970
    std::shared_ptr<const std::vector<std::string>> keys;
    std::vector<double> values;                      ///< by key
    std::array<bool, kHistorySeries.size()> isIn{};  ///< the series that it has points of
  };

  std::optional<StoredSensors> readStore();
  void remember(double seconds, const SensorList& sensors);
  void forgetExpired();
  void save(const StoredSensors& stored, std::size_t most, Outcome& outcome);
  void add(const Reading& reading, const StoredSensors& stored, HistoryPoints& points) const;
  void removeExpired(HistoryPoints& points);
  void beginNewStore(const SensorList& sensors, Outcome& outcome);
  void announceDataset();

  Platform& platform_;
  SensorController& controller_;
  std::unique_ptr<KVDataManager> manager_;  // null until it is used, and without a store
  std::deque<Reading> waiting_;             // the oldest first
  std::optional<double> last_;              // when the last sample was, in seconds since 1970
  double steadySince_ = 0;                  // since when the clock has not been set back
  bool isTrimmed_ = false;                  // nothing expired is left, as of the last full step
  bool isDatasetAnnounced_ = false;
};

}  // namespace kelvora::tool
