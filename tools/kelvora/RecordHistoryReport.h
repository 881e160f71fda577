#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/HistoryRecorder.h"
#include "tools/kelvora/OverheatRules.h"
#include "tools/kelvora/Report.h"

namespace kelvora::tool {

/// What a recording prints. On a terminal one line that each sample rewrites, and a line for each
/// event; else a line for each minute and each event; with JSON an object in a line for each sample
/// and each event. An outage is an event when it begins and when it is over, not at each sample.
class RecordHistoryReport {
 public:
  using Instant = HistoryRecorder::Instant;

  RecordHistoryReport(StandardOutput& output, bool json) : output_(output), isJSON_(json) {}

  /// After each sample; `logFault` is why the line of the log could not be written.
  void sample(Instant instant, const HistoryRecorder::Outcome& outcome,
              const std::optional<std::string>& logFault);
  /// After the last save of a recording that ended.
  void end(Instant instant, const HistoryRecorder::Outcome& outcome);

  /// An overheat rule fired.
  void rule(Instant instant, const FiredRule& fired);

 private:
  void event(Instant instant, const std::string& text, const Json& members);
  void noteStore(Instant instant, const HistoryRecorder::Outcome& outcome);
  void noteLog(Instant instant, const std::optional<std::string>& fault);
  void showProgress(Instant instant, const HistoryRecorder::Outcome& outcome);

  StandardOutput& output_;
  const bool isJSON_;
  std::size_t samples_ = 0;  // that were saved
  bool isSaving_ = true;
  bool isLogging_ = true;
  std::optional<std::chrono::minutes> minute_;  // of the last line of progress
};

}  // namespace kelvora::tool
