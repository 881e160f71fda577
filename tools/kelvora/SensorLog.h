#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora::tool {

class CSVFile;

/// The values of `KVSettings::fileLoggingResetMode`; any other counts as kNever.
enum class SensorLogReset : int {
  kNever = 0,          ///< the log grows for ever
  kEachRecording = 1,  ///< emptied before the first line of a recording
  kEachDay = 2,        ///< emptied before the first line of a day in the user's time zone
};

/// The user's log of readings: a file of comma-separated values as the settings for file logging
/// say, with one line of names and then one line for each sample. docs/history.md describes it.
///
/// The file is looked at for each line. One that was moved away or deleted is begun again; one
/// whose line of names does not fit is kept under another name.
class SensorLog {
 public:
  using Instant = std::chrono::system_clock::time_point;

  /// Appends the line of a sample when file logging is on. Returns why that failed, e.g.
  /// "/no/log.csv: Permission denied"; none otherwise.
  std::optional<std::string> append(Instant instant, const SensorList& sensors,
                                    KVDataManager& manager);

 private:
  bool isReset(SensorLogReset mode, const CSVFile& file, const std::string& line) const;

  bool isBegun_ = false;  // a line was appended
};

}  // namespace kelvora::tool
