#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvora/HistoryRecorder.h"
#include "tools/kelvora/OverheatRules.h"
#include "tools/kelvora/SensorLog.h"

namespace kelvora::tool {

/// A recording of one machine: with each sample its history, the user's log and the overheat rules.
/// Only on the main thread.
class Recording {
 public:
  using Instant = HistoryRecorder::Instant;

  /// What a sample did.
  struct Sample {
    HistoryRecorder::Outcome outcome;
    std::optional<std::string> logFault;  ///< why the line of the log could not be written
    std::vector<FiredRule> fired;         ///< in the order of the user's list
  };

  /// Opens nothing. Both must outlive the recording; the controller reads that platform.
  Recording(Platform& platform, SensorController& controller) : recorder_(platform, controller) {}

  /// Reads and stores every sensor as of `instant`, appends a line to the log when file logging is
  /// on, and compares the user's rules with the values that were read. Until a sensor could be read
  /// the log is not begun.
  Sample sample(Instant instant);
  /// Whether any sample had a sensor.
  bool isBegun() const { return isBegun_; }
  /// Stores all samples that wait, and reads nothing; for the end of a recording.
  HistoryRecorder::Outcome finish() { return recorder_.saveWaiting(); }

  /// Settings and store; do not keep it, see HistoryRecorder::manager.
  KVDataManager& manager() { return recorder_.manager(); }

 private:
  HistoryRecorder recorder_;
  SensorLog log_;
  OverheatRules rules_;  // kept: it remembers what fired and could not be stored
  bool isBegun_ = false;
};

}  // namespace kelvora::tool
