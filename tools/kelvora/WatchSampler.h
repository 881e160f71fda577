#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "KelvoraCore/CPUReader.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/UsageSample.h"

namespace kelvora::tool {

/// What was read of a machine at one moment.
struct WatchReading {
  std::chrono::system_clock::time_point time;
  SensorList sensors;
  UsageSample usage;
};

/// Reads a machine on two threads of its own, one for sensors and usage and one for processes, so
/// that nothing slow holds up the screen. Each result queues work of the main queue, which ends a
/// wait there. The operations are for one thread.
class WatchSampler {
 public:
  /// `platform` must outlive the threads; see `end`.
  explicit WatchSampler(Platform& platform);
  /// Waits for what is being read, however long that takes.
  ~WatchSampler();
  WatchSampler(const WatchSampler&) = delete;
  WatchSampler& operator=(const WatchSampler&) = delete;

  // Begin to read, unless the reading before has not ended.

  void read();
  /// The busiest `count` processes.
  void readProcesses(std::int64_t count);

  // The last result, once; none if there is no new one.

  std::optional<WatchReading> takeReading();
  /// None in it means that the system listed no processes.
  std::optional<std::optional<std::vector<CPUTopProcess>>> takeProcesses();

  /// Ends a list of processes that is being read, and its `ps`; then waits for what is being read,
  /// but not longer than `patience`. After false a thread still waits for the system: the program
  /// should end without destroying this object. No further list of processes can be read.
  bool end(std::chrono::milliseconds patience);
  /// The same with a patience of two seconds; after false it ends the program with `status`.
  void endOrExit(int status);

 private:
  struct Shared;
  std::unique_ptr<Shared> shared_;
};

}  // namespace kelvora::tool
