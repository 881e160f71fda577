#pragma once

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/SensorController.h"

#include "ports/Ports.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/ModelSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/kelvora/HistoryRecorder.h"

namespace kelvora::testing {

/// Time and value of a point.
using Point = std::pair<double, double>;

inline std::chrono::system_clock::time_point instantOf(double seconds) {
  return std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::duration<double>(seconds)));
}

/// A Mac whose readings follow curves, recorded at times that the test chooses into a store of its
/// own.
class RecordedHistory : public ::testing::Test {
 protected:
  // A Monday, at midnight UTC.
  static constexpr double kBegin = 1700438400;

  RecordedHistory() {
    ::setenv("XDG_DATA_HOME", temporary.path().c_str(), 1);
    ::setenv("TZ", "UTC", 1);
  }

  /// Makes the Mac the current platform; before anything else of the test.
  void useMac(const ModelSMC::Curves& curves, std::vector<platform::RecordedSMCKey> others = {}) {
    auto made = recordedPlatform(machineWithBrand("Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz"));
    auto model = std::make_unique<ModelSMC>(curves, std::move(others));
    smc = model.get();
    made->ports().smc = std::move(model);
    Platform::install(std::move(made));
    controller = std::make_unique<SensorController>(Platform::current());
    beginRecording();
  }
  void beginRecording() {
    recorder = std::make_unique<tool::HistoryRecorder>(Platform::current(), *controller);
  }

  tool::HistoryRecorder::Outcome sampleAt(double seconds) {
    smc->seconds = seconds;
    auto outcome = recorder->sample(instantOf(seconds));
    runDry(Platform::current().mainQueue());
    return outcome;
  }
  /// Samples from `from` to `until`, which is one of the times if the step fits.
  void record(double from, double until, double step) {
    for (double at = from; at <= until; at += step) {
      const auto outcome = sampleAt(at);
      ASSERT_EQ(outcome.fault, "") << at;
      ASSERT_EQ(outcome.saved, 1U) << at;
    }
  }

  /// The store as another program sees it now.
  std::unique_ptr<KVCoreDataStore> otherProgram() const {
    return std::make_unique<KVCoreDataStore>(0, Platform::current());
  }
  KVSensorPtr stored(const std::string& key) {
    reader = otherProgram();
    return reader->getSensorByKey(key);
  }
  /// The points of one series of a sensor in stored order.
  std::vector<Point> series(const std::string& key, int timeRange) {
    std::vector<Point> points;
    const KVSensorPtr sensor = stored(key);
    if (sensor == nullptr) {
      return points;
    }
    sensor->managedObjectContext()->setStalenessInterval(-1);
    for (const KVGraphPointPtr& point : sensor->graphPoints()) {
      if (point->timeRange() == timeRange) {
        points.emplace_back(point->pointX(), point->pointY());
      }
    }
    return points;
  }
  std::string storePath() const {
    return temporary.path(std::string(kApplicationGroupIdentifier) + "/Database.sqlite");
  }

  const TemporaryFolder temporary;
  ModelSMC* smc = nullptr;
  std::unique_ptr<SensorController> controller;
  std::unique_ptr<tool::HistoryRecorder> recorder;
  std::unique_ptr<KVCoreDataStore> reader;
};

}  // namespace kelvora::testing
